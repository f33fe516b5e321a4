# The manual pages render without a warning in both programs that show them, and say of the programs
# what is so: the console lines, the options, the keys of the configuration.
build=$1
bin=$build/bin
work=$(mktemp -d "${TMPDIR:-/tmp}/jorv-XXXXXX")
trap 'rm -rf "$work"' EXIT

pages=(man/*.[18] "$build"/man/*.[58])
(( ${#pages[@]} == 3 + $(ls docs/formats/*.md | wc -l) ))
for page in "${pages[@]}"; do
    # Whether the pages referred to are installed here does not matter, nor do long lines of tables.
    mandoc -T lint -W warning "$page" >"$work/lint" || { cat "$work/lint"; exit 1; }
    LC_ALL=C.UTF-8 MANWIDTH=80 man --warnings -E UTF-8 -l "$page" 2>"$work/warnings" >"$work/page"
    if [[ -s $work/warnings ]]; then
        echo "$page:"
        cat "$work/warnings"
        exit 1
    fi
    grep -q '^NAME' "$work/page"
done

# All are dated as the version is, and the version has its heading.
released=$(sed -n 's/^set(JORVCK_RELEASED \(.*\))$/\1/p' CMakeLists.txt)
for page in man/*.[18] "$build"/man/*.8; do
    diff <(sed -n 's/^\.Dd //p' "$page") <(LC_ALL=C date -d "$released" '+%B %-d, %Y')
done
version=$(sed -n 's/^project(jorvck VERSION \([0-9.]*\) .*/\1/p' CMakeLists.txt)
grep -qx "## $version" CHANGELOG.md

# Every page that another refers to is there.
cat "${pages[@]}" | sed -En 's/^\.Xr (jorv\S*) (.).*/\1.\2/p; s/^\.BR (jorv\S*) \((.)\).*/\1.\2/p' |
    sed 's/\\//g' | sort -u >"$work/referred"
printf '%s\n' "${pages[@]##*/}" | sort >"$work/there"
diff <(comm -23 "$work/referred" "$work/there") /dev/null
(( $(wc -l <"$work/referred") > 5 ))

# options TEXT: the options that a usage text or a page names.
options() { grep -oE -- '--[a-z][a-z_-]*' "$1" | sort -u; }
page_of() { mandoc -T utf8 "$1" | sed 's/.\x08//g; s/‐/-/g'; }

"$bin/jorvck" 2>"$work/usage" >"$work/none" || true
echo '--help' >>"$work/usage"
page_of "$build/man/jorvck.8" >"$work/jorvck"
sed -n '/^DESCRIPTION/,/^READING/p' "$work/jorvck" >"$work/described"
diff <(options "$work/usage") <(options "$work/described")

page_of man/jorvshare.1 >"$work/jorvshare"
diff <("$bin/jorvshare" --version) <(echo "jorvshare $version")
"$bin/jorvshare" --help >"$work/usage"
sed -n '/^     --help/,/^FILES/p' "$work/jorvshare" >"$work/described"
diff <(options "$work/usage") <(options "$work/described")
for command in pack unpack verify show make damage; do
    "$bin/jorvshare" "$command" --help >"$work/usage"
    { sed -n "/^DESCRIPTION/,/^FILES/p" "$work/jorvshare" | grep -vE -- '--(help|version)' |
        sed -n "/^     $command\( .*\)\?\$/,/^     [a-z]/p" | sed '$d'; echo '--help'; } >"$work/described"
    diff <(options "$work/usage") <(options "$work/described")
done

page_of man/jorvaudit.8 >"$work/jorvaudit"
diff <("$bin/jorvaudit" --version) <(echo "jorvaudit $version")
"$bin/jorvaudit" --help >"$work/usage"
sed -n '/^     --help/,/^READING/p' "$work/jorvaudit" >"$work/described"
diff <(options "$work/usage") <(options "$work/described")
for command in run show diff merge plan; do
    "$bin/jorvaudit" "$command" --help >"$work/usage"
    { sed -n "/^DESCRIPTION/,/^READING/p" "$work/jorvaudit" | grep -vE -- '--(help|version)' |
        sed -n "/^     $command\( .*\)\?\$/,/^     [a-z]/p" | sed '$d'; echo '--help'; } >"$work/described"
    diff <(options "$work/usage") <(options "$work/described")
done
# The files that an audit writes.
mkdir "$work/share"
JORV_CONFIG=/none "$bin/jorvaudit" run --share_path "$work/share" --output "$work/audit" >"$work/none" || (( $? == 8 ))
for file in "$work"/audit/*; do
    sed -n '/^FILES/,/^EXIT/p' "$work/jorvaudit" | grep -q "^     $(basename "$file")\( \|\$\)" || { echo "not in the page: $file"; exit 1; }
done

# The keys that the parser takes, the page and the configuration that is shipped name, in one order.
grep -oE 'key == "[a-z_]+"' refstore/config/settings_parser.cpp | cut -d'"' -f2 >"$work/keys"
(( $(wc -l <"$work/keys") > 5 ))
diff "$work/keys" <(sed -n 's/^| `\([a-z_]*\)` .*/\1/p' docs/formats/configuration.md)
diff "$work/keys" <(sed -n 's/^#\?\([a-z_]*\) = .*/\1/p' packaging/config/jorv.toml)
# Uncommented, it says what the page says the defaults are.
diff <(sed -n 's/^| `[a-z_]*` |[^|]*| `\?\([^|`]*\)`\? |.*/\1/p' docs/formats/configuration.md | sed 's/ *$//' | tr -d '"') \
    <(sed -n 's/^#\?[a-z_]* = //p' packaging/config/jorv.toml | tr -d '"')
# And the library takes it, which it would not with a wrong key or value.
sed 's/^#\([a-z_]* = \)/\1/' packaging/config/jorv.toml >"$work/jorv.toml"
JORV_CONFIG=$work/jorv.toml "$bin/jorvck" --share_id 'no such share' --verify_data 2>"$work/stderr" >"$work/stdout"
grep -qxF 'The share ID no such share doesn'"'"'t exist, meta_dir: "/var/lib/jorv/meta/'"$(
    sed -n 's/.*meta\/\(.\)\/no such share"$/\1/p' "$work/stderr")"'/no such share"' "$work/stderr"
# The service's settings are the ones that its unit reads.
diff <(sed -n 's/^#\([A-Z_]*\)=.*/\1/p' packaging/systemd/default | sort) \
    <(sed -n 's/^Exec.*\$\$\(JORVAUDIT_[A-Z]*\).*/\1/p' packaging/systemd/jorvaudit@.service.in | sort)
echo "${#pages[@]} pages without a warning"
