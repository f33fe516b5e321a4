# The Debian packages: lintian finds no error in them, each holds what it should, and purging leaves
# nothing of them. Installing on a bare system is scripts/try-packages.
work=$(mktemp -d "${TMPDIR:-/tmp}/jorv-XXXXXX")
trap 'rm -rf "$work"' EXIT

scripts/make-packages >"$work/log" 2>&1 || { cat "$work/log"; exit 1; }
cp build/package/*.deb "$work"
version=$(sed -n 's/^project(jorvck VERSION \([0-9.]*\) .*/\1/p' CMakeLists.txt)-1
architecture=$(dpkg --print-architecture)
jorvck=$work/jorvck_${version}_$architecture.deb
jorvaudit=$work/jorvaudit_${version}_$architecture.deb
jorvshare=$work/jorvshare_${version}_$architecture.deb
development=$work/libjorv-storage-dev_${version}_all.deb

lintian --allow-root --fail-on error "$jorvck" "$jorvaudit" "$jorvshare" "$development" >"$work/lintian" 2>&1 ||
    { cat "$work/lintian"; exit 1; }

# Every file of each, directories left out.
files() { dpkg-deb -c "$1" | awk '$1 !~ /^d/ { print $6 }' | sed 's/^\.//' | sort; }
{
    echo /etc/jorv/jorv.toml
    echo /usr/sbin/jorvck
    echo /usr/share/bash-completion/completions/jorvck
    echo /usr/share/doc/jorvck/changelog.Debian.gz
    echo /usr/share/doc/jorvck/copyright
    for page in docs/formats/*.md; do
        name=$(basename "$page" .md)
        [[ $name == audit-* ]] && continue
        [[ $name == configuration ]] && name=toml
        echo "/usr/share/man/man5/jorv-$name.5.gz" | sed 's/jorv-toml/jorv.toml/'
    done
    echo /usr/share/man/man8/jorvck.8.gz
} | sort | diff - <(files "$jorvck")
{
    echo /etc/default/jorvaudit
    echo /usr/bin/jorvaudit
    echo /usr/lib/systemd/system/jorvaudit@.service
    echo /usr/lib/systemd/system/jorvaudit@.timer
    echo /usr/share/bash-completion/completions/jorvaudit
    echo /usr/share/doc/jorvaudit/audit-fleet.schema.json
    echo /usr/share/doc/jorvaudit/audit-report.schema.json
    echo /usr/share/doc/jorvaudit/changelog.Debian.gz
    echo /usr/share/doc/jorvaudit/copyright
    echo /usr/share/doc/jorvaudit/examples/slurm/submit
    echo /usr/share/doc/jorvaudit/examples/slurm/task
    echo /usr/share/doc/jorvaudit/fleet.md
    echo /usr/share/man/man5/jorv-audit-fleet.5.gz
    echo /usr/share/man/man5/jorv-audit-report.5.gz
    echo /usr/share/man/man8/jorvaudit.8.gz
} | sort | diff - <(files "$jorvaudit")
{
    echo /usr/bin/jorvshare
    echo /usr/share/bash-completion/completions/jorvshare
    echo /usr/share/doc/jorvshare/changelog.Debian.gz
    echo /usr/share/doc/jorvshare/copyright
    ls examples/recipes | sed 's|^|/usr/share/doc/jorvshare/examples/recipes/|'
    echo /usr/share/man/man1/jorvshare.1.gz
} | sort | diff - <(files "$jorvshare")
{
    ls storage/*.h | sed 's|^|/usr/include/jorv-storage/|'
    echo /usr/share/cmake/JorvStorage/JorvStorageConfig.cmake
    echo /usr/share/cmake/JorvStorage/JorvStorageConfigVersion.cmake
    echo /usr/share/cmake/JorvStorage/JorvStorageTargets.cmake
    echo /usr/share/doc/libjorv-storage-dev/changelog.Debian.gz
    echo /usr/share/doc/libjorv-storage-dev/copyright
    ls examples/storage-library/* | sed 's|^examples|/usr/share/doc/libjorv-storage-dev/examples|'
    echo /usr/share/doc/libjorv-storage-dev/storage-library.md
} | sort | diff - <(files "$development")

# Everything below /etc is a configuration file, which an upgrade leaves to the administrator.
for package in "$jorvck" "$jorvaudit"; do
    dpkg-deb --ctrl-tarfile "$package" | tar -xO ./conffiles | sort | diff <(files "$package" | grep '^/etc/') -
done
# Dependencies are those that the programs' libraries ask for.
for package in "$jorvck" "$jorvaudit" "$jorvshare"; do
    dpkg-deb -f "$package" Depends | grep -qE '(^|, )libc6 \(>='
done
# The audit knows the lines of the checker of its own version.
dpkg-deb -f "$jorvaudit" Depends | grep -qF "jorvck (= $version)"
# The checker and the audit hold no writer, and nothing holds a path of the folder it was built in.
for package in "$work"/*.deb; do
    dpkg-deb -x "$package" "$work/root"
done
if grep -lrF "$PWD" "$work/root" ||
    nm -DC "$work/root/usr/sbin/jorvck" "$work/root/usr/bin/jorvaudit" | grep -F refstore::Encode; then
    exit 1
fi
nm -DC "$work/root/usr/bin/jorvshare" | grep -F refstore::Encode >/dev/null
echo "$(basename -a "$work"/*.deb | tr '\n' ' ')"
