# jorvshare killed outright at any moment. make, pack and unpack leave the old state or the whole new
# one under the name that was asked for, and the next run works with all that the killed one left
# beside it. damage leaves the share as it was or as it should be, byte for byte. JORV_KILLS says how often
# each command is killed.
bin=$(realpath "$1")
kills=${JORV_KILLS:-12}
work=$(mktemp -d "${TMPDIR:-/tmp}/jorv-XXXXXX")
trap 'rm -rf "$work"' EXIT
cd "$work"

mkdir source
for i in $(seq 300); do
    printf 'file %s %01000d' "$i" "$i" >"source/f$i"
    # Every other one a second time, so that there are containers.
    (( i % 2 == 1 )) || cp "source/f$i" "source/again$i"
done
{
    printf '{"volumes": [{"name": "v", "containers": [70]}], "shares": [{"id": "7", "files": ['
    for i in $(seq 300); do
        (( i == 1 )) || printf ','
        printf '{"path": "d/f%d", "header": {}, "extent_file": {"extents": [{"start": 0, "end": 4096}]}}' "$i"
    done
    printf ']}]}'
} >recipe.json

contents() { (cd "$1" && find . -type f -print0 | sort -z | xargs -0 sha256sum); }
RANDOM=7
echo "seed 7"

most=64
# round COMMAND...: runs it and kills it at a moment drawn from the milliseconds that it takes,
# which are found out on the way, since other work slows some runs and not others; true when it was
# not faster. A run that comes to its end must have worked.
round() {
    "$@" >/dev/null 2>"$work/said" &
    local child=$! status=0 moment=$((RANDOM % most))
    sleep "$(printf '%d.%03d' $((moment / 1000)) $((moment % 1000)))"
    kill -KILL "$child" 2>/dev/null || true
    wait "$child" 2>/dev/null || status=$?
    if [[ $status == 137 ]]; then
        most=$((most * 5 / 4 + 1))
        return 0
    fi
    most=$((most * 3 / 4 + 1))
    (( status == 0 )) || { echo "status $status: $*"; cat "$work/said"; exit 1; }
    return 1
}

# Whole or nothing: NAME COMMAND... makes NAME, of which $work/wanted says what is in it.
whole_or_nothing() {
    local name=$1 killed=0 i whole=0
    shift
    "$@" >/dev/null
    contents "$name" >wanted
    rm -rf "$name"
    for ((i = 0; killed < kills; ++i)); do
        if round "$@"; then
            killed=$((killed + 1))
        fi
        if [[ -e $name ]]; then
            contents "$name" | cmp - wanted
            whole=$((whole + 1))
            rm -rf "$name"
        fi
    done
    "$@" >/dev/null
    contents "$name" | cmp - wanted
    [[ ! -e $name.partial ]]
    echo "$2: killed $killed times of $i, $whole times whole, else nothing"
}

whole_or_nothing made "$bin/jorvshare" make recipe.json made
whole_or_nothing new "$bin/jorvshare" pack source new --share-id 7 --vcopy p:t:i
rm -rf new
"$bin/jorvshare" pack source site --share-id 7 >/dev/null
whole_or_nothing back "$bin/jorvshare" unpack site --share-id 7 back
diff -r source back

# A second share of a site: the first stays as it is, the second is there whole or not at all, and
# a killed run is no finding.
run=("$bin/jorvshare" pack source site --share-id 8 --vcopy p:t:i)
contents site/meta/7 >first
check() {
    JORV_CONFIG=site/jorv.toml "$bin/jorvck" "$@" >checked 2>&1
    if grep -E '\[ERROR\]|Failed to load' checked; then exit 1; fi
}
killed=0 added=0
for ((i = 0; killed < kills; ++i)); do
    if round "${run[@]}"; then
        killed=$((killed + 1))
    fi
    contents site/meta/7 | cmp - first
    check --share_path site/meta/7/7
    [[ -z $(comm -13 <(find site/volumes -name '*.bhd' | sed 's/bhd$/bin/' | sort) \
        <(find site/volumes -name '*.bin' | sort)) ]]
    if [[ -e site/meta/8/8 ]]; then
        "$bin/jorvshare" verify site --share-id 8 >/dev/null
        check --share_path site/meta/8/8
        grep -q 'validating vcopy' checked
        added=$((added + 1))
        rm -rf site/meta/8/8
    fi
done
"${run[@]}" >/dev/null
[[ -z $(find site -name '*.partial' ! -type d -o -name '*.partial' -type d ! -empty) ]]
rm -rf back
"$bin/jorvshare" unpack site --share-id 8 back >/dev/null
diff -r source back
echo "pack into a site: killed $killed times of $i, $added times added, else as before"

rm -rf site
"$bin/jorvshare" pack source site --share-id 7 >/dev/null
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
[[ -z $(find site -name '*.partial') ]]
echo "damage: killed $killed times of $i, the share as before or as announced"
