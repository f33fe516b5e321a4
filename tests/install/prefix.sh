# `cmake --install --prefix` puts everything below the prefix and nothing anywhere else, and what it
# installs works from there.
build=$1
work=$(mktemp -d "${TMPDIR:-/tmp}/jorv-XXXXXX")
trap 'rm -rf "$work"' EXIT

cmake --install "$build" --prefix "$work/prefix" >"$work/log"
sed -n 's/^-- Installing: //p; s/^-- Up-to-date: //p' "$work/log" >"$work/installed"
(( $(wc -l <"$work/installed") > 60 ))
if grep -v "^$work/prefix/" "$work/installed"; then exit 1; fi

cd "$work"
mkdir source
seq 1 5000 >source/file
prefix/bin/jorvshare pack source site --share-id 7 >packed
JORV_CONFIG=site/jorv.toml prefix/sbin/jorvck --share_path site/meta/7/7 2>stderr >stdout
diff stderr <(echo 'Verify file site/meta/7/7/map/file'; echo '[JORVCK_VCOPY] Vcopy file not found!')
JORV_CONFIG=site/jorv.toml prefix/bin/jorvaudit run --share_path site/meta/7/7 --output audit >audited
grep -qx 'Verdict: sound: everything was looked at' audited
MANPATH=$work/prefix/share/man man -w 8 jorvck | diff - <(echo "$work/prefix/share/man/man8/jorvck.8")
test -f prefix/share/doc/jorvck/examples/jorv.toml
prefix/bin/jorvshare make prefix/share/doc/jorvshare/examples/recipes/two-findings.json made >packed
JORV_CONFIG=made/jorv.toml prefix/sbin/jorvck --share_path made/meta/7/7 2>found >stdout
for finding in 'the transID for header file and extent file mismatch' \
    'extent file cksum failed made/meta/7/7/map/a/file'; do
    grep -qxF "[ERROR]: $finding" found
done
echo "$(wc -l <installed) files below the prefix"
