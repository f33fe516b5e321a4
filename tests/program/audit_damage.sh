# Every kind of damage that jorvshare knows, as often as the share has room for, at random places: the
# audit names the damaged files and no other. In both layouts. AUDIT_FILES and AUDIT_DAMAGES make it
# larger, AUDIT_LAYOUTS and AUDIT_KINDS narrower.
bin=$(realpath "$1")
files=${AUDIT_FILES:-300}
damages=${AUDIT_DAMAGES:-6}
work=$(mktemp -d "${TMPDIR:-/tmp}/jorv-XXXXXX")
trap 'rm -rf "$work"' EXIT
cd "$work"
echo "seed ${SEED:=15}"

# Files with data of their own, some too large for one extent; every fourth has another's data, which
# then lies in a container in both layouts.
python3 - "$files" "$SEED" <<'END'
import os, random, sys
files, draw, datas = int(sys.argv[1]), random.Random(int(sys.argv[2])), []
for i in range(files):
    folder = f"source/d{i % 7}/e{i % 3}"
    os.makedirs(folder, exist_ok=True)
    if i % 4 or not datas:
        data = b"%d\n" % i + draw.randbytes(140000 if i % 20 == 1 else draw.randint(500, 3500))
        datas.append(data)
    else:
        data = draw.choice(datas)
    with open(f"{folder}/file {i}", "wb") as file:
        file.write(data)
END
(cd source && find . -type f | sed 's|^\./||' | LC_ALL=C sort) >names

# What the whole data of the share tells, for kinds that break no file of their own.
verified() { { "$bin/jorvshare" verify site --share-id 7 2>&1 || true; } | sed -n 's/^jorvshare: damaged file \([^:]*\): .*/\1/p'; }

# expect KIND: the names of the damaged files to "expected", in any order; whether there is nothing
# to be found at all to "silent".
expect() {
    cp damaged expected
    silent=false
    case $1 in
        # What the checker cannot see, the audit cannot either: it reads one byte of 1024 of local
        # data, and nothing of containers. Without a list there are no images to look at.
        storage-unit-unsampled | container-damaged | container-index-damaged | vcopy-missing)
            silent=true
            : >expected
            ;;
        container-missing | container-index-missing | container-link-loop | volume-missing) verified >expected ;;
        map-missing | head-missing) cp names expected ;;
    esac
}

for layout in ${AUDIT_LAYOUTS:-files tables}; do
    "$bin/jorvshare" pack source site --share-id 7 --layout "$layout" --volumes 2 --container-size 1 \
        --vcopy weekly:monday:i1 >packed
    export JORV_CONFIG=$work/site/jorv.toml
    cp -a site sound
    all=$("$bin/jorvshare" damage --list | awk -v column="$([[ $layout == files ]] && echo 2 || echo 3)" \
        'NR > 1 && $column != "-" { print $1 }')
    count=0
    for kind in ${AUDIT_KINDS:-$all}; do
        : >damaged
        done=0
        if [[ $kind =~ ^(header|extents?|storage-unit|tables|dcid|fingerprint)- ]]; then
            python3 -c 'import random, sys; names = open("names").readlines()
random.Random(sys.argv[1]).shuffle(names); sys.stdout.writelines(names)' "$SEED $layout $kind" >order
            while (( done < damages )) && IFS= read -r name; do
                if "$bin/jorvshare" damage site --share-id 7 --kind "$kind" --path "$name" --seed "$done" >told 2>&1; then
                    echo "$name" >>damaged
                    done=$(( done + 1 ))
                fi
            done <order
        else
            # The share runs out of images and trees at some time; half of the containers stay.
            most=$damages
            case $kind in
                container-missing | container-index-missing | container-link-loop)
                    most=$(( ($(find site/volumes -name '*.bin' | wc -l) + 1) / 2 )) ;;
                volume-missing) most=1 ;;
            esac
            while (( done < damages && done < most )) &&
                "$bin/jorvshare" damage site --share-id 7 --kind "$kind" --seed "$(( SEED + done ))" >told 2>&1; do
                done=$(( done + 1 ))
            done
        fi
        (( done > 0 )) || { echo "$layout, $kind: nothing could be damaged"; cat told; exit 1; }
        expect "$kind"
        status=0
        "$bin/jorvaudit" run --share_path "$work/site/meta/7/7" --share_id 7 --output report >printed || status=$?
        if [[ $kind != volume-table-missing ]] &&
            ! diff <(LC_ALL=C sort expected) report/affected.txt >differences; then
            echo "$layout, $kind:"
            head differences
            cat printed
            exit 1
        fi
        [[ $silent == "$( (( status == 0 )) && echo true || echo false)" ]] || { echo "$layout, $kind: status $status"; cat printed; exit 1; }
        # Files that only the age limit leaves out of the data check.
        if [[ $kind == header-young ]]; then
            "$bin/jorvaudit" run --share_path "$work/site/meta/7/7" --share_id 7 --t 24 --output report >printed
            [[ ! -s report/affected.txt ]]
        fi
        [[ -z ${AUDIT_TELL:-} ]] || echo "$layout, $kind: $done damages, $(wc -l <expected) files, status $status"
        rm -rf site report
        cp -a sound site
        count=$(( count + 1 ))
    done
    rm -rf site sound
    echo "$layout: $count kinds, up to $damages damages each"
done
