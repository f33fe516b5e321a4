# The report of a fleet: every form of it, one cause for a volume that all shares have lost, what is missing
# or too old, and what changed since the last one.
bin=$1
project=$(realpath "$(dirname "$0")/../..")
work=$(mktemp -d "${TMPDIR:-/tmp}/jorv-XXXXXX")
trap 'rm -rf "$work"' EXIT
cd "$work"
export PATH=$bin:$PATH

# shellcheck source=tests/program/ends.bash
source "$project/tests/program/ends.bash"
run() { jorvaudit plan fleet.toml | xargs -d '\n' -P 2 -I '{}' sh -c '{}' >printed 2>&1 || true; }
merge() { ends "$1" jorvaudit merge --fleet fleet.toml; }
# value EXPRESSION: of the fleet's report.
value() { python3 -c 'import json, sys; r = json.load(open("audits/fleet.json")); print(eval(sys.argv[1]))' "$1"; }
is() {
    local found
    found=$(value "$1")
    [[ $found == "$2" ]] || { echo "$1: $found, not $2"; value 'json.dumps(r, indent=1)'; exit 1; }
}
forms() {
    python3 - "$project/docs/formats/audit-fleet.schema.json" audits/fleet.json <<'END'
import json, jsonschema, sys
schema, report = (json.load(open(path)) for path in sys.argv[1:])
jsonschema.Draft202012Validator.check_schema(schema)
jsonschema.validate(report, schema)
END
    promtool check metrics <audits/fleet.prom
    (( $# == 0 )) || "$project/tests/program/check_page" audits/fleet.html "$(value 'len(r["findings"])')" "$@"
}

for i in {1..40}; do
    mkdir -p "source/d$(( i % 7 ))"
    seq "$i" 900 >"source/d$(( i % 7 ))/f$i"
done
for id in 7 8; do
    jorvshare pack source site --share-id "$id" --layout tables --volumes 2 >packed
done
jorvshare pack source 'other <b>' --share-id 9 --layout tables --volumes 2 >packed
cat >fleet.toml <<END
output = "audits"
[[share]]
id = "7"
parts = 3
configuration = "site/jorv.toml"
[[share]]
id = "8"
configuration = "site/jorv.toml"
[[share]]
id = "9"
name = "nine & <b>"
configuration = "other <b>/jorv.toml"
node = "s3"
END

# Nothing has run.
merge 8
is 'r["verdict"]' 'not all could be looked at'
is '[s["verdict"] for s in r["shares"]]' "['no report', 'no report', 'no report']"
is '[(c["kind"], c["shares"]) for c in r["causes"]]' "[('report-missing', ['7', '8', 'nine & <b>'])]"
is '"difference" in r' False
grep -qx 'jorvaudit_status{share="8"} 8' audits/fleet.prom
# A label holds any name.
cat >names.toml <<'END'
output = "names"
[[share]]
id = 'a "b" \c'
END
ends 8 jorvaudit merge --fleet names.toml
grep -qxF 'jorvaudit_status{share="a \"b\" \\\\c"} 8' names/fleet.prom
promtool check metrics <names/fleet.prom

# All have.
run
merge 0
forms
is 'r["verdict"]' 'sound: everything was looked at'
is '[(c["what"], c["looked_at"], c["there_are"]) for c in r["coverage"]][1]' "('files', 120, 120)"
is '[f["name"] for f in r["difference"]["gone"]]' "['7', '8', 'nine & <b>']"
grep -qx 'jorvaudit_looked_at{share="nine & <b>",what="files"} 40' audits/fleet.prom
grep -qx 'jorvaudit_fleet_status 0' audits/fleet.prom
grep -qF '<a href="shares/nine%20%26%20%3Cb%3E/report.html">nine &amp; &lt;b&gt;</a>' audits/fleet.html
grep -qx ' "verdict": "sound: everything was looked at",' audits/shares/7/report.json
# Merged again, the same: no audit is counted twice.
cp audits/shares/7/report.json before.json
merge 0
cmp audits/shares/7/report.json before.json
# The plan says what is too old. The status has the 8 then, however sound the share was.
cp audits/shares/8/report.json recent.json
sed -i -E "/^ \"ended\"/s/20[^Z]*Z/$(date -u -d '-5 days' +%FT%TZ)/" audits/shares/8/report.json
merge 0
sed -i '1a max_age_days = 4' fleet.toml
merge 8
is '[(c["kind"], c["shares"]) for c in r["causes"]]' "[('report-old', ['8'])]"
sed -i 's/^max_age_days = 4/max_age_days = 6/' fleet.toml
merge 0
sed -i '/^max_age_days/d' fleet.toml
mv recent.json audits/shares/8/report.json
merge 0

# A volume of two shares is gone, which is one cause, and so is a container of the same number of the other
# site; a header of one share and two of the other site are damaged.
sleep 1 # findings are dated to the second
volume=$(ls site/volumes | head -n 1)
mv "site/volumes/$volume" .
hit() { printf 'x' | dd of="$1" bs=1 seek=30 conv=notrunc status=none; }
mkdir lost
mv "other <b>/volumes/v1/64".* lost
hit site/meta/8/8/head/d1/f1
hit "other <b>/meta/9/9/head/d2/f2"
hit "other <b>/meta/9/9/head/d2/f9"
run
merge 12
forms volumes
is '[(c["subject"], c["shares"]) for c in r["causes"] if c["kind"] == "volume-missing"]' \
    "[('$work/site/volumes/$volume', ['7', '8'])]"
is '[(c["shares"], c["files"]) for c in r["causes"] if c["kind"] == "corrupt-header"]' "[(['8', 'nine & <b>'], 3)]"
is 'sorted(f["name"] for f in r["difference"]["new"] if f["kind"] == "corrupt-header")' "['8', 'nine & <b>']"
is '[s["new"] == s["findings"] and s["gone"] == 0 for s in r["shares"]]' '[True, True, True]'
grep -q '^jorvaudit_findings{share="nine & <b>",kind="corrupt-header"} 2$' audits/fleet.prom
grep -qx "\* volume that is not there: $work/site/volumes/$volume" out
# Every cause of a share is in that of the fleet.
is 'len(r["findings"])' "$(cat audits/shares/{7,8,9,'nine & <b>'}/report.json 2>err | grep -c '^   "kind": ')"
# What one share knows, the others may not know.
printf '[[finding]]\nkind = "volume-missing"\nobject = "volume"\nname = "%s"\ndate = 2026-11-20\n' \
    "$work/site/volumes/$volume" >known.toml
sed '/^id = "7"/a acknowledge = "known.toml"' fleet.toml >known-fleet.toml
ends 12 jorvaudit merge --fleet known-fleet.toml
is '[c["acknowledged"] for c in r["causes"] if c["kind"] == "volume-missing"]' '[False]'
is '[(f["name"][0], "acknowledged" in f) for f in r["findings"] if f["kind"] == "volume-missing"]' \
    "[('7', True), ('8', False)]"
# A volume is one for each node, a container for each table of volumes.
sed '/^id = "7"/a node = "s3"
/^id = "8"/a node = "s4"' fleet.toml >nodes.toml
ends 12 jorvaudit merge --fleet nodes.toml
is '[(c["subject"], c["shares"]) for c in r["causes"] if c["kind"] == "volume-missing"]' \
    "[('s3: $work/site/volumes/$volume', ['7']), ('s4: $work/site/volumes/$volume', ['8'])]"
is 'sorted((c["subject"], c["shares"]) for c in r["causes"] if c["subject"].endswith("/fstab: 64"))' \
    "[('s3: $work/other <b>/fstab: 64', ['nine & <b>']), ('s3: $work/site/fstab: 64', ['7'])]"

# Two are mended, one has another finding, one part is gone and one is too old.
sleep 1
mv "$volume" site/volumes
mv lost/* "other <b>/volumes/v1"
hit "other <b>/meta/9/9/head/d3/f3"
run
rm -r audits/shares/7/2-of-3
sed -i -E '/^ "ended"/s/20[0-9]{2}/2020/' audits/shares/8/report.json
merge 12
forms
is '[(c["kind"], c["shares"]) for c in r["causes"] if c["kind"].startswith("report")]' \
    "[('report-missing', ['7']), ('report-old', ['8'])]"
is 'r["shares"][0]["verdict"]' 'incomplete: parts are missing'
is 'r["shares"][0]["problem"]' "part 2: $work/audits/shares/7/2-of-3: No such file or directory (errno 2)"
is '"of 2020-" in r["shares"][1]["problem"]' True
is '(r["shares"][2]["new"], r["shares"][2]["gone"] > 0)' '(1, True)'
# A part of 7 was not looked at: nobody knows what is gone there.
is '[("new" in s, "gone" in s) for s in r["shares"]]' '[(True, False), (True, True), (True, True)]'
is '[f["name"] for f in r["difference"]["gone"] if f["kind"] == "volume-missing"]' "['8: $work/site/volumes/$volume']"
# Since when, from the first of the reports.
is '[f["since"] < r["shares"][2]["ended"] for f in r["findings"] if f["name"] == "nine & <b>" and f["kind"] == "corrupt-header"]' '[True]'

# Nor in a share without a report, or in one that was not there.
cp -r "audits/shares/nine & <b>" kept
mv "other <b>/meta/9/9" away
jorvaudit plan fleet.toml | tail -n 1 | sh >printed 2>&1 || true
mv away "other <b>/meta/9/9"
rm audits/shares/8/report.json
merge 8
forms
grep -qx 'Gone, of the shares that were looked at: 1' out
is 'sorted(f["kind"] for f in r["difference"]["gone"] if f["name"][0] == "8")' "['report-old']"
is '[f["kind"] for f in r["difference"]["gone"] if f["name"].startswith("nine")]' '[]'
is '[("new" in s, "gone" in s) for s in r["shares"]][2]' '(False, False)'
rm -r "audits/shares/nine & <b>"
mv kept "audits/shares/nine & <b>"

# A damaged report is a missing one, and so is that of another share.
echo '{' >audits/shares/8/report.json
cp audits/shares/8/report.json audits/fleet.json
cp -r "audits/shares/nine & <b>" audits/shares/7/2-of-3
merge 12
is '[s["verdict"] for s in r["shares"]][1]' 'no report'
is 'r["shares"][0]["problem"]' "part 2: $work/audits/shares/7/2-of-3: the report of another share"

# Without a plan: reports of several shares, two of them parts of one.
ends 12 jorvaudit merge audits/shares/7/[13]-of-3 "audits/shares/nine & <b>" --output audits
forms
is '[s["name"] for s in r["shares"]]' "['$work/other <b>/meta/9/9', '$work/site/meta/7/7']"
is 'r["shares"][1]["verdict"]' 'incomplete: parts are missing'

ends 16 jorvaudit merge
ends 16 jorvaudit merge audits/shares/7/1-of-3
ends 16 jorvaudit merge --fleet fleet.toml audits/shares/7/1-of-3
ends 16 jorvaudit merge --fleet fleet.toml --output x
ends 8 jorvaudit merge --fleet none.toml
echo 'a fleet'
