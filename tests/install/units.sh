# The units hold no mistake, are sandboxed, and what they run audits a share: with the rights that the
# unit gives and no others, within the system calls that it allows.
build=$1
bin=$build/bin
work=$(mktemp -d "${TMPDIR:-/tmp}/jorv-XXXXXX")
trap 'rm -rf "$work"' EXIT

# As they are installed, but for the place of what they run.
cp "$build"/systemd/jorvaudit@.* "$work"
sed -i "s|exec /.*/bin/jorvaudit |exec $bin/jorvaudit |" "$work/jorvaudit@.service"
for unit in jorvaudit@7.service jorvaudit@7.timer; do
    systemd-analyze verify --man=no "$work/$unit" >"$work/verified" 2>&1 || { cat "$work/verified"; exit 1; }
    if [[ -s $work/verified ]]; then
        cat "$work/verified"
        exit 1
    fi
done
# Fails above the level that is called OK.
systemd-analyze security --offline=true --threshold=49 "$work/jorvaudit@.service" >"$work/security" 2>&1 ||
    { cat "$work/security"; exit 1; }
level=$(sed -n 's/^.*exposure level for [^:]*: \([0-9.]*\) .*/\1/p' "$work/security")
[[ $level =~ ^[0-4]\.[0-9]$ ]]

# Root's own, as a share of a storage server is.
chmod 755 "$work"
mkdir -p "$work/source/d"
for i in {1..9}; do seq 1 "${i}000" >"$work/source/d/f$i"; done
"$bin/jorvshare" pack "$work/source" "$work/site" --share-id 7 --layout tables >"$work/packed"
"$bin/jorvshare" pack "$work/source" "$work/other" --share-id 8 >"$work/packed"
chmod 700 "$work/site"
states=$work/lib/jorvaudit
as=()
if (( EUID == 0 )); then
    # The one capability of the unit, and no right to anything of this user.
    capability=dac_read_search
    grep -qx "AmbientCapabilities=CAP_${capability^^}" "$work/jorvaudit@.service"
    as=(setpriv --reuid=65534 --regid=65534 --clear-groups --inh-caps="-all,+$capability"
        --ambient-caps="-all,+$capability" --bounding-set="-all,+$capability" --no-new-privs)
fi

# start ID: what systemd does with the lines of the unit. The status is that of ExecStart; what goes to
# the journal is in "journal".
start() {
    local id=$1 status=0 key line
    # A directory of systemd's that is reached by a link, as it is for a user that comes and goes.
    mkdir -p "$states" "$work/private/$id"
    ln -sfn "$work/private/$id" "$states/$id"
    (( EUID != 0 )) || chown -R 65534:65534 "$work/private/$id"
    : >"$work/journal"
    while IFS='=' read -r key line; do
        line=${line//%i/$id}
        line=${line//%S/$work/lib}
        line=${line#-}
        local ended=0
        "${as[@]}" "${wrap[@]}" bash -c "umask 077; ${line//\$\$/\$}" >>"$work/journal" 2>&1 || ended=$?
        if [[ $key == ExecStart ]]; then
            status=$ended
        elif (( ended != 0 )); then
            echo "$key failed"
            cat "$work/journal"
            exit 1
        fi
    done < <(grep -E '^Exec[A-Za-z]*=' "$work/jorvaudit@.service")
    return "$status"
}
# ends STATUS ID
ends() {
    local status=0
    start "$2" || status=$?
    (( status == $1 )) || { echo "share $2: status $status, not $1"; cat "$work/journal"; exit 1; }
}
journal() { sed -E 's/[0-9-]{10}T[0-9:]{8}Z/TIME/g' "$work/journal"; }
wrap=()

export JORV_CONFIG=$work/site/jorv.toml JORVAUDIT_OPTIONS='--t 0 --jobs 2'
ends 0 7
diff - <(journal) <<END
Share $work/site/meta/7/7, id 7, mapping tables
Audited from TIME to TIME
Verdict: sound: everything was looked at
All of it: $states/7/report.html and report.json; the files: affected.txt
END
# Metadata, and data where the layout has tables.
grep -qE '^  headers +9 +9 +100 %$' "$states/7/report.txt"
grep -qE '^  file data check +9 +9 +100 %$' "$states/7/report.txt"
[[ ! -e $states/7/previous.json ]]

# Damage that ends the checker's walk of headers, and damage that only the other check finds: both are
# found, the unit fails, and the journal stays short.
printf x >>"$work/site/meta/7/7/head/d/f1"
"$bin/jorvshare" damage "$work/site" --share-id 7 --kind header-size --path d/f2 >"$work/damaged"
cp "$states/7/report.json" "$work/first.json"
ends 4 7
grep -qx 'Verdict: damaged' "$work/journal"
grep -qx '\* damaged header (1 file)' "$work/journal"
grep -qx '\* sizes that differ between header and extents (1 file)' "$work/journal"
(( $(wc -l <"$work/journal") < 12 ))
cmp "$work/first.json" "$states/7/previous.json"
"$bin/jorvaudit" diff "$states/7/previous.json" "$states/7/report.json" >"$work/changes" && exit 1
grep -qx '  d/f1: damaged header' "$work/changes"

# An audit that was interrupted goes on; one that is older than a day is begun anew.
printf '{"half a line' >"$states/7/journal"
ends 4 7
echo '{"audit":{"of":"another"},"started":1}' >"$states/7/journal"
ends 8 7
grep -q 'the interrupted audit was another one' "$work/journal"
(( $(wc -l <"$work/journal") == 1 ))
touch -d '2 days ago' "$states/7/journal"
ends 4 7

# The checker's lines of earlier audits are not kept.
(( $(grep -c 'Check files for 7 done!' "$states/7/raw/data.stdout") == 1 ))

# The other layout, and a share that is not there.
export JORV_CONFIG=$work/other/jorv.toml
# Within the system calls that the unit allows.
if command -v strace >/dev/null; then
    wrap=(strace -f -qq -A -o "$work/trace")
    # It sees all with the rights of this user.
    as=()
fi
ends 0 8
grep -qE '^  local data +9 +9 +100 %$' "$states/8/report.txt"
if grep -q 'file data check' "$states/8/report.txt"; then exit 1; fi
wrap=()
ends 8 6
grep -qx 'Verdict: not all could be looked at' "$work/journal"
grep -q '^\* share that is not there: ' "$work/journal"

# members SET: the system calls of a set of systemd's, those of the sets in it included.
members() {
    local word
    for word in $(systemd-analyze syscall-filter "$1" | sed '1d; s/#.*//'); do
        [[ $word == @* ]] && members "$word" || echo "$word"
    done
}
grep -qx 'SystemCallFilter=@system-service' "$work/jorvaudit@.service"
grep -qx 'SystemCallFilter=~@privileged @resources' "$work/jorvaudit@.service"
comm -23 <({ members @default; members @system-service; } | sort -u) <({ members @privileged; members @resources; } | sort -u) >"$work/allowed"
sed -nE 's/^[0-9]+ +([a-z_0-9]+)\(.*/\1/p' "$work/trace" | sort -u >"$work/called"
grep -qx 'execve' "$work/called"
diff <(comm -23 "$work/called" "$work/allowed") /dev/null
echo "exposure level $level, $(wc -l <"$work/called") system calls"
