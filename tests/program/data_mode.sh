# File data check mode on 10,000 real files: over 4 volumes nothing is found, and the output is the
# same to the byte; over 8 volumes, with faults in 42 files, and over one, with faults in the files
# around the progress, the lines are those that the model of the checker predicts.
bin=$1
here=$(dirname "$0")
work=$(mktemp -d "${TMPDIR:-/tmp}/jorv-XXXXXX")
trap 'rm -rf "$work"' EXIT
export LC_ALL=C
site=$work/site
export JORV_CONFIG=$site/jorv.toml

# pack VOLUMES: the share "7" of the source over so many volumes.
pack() {
    rm -rf "$site"
    "$bin/jorvshare" pack "$work/source" "$site" --share-id 7 --layout tables --volumes "$1" \
        --container-size 1
    # Every volume has its part.
    [[ $(find "$site/volumes" -name '*.bin' -printf '%h\n' | sort -u | wc -l) == "$1" ]]
}

check() {
    local status=0
    "$bin/jorvck" --share_id 7 --verify_data "$@" >"$work/stdout" 2>"$work/stderr" || status=$?
    [[ $status == 0 ]]
}

# phases HOURS
phases() {
    echo "Checking files which are created before $1 hours in 7"
    echo 'Loading volumes for 7'
    echo 'Loading data containers for 7'
    echo 'Loading headers for 7'
    echo 'Checking files for 7'
    echo 'Check files for 7 done!'
}

"$here/real-files" 9999 "$work/source"
# Six tables of 1 GiB, of which the middle ones are empty.
echo 'the only data' >"$work/source/sparse"
truncate -s $((5 * 1024 * 1024 * 1024 + 1)) "$work/source/sparse"

pack 4
check
phases 0 | cmp - "$work/stdout"
printf 'Total number of file: 10000\n 10000/10000' | cmp - "$work/stderr"
# All files are older than an hour, save the one that was made just now.
check --t 1
phases 1 | cmp - "$work/stdout"
printf 'Total number of file: 10000\n 10000/10000' | cmp - "$work/stderr"
echo '4 volumes: no finding'

predict() { "$bin/model" --share_id 7 --verify_data >"$work/wanted-out" 2>"$work/wanted-err"; }

# damage KIND PATH SEED: breaks the file; the finding that is announced is printed, with its path.
damage() {
    "$bin/jorvshare" damage "$site" --share-id 7 --path "$2" --kind "$1" --seed "$3" |
        grep '^expect of jorvck --verify_data: ' >>"$work/expected"
}

pack 8
kinds=(header-damaged tables-damaged tables-missing tables-directory-missing tables-size dcid-unknown
    dcid-reserved)
number=0
while read -r path; do
    damage "${kinds[number % ${#kinds[@]}]}" "$path" "$number"
    number=$((number + 1))
done < <(cd "$work/source" && find . -type f -size +0 -size -100k -printf '%P\n' | grep -v '[^ -~]' |
    sort | awk 'NR % 200 == 0' | head -n 42)
[[ $number == 42 && $(wc -l <"$work/expected") == 42 ]]
check
predict
cmp "$work/wanted-out" "$work/stdout"
# Workers write at the same time: a line is whole, their order is open. The progress has no line end
# and stands before whatever came next.
lines() { sed 's|^ 10000/10000||' "$1" | sort; }
diff <(lines "$work/wanted-err") <(lines "$work/stderr")
[[ $(grep -c '^ 10000/10000' "$work/stderr") == 1 ]]
echo "8 volumes: $number faults, each told"

pack 1
while read -r path; do
    damage header-damaged "$path" 1
done < <(cd "$site/meta/7/7/head" && find . -type f -printf '%P\n' | sort | tail -n 2)
check
predict
cmp "$work/wanted-out" "$work/stdout"
cmp "$work/wanted-err" "$work/stderr"
[[ $(grep -c 'header file load failed' "$work/stderr") == 2 ]]
grep -q '^ 10000/10000$' "$work/stderr"
echo '1 volume: the progress has a message before it and one after it'
