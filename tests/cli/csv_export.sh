#!/usr/bin/env bash
# The CSV export as a script starts it, on a copy of the sample database: a project, one of
# its suites, a library suite and a list report are written with exit status 0; a missing project, a missing
# suite and an incomplete command line are told in error_log.txt with 1 or 2, and an earlier
# file stays as it was.
set -euo pipefail
vantorel=$1
sample=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export VANTOREL_DATA_DIR="$work/data"
cp -r "$sample" "$work/db"
fail() { echo "$*" >&2; exit 1; }
rows() { grep -c $'\r$' "$1"; }

out=$("$vantorel" --csv "$work/all.csv" -d "$work/db" -p "Release 2.0")
[ "$out" = "$work/all.csv" ] || fail "the written file is not printed: $out"
head -c 3 "$work/all.csv" | cmp -s - <(printf '\xef\xbb\xbf') || fail "no byte-order mark"
cases=$(find "$work/db/Projects/Release 2.0/Project Test Cases" -name '*.vtl' | wc -l)
[ "$(rows "$work/all.csv")" -eq $((cases + 1)) ] || fail "not one row per test case"
grep -q 'CSV export completed successfully' "$work/data/error_log.txt" || fail "success not told"

"$vantorel" /x "$work/cart.csv" /d "$work/db" /p "Release 2.0" /t Cart /latin1 >/dev/null
cart=$(find "$work/db/Projects/Release 2.0/Project Test Cases/Cart" -name '*.vtl' | wc -l)
[ "$(rows "$work/cart.csv")" -eq $((cart + 1)) ] || fail "the suite is not alone"
if head -c 3 "$work/cart.csv" | cmp -s - <(printf '\xef\xbb\xbf'); then fail "/latin1 has a mark"; fi

"$vantorel" --csv "$work/login.csv" -d "$work/db" --library Login >/dev/null
grep -q '^Suite,ID,Test Title,' <(tail -c +4 "$work/login.csv") || fail "no library header"

"$vantorel" /r list /d "$work/db" /p "Release 2.0" /o 1011 /n weekly >/dev/null
"$vantorel" --csv "$work/weekly.csv" -d "$work/db" -p "Release 2.0" --list-report weekly >/dev/null
grep -q '^ID,Title,Status,' <(tail -c +4 "$work/weekly.csv") || fail "not the report's columns"
[ "$(rows "$work/weekly.csv")" -eq $((cases + 1)) ] || fail "not one row per reported case"

expect_status() {
    local want=$1 message=$2
    shift 2
    local status=0
    "$vantorel" "$@" >/dev/null 2>"$work/err" || status=$?
    [ "$status" -eq "$want" ] || fail "$* ended with $status, not $want"
    grep -qF -- "$message" "$work/err" || fail "$* did not say: $message"
}
echo earlier >"$work/keep.csv"
expect_status 1 'Project "Nowhere" was not found in the database' \
    --csv "$work/keep.csv" -d "$work/db" -p Nowhere
expect_status 1 'was not found, nothing has been exported' \
    --csv "$work/keep.csv" -d "$work/db" -p "Release 2.0" --suite Nowhere
expect_status 2 '(/d and either /p or /l) for CSV export' --csv "$work/keep.csv" -d "$work/db"
expect_status 1 'is not a list report that can be read' --csv "$work/keep.csv" -d "$work/db" -p "Release 2.0" -i none
[ "$(cat "$work/keep.csv")" = earlier ] || fail "a refused export changed the file"
grep -q 'for CSV export' "$work/data/error_log.txt" || fail "the refusal is not in the log"
echo "CSV export runs behave"
