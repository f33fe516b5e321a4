# Packing and unpacking gives back every file, in both layouts: of 2,500 real files of this machine
# and of a made tree of awkward ones.
bin=$1
here=$(dirname "$0")
work=$(mktemp -d "${TMPDIR:-/tmp}/jorv-XXXXXX")
trap 'rm -rf "$work"' EXIT

"$here/real-files" 2500 "$work/real"
"$here/made-tree" "$work/made"
for source in real made; do
    for layout in files tables; do
        "$bin/jorvshare" pack "$work/$source" "$work/site" --share-id 7 --layout "$layout" --volumes 3
        "$bin/jorvshare" unpack "$work/site" --share-id 7 "$work/back"
        diff -r --no-dereference "$work/$source" "$work/back"
        # Sizes and times as well, which diff does not look at; directories keep no time of theirs.
        for tree in "$source" back; do
            (cd "$work/$tree" && find . -type f -printf '%P %s %T@ %m\0' | sort -z >"$work/$tree.list")
        done
        cmp "$work/$source.list" "$work/back.list"
        rm -rf "$work/site" "$work/back"
        echo "$source, $layout: the same $(find "$work/$source" -type f | wc -l) files"
    done
done
