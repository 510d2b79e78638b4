#!/usr/bin/env bash
# The web export as a reader meets it: both sample projects, with reports of every kind, are
# exported from the command line in both display styles; linkchecker must find no broken link
# or picture, headless Chromium must load every page without a console message and decode every
# picture a page shows. A second export over the first must work too, and a style that does
# not exist must end the run with the failure line and a non-zero status.
set -euo pipefail
vantorel=$1
sample=$2
for tool in chromium linkchecker; do
    command -v "$tool" >/dev/null || { echo "$tool is not installed"; exit 77; }
done
work=$(mktemp -d)
chmod 755 "$work"  # linkchecker, started as root, reads as nobody
trap 'rm -rf "$work"' EXIT
export VANTOREL_DATA_DIR="$work/data"
# The browser's profile, caches and the link checker's files stay in the work folder, not in
# the user's home.
export HOME="$work/home" XDG_CONFIG_HOME="$work/config" XDG_CACHE_HOME="$work/cache"
mkdir -p "$HOME"
# Qt and fontconfig keep their caches until the process ends; only the unit tests look for leaks.
export ASAN_OPTIONS="${ASAN_OPTIONS:+$ASAN_OPTIONS:}detect_leaks=0"
cp -r "$sample" "$work/db"
for project in "Release 2.0" "Mobile launch"; do
    for kind in status progress list details; do
        "$vantorel" /r "$kind" /d "$work/db" /p "$project" >/dev/null
    done
done

chrome() {
    timeout 60 chromium --headless --no-sandbox --disable-gpu --disable-background-networking \
        --user-data-dir="$work/chromium" \
        --disable-component-update --disable-sync --no-first-run --allow-file-access-from-files \
        --enable-logging=stderr --v=0 --dump-dom "$@"
}

for style in default night; do
    site="$work/site-$style"
    for project in "Release 2.0" "Mobile launch"; do
        "$vantorel" /w /d "$work/db" /p "$project" /c "$style" /e "$site" >/dev/null 2>&1
        # Exporting again writes over the first export.
        "$vantorel" /w /d "$work/db" /p "$project" /c "$style" /e "$site" >/dev/null 2>&1
        linkchecker --no-status --no-warnings "$site/$project/$project.html" >"$work/links" 2>&1 ||
            { cat "$work/links"; echo "linkchecker found broken links ($style, $project)"; exit 1; }
    done

    # One browser run loads every page in a frame of a page of our own, another every picture
    # the pages show; any console message, or a picture that fails to decode, fails the test.
    frames="$site/.frames.html"
    pictures="$site/.pictures.html"
    # Both made by one Python run: one per page and picture took a minute and a half.
    pages=$(python3 - "$site" <<'PYTHON'
import os, re, sys, urllib.parse
site = sys.argv[1]
frames, pictures = [], []
for folder, _, names in os.walk(site):
    for name in names:
        if not name.endswith(".html") or name.startswith("."):
            continue
        relative = os.path.relpath(os.path.join(folder, name), site)
        frames.append(f'<iframe src="{urllib.parse.quote(relative)}"></iframe>')
        with open(os.path.join(site, relative), encoding="utf-8", errors="replace") as page:
            sources = re.findall(r'<img src="([^"]*)"', page.read())
        for source in sources:
            target = urllib.parse.quote(os.path.normpath(
                os.path.join(os.path.dirname(relative), urllib.parse.unquote(source))))
            pictures.append(
                f'<img src="{target}" onerror="console.log(\'PICTURE FAILED {target}\')">')
for harness, lines in ((".frames.html", frames), (".pictures.html", pictures)):
    with open(os.path.join(site, harness), "w") as out:
        out.write("<html><body>\n" + "\n".join(lines) + "\n</body></html>\n")
print(len(frames))
PYTHON
)
    for harness in "$frames" "$pictures"; do
        chrome "file://$harness" 2>"$work/console" >/dev/null || true
        if grep -q 'CONSOLE' "$work/console"; then
            grep 'CONSOLE' "$work/console"
            echo "a page or picture of the $style export does not load cleanly"
            exit 1
        fi
    done
    rm -f "$frames" "$pictures"
    echo "$style: $pages pages load cleanly"
done

if "$vantorel" /w /d "$work/db" /p "Release 2.0" /c no-such-style /e "$work/x" 2>/dev/null; then
    echo "an export with a missing style did not fail" >&2
    exit 1
fi
grep -q 'Error during web export, project has not been exported' "$work/data/error_log.txt"
echo "web export checks pass"
