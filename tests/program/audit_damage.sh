# Every kind of damage that jorvshare knows, to many files at once: the audit names exactly those
# files. In both layouts. AUDIT_FILES and AUDIT_DAMAGES make it larger.
bin=$1
files=${AUDIT_FILES:-300}
damages=${AUDIT_DAMAGES:-6}
work=$(mktemp -d "${TMPDIR:-/tmp}/jorv-XXXXXX")
trap 'rm -rf "$work"' EXIT
cd "$work"
echo "seed ${SEED:=$RANDOM}"
RANDOM=$SEED

# Files with data of their own, some of them too large for one extent.
mkdir source
for (( i = 0; i < files; ++i )); do
    mkdir -p "source/d$(( i % 7 ))/e$(( i % 3 ))"
    { echo "$i"; head -c $(( i % 50 == 0 ? 300000 : 500 + RANDOM % 3000 )) /dev/zero | tr '\0' "\\$(( i % 8 ))"; } \
        >"source/d$(( i % 7 ))/e$(( i % 3 ))/file $i"
done

for layout in files tables; do
    "$bin/jorvshare" pack source site --share-id 7 --layout "$layout" --volumes 2 >packed
    export JORV_CONFIG=$work/site/jorv.toml
    cp -a site sound
    (cd source && find . -type f | sed 's|^\./||' | LC_ALL=C sort) >names
    kinds=$("$bin/jorvshare" damage --list | awk -v column=$([[ $layout == files ]] && echo 2 || echo 3) \
        'NR > 1 && $column != "-" { print $1 }' | grep -E '^(header|extents?|storage-unit|tables|dcid|fingerprint)-')
    for kind in $kinds; do
        : >damaged
        for (( tries = 0; tries < 20 * damages && $(wc -l <damaged) < damages; ++tries )); do
            name=$(sed -n "$(( RANDOM * 32768 % files + RANDOM % files + 1 ))p" names)
            if [[ -n $name ]] && ! grep -qxF "$name" damaged &&
                "$bin/jorvshare" damage site --share-id 7 --kind "$kind" --path "$name" --seed "$tries" >told 2>&1; then
                echo "$name" >>damaged
            fi
        done
        [[ -s damaged ]] || { echo "$layout, $kind: nothing could be damaged"; exit 1; }
        # What the checker cannot see, the audit cannot either: it reads one byte of 1024.
        [[ $kind != storage-unit-unsampled ]] || : >damaged
        status=0
        "$bin/jorvaudit" run --share_path site/meta/7/7 --share_id 7 --output report >printed || status=$?
        LC_ALL=C sort damaged | diff - report/affected.txt || { echo "$layout, $kind"; cat printed; exit 1; }
        (( (status == 0) == (kind_is_silent = $(wc -l <damaged) == 0) )) || { echo "$layout, $kind: status $status"; exit 1; }
        # Files that only the age limit leaves out of the data check.
        if [[ $kind == header-young ]]; then
            "$bin/jorvaudit" run --share_path site/meta/7/7 --share_id 7 --t 24 --output report >printed
            [[ ! -s report/affected.txt ]]
        fi
        rm -rf site report
        cp -a sound site
    done
    rm -rf site sound
    echo "$layout: $(wc -w <<<"$kinds") kinds, $damages files each"
done
