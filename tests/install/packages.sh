# The Debian packages: lintian finds no error in them, each holds what it should, and purging leaves
# nothing of them. Installing on a bare system is scripts/try-packages.
work=$(mktemp -d "${TMPDIR:-/tmp}/jorv-XXXXXX")
trap 'rm -rf "$work"' EXIT

scripts/make-packages >"$work/log" 2>&1 || { cat "$work/log"; exit 1; }
cp build/package/* "$work"
version=$(dpkg-parsechangelog -S Version)
diff <(sed -n 's/^project(jorvck VERSION \([0-9.]*\) .*/\1/p' CMakeLists.txt) <(echo "${version%-*}")
released=$(sed -n 's/^set(JORVCK_RELEASED \(.*\))$/\1/p' CMakeLists.txt)
diff <(echo "$released") <(date -u -d "@$(dpkg-parsechangelog -S Timestamp)" +%F)
architecture=$(dpkg --print-architecture)
jorvck=$work/jorvck_${version}_$architecture.deb
jorvaudit=$work/jorvaudit_${version}_$architecture.deb
jorvshare=$work/jorvshare_${version}_$architecture.deb
development=$work/libjorv-storage-dev_${version}_all.deb

# No error and no warning, but that the first upload closes no bug: there is none to close.
lintian --allow-root --display-experimental --pedantic --fail-on error,warning \
    --suppress-tags initial-upload-closes-no-bugs "$work/jorvck_${version}_$architecture.changes" >"$work/lintian" 2>&1 ||
    { cat "$work/lintian"; exit 1; }
# The source package holds what is tracked, and debian/ once.
tar -tf "$work/jorvck_${version%-*}.orig.tar.xz" | sed 's|^[^/]*/||' | grep -v '/$' | sort >"$work/sources"
diff <(git ls-files | grep -v '^debian/' | sort) "$work/sources"

# documents PACKAGE NAME...: what every package has in its folder of documents, and these.
documents() { printf "/usr/share/doc/$1/%s\n" changelog.Debian.gz changelog.gz copyright "${@:2}"; }
# Every file of each, directories left out.
files() { dpkg-deb -c "$1" | awk '$1 !~ /^d/ { print $6 }' | sed 's/^\.//' | sort; }
{
    printf '/etc/jorv/%s\n' fstab jorv.toml
    echo /usr/sbin/jorvck
    echo /usr/share/bash-completion/completions/jorvck
    documents jorvck NOTICES.gz README.md.gz reliability.md.gz
    for page in docs/formats/*.md; do
        name=$(basename "$page" .md)
        [[ $name =~ ^(audit-.*|container|recipe|site)$ ]] && continue
        [[ $name == configuration ]] && name=toml
        echo "/usr/share/man/man5/jorv-$name.5.gz" | sed 's/jorv-toml/jorv.toml/'
    done
    echo /usr/share/man/man8/jorvck.8.gz
} | sort | diff - <(files "$jorvck")
{
    echo /etc/default/jorvaudit
    echo /usr/bin/jorvaudit
    echo /lib/systemd/system/jorvaudit@.service
    echo /lib/systemd/system/jorvaudit@.timer
    echo /usr/share/bash-completion/completions/jorvaudit
    documents jorvaudit NOTICES.gz audit-fleet.schema.json audit-report.schema.json fleet.md
    printf '/usr/share/doc/jorvaudit/examples/slurm/%s\n' submit task
    echo /usr/share/man/man5/jorv-audit-fleet.5.gz
    echo /usr/share/man/man5/jorv-audit-report.5.gz
    echo /usr/share/man/man8/jorvaudit.8.gz
} | sort | diff - <(files "$jorvaudit")
{
    echo /usr/bin/jorvshare
    echo /usr/share/bash-completion/completions/jorvshare
    documents jorvshare NOTICES.gz
    ls examples/recipes | sed 's|^|/usr/share/doc/jorvshare/examples/recipes/|'
    echo /usr/share/man/man1/jorvshare.1.gz
    printf '/usr/share/man/man5/jorv-%s.5.gz\n' container recipe site
} | sort | diff - <(files "$jorvshare")
{
    ls storage/*.h | sed 's|^|/usr/include/jorv-storage/|'
    echo /usr/share/cmake/JorvStorage/JorvStorageConfig.cmake
    echo /usr/share/cmake/JorvStorage/JorvStorageConfigVersion.cmake
    echo /usr/share/cmake/JorvStorage/JorvStorageTargets.cmake
    documents libjorv-storage-dev storage-library.md.gz
    ls examples/storage-library/* | sed 's|^examples|/usr/share/doc/libjorv-storage-dev/examples|'
} | sort | diff - <(files "$development")

# Everything below /etc is a configuration file, which an upgrade leaves to the administrator.
for package in "$jorvck" "$jorvaudit"; do
    dpkg-deb --ctrl-tarfile "$package" | tar -xO ./conffiles | sort | diff <(files "$package" | grep '^/etc/') -
done
# Dependencies are those that the programs' libraries ask for.
for package in "$jorvck" "$jorvaudit" "$jorvshare"; do
    dpkg-deb -f "$package" Depends | grep -qE '(^|, )libc6 \(>='
done
# systemd is asked as the distribution's policy allows.
for package in "$jorvck" "$jorvaudit"; do
    if dpkg-deb --ctrl-tarfile "$package" | tar -xO --wildcards './p*' | grep -w systemctl; then exit 1; fi
done
# The audit knows the lines of the checker of its own version.
dpkg-deb -f "$jorvaudit" Depends | grep -qF "jorvck (= $version)"
# The checker and the audit hold no writer, and nothing holds a path of the folder it was built in.
for package in "$jorvck" "$jorvaudit" "$jorvshare" "$development"; do
    dpkg-deb -x "$package" "$work/root"
done
if grep -lrF "$PWD" "$work/root" ||
    nm -DC "$work/root/usr/sbin/jorvck" "$work/root/usr/bin/jorvaudit" | grep -F refstore::Encode; then
    exit 1
fi
nm -DC "$work/root/usr/bin/jorvshare" | grep -F refstore::Encode >/dev/null
basename -a "$work"/*.deb
