# The two commands of README before they build: what scripts/progress shows, and what they refuse
# before anything is installed.
project=$(realpath "$(dirname "$0")/../..")
work=$(mktemp -d "${TMPDIR:-/tmp}/jorv-XXXXXX")
trap 'rm -rf "$work"' EXIT
chmod 755 "$work"

# Steps are a line every 10 %, other lines are kept, and the status is the command's.
cat >"$work/command" <<'END'
for i in {1..200}; do echo "[$i/200] step $i"; done
echo 'a warning' >&2
echo 'pmstatus:g++:42.5:Installing g++'
echo 'Setting up g++ (12) ...'
echo '1/2 Test #7: name ... Passed'
printf 'no line end'
exit 3
END
status=0
"$project/scripts/progress" Work bash "$work/command" >"$work/printed" || status=$?
(( status == 3 ))
{
    echo 'Work: 0 %, step 1'
    for i in {1..10}; do echo "Work: ${i}0 %, step $((20 * i))"; done
    printf '%s\n' 'a warning' 'Work: 42 %, Installing g++' '1/2 Test #7: name ... Passed' 'no line end'
} | diff - "$work/printed"

# A command that is silent, as ctest is during a long test, does not leave its user without a line.
cat >"$work/command" <<'END'
echo '      Start 12: lint.slow'
sleep 12
END
"$project/scripts/progress" Work bash "$work/command" >"$work/printed"
grep -qE '^Work: 0 min 1[0-9] s, running lint.slow$' "$work/printed"
(( $(wc -l <"$work/printed") == 1 ))

# With tools that know of no package, and leave a mark when one is asked for.
mkdir "$work/tools"
for tool in bash env dirname realpath find; do ln -s "$(command -v "$tool")" "$work/tools"; done
ln -s /bin/false "$work/tools/dpkg-query"
printf '#!/bin/bash\necho "$@" >>"$0.called"\n' >"$work/tools/apt-get"
chmod 755 "$work/tools/apt-get"
as=()
(( EUID != 0 )) || as=(setpriv --reuid=65534 --regid=65534 --clear-groups --)
# A copy, since nobody may not look into the project everywhere.
cp -r "$project/scripts" "$work"

# Without root and sudo: what is missing, in place of "command not found".
if "${as[@]}" env PATH="$work/tools" "$work/scripts/install-packages" coverage >"$work/printed" 2>&1; then exit 1; fi
diff - "$work/printed" <<'END'
install-packages: only root can install packages, and there is no sudo on this machine
These packages are missing, of Debian 12: gcovr
END

# A folder that will not do is refused before anything is installed.
mkdir -p "$work/empty/d" "$work/head/heads"
: >"$work/empty/d/none"
echo data >"$work/head/heads/f"
refused() {
    local status=0
    PATH=$work/tools "$work/scripts/demo" "$1" >"$work/printed" 2>&1 || status=$?
    (( status == 2 ))
    diff <(echo "demo: $2") "$work/printed"
}
refused "$work/none" "$work/none: no directory"
refused "$work/empty" "$work/empty: no regular file with data in it"
refused "$work/head" "$work/head/heads: the name begins with \"head\", take another folder"
[[ ! -e $work/tools/apt-get.called ]]
echo 'the commands say what they do and what they will not do'
