# A chain of 500 directories below "map" is walked to its end with 16 file descriptors: the walk never
# holds more than one directory open.
bin=$1
work=$(mktemp -d "${TMPDIR:-/tmp}/jorv-XXXXXX")
trap 'rm -rf "$work"' EXIT
cd "$work"

chain=$(printf 'd/%.0s' {1..500})
cat >recipe.json <<EOF
{"shares": [{"id": "7", "files": [
    {"path": "${chain}f",
     "extent_file": {"extents": [{"start": 0, "end": 4096}]},
     "stu": {"repeat": ["41", 4096]}}]}]}
EOF
"$bin/jorvshare" make recipe.json site
share=site/meta/7/7
# The walk for headers, which does hold a descriptor per level, does not go down into a link.
mv "$share/map" chain
mv "$share/stu" units
ln -s "$PWD/chain" "$share/map"
ln -s "$PWD/units" "$share/stu"

# check: runs the checker, and compares its streams with the files "stdout" and "stderr".
check() {
    local status=0
    (
        ulimit -n 16
        JORV_CONFIG=site/jorv.toml exec "$bin/jorvck" --share_path "$share"
    ) >found.stdout 2>found.stderr || status=$?
    [[ $status == 0 ]]
    cmp stdout found.stdout
    cmp stderr found.stderr
}

cat >stdout <<EOF
checking sharePath $share
[JORVCK_VCOPY] Parsing Vcopy.dat failed. WARNING OUT!
EOF
cat >stderr <<EOF
Verify file $share/map/${chain}f
[JORVCK_VCOPY] Vcopy file not found!
EOF
check
printf 'B' | dd of="units/${chain}f" conv=notrunc status=none
sed -i "1a [ERROR]: extent file cksum failed $share/map/${chain}f" stderr
check
echo 'the end of the chain is reached'
