# Every kind of damage that jorvshare knows, in both layouts: the checker's output differs from that
# on the sound share by the announced lines and by nothing else. One volume, so that the order in
# which files are checked is always the same; lines are compared as multisets all the same, since
# what is put in place anew may move in its directory's listing.
bin=$1
source "$(dirname "$0")/announcements"
work=$(mktemp -d "${TMPDIR:-/tmp}/jorv-XXXXXX")
trap 'rm -rf "$work"' EXIT
export LC_ALL=C
site=$work/site
share=$site/meta/7/7
export JORV_CONFIG=$site/jorv.toml

# Files with data of their own, of one extent and of several, and data that files share. The walk
# of the map tree sees one directory of a level, whichever is listed first: so all are alike.
make_source() {
    local directory number
    for directory in "$1"/{a,b}{,/c,/d}; do
        mkdir -p "$directory"
        for number in 1 2 3; do
            seq "$number" 60000 | sed "s|^|$directory |" | tail -c 300000 >"$directory/long-$number"
            { seq 1 9000; echo "$directory $number"; } >"$directory/short-$number"
            # The first extent is shared, the second is not.
            { head -c 131072 /dev/zero | tr '\0' s; echo "$directory $number"; } >"$directory/mixed-$number"
        done
        head -c 70000 /dev/zero | tr '\0' w >"$directory/shared"
        : >"$directory/empty"
    done
    find "$1" -type f -exec touch -d '2020-05-17 10:00:00 UTC' {} +
}

restore() {
    rm -rf "$site"
    cp -a "$work/pristine" "$site"
}

make_source "$work/source"
"$bin/jorvshare" damage --list | tail -n +2 >"$work/list"
(( $(wc -l <"$work/list") > 40 ))
failures=0
for layout in files tables; do
    runs=0
    rm -rf "$site" "$work/pristine"
    "$bin/jorvshare" pack "$work/source" "$site" --share-id 7 --layout "$layout" --volumes 1 \
        --container-size 1 --vcopy policy:time:image
    cp -a "$site" "$work/pristine"
    while read -r kind files tables summary; do
        modes=$files
        [[ $layout == files ]] || modes=$tables
        for seed in 1 2; do
            restore
            if [[ $modes == - ]]; then
                status=0
                "$bin/jorvshare" damage "$site" --share-id 7 --kind "$kind" 2>"$work/error" || status=$?
                [[ $status == 1 && $(<"$work/error") == \
                    "jorvshare: $site: kind $kind does not apply to the layout $layout" ]]
                break
            fi
            for mode in ${modes//,/ }; do
                check "$mode" "$work/sound-$mode"
                [[ $(<"$work/sound-$mode.status") == 0 ]]
            done
            "$bin/jorvshare" damage "$site" --share-id 7 --kind "$kind" --seed "$seed" >"$work/announced"
            grep -q '^changed: ' "$work/announced"
            # A kind that breaks nothing and says so would agree with the checker: so each must have
            # a finding to announce, unless it is listed as one that has none.
            findings=$(grep -cE '^expect .*(\[ERROR\]|\[JORVCK_VCOPY\]|unhandled exception|Failed to load)' \
                "$work/announced" || true)
            good=no
            case $summary in
                *': no finding') (( findings > 0 )) || good=yes ;;
                *) (( findings == 0 )) || good=yes ;;
            esac
            if [[ $good == no ]]; then
                echo "FAILED: $kind ($summary), $layout, seed $seed: $findings findings announced"
                failures=$((failures + 1))
            fi
            # All that is announced is of the modes that are run.
            sed -nE 's/^(expect|lose) ([a-z-]+) .*/\2/p' "$work/announced" | sort -u >"$work/modes"
            tr ',' '\n' <<<"$modes" | sort | comm -13 - "$work/modes" >"$work/strange"
            [[ ! -s $work/strange ]]
            for mode in ${modes//,/ }; do
                agrees "$mode" "$kind ($summary), $layout, seed $seed" || failures=$((failures + 1))
                runs=$((runs + 1))
            done
        done
    done <"$work/list"
    echo "$layout: $runs runs, $failures failures"
    (( runs > 90 ))
done
(( failures == 0 ))
