# A share of 10,000 real files, packed in either layout, has no finding; the run changes nothing.
# Then one byte of local data is flipped.
bin=$1
here=$(dirname "$0")
work=$(mktemp -d "${TMPDIR:-/tmp}/jorv-XXXXXX")
trap 'rm -rf "$work"' EXIT

# Contents, and names, types, sizes and times of all that lies under a folder.
state() {
    (cd "$1" && find . -printf '%P %y %m %s %T@ %C@ %l\n' | sort &&
        find . -type f -print0 | sort -z | xargs -0 -r cat | sha256sum)
}

check() {
    local status=0
    JORV_CONFIG=$work/site/jorv.toml "$bin/jorvck" --share_path "$share" \
        >"$work/stdout" 2>"$work/stderr" || status=$?
    [[ $status == 0 ]]
}

# damage KIND: of a file that the walk of the map tree reaches.
damage() {
    "$bin/jorvshare" damage "$work/site" --share-id 7 --kind "$1"
}

"$here/real-files" 10000 "$work/source"
for layout in files tables; do
    "$bin/jorvshare" pack "$work/source" "$work/site" --share-id 7 --layout "$layout" --volumes 2
    state "$work/site" >"$work/before"
    share=$work/site/meta/7/7
    check
    state "$work/site" >"$work/after"
    cmp "$work/before" "$work/after"
    if grep -F '[ERROR]' "$work/stdout" "$work/stderr"; then
        exit 1
    fi
    echo "$layout: no finding in 10,000 files"

    if [[ $layout == files ]]; then
        # One byte of local data: a sampled one is one line more, one between two samples is none.
        cp "$work/stderr" "$work/sound"
        grep -q '^Verify file ' "$work/sound"
        damage storage-unit-unsampled
        check
        cmp "$work/sound" "$work/stderr"
        damage storage-unit-damaged
        check
        [[ $(diff "$work/sound" "$work/stderr" | grep -v '^[0-9]') == "> [ERROR]: extent file cksum failed $share/map/"* ]]
    fi
    rm -rf "$work/site"
done
