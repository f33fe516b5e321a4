# The commands of a fleet: complete, one a line, in the order of the plan, the same words for any shell,
# also with hostile paths; run side by side they make the reports of the shares. A plan with a
# mistake is refused with its line. As a task of Slurm, an audit with findings has not failed.
bin=$1
project=$(realpath "$(dirname "$0")/../..")
work=$(mktemp -d "${TMPDIR:-/tmp}/jorv-XXXXXX")
trap 'rm -rf "$work"' EXIT
cd "$work"
export PATH=$bin:$PATH

cat >fleet.toml <<'END'
output = "audits"
[[share]]
path = "/srv/plain"
name = "plain"
[[share]]
id = "7"
configuration = "a site/jorv.toml"
parts = 3
node = "s1"
[[share]]
id = "-8"
name = "eight"
path = "/srv/$HOME/it's/`id`/\"x\"\\n/é"
hours = 24
acknowledge = "known.toml"
partition = "big"
END
jorvaudit plan fleet.toml >lines
diff lines - <<END
jorvaudit run --share_path /srv/plain --resume --output $work/audits/shares/plain
env 'JORV_CONFIG=$work/a site/jorv.toml' jorvaudit run --share_id=7 --part 1/3 --resume --output $work/audits/shares/7/1-of-3
env 'JORV_CONFIG=$work/a site/jorv.toml' jorvaudit run --share_id=7 --part 2/3 --resume --output $work/audits/shares/7/2-of-3
env 'JORV_CONFIG=$work/a site/jorv.toml' jorvaudit run --share_id=7 --part 3/3 --resume --output $work/audits/shares/7/3-of-3
jorvaudit run --share_path '/srv/\$HOME/it'\''s/\`id\`/"x"\n/é' --share_id=-8 --t 24 --acknowledge $work/known.toml --resume --output $work/audits/shares/eight
END
jorvaudit plan fleet.toml --places >placed
diff placed <(paste -d '\t' <(printf '%s\n' any node=s1 node=s1 node=s1 partition=big) lines)
# From another directory, and read by another shell.
mkdir elsewhere
(cd elsewhere && jorvaudit plan ../fleet.toml) | diff lines -
mkdir words
printf '#!/bin/sh\nprintf "%%s\\n" "$@"\n' >words/jorvaudit
chmod +x words/jorvaudit
sed -n 5p lines | PATH=$work/words:$PATH sh | sed -n 3p | diff - <(printf '%s\n' "/srv/\$HOME/it's/\`id\`/\"x\"\\n/é")
# Every character that a line can have, in an identifier and in a path; there is a file that "*" and "?" fit.
touch './--share_id=a_b'
{
    echo 'output = "audits"'
    for code in {32..126}; do
        printf '[[share]]\nname = "%s"\nid = "a\\u%04xb"\npath = "/a\\u%04xb"\n' "$code" "$code" "$code"
    done
} >every.toml
jorvaudit plan every.toml >every
for shell in sh bash; do
    PATH=$work/words:$PATH "$shell" every >said
    diff <(grep -A 1 -e '^--share_path$' said | grep '^/a') <(printf '%b' "$(printf '/a\\x%xb\\n' {32..126})")
    diff <(grep -e '^--share_id=' said) <(printf '%b' "$(printf -- '--share_id=a\\x%xb\\n' {32..126})")
done

# refused REASON: of the plan on standard input.
refused() {
    local status=0
    cat >bad.toml
    jorvaudit plan bad.toml >out 2>err || status=$?
    if (( status != 8 )) || [[ -s out ]] || ! diff err <(echo "jorvaudit: bad.toml:$1"); then
        cat bad.toml out err
        echo "status $status"
        exit 1
    fi
}
refused "1: 'output' is missing" <<<'max_age_days = 8'
refused '1: expected [[share]]' <<<'output = "x"'
refused '1: expected [[share]]' <<<$'output = "x"\nshare = 3'
refused '2: expected [[share]]' <<<$'output = "x"\nshare = [3]'
refused "2: unknown key 'shares'" <<<$'output = "x"\nshares = 3'
refused '2: max_age_days must be a number from 1 to 36500' <<<$'output = "x"\nmax_age_days = 0'
share() { printf 'output = "x"\n[[share]]\nid = "7"\n%s\n' "$@"; }
refused "4: unknown key 'part'" < <(share 'part = 3')
refused '4: parts must be a number from 1 to 10000' < <(share 'parts = 0')
refused '4: parts must be a number from 1 to 10000' < <(share 'parts = 2.5')
refused '4: hours must be a number from 0 to 2147483648' < <(share 'hours = -1')
refused '4: path must be a text' < <(share 'path = 7')
refused '4: path must not be empty' < <(share 'path = ""')
refused '4: path must not hold a control character' < <(share 'path = "/a\nrm -r /b"')
refused '3: id must not hold a control character' <<<$'output = "x"\n[[share]]\nid = "7\\nrm"'
refused '4: name must not hold a control character' < <(share 'name = "a\u007f"')
refused '4: node must be letters, digits, ".", "_" and "-"' < <(share 'node = "a b"')
refused '4: node must be letters, digits, ".", "_" and "-"' < <(share 'node = "--help"')
refused '4: node must be letters, digits, ".", "_" and "-"' < <(share 'node = "a,b"')
refused '5: partition excludes node' < <(share $'node = "a"\npartition = "b"')
refused '2: name "..": expected a name for a directory' < <(share 'name = ".."')
refused '4: name "7" is there twice' < <(share $'[[share]]\nid = "7"')
refused "2: 'id' or 'path' is missing" <<<$'output = "x"\n[[share]]\nname = "7"'
refused "2: 'name' is missing" <<<$'output = "x"\n[[share]]\npath = "/7"'
status=0
jorvaudit plan >out 2>err || status=$?
(( status == 16 ))
status=0
jorvaudit plan none.toml >out 2>err || status=$?
(( status == 8 ))
grep -q '^jorvaudit: none.toml: ' err

# Run by an engine that knows nothing but commands, three at a time.
site="the site of 'a' \$b"
for i in {1..40}; do
    mkdir -p "source/d$(( i % 7 ))"
    seq "$i" 900 >"source/d$(( i % 7 ))/f$i"
done
jorvshare pack source "$site" --share-id 7 --layout tables >packed
jorvshare pack source "$site" --share-id 8 --layout tables >packed
cat >fleet.toml <<END
output = "my \$audits"
[[share]]
id = "7"
parts = 4
configuration = "$site/jorv.toml"
[[share]]
id = "8"
path = "$site/meta/8/8"
configuration = "$site/jorv.toml"
END
jorvaudit plan fleet.toml | xargs -d '\n' -P 3 -I '{}' sh -c '{}' >printed || (( $? == 123 )) # a part alone is never complete
(( $(grep -c '^Verdict: ' printed) == 5 ))
# Each part's data check is of its own files, and no file is in two.
checked() { sed -n 's/^Total number of file: //p' "$1"/?-of-4/raw/data.stderr | awk '{ ++runs; sum += $1; if ($1 == 40) ++whole } END { print runs + 0, sum + 0, whole + 0 }'; }
diff <(checked "my \$audits/shares/7") <(echo 4 40 0)
# Where a copy of the configuration is larger than files may be, the first part's is of all.
sed "s|^klfs_prefixes = .*|klfs_prefixes = [\"/$(printf %050000d 0)\"]|" "$site/jorv.toml" >"$site/large.toml"
(( $(stat -c %s "$site/large.toml") > 50000 ))
(
    trap '' XFSZ
    ulimit -f 40
    for i in 3 1 2 4; do
        JORV_CONFIG=$site/large.toml jorvaudit run --share_id 7 --part "$i/4" --output "undivided/$i-of-4" >printed || true
    done
)
diff <(checked undivided) <(echo 1 40 1)
ls undivided/1-of-4/raw/data.stderr >printed
jorvaudit merge undivided/?-of-4 --output undivided | grep -qx 'Verdict: sound: everything was looked at'
# Where a copy of the configuration is larger than files may be, the data check cannot be divided.
printf 'use_file_ext_map = 1\nklfs_prefixes = ["/%02000d"]\n' 0 >long.toml
printf 'use_file_ext_map = 1\n' >short.toml
{
    echo 'output = "x"'
    printf '[[share]]\nid = "%s"\nparts = %s\nconfiguration = "%s.toml"\n' 5 2 long 6 2 short 7 1 long 8 2 none
} >divided.toml
jorvaudit plan divided.toml 2>&1 >lines | diff /dev/null -
(
    trap '' XFSZ
    ulimit -f 1
    jorvaudit plan divided.toml 2>&1 >/dev/null
) | diff <(echo 'jorvaudit: warning: share 5: its storage library cannot be pointed at a part of a share; part 1 does the file data check of the whole share') -

# task STATUS COMMAND: run by Slurm as the second line of a list.
task() {
    local status=0
    printf '%s\n' 'exit 99' "$2" 'exit 98' >list
    SLURM_ARRAY_TASK_ID=2 "$project/packaging/slurm/task" list >said 2>&1 || status=$?
    (( status == $1 )) || { echo "status $status, not $1: $2"; cat said; exit 1; }
}
run="env JORV_CONFIG=$(printf %q "$work/$site/jorv.toml") jorvaudit run --resume"
task 0 "$run --share_id=8 --output sound"
grep -qx 'Verdict: sound: everything was looked at' said
# What is looked at in part is looked at.
cp -r "$site" saved
printf x >>"$site/meta/8/8/head/d1/f1"
rm "$site/fstab"
task 0 "$run --share_id=8 --output damaged"
grep -qx 'Verdict: damaged, and not all could be looked at' said
rm -r "$site/meta/8/8"
task 8 "$run --share_id=8 --output nothing"
grep -qx 'Verdict: not all could be looked at' said
rm -r "$site"
mv saved "$site"
task 8 'jorvaudit plan none.toml'
task 16 'jorvaudit run'
task 32 'exit 32'
task 8 true
task 8 'nice; ionice'
diff said <(printf '%s\n' "$(uname -n): nice; ionice" 19 idle)
status=0
SLURM_ARRAY_TASK_ID=4 "$project/packaging/slurm/task" list >said 2>&1 || status=$?
(( status == 16 ))
diff said <(echo 'task: list has no line 4')

cd "my \$audits/shares"
jorvaudit merge 7/?-of-4 --output 7 | grep -qx 'Verdict: sound: everything was looked at'
grep -qx ' "verdict": "sound: everything was looked at",' 8/report.json
echo 'commands for any shell'
