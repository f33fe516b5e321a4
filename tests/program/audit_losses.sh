# Total losses that the checker alone says nothing about: the audit names the cause, and its status
# is never 0.
bin=$1
work=$(mktemp -d "${TMPDIR:-/tmp}/jorv-XXXXXX")
trap 'chmod -R u+rwX "$work"; rm -rf "$work"' EXIT
cd "$work"

mkdir source
for i in {1..40}; do
    mkdir -p "source/d$(( i % 4 ))"
    seq "$i" "$(( 1000 * i ))" >"source/d$(( i % 4 ))/f$i"
done
# Data that two files have lies in a container in both layouts.
cp -r source/d1 source/d9

# A directory that its owner may not read must become readable before he can remove what is in it.
remove() {
    [[ ! -e site ]] || chmod -R u+rwX site
    rm -rf "$@"
}
# loss NAME STATUS TEXT COMMAND...: damages a fresh share by the command; the audit ends with the
# status and says the text.
loss() {
    local name=$1 wanted=$2 text=$3 status=0
    shift 3
    remove site report
    cp -a "$sound" site
    "$@"
    "${run[@]}" >printed 2>&1 || status=$?
    if (( status != wanted )) || ! grep -qF "$text" printed; then
        echo "$layout, $name: status $status, not $wanted, or without: $text"
        cat printed
        exit 1
    fi
    count=$(( count + 1 ))
}
overwrite_local() {
    find site/meta/7/7/stu -type f -print0 | while IFS= read -r -d '' unit; do
        head -c "$(stat -c %s "$unit")" /dev/zero | tr '\0' z | dd of="$unit" conv=notrunc status=none
    done
}
empty_volumes() { find site/volumes -type f -delete; }
move_site() { mkdir elsewhere; mv site elsewhere/site; }
# Something else stands where a directory of headers was.
replace_headers() { rm -r site/meta/7/7/head/d1; "$@" site/meta/7/7/head/d1; }
link_headers() { mv site/meta/7/7/head/d1 site/linked; ln -s "$work/site/linked" site/meta/7/7/head/d1; }
other_layout() { sed -i "s/^use_file_ext_map = .*/use_file_ext_map = $([[ $layout == files ]] && echo 1 || echo 0)/" site/jorv.toml; }
empty_trees() { rm -r site/meta/7/7/{head,map,stu}; mkdir site/meta/7/7/{map,stu}; touch site/meta/7/7/head; }

