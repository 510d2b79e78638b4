#!/usr/bin/env bash
# The command line as a Linux user meets it: --help and --version, short options, a report
# kind in any letter case, an unknown kind that names the kinds there are, and the summary of a
# plain run without a display.
set -euo pipefail
vantorel=$1
sample=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export VANTOREL_DATA_DIR="$work/data"
cp -r "$sample" "$work/db"
fail() { echo "$*" >&2; exit 1; }

"$vantorel" --version | grep -qx 'vantorel 3\.2 (build [0-9]*)' || fail "--version"
"$vantorel" -V >/dev/null || fail "-V"
"$vantorel" --help >"$work/help"
"$vantorel" -h | cmp -s - "$work/help" || fail "-h and --help differ"
iconv -f UTF-8 -t UTF-8 "$work/help" >/dev/null || fail "the help is not UTF-8"
for option in --report --database --project --filter --suites --columns --name --web \
    --template --export-dir --csv --suite --library --list-report --latin1 --html --debug \
    --version; do
    grep -q -- "$option" "$work/help" || fail "the help does not name $option"
done
if "$vantorel" /help | cmp -s - "$work/help"; then fail "/help lost its own text"; fi

report=$("$vantorel" -r STATUS -d "$work/db" -p "Release 2.0" -n upper)
grep -q '<report_type>Status</report_type>' "$report" || fail "short options or an upper-case kind"

if "$vantorel" /r weekly /d "$work/db" /p "Release 2.0" 2>"$work/err"; then
    fail "an unknown kind made a report"
fi
grep -q '"weekly" is not a kind of report: status, progress, list or details' "$work/err" ||
    fail "the unknown kind is not explained: $(cat "$work/err")"
# A plain run without a display tells what the database holds, and only that: no empty
# current user, and no sample database copied beside the database it was given.
env -u DISPLAY -u WAYLAND_DISPLAY "$vantorel" "$work/db" >"$work/summary" 2>/dev/null
grep -q "^Database $work/db\$" "$work/summary" || fail "the summary: $(cat "$work/summary")"
if grep -q 'Current user: *$' "$work/summary"; then fail "an empty current user line"; fi
[ ! -e "$work/data/SampleDB" ] || fail "a run that named a database copied the sample"
echo "Linux options behave"
