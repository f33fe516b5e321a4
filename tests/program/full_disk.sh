# A disk that is full: pack, make and unpack leave nothing, say so in one line, and fail; damage
# leaves the file as it was. On small file systems in a mount namespace of its own.
bin=$(realpath "$1")
work=$(mktemp -d "${TMPDIR:-/tmp}/jorv-XXXXXX")
trap 'rm -rf "$work"' EXIT

mkdir "$work/source" "$work/disk"
for i in $(seq 40); do
    head -c 20000 /dev/zero | openssl enc -aes-128-ctr -K "$(printf '%032d' "$i")" -iv 0 -nosalt 2>/dev/null >"$work/source/f$i"
done
cat >"$work/recipe.json" <<'RECIPE'
{"config": {"use_file_ext_map": 0},
 "volumes": [{"name": "v", "containers": [100, 101, 102], "files": {"a.bin": "x"}}],
 "shares": [{"id": "7", "files": [
    {"path": "a", "header": {}, "extent_file": {"extents": [{"start": 0, "end": 4096}]}, "stu": {"repeat": ["41", 300000]}},
    {"path": "b", "header": {}, "tables": {"tables": [{"offset": 0, "extents": []}]}}]}]}
RECIPE
"$bin/jorvshare" pack "$work/source" "$work/whole" --share-id 7 >/dev/null

# In the namespace: full WORK SIZE COMMAND... runs COMMAND on a disk of SIZE. Prints its status.
cat >"$work/full" <<'FULL'
set -euo pipefail
mount --make-rprivate / 2>/dev/null || true
work=$1 size=$2
shift 2
mount -t tmpfs -o "size=$size" none "$work/disk"
status=0
"$@" >"$work/out" 2>"$work/err" || status=$?
find "$work/disk" -mindepth 1 | wc -l >"$work/left"
umount "$work/disk"
echo "$status"
FULL
namespace=(unshare --mount --propagation unchanged)
(( EUID == 0 )) || namespace+=(--map-root-user)

full() {
    "${namespace[@]}" bash "$work/full" "$work" "$@"
}

for what in pack make unpack; do
    case $what in
        pack) run=("$bin/jorvshare" pack "$work/source" "$work/disk/site" --share-id 7 --layout) ;;
        make) run=("$bin/jorvshare" make "$work/recipe.json" "$work/disk/site") ;;
        unpack) run=("$bin/jorvshare" unpack "$work/whole" --share-id 7 "$work/disk/back") ;;
    esac
    failed=0 done=0
    for size in 8k 16k 32k 64k 128k 300k 600k 900k 8m; do
        for layout in files tables; do
            words=("${run[@]}")
            [[ $what == pack ]] && words+=("$layout")
            status=$(full "$size" "${words[@]}")
            if [[ $status == 0 ]]; then
                done=$((done + 1))
                continue
            fi
            failed=$((failed + 1))
            [[ $status == 1 && $(wc -l <"$work/err") == 1 && ! -s $work/out && $(<"$work/left") == 0 ]] &&
                grep -qE '^jorvshare: .*No space left on device' "$work/err" || {
                echo "$what on $size: status $status, $(<"$work/left") entries left"
                cat "$work/err"
                exit 1
            }
        done
    done
    (( failed > 3 && done > 0 ))
    echo "$what: $failed runs failed as they should, $done found room"
done

# Room for the site alone.
cat >"$work/damage" <<'DAMAGE'
set -euo pipefail
whole=$1 disk=$2 bin=$3
contents() { (cd "$disk/site" && find . -type f | sort | xargs sha256sum); }
cp -a "$whole" "$disk/site"
sed -i "s|$whole|$disk/site|g" "$disk/site/fstab"
before=$(contents)
dd if=/dev/zero of="$disk/fill" bs=4096 2>/dev/null || true
status=0
"$bin/jorvshare" damage "$disk/site" --share-id 7 --kind header-cut || status=$?
[[ $(contents) == "$before" ]] || exit 9
exit "$status"
DAMAGE
status=$(full 4m bash "$work/damage" "$work/whole" "$work/disk" "$bin")
[[ $status == 1 && $(wc -l <"$work/err") == 1 ]] || { echo "damage: status $status"; cat "$work/err"; exit 1; }
echo "damage: failed as it should and changed nothing"
