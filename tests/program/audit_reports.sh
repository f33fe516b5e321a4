# Every form of the report says the same, and the commands that read reports work: show, diff, merge,
# acknowledgement; what cannot be meant is refused.
bin=$1
project=$(realpath "$(dirname "$0")/../..")
work=$(mktemp -d "${TMPDIR:-/tmp}/jorv-XXXXXX")
trap 'rm -rf "$work"' EXIT
cd "$work"
audit=$bin/jorvaudit

# shellcheck source=tests/program/ends.bash
source "$project/tests/program/ends.bash"

mkdir source
for i in {1..60}; do
    mkdir -p "source/d$(( i % 3 ))"
    seq "$i" "$(( i + 2000 ))" >"source/d$(( i % 3 ))/f$i"
done
"$bin/jorvshare" pack source site --share-id 7 --layout tables --vcopy weekly:monday:i1 >packed
export JORV_CONFIG=$work/site/jorv.toml
share=$work/site/meta/7/7
run=("$audit" run --share_path "$share" --share_id 7)

ends 0 "${run[@]}" --output first
printf 'x' >>"$share/head/d1/f4"
rm "$share/head/d2/f5"
ends 12 "${run[@]}" --output first
cp -r first second
printf 'x' >>"$share/head/d0/f6"
mv "$share/map/d1/f7" .
rm site/images/weekly/monday/i1
ends 12 "${run[@]}" --output second
python3 "$project/tests/program/check_report.py" "$project/docs/formats/audit-report.schema.json" first/report.json second/report.json

# The forms.
ends 0 "$audit" show second
cp out shown
"${run[@]}" --output again >printed || true
diff <(sed '/^Audited/d' shown) <(sed '/^Audited/d; /^$/{N;/\nAll of it/d}' printed)
grep -qxF '* damaged header (2 files)' shown
grep -qxF "    \$ jorvshare show $share/head/d0/f6" shown
# The command to type is one that works.
grep -A 9 '^\* damaged header' shown | sed -n 's/^    \$ //p' >advised
ends 1 bash -c "PATH=$bin:\$PATH; $(<advised)"
diff second/affected.txt <(printf '%s\n' d0/f6 d1/f4 d1/f7 d2/f5)
diff <(tr '\0' '\n' <second/affected0) second/affected.txt
ends 0 "$audit" show second --json
cmp out second/report.json
ends 0 "$audit" show second/report.json --html page.html
cmp page.html second/report.html
ends 0 "$audit" show second --prometheus
cp out metrics
# shellcheck disable=SC2094 # "check metrics" is a command of promtool
promtool check metrics <metrics
grep -qxF "jorvaudit_status{share=\"$share\"} 12" metrics
grep -qxF "jorvaudit_findings{share=\"$share\",kind=\"corrupt-header\"} 2" metrics
grep -qxF "jorvaudit_there_are{share=\"$share\",what=\"images\"} 1" metrics
grep -qF '[ERROR]: corrupt header file ' second/raw/views.txt
diff <(tail -n 1 second/raw/images.stderr) <(echo '[JORVCK_VCOPY] validating image [i1] failed with ret = 2')
# The second audit in a directory keeps nothing of what the checker printed in the first one.
(( $(grep -c 'Check files for 7 done!' first/raw/data.stdout) == 1 ))
(( $(grep -c 'Check files for 7 done!' second/raw/data.stdout) == 1 ))

# What changed, and since when.
ends 4 "$audit" diff first second
diff out - <<END
New: 3
  d0/f6: damaged header
  d1/f7: header without extents
  image weekly:monday:i1: container image that is not sound
Gone: 0
$(grep -A 9 '^Still there' out)
END
grep -q '^  d1/f4: damaged header, since 20' out
ends 0 "$audit" diff second first
grep -qx 'Gone: 3' out
# A part has less findings, and an audit that looked at nothing has none.
"${run[@]}" --output part --part 2/2 >printed || true
ends 8 "$audit" diff second part
grep -q 'different parts' err
ends 8 env JORV_CONFIG=/nope "${run[@]}" --output nothing
ends 4 "$audit" diff second nothing
grep -qx 'Gone: not known, the newer audit looked at nothing' out
ends 0 "$audit" diff first first --json
python3 -c 'import json, sys; d = json.load(open("out")); assert len(d["still_there"]) > 2 and not d["new"]'
since=$(grep -o '"name":"d1/f4".*' first/report.json | grep -o '"since":"[^"]*"')
grep -F '"name":"d1/f4"' second/report.json | grep -F -- "$since" >/dev/null
(( $(grep -c '^   "findings": ' second/report.json) >= 2 ))

