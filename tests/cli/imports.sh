#!/usr/bin/env bash
# The CSV, JUnit and TestLink imports (and the TestLink export) as a script or a CI pipeline starts them, on a copy of the sample
# database: a library suite exported and imported again gives the same documents, a
# spreadsheet's semicolon file imports, JUnit results are recorded (and asked about the
# second time) with exit status 0; a broken file, a refused row and an incomplete command line
# end with 1 or 2, are told in error_log.txt and write nothing.
set -euo pipefail
vantorel=$1
sample=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export VANTOREL_DATA_DIR="$work/data"
cp -r "$sample" "$work/db"
fail() { echo "$*" >&2; exit 1; }
expect_status() {
    local want=$1 message=$2
    shift 2
    local status=0
    "$vantorel" "$@" >"$work/out" 2>"$work/err" || status=$?
    [ "$status" -eq "$want" ] || fail "$* ended with $status, not $want: $(cat "$work/err")"
    grep -qF -- "$message" "$work/err" "$work/out" || fail "$* did not say: $message"
}

# Round trip through a file: the same documents.
"$vantorel" --csv "$work/login.csv" -d "$work/db" --library Login >/dev/null
mkdir "$work/db/Test Cases/Copy"
expect_status 0 '6 test cases imported' --import-csv "$work/login.csv" -d "$work/db" --library Copy
for doc in "$work/db/Test Cases/Login/"*.vtl; do
    cmp -s "$doc" "$work/db/Test Cases/Copy/$(basename "$doc")" || fail "$(basename "$doc") differs"
done

# A spreadsheet's file: semicolons, a byte-order mark, a quoted line break; automatic IDs.
printf '\xef\xbb\xbfTest Title;Test Description;Priority\r\nPay by voucher;"Enter the code\r\nPress Pay";high\r\n' \
    >"$work/sheet.csv"
expect_status 0 '1 of 1 rows imported' /m "$work/sheet.csv" /d "$work/db" /p "Release 2.0" /t Cart
grep -l 'Pay by voucher' "$work/db/Projects/Release 2.0/Project Test Cases/Cart/"*.vtl >/dev/null ||
    fail "the spreadsheet's row is not a project test case"

# Refusals write nothing.
before=$(find "$work/db" -type f | wc -l)
printf 'ID,Test Title\r\nNEW-1,"never closed\r\n' >"$work/broken.csv"
expect_status 1 'line 2: a quoted field is not closed' -m "$work/broken.csv" -d "$work/db" -l Copy
printf 'ID,Test Type\r\nNEW-2,Unit test\r\nNEW-3,Nightly\r\n' >"$work/refused.csv"
expect_status 1 'Line 3, column 2 (Test Type): "Nightly" is not in the database' \
    --import-csv "$work/refused.csv" -d "$work/db" -l Copy
[ "$(find "$work/db" -type f | wc -l)" -eq "$before" ] || fail "a refused import wrote"
expect_status 1 '1 of 2 rows imported' --import-csv "$work/refused.csv" -d "$work/db" -l Copy --good-rows
[ -f "$work/db/Test Cases/Copy/NEW-2.vtl" ] || fail "the good row was not imported"
expect_status 2 'for CSV import' --import-csv "$work/refused.csv" -d "$work/db"

# JUnit results of a CI run.
cat >"$work/results.xml" <<'XML'
<?xml version="1.0" encoding="utf-8"?>
<testsuites><testsuite name="shop" timestamp="2026-11-24T21:00:00">
<testcase classname="tests.cart" name="test_CART_001_add" time="75.2"/>
<testcase classname="tests.checkout" name="test_CHK-001" time="3"><failure message="total is 0"/></testcase>
<testcase classname="tests.misc" name="test_unrelated" time="1"/>
</testsuite></testsuites>
XML
cases="$work/db/Projects/Release 2.0/Project Test Cases"
expect_status 0 'CHK-001: ' --junit "$work/results.xml" -d "$work/db" -p "Release 2.0" --dry-run
grep -q 'would be recorded' "$work/out" || fail "the dry run does not say what would change"
grep -q '<test_status>Pass</test_status>' "$cases/Checkout/CHK-001.vtl" || fail "the dry run wrote"
expect_status 0 'No test case of the project matches the result tests.misc.test_unrelated' \
    --junit "$work/results.xml" -d "$work/db" -p "Release 2.0" --tested-build 417
grep -q '<test_status>Fail</test_status>' "$cases/Checkout/CHK-001.vtl" || fail "CHK-001 is not Fail"
grep -q '<build_tested>417</build_tested>' "$cases/Checkout/CHK-001.vtl" || fail "no build"
expect_status 1 'was imported into this project on' /j "$work/results.xml" /d "$work/db" /p "Release 2.0"
expect_status 0 'test cases recorded' /j "$work/results.xml" /d "$work/db" /p "Release 2.0" /again

echo 'name,status' >"$work/not.xml"
expect_status 1 'can'"'"'t be imported: line 1, column 1: ' -j "$work/not.xml" -d "$work/db" -p "Release 2.0"
expect_status 2 '(/d and /p) for JUnit results import' -j "$work/results.xml" -d "$work/db"
grep -q 'for JUnit results import' "$work/data/error_log.txt" || fail "the refusal is not in the log"
# A TestLink export: its nested suites below the library suite, the IDs with their prefix; a
# dry run first, which writes nothing.
testlink=$(dirname "$0")/../data/testlink/shop.xml
mkdir "$work/db/Test Cases/Shop"
expect_status 0 '2 test cases of 2 would be imported' --import-testlink "$testlink" -d "$work/db" \
    --library Shop --prefix SHOP --dry-run
[ -z "$(ls "$work/db/Test Cases/Shop")" ] || fail "the dry run wrote"
expect_status 0 '2 test cases imported' /testlink "$testlink" /d "$work/db" /l Shop /prefix SHOP
grep -q '<requirement>PAY-3</requirement>' "$work/db/Test Cases/Shop/Payments/SHOP-7.vtl" ||
    fail "the TestLink test case is not where its suite says"
[ -f "$work/db/Test Cases/Shop/Payments/Vouchers/SHOP-8.vtl" ] || fail "no nested suite"
expect_status 2 '(/d and /l) for TestLink import' --import-testlink "$testlink" -d "$work/db"
# A TestRail export through its preset, step rows and all; a preset nobody knows is refused.
mkdir "$work/db/Test Cases/Rail"
expect_status 0 '3 of 3 rows imported' --import-csv "$(dirname "$0")/../data/presets/testrail.csv" \
    -d "$work/db" --library Rail --preset testrail
grep -q 'enter the card</li></ol>' "$work/db/Test Cases/Rail/Checkout/Cards/C101.vtl" ||
    fail "the TestRail steps are not numbered steps"
expect_status 2 'it takes testrail, kiwi or xray' /m "$work/sheet.csv" /d "$work/db" /l Rail /preset jira

# And out again: the suite whole, with its nested suite, as TestLink imports it.
expect_status 0 '2 test cases written' --export-testlink "$work/shop.xml" -d "$work/db" --library Shop
grep -q '<testsuite name="Vouchers">' "$work/shop.xml" || fail "the nested suite is not exported"
expect_status 2 '(/d and /l) for TestLink export' /exporttestlink "$work/shop.xml" /d "$work/db"

echo "Import runs behave"
