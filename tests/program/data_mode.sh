# File data check mode on 10,000 real files: over 4 volumes nothing is found, and the output is the
# same to the byte; over 8 volumes, with faults in 42 files, exactly these are reported.
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

pack 8
kinds=(header-damaged tables-damaged tables-missing tables-directory-missing tables-size dcid-unknown
    dcid-reserved)
number=0
while read -r path; do
    "$bin/jorvshare" damage "$site" --share-id 7 --path "$path" --seed "$number" \
        --kind "${kinds[number % ${#kinds[@]}]}" >>"$work/announced"
    number=$((number + 1))
done < <(cd "$work/source" && find . -type f -size +0 -size -100k -printf '%P\n' | grep -v '[^ -~]' |
    sort | awk 'NR % 200 == 0' | head -n 42)
[[ $number == 42 ]]
check
phases 0 | cmp - "$work/stdout"
# Workers write at the same time: a line is whole, their order is open. The progress has no line end
# and comes before the line that was printed next.
"$bin/model" --share_id 7 --verify_data 2>"$work/expected" >"$work/phases"
cmp "$work/phases" "$work/stdout"
sed 's|^ 10000/10000||' "$work/expected" | sort >"$work/wanted"
# Each damaged file has a finding.
(( $(grep -c '^\[ERROR\]' "$work/expected") >= number ))
sed 's|^ 10000/10000||' "$work/stderr" | sort >"$work/found"
diff "$work/wanted" "$work/found"
[[ $(grep -c '^ 10000/10000' "$work/stderr") == 1 ]]
echo "8 volumes: $number faults, each reported"
