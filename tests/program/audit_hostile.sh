# Names cannot forge a finding, hide one, or steer the terminal or the page that shows the report.
bin=$1
here=$(realpath "$(dirname "$0")")
work=$(mktemp -d "${TMPDIR:-/tmp}/jorv-XXXXXX")
trap 'rm -rf "$work"' EXIT
cd "$work"

"$here/made-tree" source
rm source/sparse
cd source
echo v >victim
echo n >neighbour
forged=$'x\n\n[ERROR]: Cannot find dcid: 70 file: /mnt/jorv/7/7/victim\n[ERROR]: File information, path: '
mkdir -p "$forged/d"
echo 1 >"$forged/d/damaged"
echo 2 >"$forged/d/sound"
echo 3 >$'\n[ERROR]: Failed to check data for file: '
mkdir -p $'\n[ERROR]: Failed to check data for file: d'
echo 3 >$'\n[ERROR]: Failed to check data for file: d/victim\n'
mkdir -p header/headroom 'a/head'
echo 4 >header/headroom/head
echo 5 >a/head/map
# Mapping tables are in a file of this name.
mkdir tables
echo 5 >tables/data.mdb
# The path, of two directories and a file, is a piece of a page.
mkdir -p '</script><script>alert(1)<'
echo 6 >'</script><script>alert(1)</script>'
echo 7 >$'"onload="x'
echo 8 >$'\xe2\x80\xaefdp.exe'
echo 9 >$'\xc2\x9b31m'
cd "$work"

for layout in files tables; do
    rm -rf site report
    "$bin/jorvshare" pack source site --share-id 7 --layout "$layout" >packed 2>&1
    export JORV_CONFIG=$work/site/jorv.toml
    share=site/meta/7/7
    # A line end in a path of the share's own place is another matter: views lie elsewhere.
    "$bin/jorvaudit" run --share_path "$share" --share_id 7 --output report >printed || { cat printed; exit 1; }
    grep -qx 'Verdict: sound: everything was looked at' printed

    # The tables, or extents, of the files with the worst names.
    : >expected
    while IFS= read -r -d '' name; do
        extents=$(find "$share/map/$name" -type f -printf x | wc -c)
        (( extents == 1 ))
        find "$share/map/$name" -type f -exec truncate --size=-1 {} +
        printf '%s\0' "$name" >>expected
    done < <(printf '%s\0' "$forged/d/damaged" $'\n[ERROR]: Failed to check data for file: ' \
        $'\n[ERROR]: Failed to check data for file: d/victim\n' $'\x1b[31mescape' $'no utf-8 \xff\xfe\xc0' \
        header/headroom/head a/head/map $'</script><script>alert(1)</script>' $'"onload="x' \
        $'\xe2\x80\xaefdp.exe' $'\xc2\x9b31m' "$(printf 'n%.0s' {1..255})")
    status=0
    "$bin/jorvaudit" run --share_path "$share" --share_id 7 --output report >printed || status=$?
    # Local data is not looked at where the extent file that names it is damaged.
    if [[ $layout == files ]]; then (( status == 12 )); else (( status == 4 )); fi
    diff <(LC_ALL=C sort -z expected) report/affected0 || { cat -v printed; exit 1; }
    grep -q '^  neighbour:\|^  victim:' printed && exit 1

    "$bin/jorvaudit" show report >shown
    "$bin/jorvaudit" diff report report >compared
    "$bin/jorvaudit" show report --prometheus >metrics
    for form in printed shown compared metrics report/affected.txt report/report.json report/report.html report/raw/views.txt; do
        # Nothing but text and line ends, in valid UTF-8, and no character that turns text round.
        if LC_ALL=C grep -nP '[\x00-\x08\x0b-\x1f\x7f]|\xc2[\x80-\x9f]|\xe2\x80\xae' "$form" ||
            ! iconv -f utf-8 -t utf-8 "$form" >/dev/null; then
            echo "$layout: $form holds what it should not"
            exit 1
        fi
    done
    (( $(wc -l <report/affected.txt) == $(tr -cd '\0' <expected | wc -c) ))
    # No line of any form begins as a line of the checker does, but where the page quotes one.
    if grep -n '^\[ERROR\]' printed shown compared report/affected.txt; then exit 1; fi
    # One script element, and no attribute but the page's own.
    (( $(grep -c '<script' report/report.html) == $(grep -c '<script' "$here/../../jorvaudit/page.html") ))
    if grep -n 'onload=' report/report.html | grep -v '&quot;onload=&quot;x\|\\"onload=\\"x'; then exit 1; fi
    # The bytes come back.
    python3 - report/report.json expected <<'END'
import json, sys
report = json.load(open(sys.argv[1]))
names = {bytes.fromhex(f["name_bytes"]) if "name_bytes" in f else f["name"].encode()
         for f in report["findings"] if f["object"] == "file"}
assert names == set(open(sys.argv[2], "rb").read().split(b"\0")[:-1]), names
END
    # An entry with both forms of a name, as the report has it, acknowledges that file.
    python3 - report/report.json >known.toml <<'END'
import json, sys
for found in json.load(open(sys.argv[1]))["findings"]:
    if "name_bytes" in found:
        name = json.dumps(found["name"], ensure_ascii=False)
        print(f'[[finding]]\nkind = "{found["kind"]}"\nobject = "{found["object"]}"\nname = {name}')
        print(f'name_bytes = "{found["name_bytes"]}"\ndate = 2026-11-20')
END
    "$bin/jorvaudit" run --share_path "$share" --share_id 7 --output report --acknowledge known.toml >printed || true
    python3 - report/report.json <<'END'
import json, sys
known = {"acknowledged" in found for found in json.load(open(sys.argv[1]))["findings"] if "name_bytes" in found}
assert known == {True}, known
END
    echo "$layout: $(wc -l <report/affected.txt) hostile names"
done

# A path that is too long below the scratch directory costs the data check of its own file, and no more.
deep=$(printf "$(printf 'p%.0s' {1..240})/%.0s" {1..15})
mkdir -p "deep/$deep"
echo 1 >"deep/${deep}file"
echo 2 >deep/damaged
echo 3 >$'deep/line\nend'
"$bin/jorvshare" pack deep deep-site --share-id 7 --layout tables >packed
export JORV_CONFIG=$work/deep-site/jorv.toml
truncate --size=-1 deep-site/meta/7/7/map/damaged/data.mdb
long=$work/$(printf 't%.0s' {1..250})/$(printf 't%.0s' {1..250})
mkdir -p "$long"
status=0
TMPDIR=$long "$bin/jorvaudit" run --share_path deep-site/meta/7/7 --share_id 7 --output report >printed || status=$?
(( status == 12 ))
diff <(printf '%s\n' damaged "${deep}file") report/affected.txt
grep -q 'File name too long' printed
