# The report is the same, but for times, with any number of jobs, as the sum of parts, and after the
# audit was killed again and again and went on. AUDIT_KILLS makes it longer.
bin=$1
here=$(dirname "$0")
kills=${AUDIT_KILLS:-6}
work=$(mktemp -d "${TMPDIR:-/tmp}/jorv-XXXXXX")
trap 'rm -rf "$work"' EXIT
echo "seed ${SEED:=15}"
RANDOM=$SEED
cd "$work"
# Views of its own, since other audits may run beside.
mkdir views
export TMPDIR=$work/views

same() {
    local form
    for form in "$1" "$2"; do
        sed -E '/^ "history": \[$/,/^ \]/d; /^ "history"/d; s/"(since|started|ended)": ?"[^"]*"/"\1":""/g' \
            "$form/report.json" >"$form/json"
    done
    diff "$1/json" "$2/json" && cmp "$1/affected0" "$2/affected0"
}
audit() { # REPORT WORD...
    local status=0
    "$bin/jorvaudit" run --share_path "$share" --share_id 7 --output "$@" >printed 2>errors || status=$?
    echo "$status"
}

cat >stops <<END
#!/bin/bash
echo >>$work/calls
(( \$(wc -l <$work/calls) <= 2 )) || sleep 100
exec $(realpath "$bin")/jorvck "\$@"
END
chmod +x stops

"$here/made-tree" source
for (( i = 0; i < 200; ++i )); do
    mkdir -p "source/a$(( i % 11 ))/b$(( i % 5 ))"
    seq "$i" "$(( i + 400 ))" >"source/a$(( i % 11 ))/b$(( i % 5 ))/f$i"
done
for layout in files tables; do
    "$bin/jorvshare" pack source site --share-id 7 --layout "$layout" --volumes 3 --vcopy p:t:n >packed 2>&1
    export JORV_CONFIG=$work/site/jorv.toml
    share=$work/site/meta/7/7
    # A bit of everything.
    hit() { printf 'x' | dd of="$1" bs=1 seek=30 conv=notrunc status=none; }
    for i in 1 12 77 130; do hit "$share/head/a$(( i % 11 ))/b$(( i % 5 ))/f$i"; done
    hit "$share"/head/$'name\nwith\nnewlines'
    find "$share/map" -type f | LC_ALL=C sort | awk 'NR % 37 == 0' | tr '\n' '\0' | xargs -0 -n 1 truncate --size=-1
    rm "$share/head/a3/b3/f3" "$share/head"/$'no utf-8 \xff\xfe\xc0'
    rm -r "$share/map/a4"
    rm "$(find site/volumes -name '*.bhd' | LC_ALL=C sort | head -n 1)"

    status=$(audit one --jobs 1)
    (( status == 12 )) || { echo "status $status"; cat printed errors; exit 1; }
    (( $(wc -l <one/affected.txt) > 20 ))
    for jobs in 4 16; do
        (( $(audit "jobs-$jobs" --jobs "$jobs") == status ))
        same one "jobs-$jobs"
    done

    for i in 3 1 2; do audit "part-$i" --part "$i/3" >part-status; done
    if "$bin/jorvaudit" merge part-1 part-3 --output without-2 >printed; then exit 1; fi
    grep -q 'Verdict: incomplete: parts are missing' printed
    merged=0
    "$bin/jorvaudit" merge part-2 part-3 part-1 --output merged >printed || merged=$?
    (( merged == status ))
    same one merged

    rm -rf killed
    begun=$(date +%s%N)
    audit whole >whole-status
    took=$(( ($(date +%s%N) - begun) / 1000000 ))
    for (( i = 0; i < kills; ++i )); do
        "$bin/jorvaudit" run --share_path "$share" --share_id 7 --output killed --resume >printed 2>&1 &
        sleep "$(printf '%d.%03d' $(( (pause = RANDOM % took) / 1000 )) $(( pause % 1000 )))"
        kill -KILL $! 2>waited || true
        wait $! 2>waited || true
    done
    (( $(audit killed --resume) == status )) || { cat printed errors; exit 1; }
    same one killed

    # A signal to end (a shell's background jobs ignore Ctrl-C) leaves what is done; a run without --resume does not overwrite it.
    "$bin/jorvaudit" run --share_path "$share" --share_id 7 --output stopped >printed 2>errors &
    sleep "0.$(printf %03d $(( took % 1000 / 3 )))"
    kill -TERM $! 2>waited || true
    stopped=0
    wait $! || stopped=$?
    if (( stopped == 32 )); then
        grep -q '^jorvaudit: interrupted by signal 15; go on with --resume$' errors
        [[ ! -e stopped/report.json ]]
        if [[ -s stopped/journal ]]; then
            (( $(audit stopped) == 8 ))
            grep -q 'go on with --resume, or remove' errors
        fi
        (( $(audit stopped --resume) == status ))
        same one stopped
    fi
    # A checker that stops after the two tries at the beginning: the audit is interrupted at its first view.
    : >calls
    "$bin/jorvaudit" run --share_path "$share" --share_id 7 --part 3/3 --output changed \
        --checker "$work/stops" >printed 2>errors &
    until (( $(wc -l <calls) > 2 )); do sleep 0.05; done
    kill -TERM $!
    wait $! || (( $? == 32 ))
    cp -r changed changed-not
    (( $(audit changed-not --part 3/3 --resume) != 8 )) || { cat errors; exit 1; }
    # Another directory shifts all parts: what was half done begins anew, and the parts do not merge.
    mkdir "$share/head/a0/new"
    audit part-3 --part 3/3 >part-status
    audit changed --part 3/3 --resume >part-status
    same part-3 changed
    merged=0
    "$bin/jorvaudit" merge part-1 part-2 part-3 --output x >printed 2>errors || merged=$?
    (( merged == 8 )) || { cat printed; exit 1; }
    grep -q 'the directories of the share changed between the parts: audit all parts again$' errors
    # No view is left, no process, and the share is as it was.
    if find views -mindepth 1 | grep .; then
        echo 'a view was left'
        exit 1
    fi
    rm -rf site one jobs-* part-? without-2 merged killed whole stopped changed*
    echo "$layout: the same with 1, 4 and 16 jobs, of three parts, and after $kills kills"
done