for layout in files tables; do
    remove site sound
    "$bin/jorvshare" pack source site --share-id 7 --layout "$layout" --volumes 2 --container-size 1 >packed
    mv site sound
    # Headers and the table of volumes hold absolute paths, so a copy lies where the share was made.
    sound=$work/sound
    export JORV_CONFIG=$work/site/jorv.toml
    run=("$bin/jorvaudit" run --share_path site/meta/7/7 --share_id 7 --output report)
    count=0

    loss sound 0 'Verdict: sound: everything was looked at' true
    # Without extents nothing says what local data should be, so it is not looked at.
    lost=$([[ $layout == files ]] && echo 12 || echo 4)
    loss 'map gone' "$lost" 'tree that is not there: map' rm -r site/meta/7/7/map
    loss 'half of map gone' "$lost" 'header without extents: map/d1 (' rm -r site/meta/7/7/map/d1 site/meta/7/7/map/d2
    loss 'head gone' 12 'tree that is not there: head' rm -r site/meta/7/7/head
    for other in 'cp site/meta/7/7/head/d0/f4' 'ln -s nowhere' 'ln -s d1'; do
        read -ra replaced <<<"$other"
        # A header that is a loop cannot be read.
        loss "header directory replaced by $other" 12 'extents without a header: head/d1 (10 files)' \
            replace_headers "${replaced[@]}"
    done
    loss 'header directory linked' 8 'coverage that is not complete: directories' link_headers
    loss 'head is a file' 4 'tree that is not there: head' empty_trees
    loss 'list of images leads nowhere' 8 'list of images that cannot be read' ln -s /nowhere site/meta/7/7/vcopy.dat
    loss 'volumes empty' 12 'volume without a container: ' empty_volumes
    loss 'volume not there' 12 'volume that is not there: ' rm -r site/volumes/v1
    loss 'table of volumes empty' 12 'table without a volume' sh -c ': >site/fstab'
    loss 'table of volumes gone' 8 'table of volumes that cannot be read' rm site/fstab
    # With so few containers their loss empties the volumes, which is said as well.
    empty=$([[ $layout == files ]] && echo 12 || echo 4)
    loss 'container gone' "$empty" 'data container that no volume has: 64 (' sh -c 'rm site/volumes/*/64.*'
    loss 'index gone' "$empty" 'container without an index' sh -c 'rm site/volumes/*/64.bhd'
    loss 'volume not mounted' 8 'volume that is not mounted: ' sed -i 's|^volume \(.*v1\)|/dev/sdx1 \1|' site/fstab
    loss 'volume listed twice' 0 'Verdict: sound: everything was looked at' sed -i '/v1/p' site/fstab
    loss 'volume listed twice, once by its device' 8 'volume that is not mounted: ' \
        sed -i '/v1/{p;s|^volume|/dev/sdx1|}' site/fstab
    loss 'another layout' 8 'configuration for another layout' other_layout
    loss 'another layout and a lost header' 8 'configuration for another layout' eval 'other_layout; rm site/meta/7/7/head/d1/f5'
    loss 'configuration unusable' 8 'configuration that cannot be used' sh -c 'echo "x = 1" >>site/jorv.toml'
    JORV_CONFIG=$work/none.toml loss 'configuration missing' 8 'configuration that is not there' true
    loss 'share gone' 8 'share that is not there' rm -r site/meta/7/7

    run+=(--checker /bin/true)
    loss 'a checker that reports nothing' 8 'checker that does not run' rm site/meta/7/7/head/d1/f5
    run=("$bin/jorvaudit" run --share_path site/meta/7/7 --share_id 17 --output report)
    loss 'wrong id' 8 'identifier of another share' true
    run=("$bin/jorvaudit" run --share_id 17 --output report)
    loss 'no such id' 8 'share that is not there' true
    run=("$bin/jorvaudit" run --share_path elsewhere/site/meta/7/7 --share_id 7 --output report)
    JORV_CONFIG=$work/elsewhere/site/jorv.toml loss 'moved' 12 'share that was made for another place' move_site
    rm -r elsewhere

    run=("$bin/jorvaudit" run --share_path site/meta/7/7 --share_id 7 --output report)
    if [[ $layout == files ]]; then
        loss 'stu gone' 4 'storage unit that is missing: stu (' rm -r site/meta/7/7/stu
        loss 'local data overwritten' 4 'local data that is not what was written (' overwrite_local
        loss 'end of the local data' 4 'd3/f3: storage unit that is too short, has ' truncate -s -1 site/meta/7/7/stu/d3/f3
    fi
    if (( EUID == 0 )); then
        # Root reads everything, so the audit is another user's, who must reach the programs.
        chmod 755 "$work"
        mkdir -p "$work/bin"
        cp "$bin/jorvaudit" "$bin/jorvck" "$work/bin"
        run=(setpriv --reuid=65534 --regid=65534 --clear-groups "$work/bin/jorvaudit" run --share_path site/meta/7/7 --share_id 7 --output "$work/by-nobody/report")
        mkdir by-nobody
        chmod 777 by-nobody
    fi
    unreadable() { chmod -R a+rX site; rm -rf by-nobody/report; chmod 0 "$1"; }
    loss 'directory unreadable' 8 'directory that cannot be listed: ' unreadable site/meta/7/7/head/d3
    grep -qF 'Permission denied (errno 13)' printed
    loss 'header unreadable' 8 'header that cannot be read' unreadable site/meta/7/7/head/d3/f3
    grep -qF 'd3/f3: header that cannot be read, Permission denied (errno 13)' printed
    loss 'extents unreadable' 8 'extents that cannot be read' unreadable "$(find site/meta/7/7/map/d3/f3 -type f)"
    if [[ $layout == files ]]; then
        loss 'storage unit unreadable' 8 'storage unit that cannot be read' unreadable site/meta/7/7/stu/d3/f3
    fi
    loss 'head unreadable' 8 'directory head: directory that cannot be listed, Permission denied (errno 13)' unreadable site/meta/7/7/head
    loss 'table of volumes unreadable' 8 "table of volumes that cannot be read: $work/site/fstab" unreadable site/fstab
    loss 'volume unreadable' 12 'volume that cannot be searched' unreadable site/volumes/v1
    rm -rf by-nobody
    echo "$layout: $count losses"
done

# Mapping tables with local extents, which packing never makes. The file data check takes local data
# for a container that is reserved, so there is no identifier.
layout='tables with local data'
count=0
remove site sound
python3 - >recipe.json <<'END'
import json
files = [{"path": f"d{i % 4}/f{i}", "header": {}, "stu": {"repeat": [f"{i:02x}", 5000]},
          "tables": {"tables": [{"offset": 0, "extents": [{"start": 0, "end": 5000}]}]}} for i in range(40)]
# An extent that reaches beyond the end of its file, and so of the data.
files.append({**files[0], "path": "d0/tail", "header": {"size": 4000}, "stu": {"repeat": ["ab", 4000]}})
print(json.dumps({"config": {"use_file_ext_map": 1}, "volumes": [{"name": "v1", "containers": [64]}],
                  "shares": [{"id": "7", "files": files}]}))
END
"$bin/jorvshare" make recipe.json site >made
mv site sound
run=("$bin/jorvaudit" run --share_path site/meta/7/7 --output report)
loss sound 0 'Verdict: sound: everything was looked at' true
loss 'local data overwritten' 4 'local data that is not what was written (41 files)' overwrite_local
loss 'stu gone' 4 'storage unit that is missing: stu (41 files)' rm -r site/meta/7/7/stu
# What is lost here is no byte of those that the checker compares.
loss 'end of the local data' 4 'd1/f5: storage unit that is too short, has 4999 bytes of 5000' truncate -s 4999 site/meta/7/7/stu/d1/f5
loss 'end of the data before that of the extent' 4 'd0/tail: storage unit that is too short, has 3999 bytes of 4000' truncate -s 3999 site/meta/7/7/stu/d0/tail
loss 'all but the start' 4 'd1/f5: storage unit that is too short, has 1 bytes of 5000' truncate -s 1 site/meta/7/7/stu/d1/f5
echo "$layout: $count losses"
