# A disk that fills up at any point: pack, make and unpack leave the old state, say so in one line,
# and fail; with room again, the same command works. damage leaves the file as it was. On small file
# systems in a mount namespace of its own. JORV_DISKS says how many sizes are tried with each command.
bin=$(realpath "$1")
disks=${JORV_DISKS:-8}
work=$(mktemp -d "${TMPDIR:-/tmp}/jorv-XXXXXX")
trap 'rm -rf "$work"' EXIT

mkdir "$work/source" "$work/disk"
for i in $(seq 40); do
    head -c 20000 /dev/zero | openssl enc -aes-128-ctr -K "$(printf '%032d' "$i")" -iv 0 -nosalt 2>/dev/null >"$work/source/f$i"
    (( i % 2 == 1 )) || cp "$work/source/f$i" "$work/source/again$i"
done
cat >"$work/recipe.json" <<'RECIPE'
{"config": {"use_file_ext_map": 0},
 "volumes": [{"name": "v", "containers": [100, 101, 102], "files": {"a.bin": "x"}}],
 "shares": [{"id": "7", "files": [
    {"path": "a", "header": {}, "extent_file": {"extents": [{"start": 0, "end": 4096}]}, "stu": {"repeat": ["41", 300000]}},
    {"path": "b", "header": {}, "tables": {"tables": [{"offset": 0, "extents": []}]}}]}]}
RECIPE
"$bin/jorvshare" pack "$work/source" "$work/whole" --share-id 7 >/dev/null

# In the namespace: on_disk WORK KIB COMMAND... runs COMMAND on a disk with so much room, then again
# with more. Prints the first status.
cat >"$work/on_disk" <<'ON_DISK'
set -euo pipefail
mount --make-rprivate / 2>/dev/null || true
work=$1 room=$2
shift 2
mount -t tmpfs -o size=24m none "$work/disk"
# Where there is a site already, it is there before the disk fills up.
[[ $* != *"$work/disk/old"* ]] ||
    "$jorvshare" pack "$work/source" "$work/disk/old" --share-id 7 >/dev/null
state() { (cd "$work/disk" && find . ! -path ./fill -printf '%P %y %m\n' | sort && cat $(find . -type f ! -path ./fill | sort) | sha256sum); }
state >"$work/before"
free=$(df --output=avail -k "$work/disk" | tail -n 1)
head -c "$(( (free - room) * 1024 ))" /dev/zero >"$work/disk/fill"
status=0
"$@" >"$work/out" 2>"$work/err" || status=$?
if [[ $status == 1 ]]; then
    state | cmp "$work/before" - >&2
    rm "$work/disk/fill"
    "$@" >/dev/null
fi
umount "$work/disk"
echo "$status"
ON_DISK
namespace=(unshare --mount --propagation unchanged)
(( EUID == 0 )) || namespace+=(--map-root-user)
on_disk() { jorvshare=$bin/jorvshare "${namespace[@]}" bash "$work/on_disk" "$work" "$@"; }

RANDOM=14
echo "seed 14"
for what in pack-files pack-tables pack-into make unpack; do
    case $what in
        pack-into) run=("$bin/jorvshare" pack "$work/source" "$work/disk/old" --share-id 8 --vcopy p:t:i) ;;
        pack-*) run=("$bin/jorvshare" pack "$work/source" "$work/disk/site" --share-id 7 --layout "${what#pack-}") ;;
        make) run=("$bin/jorvshare" make "$work/recipe.json" "$work/disk/site") ;;
        unpack) run=("$bin/jorvshare" unpack "$work/whole" --share-id 7 "$work/disk/back") ;;
    esac
    # Room for the most that any of them takes.
    [[ $(on_disk 8000 "${run[@]}") == 0 ]]
    failed=0
    most=2000
    for ((i = 0; i < disks; ++i)); do
        room=$((4 * (RANDOM % (most / 4))))
        status=$(on_disk "$room" "${run[@]}")
        if [[ $status == 0 ]]; then
            # There was room: from now on the sizes are below this one.
            most=$((room < 8 ? 8 : room))
            continue
        fi
        failed=$((failed + 1))
        if [[ $status != 1 || $(wc -l <"$work/err") != 1 || -s $work/out ]] ||
            ! grep -qE '^jorvshare: .*No space left on device' "$work/err"; then
            echo "$what with $room KiB: status $status"
            cat "$work/err"
            exit 1
        fi
    done
    (( failed >= disks / 4 ))
    echo "$what: $failed runs failed as they should and worked with more room, $((disks - failed)) found room"
done

# Room for the site alone.
status=$(on_disk 0 "$bin/jorvshare" damage "$work/disk/old" --share-id 7 --kind header-cut)
[[ $status == 1 && $(wc -l <"$work/err") == 1 ]] || { echo "damage: status $status"; cat "$work/err"; exit 1; }
echo "damage: failed as it should and changed nothing"
