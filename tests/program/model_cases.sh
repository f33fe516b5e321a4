# The model of the checker's output is held against the whole-program cases, whose texts were written
# by hand: it prints what each of them expects of the checker.
bin=$(realpath "$1")
cases=$(realpath "$(dirname "$0")/../cases")
work=$(mktemp -d "${TMPDIR:-/tmp}/jorv-XXXXXX")
trap 'rm -rf "$work"' EXIT
ln -s "$bin/model" "$work/jorvck"
ln -s "$bin/jorvshare" "$work/jorvshare"

passed=0
failed=0
for case in "$cases"/*.case; do
    case $(basename "$case") in
        # A list without measure runs the checker, which has a budget, out of it.
        441-*) continue ;;
        # What slashes in a row at the end of a share path become is not the model's concern.
        116-*) continue ;;
    esac
    if "$cases/run" "$case" "$work" >"$work/said" 2>&1; then
        passed=$((passed + 1))
    else
        cat "$work/said"
        failed=$((failed + 1))
    fi
done
echo "$passed cases as expected, $failed not"
(( failed == 0 && passed > 190 ))