# Acknowledged findings do not count, and stay.
cat >known.toml <<'END'
[[finding]]
kind = "corrupt-header"
name = "d1/f4"
date = 2026-11-20
note = "restored next week"
[[finding]]
kind = "extents-without-header"
name = "d2/f5"
date = "2026-11-20"
until = 2026-11-20
END
ends 12 "${run[@]}" --output known --acknowledge known.toml
grep -qx '  d1/f4: damaged header, Bad message (errno 74) - acknowledged' out
if grep -q 'd2/f5.*acknowledged' out; then exit 1; fi
python3 "$project/tests/program/check_report.py" "$project/docs/formats/audit-report.schema.json" known/report.json
{
    sed 's/^until.*//' known.toml
    printf '[[finding]]\nkind = "corrupt-header"\nname = "d0/f6"\nname_bytes = "64302F6636"\ndate = 2026-11-20\n'
    printf '[[finding]]\nkind = "header-without-extents"\nname = "d1/f7"\ndate = 2026-11-20\n'
    printf '[[finding]]\nkind = "image-failed"\nobject = "image"\nname = "weekly:monday:i1"\ndate = 2026-11-20\n'
    for row in files 'extent maps'; do
        printf '[[finding]]\nkind = "incomplete"\nobject = "share"\nname = "%s"\ndate = 2026-11-20\n' "$row"
    done
} >all.toml
ends 0 "${run[@]}" --output known --acknowledge all.toml
grep -qx 'Verdict: all findings are acknowledged' out
ends 0 "$audit" show known
grep -q '^jorvaudit_acknowledged_findings{.*} 7$' <("$audit" show known --prometheus)
for bad in 'x' 'kind = 3' '[[finding]]' '[[finding]]
kind = "none"
name = "x"
date = 2026-01-01' '[[finding]]
kind = "corrupt-header"
name = "x"
date = "soon"' '[[finding]]
kind = "corrupt-header"
name = "x"
date = 2026-01-01
more = 1' '[[finding]]
kind = "corrupt-header"
name = "x"
name_bytes = "79"
date = 2026-01-01'; do
    echo "$bad" >bad.toml
    ends 8 "${run[@]}" --output bad --acknowledge bad.toml --resume
    grep -q "^jorvaudit: bad.toml:[0-9]" err
done

"$bin/jorvshare" pack source other --share-id 8 >packed
ends 0 env JORV_CONFIG=other/jorv.toml "$audit" run --share_id 8 --output third

# Refused: usage is 16, what does not work is 8.
ends 16 "$audit"
ends 16 "$audit" run
ends 16 "$audit" run --share_path "$share"
ends 16 "$audit" run --output x
ends 16 "${run[@]}" --output x --part 4/3
ends 16 "${run[@]}" --output x --part 1
ends 16 "${run[@]}" --output x --jobs 0
ends 16 "$audit" show second --json --prometheus
ends 16 "$audit" plan
ends 8 "${run[@]}" --output "$share/report"
grep -q 'lies in the share' err
ln -s "$share" link
ends 8 "${run[@]}" --output link/deep/report
ends 8 "$audit" merge first --output "$share/head/report"
ends 8 "$audit" merge first third --output "$share/head/report"
ends 8 "$audit" show first --html "$share/head/x.html"
grep -q 'lies in the share' err
[[ ! -e $share/head/report && ! -e $share/head/x.html ]]
# Before the audit begins, and nothing is left of it.
ends 8 "${run[@]}" --output y --acknowledge /nope
ends 8 env TMPDIR=/nope "${run[@]}" --output y
[[ ! -e y/journal ]]
ends 16 "$audit" run --share_id '' --output y
ends 16 "$audit" run --share_path '' --output y
ends 16 "${run[@]}" --output y --time-limit nan
# The report is written, whether or not somebody reads its text.
rm -rf y
(set +o pipefail; { status=0; "${run[@]}" --output y 2>err || status=$?; echo "$status" >ended; } | true)
(( $(<ended) == 12 ))
[[ -e y/report.json ]]
# What only prints ends as every filter does when its reader goes away.
python3 - "$audit" show y <<'END'
import os, signal, subprocess, sys
reader, writer = os.pipe()
os.close(reader)
done = subprocess.run(sys.argv[1:], stdout=writer, stderr=subprocess.PIPE)
assert (done.returncode, done.stderr) == (-signal.SIGPIPE, b""), done
END
ends 8 "$audit" show none
ends 8 "$audit" show known.toml
ends 8 "$audit" merge first second --output x
grep -q 'part 1 is there twice' err
ends 0 "$audit" --version
ends 0 "$audit" run --help
ends 8 "$audit" diff first third
grep -q 'different shares' err

# Nothing of the share was written to.
[[ -z $(find site -newer known.toml) ]]
# By its contents alone: the thread sanitizer makes a file of its own in TMPDIR and removes it.
find site -printf '%p %s %C@\n' | grep -v "^site/meta/7/7 " | sort >before
ends 8 env TMPDIR="$share" "${run[@]}" --output x
find site -printf '%p %s %C@\n' | grep -v "^site/meta/7/7 " | sort | diff before -

# The page, with scripts, in a browser.
"$project/tests/program/check_page" second/report.html "$(grep -c '"kind":"' second/report.json)" f4
# And with findings without number.
python3 - second/report.json many.json <<'END'
import json, sys
report = json.load(open(sys.argv[1]))
example = next(f for f in report["findings"] if f["object"] == "file")
report["findings"] = [dict(example, name=f"many/{i % 100}/file-{i}") for i in range(100000)]
json.dump(report, open(sys.argv[2], "w"))
END
ends 0 "$audit" show many.json --html many.html
"$project/tests/program/check_page" many.html "$(( 100000 + $("$audit" show many.json --json | grep -c '"object":"share"') ))" many/11/file-4711
echo 'every form'
