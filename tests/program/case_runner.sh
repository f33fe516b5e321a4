# The runner of the whole-program cases: it passes a run that says exactly what a case expects, fails
# at one byte more or less, and refuses a file that is not a case.
bin=$(realpath "$1")
run=$(realpath "$(dirname "$0")/../cases/run")
work=$(mktemp -d "${TMPDIR:-/tmp}/jorv-XXXXXX")
trap 'rm -rf "$work"' EXIT
cd "$work"

# In the checker's place: prints its words, streams with every awkward byte, and no last line feed.
mkdir bin
cp "$bin/jorvshare" bin/
cat >bin/jorvck <<'EOF'
#!/usr/bin/env bash
printf '<%s>' "$@"
printf ' \\n \n=== stderr\n\0\xff\ttab'
printf 'line\n\nline\n' >&2
exit 3
EOF
chmod +x bin/jorvck

# What a case expects of it, escaped where the plain form does not do.
cat >good.case <<'EOF'
=== args
--t 'a b' ''
"c'd"
=== stdout escaped
<--t><a b><><c'd> \\n\x20
\x3d== stderr
\0\xff	tab\c
=== stderr
line

line
=== status
3
EOF

# change NAME SED_SCRIPT: a case that differs from the good one
change() { sed -z "$2" good.case >"$1.case"; ! cmp -s good.case "$1.case"; }
passes() { "$run" "$1.case" bin >said 2>&1 || { cat said; echo "$1: does not pass"; exit 1; }; }
# fails NAME TEXT: the case fails, and what is printed holds the text
fails() {
    if "$run" "$1.case" bin >said 2>&1; then echo "$1: passes"; exit 1; fi
    grep -qFe "$2" said || { cat said; echo "$1: '$2' is not said"; exit 1; }
}
differs() { change "$1" "$2"; fails "$1" "$3"; }

passes good
differs words "s/'a b'/a b/" '+<--t><a><b><>'
differs trailing_blank 's/\\x20//' 'expected stdout'
differs last_line_feed 's/\\c//' '\ No newline at end of file'
differs other_byte 's/xff/xfe/' 'expected stdout'
differs nul 's/\\0//' 'expected stdout'
differs blank_line 's/line\n\nline/line\nline/' 'expected stderr'
differs stderr_without_line_feed 's/stderr\nline\n\nline/stderr escaped\nline\n\nline\\c/' '\ No newline at end of file'
differs nothing_expected 's/line\n\nline\n//' 'expected stderr'
differs other_status 's/\n3\n/\n4\n/' 'expected status'
differs default_status 's/=== status\n3\n//' 'expected status'
differs default_stderr 's/=== stderr\n.*=== status/=== status/' 'expected stderr'

# What is said is printed in a form that passes.
{ sed '/^=== stdout/,$d' good.case; "$run" --show good.case bin; } >shown.case
passes shown

# The checker makes something in the site, or changes what is there.
{ cat good.case; printf '=== prepare\necho old >site/old\n'; } >with_file.case
passes with_file
for deed in 'touch site/new' 'rm site/old' 'touch site/old' 'chmod 600 site/old' 'ln -f site/old outside'; do
    printf '#!/usr/bin/env bash\n%s\nexec "$@"\n' "$deed" >meddle
    chmod +x meddle
    WRAP=$work/meddle fails with_file 'site after'
done

# Not cases.
: >empty.case
fails empty 'empty.case:0: no section'
fails absent 'absent.case:0: no such file'
differs unknown 's/=== status/=== exit/' "unknown.case:12: not a section: '=== exit'"
differs blank_in_header 's/=== stderr\nline/=== stderr \nline/' "not a section: '=== stderr '"
differs twice 's/$/=== args\n/' "a second section 'args'"
differs text_before 's/^/text\n/' 'text_before.case:1: text before the first section'
differs cut 's/3\n$/3/' 'the last line has no line feed'
differs raw_nul 's/tab/\x00/' 'a NUL byte'
differs no_such_defaults 's/^/=== like\nnothing\n/' 'nothing.defaults:0: no such file'
differs text_in_flag 's/^/=== as-nobody\nyes\n/' "text in section 'as-nobody'"
differs bad_recipe 's/^/=== recipe\n{"shares": \n/' 'recipe'
echo "the runner tells a byte more or less, a changed site, and what is no case"
