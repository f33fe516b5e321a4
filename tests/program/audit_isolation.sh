# A storage library that crashes or hangs on chosen files costs those files alone, and leaves
# nothing: no process, no core file, no view.
bin=$1
work=$(mktemp -d "${TMPDIR:-/tmp}/jorv-XXXXXX")
trap 'rm -rf "$work"' EXIT
cd "$work"
export TMPDIR=$work/views
mkdir views

# Stands for such a library: opening a file whose inode is named ends or stops the process.
cat >crash.cpp <<'CPP'
#include <dlfcn.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>

static void Act(const char* path) {
    static const char* const list = getenv("JORV_CRASH");
    struct stat attributes;
    FILE* file = list == nullptr || stat(path, &attributes) != 0 ? nullptr : fopen(list, "r");
    unsigned long inode;
    char action;
    while (file != nullptr && fscanf(file, "%lu %c", &inode, &action) == 2) {
        if (inode == attributes.st_ino) {
            action == 'h' ? (void)pause() : (void)raise(SIGSEGV);
        }
    }
    if (file != nullptr) fclose(file);
}
#define INTERPOSE(name)                                                   \
    extern "C" int name(const char* path, int flags, ...) {               \
        va_list rest;                                                     \
        va_start(rest, flags);                                            \
        const int mode = va_arg(rest, int);                               \
        va_end(rest);                                                     \
        Act(path);                                                        \
        using Open = int (*)(const char*, int, int);                      \
        static const Open next = (Open)dlsym(RTLD_NEXT, #name);           \
        return next(path, flags, mode);                                   \
    }
INTERPOSE(open)
INTERPOSE(open64)
CPP
g++ -shared -fPIC -o crash.so crash.cpp -ldl

mkdir source
for i in {1..400}; do
    mkdir -p "source/d$(( i % 3 ))"
    seq "$i" "$(( i + 300 ))" >"source/d$(( i % 3 ))/f$i"
done
for layout in files tables; do
    rm -rf site report
    "$bin/jorvshare" pack source site --share-id 7 --layout "$layout" >packed
    export JORV_CONFIG=$work/site/jorv.toml
    share=site/meta/7/7
    extents=$(find "$share/map/d2/f5" -type f)
    {
        stat -c '%i c' "$share/head/d1/f100" "$extents"
        stat -c '%i h' "$share/head/d0/f33"
    } >crashing
    # Another kind of damage beside, which must be found all the same.
    truncate --size=-1 "$share/head/d1/f103"
    status=0
    begun=$SECONDS
    env LD_PRELOAD="$work/crash.so" JORV_CRASH="$work/crashing" ASAN_OPTIONS=verify_asan_link_order=0:detect_leaks=0:handle_segv=0 TSAN_OPTIONS=handle_segv=0 \
        "$bin/jorvaudit" run --share_path "$share" --share_id 7 --output report --time-limit 2 --jobs 8 >printed 2>&1 || status=$?
    (( status == 12 )) || { cat printed; exit 1; }
    diff report/affected.txt - <<'END' || { cat printed; exit 1; }
d0/f33
d1/f100
d1/f103
d2/f5
END
    grep -qxF '  d0/f33: file that the checker does not finish' printed
    grep -qF '  d1/f100: file that the checker or the storage library dies of, signal 11, Segmentation fault' printed
    grep -qF '  d1/f103: damaged header, Bad message (errno 74)' printed
    grep -qF '  d2/f5: file that the checker or the storage library dies of, signal 11' printed
    (( $(sed -En 's/^  headers +([0-9]+) +400 .*/\1/p' printed) == 397 ))
    [[ $layout == files ]] || (( $(sed -En 's/^  file data check +([0-9]+) +.*/\1/p' printed) == 396 )) || { cat printed; exit 1; }
    [[ -z $(find views -mindepth 1) && -z $(find . -name 'core*') ]]
    if pgrep -f "$work" >left; then ps -fp "$(<left)"; exit 1; fi
    echo "$layout: four of 400 files, in $(( SECONDS - begun )) s"
done

# An audit that is killed takes its checkers along, and the next one removes its views.
env LD_PRELOAD="$work/crash.so" JORV_CRASH="$work/crashing" ASAN_OPTIONS=verify_asan_link_order=0:detect_leaks=0:handle_segv=0 TSAN_OPTIONS=handle_segv=0 \
    "$bin/jorvaudit" run --share_path "$share" --output killed --jobs 8 >printed 2>&1 &
for (( i = 0; i < 100; ++i )); do
    sleep 0.1
    ! pgrep -f 'jorvck --share_path '"$work/views" >running || break
done
[[ -s running ]]
kill -KILL $!
wait $! 2>waited || true
sleep 0.5
if pgrep -f "$work/views"; then exit 1; fi
[[ -n $(find views -mindepth 1) ]]
"$bin/jorvaudit" run --share_path "$share" --output after >printed || true
[[ -z $(find views -mindepth 1) ]]
echo 'a killed audit leaves no process, and its views are removed by the next'
