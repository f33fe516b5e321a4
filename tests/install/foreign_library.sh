# A storage library from outside the tree: built against the installed interface alone, taken by the
# checker in place of the reference library, and asked.
build=$1
project=$PWD
work=$(mktemp -d "${TMPDIR:-/tmp}/jorv-XXXXXX")
trap 'rm -rf "$work"' EXIT
generate=(cmake -G Ninja -DCMAKE_BUILD_TYPE=Release)

cmake --install "$build" --prefix "$work/interface" --component storage-dev >"$work/install.log"

# A copy, so that nothing of the project lies beside it.
cp -r examples/storage-library "$work/library"
# With a source that includes every installed header, each of which must compile alone.
for header in "$work"/interface/include/jorv-storage/storage/*.h; do
    name=$(basename "$header" .h)
    echo "#include \"storage/$name.h\"" >"$work/library/includes_$name.cpp"
done
"${generate[@]}" -S "$work/library" -B "$work/library/build" -DCMAKE_PREFIX_PATH="$work/interface" >"$work/configure.log"
cmake --build "$work/library/build" >"$work/build.log" || { cat "$work/build.log"; exit 1; }
library=$work/library/build/libtext_storage.so
test -f "$library"

# What cannot be meant is refused, with the reason.
refused() {
    local reason=$1
    shift
    rm -rf "$work/refused"
    if "${generate[@]}" -S "$project" -B "$work/refused" -DJORVCK_TESTS=OFF "$@" >"$work/refused.log" 2>&1; then
        echo "accepted: $*"
        exit 1
    fi
    # The message is broken over lines.
    tr -s ' \n' ' ' <"$work/refused.log" | grep -qF "$reason" || { cat "$work/refused.log"; exit 1; }
}
refused 'JORVCK_STORAGE is "vendor": it must be reference or external' -DJORVCK_STORAGE=vendor
refused 'JORV_STORAGE_LIBRARIES must name the library' -DJORVCK_STORAGE=external
refused "JORV_STORAGE_LIBRARIES: $work/absent.so is not there" \
    -DJORVCK_STORAGE=external -DJORV_STORAGE_LIBRARIES="$work/absent.so"
refused "JORV_STORAGE_INCLUDE_DIR: $work holds no folder named storage" \
    -DJORVCK_STORAGE=external -DJORV_STORAGE_LIBRARIES="$library" -DJORV_STORAGE_INCLUDE_DIR="$work"
refused 'with the reference library they would be ignored' -DJORV_STORAGE_LIBRARIES="$library"

# As README has it, but for the folder.
checker=$work/checker
cmake --preset vendor -B "$checker" \
    -DJORV_STORAGE_INCLUDE_DIR="$work/interface/include/jorv-storage" -DJORV_STORAGE_LIBRARIES="$library" \
    >"$work/configure.log"
cmake --build "$checker" --target jorvck >"$work/build.log" || { cat "$work/build.log"; exit 1; }

# Every header of the interface came from the folder that was named, none from the project, and
# nothing of the reference library was built.
(cd "$checker" && ninja -t deps | sed -n 's/^    //p' | sort -u | xargs realpath) >"$work/deps"
for header in "$work"/interface/include/jorv-storage/storage/*.h; do
    grep -qF "$header" "$work/deps" || { echo "not used: $header"; exit 1; }
done
if grep -E "^$project/(storage/.*\.h|refstore/)" "$work/deps" ||
    find "$checker" -name '*refstore*' -o -name 'jorvshare*' | grep .; then
    exit 1
fi

# It runs.
export TEXT_STORAGE=$work/storage
share=$work/storage/meta/7/7
fingerprint=$(printf '%064d' 0)
mkdir -p "$share"/{head,map,stu}/d "$work/storage/images/P/T"
printf '5 3000 1600000000 %s/storage/meta\n' "$work" >"$share/head/d/file"
head -c 3000 /dev/zero >"$share/stu/d/file"
printf '5\n0 3000 1 0 0 0 %s\n' "$fingerprint" >"$share/map/d/file"
printf 'P\nT\ni;\n' >"$share/vcopy.dat"
echo sound >"$work/storage/images/P/T/i"

check() {
    "$checker/bin/jorvck" "$@" >"$work/stdout" 2>"$work/stderr"
    diff "$work/expected.stdout" "$work/stdout"
    diff "$work/expected.stderr" "$work/stderr"
}
printf 'checking sharePath %s\ni\n[JORVCK_VCOPY] validating vcopy for %ssuccessfully! \n' "$share" "$share" >"$work/expected.stdout"
printf 'Verify file %s/map/d/file\n' "$share" >"$work/expected.stderr"
check --share_path "$share"

# A header that the library finds damaged, data with another checksum, an image that is not sound.
echo 'no number' >"$share/head/d/file"
printf 'x' | dd of="$share/stu/d/file" conv=notrunc status=none
echo broken >"$work/storage/images/P/T/i"
printf 'checking sharePath %s\ni\n' "$share" >"$work/expected.stdout"
cat >"$work/expected.stderr" <<END
[ERROR]: header file load failed!
[ERROR]: corrupt header file $share/head/d/file found
Verify file $share/map/d/file
[ERROR]: extent file cksum failed $share/map/d/file
[JORVCK_VCOPY] validating image [i] failed with ret = 74
END
check --share_path "$share"

# The other layout, with a container that is there and one that is not.
touch "$work/storage/tables"
rm "$share/map/d/file"
mkdir -p "$share/map/d/file" "$work/volume"
touch "$work/volume/100.bin" "$work/volume/100.bhd"
echo "$work/volume" >"$work/storage/volumes"
printf '5 3000 1600000000 %s/storage/meta\n' "$work" >"$share/head/d/file"
printf '3000\n0 1000 100 0 0 0 %s\n1000 3000 101 0 0 0 %s\n' "$fingerprint" "$fingerprint" >"$share/map/d/file/data.mdb"
cat >"$work/expected.stdout" <<'END'
Checking files which are created before 0 hours in 7
Loading volumes for 7
Loading data containers for 7
Loading headers for 7
Checking files for 7
Check files for 7 done!
END
cat >"$work/expected.stderr" <<END
Total number of file: 1
 1/1

[ERROR]: Cannot find dcid: 101 file: /mnt/jorv/7/7/d/file
[ERROR]: File information, path: /d/file ec: 7 [ mtim: 1600000000 size: 3000 fg: 0 ext: $share/map/d/file extl: local ]
END
check --share_id 7 --verify_data

# Installed, it still finds the library, which lies in none of the system's folders.
cmake --install "$checker" --prefix "$work/installed" --component jorvck >"$work/install.log"
rm -rf "$checker"
mkdir -p "$checker/bin"
ln -s "$work/installed/sbin/jorvck" "$checker/bin/jorvck"
check --share_id 7 --verify_data
if find "$work/installed" -name '*.toml*' -o -name 'jorvshare*' | grep .; then exit 1; fi
echo "the checker found what it should through a library that it was not written for"
