# The units hold no mistake, are sandboxed, and what they run checks a share.
build=$1
bin=$build/bin
work=$(mktemp -d "${TMPDIR:-/tmp}/jorv-XXXXXX")
trap 'rm -rf "$work"' EXIT

# As they are installed, but for the place of what they run.
sed "s|/.*/sbin/jorvck|$bin/jorvck|" "$build/systemd/check-share" >"$work/check-share"
chmod +x "$work/check-share"
cp "$build"/systemd/jorvck@.* "$work"
sed -i "s|^ExecStart=.*/check-share |ExecStart=$work/check-share |" "$work/jorvck@.service"
for unit in jorvck@7.service jorvck@7.timer; do
    systemd-analyze verify --man=no "$work/$unit" >"$work/verified" 2>&1 || { cat "$work/verified"; exit 1; }
    if [[ -s $work/verified ]]; then
        cat "$work/verified"
        exit 1
    fi
done
# Fails above the level that is called OK.
systemd-analyze security --offline=true --threshold=49 "$work/jorvck@.service" >"$work/security" 2>&1 ||
    { cat "$work/security"; exit 1; }
level=$(sed -n 's/^.*exposure level for [^:]*: \([0-9.]*\) .*/\1/p' "$work/security")
[[ $level =~ ^[0-4]\.[0-9]$ ]]

mkdir -p "$work/source"
seq 1 5000 >"$work/source/file"
"$bin/jorvshare" pack "$work/source" "$work/site" --share-id 7 --layout tables >"$work/packed"
export JORV_CONFIG=$work/site/jorv.toml JORVCK_META_DIR=$work/site/meta

# By default the metadata alone.
"$work/check-share" 7 >"$work/by-unit" 2>&1
"$bin/jorvck" --share_path "$work/site/meta/7/7" >"$work/by-hand" 2>&1
diff "$work/by-hand" "$work/by-unit"
# Both checks, with findings: those do not fail the service.
"$bin/jorvshare" damage "$work/site" --share-id 7 --kind tables-damaged >"$work/damaged"
JORVCK_CHECKS='metadata data' JORVCK_HOURS=0 "$work/check-share" 7 >"$work/by-unit" 2>&1
{
    "$bin/jorvck" --share_path "$work/site/meta/7/7"
    "$bin/jorvck" --share_id 7 --verify_data --t 0
} >"$work/by-hand" 2>&1
diff "$work/by-hand" "$work/by-unit"
grep -q 'Failed to check data for file: /file' "$work/by-unit"

# What is set wrongly fails it.
if "$work/check-share" 8 2>"$work/stderr"; then exit 1; fi
diff "$work/stderr" <(echo "no share 8 below $JORVCK_META_DIR, see JORVCK_META_DIR in /etc/default/jorvck")
if JORVCK_CHECKS=all "$work/check-share" 7 2>"$work/stderr"; then exit 1; fi
diff "$work/stderr" <(echo 'JORVCK_CHECKS: "all" is neither metadata nor data')
echo "exposure level $level"
