# The commands of a fleet: complete, one a line, in the order of the plan, the same words for any shell,
# also with hostile paths; run side by side they make the reports of the shares. A plan with a
# mistake is refused with its line.
bin=$1
work=$(mktemp -d "${TMPDIR:-/tmp}/jorv-XXXXXX")
trap 'rm -rf "$work"' EXIT
cd "$work"
export PATH=$bin:$PATH

cat >fleet.toml <<'END'
output = "audits"
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
[[share]]
path = "/srv/plain"
name = "plain"
END
jorvaudit plan fleet.toml >lines
diff lines - <<END
env 'JORV_CONFIG=$work/a site/jorv.toml' jorvaudit run --share_id=7 --part 1/3 --resume --output $work/audits/shares/7/1-of-3
env 'JORV_CONFIG=$work/a site/jorv.toml' jorvaudit run --share_id=7 --part 2/3 --resume --output $work/audits/shares/7/2-of-3
env 'JORV_CONFIG=$work/a site/jorv.toml' jorvaudit run --share_id=7 --part 3/3 --resume --output $work/audits/shares/7/3-of-3
jorvaudit run --share_path '/srv/\$HOME/it'\''s/\`id\`/"x"\n/é' --share_id=-8 --t 24 --acknowledge $work/known.toml --resume --output $work/audits/shares/eight
jorvaudit run --share_path /srv/plain --resume --output $work/audits/shares/plain
END
jorvaudit plan fleet.toml --places >placed
diff placed <(paste -d '\t' <(printf '%s\n' node=s1 node=s1 node=s1 partition=big any) lines)
# From another directory, and read by another shell.
mkdir elsewhere
(cd elsewhere && jorvaudit plan ../fleet.toml) | diff lines -
mkdir words
printf '#!/bin/sh\nprintf "%%s\\n" "$@"\n' >words/jorvaudit
chmod +x words/jorvaudit
sed -n 4p lines | PATH=$work/words:$PATH sh | sed -n 3p | diff - <(printf '%s\n' "/srv/\$HOME/it's/\`id\`/\"x\"\\n/é")

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
cd "my \$audits/shares"
jorvaudit merge 7/?-of-4 --output 7 | grep -qx 'Verdict: sound: everything was looked at'
grep -qx ' "verdict": "sound: everything was looked at",' 8/report.json
echo 'commands for any shell'
