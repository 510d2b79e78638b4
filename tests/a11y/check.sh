#!/usr/bin/env bash
# The window as a screen reader meets it: the program runs on a virtual X server with the
# accessibility bus, and walk.py reads it through AT-SPI (as Orca does): a test case's page,
# the dialog of each kind of item and a status report. Every control that takes the focus must
# have a name, the page must come with its headings and table cells, and the report's charts
# with their figures in words.
set -euo pipefail
vantorel=$1
sample=$2
if [ -z "${A11Y_INNER:-}" ]; then
    command -v xvfb-run >/dev/null || { echo "xvfb-run is not installed"; exit 77; }
    /usr/bin/python3 -c 'import pyatspi' 2>/dev/null ||
        { echo "python3-pyatspi is not installed"; exit 77; }
    # The bus inside the X server's run, so the registry it starts finds the display. A run
    # that waited in vain (3: the virtual display or the bus came late) is tried once more.
    export A11Y_INNER=1
    for attempt in 1 2; do
        status=0
        xvfb-run -a -s "-screen 0 1280x1024x24" dbus-run-session -- "$0" "$@" || status=$?
        [ "$status" -ne 3 ] && exit "$status"
        echo "attempt $attempt waited in vain"
    done
    exit 1
fi
shift 2  # what is left goes to walk.py (--dump prints the whole tree)
# xvfb-run may hand over before the server answers.
/usr/bin/python3 - <<'WAIT'
import os, socket, time
path = "/tmp/.X11-unix/X" + os.environ["DISPLAY"].lstrip(":").split(".")[0]
for _ in range(100):
    try:
        socket.socket(socket.AF_UNIX).connect(path)
        break
    except OSError:
        time.sleep(0.1)
WAIT
work=$(mktemp -d)
pids=()
trap 'kill "${pids[@]}" 2>/dev/null; wait 2>/dev/null; rm -rf "$work"' EXIT
cp -r "$sample" "$work/db"
export VANTOREL_DATA_DIR="$work/data" HOME="$work/home"
mkdir -p "$HOME"
export QT_ACCESSIBILITY=1 QT_LINUX_ACCESSIBILITY_ALWAYS_ON=1 QT_QPA_PLATFORM=xcb
unset NO_AT_BRIDGE
/usr/libexec/at-spi-bus-launcher --launch-immediately &
pids+=($!)
/usr/libexec/at-spi2-registryd --use-gnome-session=false 2>/dev/null &
pids+=($!)
"$vantorel" "$work/db" >"$work/program.log" 2>&1 &
pids+=($!)
here=$(dirname "$0")
status=0
# From the tree's last folder up, so what a folder opens never pushes the next row out of sight.
project="Projects/Release 2.0"
report=$(basename "$("$vantorel" /r status /d "$work/db" /p "Release 2.0")" .vtl)
# The menu's imports and exports act on the row selected last.
/usr/bin/python3 "$here/walk.py" --dialogs "Filters/Failed" "Testers/dana" "Resources/Cards" \
    "Test Configurations/Desktop" "$project" --menu "File/Export Project to web..." \
    --dialogs "$project/Project Test Cases/Login/LOG-002" \
    --menu "File/Import/Import JUnit Results..." "File/Import/Import Project Test Case" \
    "File/Export to CSV.../Export Project Test Cases" \
    --report "$project/Project Reports/Status Reports/$report" \
    --dialogs "Test Cases/Cart" "Test Cases/Login/LOG-001" --page "Test Cases/Login/LOG-001" \
    --menu "File/Import/Import Test Case" "File/Import/Import from TestLink..." \
    "File/Export to CSV.../Export Test Cases" "File/Export to TestLink..." \
    "Edit/Deleted Items..." "Edit/Display Style..." \
    "Settings/Options..." "Settings/Spelling..." "Settings/Set User..." \
    "Settings/Customize Fields..." "Filter/Create New Filter..." "Edit/Find..." \
    "Report/Report Wizard..." "Help/About" "$@" || status=$?
[ "$status" -ne 0 ] && tail -n 20 "$work/program.log"
exit "$status"
