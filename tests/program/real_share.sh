# A share of 10,000 real files, packed in either layout, has no finding; the run changes nothing.
bin=$1
here=$(dirname "$0")
work=$(mktemp -d "${TMPDIR:-/tmp}/jorv-XXXXXX")
trap 'rm -rf "$work"' EXIT

# Contents, and names, types, sizes and times of all that lies under a folder.
state() {
    (cd "$1" && find . -printf '%P %y %m %s %T@ %C@ %l\n' | sort &&
        find . -type f -print0 | sort -z | xargs -0 -r cat | sha256sum)
}

"$here/real-files" 10000 "$work/source"
for layout in files tables; do
    "$bin/jorvshare" pack "$work/source" "$work/site" --share-id 7 --layout "$layout" --volumes 2
    state "$work/site" >"$work/before"
    share=$work/site/meta/7/7
    status=0
    JORV_CONFIG=$work/site/jorv.toml "$bin/jorvck" --share_path "$share" \
        >"$work/stdout" 2>"$work/stderr" || status=$?
    state "$work/site" >"$work/after"
    cmp "$work/before" "$work/after"
    [[ $status == 0 ]]
    if grep -qF '[ERROR]' "$work/stdout" "$work/stderr"; then
        grep -F '[ERROR]' "$work/stdout" "$work/stderr" | head
        exit 1
    fi
    rm -rf "$work/site"
    echo "$layout: no finding in 10,000 files"
done
