# The checker opens nothing for writing under the site but its log, changes nothing there, locks
# nothing, leaves the access times of the metadata files that are the user's own, and says the same
# of a site that is mounted read-only.
bin=$1
here=$(dirname "$0")
work=$(mktemp -d "${TMPDIR:-/tmp}/jorv-XXXXXX")
trap 'rm -rf "$work"' EXIT

"$here/made-tree" "$work/source"
touch -d 2002-01-01 "$work/long-ago"
# Reading updates an access time that is older than the file, unless the mount says otherwise.
echo text >"$work/read"
touch -a -d 2001-01-01 "$work/read"
cat "$work/read" >"$work/copy"
times_kept=$(find "$work/read" -anewer "$work/long-ago")
[[ -n $times_kept ]] || echo 'access times are not kept here: nothing shown'

locks() { grep -E 'flock\(|F_(OFD_)?SETLKW?|F_SETLEASE' "$1"; }
# A program that locks is seen to do it.
strace -f -qq -e trace=flock,fcntl -o "$work/trace" python3 -c 'import fcntl, sys
with open(sys.argv[1], "r+") as file:
    fcntl.flock(file, fcntl.LOCK_SH)
    fcntl.lockf(file, fcntl.LOCK_EX)' "$work/read"
(( $(locks "$work/trace" | grep -cE 'LOCK_SH|F_WRLCK') == 2 ))

# Of everything under the site but its log: type, rights, owner, size, and the times of the last
# changes of contents and of attributes.
state() { find "$work/site" -path "$work/site/log" -prune -o -printf '%p %i %y %m %U:%G %s %T@ %C@\n' | sort; }
for layout in files tables; do
    "$bin/jorvshare" pack "$work/source" "$work/site" --share-id 7 --layout "$layout" --volumes 2 \
        --vcopy weekly:monday:i1
    image=$work/site/images/weekly/monday/i1
    [[ -f $image ]]
    # One damaged file, so that the run has something to report.
    victim=$(find "$work/site/meta/7/7/map" -type f | sort | head -n 1)
    printf 'x' >>"$victim"
    for mode in metadata file-data; do
        words=(--share_path "$work/site/meta/7/7")
        [[ $mode == metadata ]] || words=(--share_id 7 --verify_data)
        run=(env "JORV_CONFIG=$work/site/jorv.toml" "$bin/jorvck" "${words[@]}")

        find "$work/site" -exec touch -a -d 2001-01-01 {} +
        state >"$work/before"
        "${run[@]}" >"$work/stdout" 2>"$work/stderr"
        # Of storage units, directories and the list of images the access times change, as with any
        # reading.
        read_later=$(find "$work/site/meta" "$work/site/images" "$work/site/jorv.toml" "$work/site/fstab" -type f \
            -anewer "$work/long-ago" -not -path '*/stu/*' -not -name vcopy.dat)
        [[ -z $times_kept || -z $read_later ]] || { echo "access times changed: $read_later"; exit 1; }
        grep -qF '[ERROR]' "$work/stderr"

        # A leak checker cannot work in a process that is traced already.
        ASAN_OPTIONS=detect_leaks=0 strace -f -qq -e trace=open,openat,creat,mkdir,mkdirat,unlink,unlinkat,rename,renameat,renameat2,truncate,ftruncate,link,linkat,symlink,symlinkat,chmod,fchmodat,utimensat,mknod,mknodat,flock,fcntl \
            -o "$work/trace" "${run[@]}" >/dev/null 2>&1
        opened=$(grep -cF "\"$work/site/" "$work/trace")
        (( opened > 20 ))
        if grep -F "$work/site" "$work/trace" | grep -vF "$work/site/log/" |
            grep -E 'O_WRONLY|O_RDWR|O_CREAT|O_TRUNC|O_APPEND|^[0-9]+ +(creat|mk|unlink|rename|truncate|link|symlink|chmod|fchmod|utime)'; then
            echo "the checker wrote"
            exit 1
        fi
        # A call names a descriptor and not a file, but the checker has no file to lock at all.
        if locks "$work/trace"; then
            echo "the checker locked"
            exit 1
        fi
        # Images are a part of the metadata check.
        [[ $mode == file-data ]] || grep -qF "\"$image\"" "$work/trace"
        diff "$work/before" <(state)

        # In a mount namespace of its own; without root a user namespace gives one. Below a chroot the
        # root is no mount and cannot be made private, hence the unmount at the end.
        namespace=(unshare --mount --propagation unchanged)
        (( EUID == 0 )) || namespace+=(--map-root-user)
        "${namespace[@]}" bash -euc '
            mount --make-rprivate / 2>/dev/null || true
            mount --bind "$0/site" "$0/site"
            mount -o remount,bind,ro "$0/site"
            ! touch "$0/site/probe" 2>/dev/null
            "${@}" >"$0/stdout.ro" 2>"$0/stderr.ro"
            umount "$0/site"' "$work" "${run[@]}"
        # Files are checked by two threads, in no certain order.
        cmp <(sort "$work/stdout") <(sort "$work/stdout.ro")
        cmp <(sort "$work/stderr") <(sort "$work/stderr.ro")
        echo "$layout, $mode: nothing opened for writing in $opened calls, and the same lines when read-only"
    done
    rm -rf "$work/site"
done
