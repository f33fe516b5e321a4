# Every 10,000 files the file data check writes its progress without a line end, so what is written
# next stands on the same line. What jorvshare damage announces is right beside such a place too:
# for shares of 9,999, of 10,000 and of 10,001 files, each file damaged that is near it.
bin=$1
source "$(dirname "$0")/announcements"
work=$(mktemp -d "${TMPDIR:-/tmp}/jorv-XXXXXX")
trap 'rm -rf "$work"' EXIT
export LC_ALL=C JORV_CONFIG=$work/site/jorv.toml
share=$work/site/meta/7/7

mkdir "$work/source"
seq -f "$work/source/f%05g" 10001 | while read -r file; do echo "$file" >"$file"; done
"$bin/jorvshare" pack "$work/source" "$work/site" --share-id 7 --layout tables --volumes 1

failures=0
for last in f09999 f10000 f10001; do
    # One file more from round to round.
    if [[ $last == f09999 ]]; then
        mv "$share"/head/f1000[01] "$work"
    else
        mv "$work/$last" "$share/head"
    fi
    check data "$work/sound-data"
    number=$((10#${last#f}))
    grep -q " $number/$number\$" "$work/sound-data.stderr"
    for kind in header-damaged header-missing header-size; do
        for file in f00001 f09998 f09999 f10000 f10001; do
            [[ ! $file > $last ]] || continue
            cp -p "$share/head/$file" "$work/header"
            "$bin/jorvshare" damage "$work/site" --share-id 7 --kind "$kind" --path "$file" >"$work/announced"
            agrees data "$kind, $file of $number" || failures=$((failures + 1))
            cp -p "$work/header" "$share/head/$file"
        done
    done
done
(( failures == 0 ))
