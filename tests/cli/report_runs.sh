#!/usr/bin/env bash
# The command-line report runs as a scheduler would start them, on a copy of the sample
# database: a status report is written and the run ends with 0; a web export with its charts
# says only its own words on stderr; a report request that also names a template is refused
# with its line in error_log.txt and a non-zero status.
set -euo pipefail
vantorel=$1
sample=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export VANTOREL_DATA_DIR="$work/data"
cp -r "$sample" "$work/db"

"$vantorel" /r status /d "$work/db" /p "Release 2.0" >"$work/out"
report=$(cat "$work/out")
grep -q '<report_type>Status</report_type>' "$report"
grep -q '<total_number_tests>11</total_number_tests>' "$report"

for kind in progress list details; do
    "$vantorel" --report "$kind" --database "$work/db/VantorelDatabase.vdb" --project "Mobile launch" >/dev/null
done

# A web export draws the report's charts with Qt; what Qt says of its setting (no
# XDG_RUNTIME_DIR under a scheduler) stays out of the run's messages.
env -u XDG_RUNTIME_DIR "$vantorel" /w /d "$work/db" /p "Release 2.0" /c default /e "$work/site" \
    >/dev/null 2>"$work/err"
if grep -q 'QStandardPaths\|XDG_RUNTIME_DIR\|qt\.' "$work/err"; then
    echo "Qt spoke on the web export's stderr: $(cat "$work/err")" >&2
    exit 1
fi
grep -q 'Web export completed successfully' "$work/err"
ls "$work/site/Release 2.0/Reports/Status Reports/"*.gif >/dev/null

if "$vantorel" /r status /d "$work/db" /p "Release 2.0" /c x 2>/dev/null; then
    echo "a report run with /c was not refused" >&2
    exit 1
fi
grep -q 'Command line missing some required parameters (/p or /d) for report generation' \
    "$work/data/error_log.txt"
echo "report runs behave"
