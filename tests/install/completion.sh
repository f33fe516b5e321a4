# Completion offers what the programs take: every option of their usage texts and no other.
build=$1
PATH=$build/bin:$PATH
work=$(mktemp -d "${TMPDIR:-/tmp}/jorv-XXXXXX")
trap 'rm -rf "$work"' EXIT
source packaging/completion/jorvck
source packaging/completion/jorvaudit
source packaging/completion/jorvshare
# The shell has it inside of a completion only.
compopt() { [[ $* == '-o filenames' ]]; }

# offered WORD...: what is offered for the last word, sorted.
offered() {
    COMP_WORDS=("$@")
    COMP_CWORD=$(($# - 1))
    "_$1" "$1" "${COMP_WORDS[COMP_CWORD]}" "${COMP_WORDS[COMP_CWORD - 1]}"
    (( ${#COMPREPLY[@]} == 0 )) || printf '%s\n' "${COMPREPLY[@]}" | sort
}
options() { grep -oE -- '--[a-z][a-z_-]*' | sort -u; }

{ jorvck 2>&1 || true; echo --help; } | options >"$work/usage"
(( $(wc -l <"$work/usage") == 5 ))
diff "$work/usage" <(offered jorvck '')
diff <(echo --verify_data) <(offered jorvck --share_id 7 --v)
diff /dev/null <(offered jorvck --share_id '')

commands=(pack unpack verify make show damage)
diff <({ jorvshare --help | options; printf '%s\n' "${commands[@]}"; } | sort) <(offered jorvshare '')
diff <(jorvshare --help | sed -n '/^Subcommands/,$s/^  \([a-z]*\) .*/\1/p' | sort) <(printf '%s\n' "${commands[@]}" | sort)
for command in "${commands[@]}"; do
    jorvshare "$command" --help | options >"$work/usage"
    diff "$work/usage" <(offered jorvshare "$command" --)
done
diff <(printf 'files\ntables\n') <(offered jorvshare pack --layout '')
jorvshare damage --list | awk 'NR > 1 { print $1 }' | sort >"$work/kinds"
(( $(wc -l <"$work/kinds") > 40 ))
diff "$work/kinds" <(offered jorvshare damage --kind '')
commands=(run show diff merge plan)
diff <({ jorvaudit --help | options; printf '%s\n' "${commands[@]}"; } | sort) <(offered jorvaudit '')
diff <(jorvaudit --help | sed -n '/^Subcommands/,$s/^  \([a-z]*\) .*/\1/p' | sort) <(printf '%s\n' "${commands[@]}" | sort)
for command in "${commands[@]}"; do
    jorvaudit "$command" --help | sed 's/ Excludes:.*//' | options >"$work/usage"
    diff "$work/usage" <(offered jorvaudit "$command" --)
done
diff /dev/null <(offered jorvaudit run --part '')
mkdir -p "$work/here/directory"
touch "$work/here/file"
diff <(printf '%s\n' "$work"/here/{directory,file}) <(offered jorvshare pack "$work/here/")
diff <(printf '%s\n' "$work/here/directory") <(offered jorvck --share_path "$work/here/")
diff <(printf '%s\n' "$work/here/directory") <(offered jorvaudit run --share_path "$work/here/")
diff <(printf '%s\n' "$work"/here/{directory,file}) <(offered jorvaudit run --output "$work/here/")
diff <(printf '%s\n' "$work"/here/{directory,file}) <(offered jorvaudit diff "$work/here/")
echo "completion offers what the programs take"
