# jorvshare killed outright at any moment: make and unpack leave the whole or nothing under the name
# that was asked for, and damage the share as it was or as it should be, byte for byte. pack has
# tests of its own.
bin=$(realpath "$1")
work=$(mktemp -d "${TMPDIR:-/tmp}/jorv-XXXXXX")
trap 'rm -rf "$work"' EXIT
cd "$work"

mkdir source
for i in $(seq 300); do
    printf 'file %s %01000d' "$i" "$i" >"source/f$i"
done
{
    printf '{"shares": [{"id": "7", "files": ['
    for i in $(seq 300); do
        (( i == 1 )) || printf ','
        printf '{"path": "d/f%d", "header": {}, "extent_file": {"extents": [{"start": 0, "end": 4096}]}}' "$i"
    done
    printf ']}]}'
} >recipe.json
"$bin/jorvshare" pack source site --share-id 7 >/dev/null

contents() { (cd "$1" && find . -type f -print0 | sort -z | xargs -0 sha256sum); }
RANDOM=7
echo "seed 7"

most=64
# round COMMAND...: runs it and kills it at a moment drawn from the milliseconds that it takes,
# which are found out on the way, since other work slows some runs and not others; true when it was
# not faster.
round() {
    "$@" >/dev/null 2>&1 &
    local child=$! status=0 moment=$((RANDOM % most))
    sleep "$(printf '%d.%03d' $((moment / 1000)) $((moment % 1000)))"
    kill -KILL "$child" 2>/dev/null || true
    wait "$child" 2>/dev/null || status=$?
    if [[ $status == 137 ]]; then
        most=$((most * 5 / 4 + 1))
        return 0
    fi
    most=$((most * 3 / 4 + 1))
    (( status == 0 )) || { echo "status $status: $*"; exit 1; }
    return 1
}

# Every command is run until it was killed so often.
kills=12

"$bin/jorvshare" make recipe.json made >/dev/null
count=$(find made -type f | wc -l)
killed=0
for ((i = 0; killed < kills; ++i)); do
    if round "$bin/jorvshare" make recipe.json "made$i"; then
        killed=$((killed + 1))
    fi
    # Headers and the table of volumes hold the site's own path, so names and their number count.
    if [[ -e made$i ]]; then
        [[ $(find "made$i" -type f | wc -l) == "$count" ]]
    fi
    rm -rf "made$i" "made$i.partial"
done
echo "make: killed $killed times of $i, whole or nothing"

killed=0
for ((i = 0; killed < kills; ++i)); do
    if round "$bin/jorvshare" unpack site --share-id 7 "back$i"; then
        killed=$((killed + 1))
    fi
    if [[ -e back$i ]]; then
        diff -r source "back$i"
    fi
    rm -rf "back$i" "back$i.partial"
done
echo "unpack: killed $killed times of $i, whole or nothing"

cp -a site/meta sound
before=$(contents site/meta)
"$bin/jorvshare" damage site --share-id 7 --kind header-damaged --seed 3 >/dev/null
after=$(contents site/meta)
[[ $before != "$after" ]]
killed=0
for ((i = 0; killed < kills; ++i)); do
    rm -rf site/meta
    cp -a sound site/meta
    if round "$bin/jorvshare" damage site --share-id 7 --kind header-damaged --seed 3; then
        killed=$((killed + 1))
    fi
    now=$(contents site/meta)
    [[ $now == "$before" || $now == "$after" ]]
done
# What the killed runs had on its way is cleared by the next.
"$bin/jorvshare" damage site --share-id 7 --kind header-cut >/dev/null
[[ -z $(find site -name '.jorv-*') ]]
echo "damage: killed $killed times of $i, the share as before or as told"
