#!/usr/bin/env bash
# The Debian package as a user gets it: made by CPack from this build, its contents listed,
# unpacked into a fresh root (dpkg-deb -x: no package database is touched) and run from there.
# The unpacked program must find its own data relative to itself: --version, a status report
# written into the installed sample database, and a web export in a display style. The desktop
# entry, the metainfo, the file type, the manual page and the completion pass their checks.
set -euo pipefail
build=$1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fail() { echo "package: $*" >&2; exit 1; }

if ! cpack --config "$build/CPackConfig.cmake" -B "$work/out" >"$work/cpack.log" 2>&1; then
    cat "$work/cpack.log" >&2
    fail "cpack failed"
fi
deb=$(echo "$work"/out/vantorel_*.deb)
[ -f "$deb" ] || fail "no vantorel_*.deb in $(ls "$work/out")"

[ "$(dpkg-deb --field "$deb" Package)" = vantorel ] || fail "the package is not named vantorel"
# The libraries come from dpkg-shlibdeps, with their versions.
depends=$(dpkg-deb --field "$deb" Depends)
for library in libc6 libqt6webenginewidgets6 libqt6widgets6 libsodium23 libgif7 libhunspell; do
    grep -q "$library" <<<"$depends" || fail "Depends lacks $library: $depends"
done

contents=$(dpkg-deb --contents "$deb" | awk '{ $1=$2=$3=$4=$5=""; sub(/^ +/, ""); print }')
for file in \
    ./usr/bin/vantorel \
    ./usr/share/applications/org.vantorel.Vantorel.desktop \
    ./usr/share/mime/packages/org.vantorel.Vantorel.xml \
    ./usr/share/metainfo/org.vantorel.Vantorel.metainfo.xml \
    ./usr/share/icons/hicolor/scalable/apps/org.vantorel.Vantorel.svg \
    ./usr/share/man/man1/vantorel.1 \
    ./usr/share/bash-completion/completions/vantorel \
    ./usr/share/doc/vantorel/LICENSE \
    ./usr/share/vantorel/Help/overview.htm \
    ./usr/share/vantorel/Help/customisation.htm \
    ./usr/share/vantorel/Help/Using_the_Report_Wizard.htm \
    ./usr/share/vantorel/Templates/default/style.css \
    ./usr/share/vantorel/Templates/night/images/vtlogo.gif \
    ./usr/share/vantorel/SampleDB/VantorelDatabase.vdb \
    "./usr/share/vantorel/SampleDB/Projects/Release 2.0/Project Reports/Status Reports/"; do
    grep -qxF "$file" <<<"$contents" || fail "the package lacks $file"
done
# Nothing of the build or the tests comes along.
if grep -E 'vantorel_|\.stamp$|/tests?/' <<<"$contents"; then
    fail "the package holds files of the build"
fi

root=$work/root
dpkg-deb -x "$deb" "$root"
program=$root/usr/bin/vantorel
export VANTOREL_DATA_DIR=$work/data
"$program" --version >"$work/version"
grep -q '^vantorel 3\.2 (build 1000)' "$work/version" || fail "--version said: $(cat "$work/version")"

sample=$root/usr/share/vantorel/SampleDB
report=$("$program" --report status --database "$sample" --project "Release 2.0" 2>"$work/report.err") ||
    { cat "$work/report.err" >&2; fail "the status report failed"; }
case $report in
    "$sample/Projects/Release 2.0/Project Reports/Status Reports/"*.vtl) ;;
    *) fail "the status report went to '$report'" ;;
esac
grep -q '<total_number_tests>11</total_number_tests>' "$report" || fail "the report is wrong"

# The display styles are found beside the unpacked program, not in the build tree.
env -u XDG_RUNTIME_DIR "$program" --web -d "$sample" -p "Release 2.0" -c night -e "$work/site" \
    >/dev/null 2>"$work/web.err" || { cat "$work/web.err" >&2; fail "the web export failed"; }
[ -s "$work/site/Release 2.0/style.css" ] || fail "the site has no style sheet"
[ -f "$work/site/Release 2.0/images/vtlogo.gif" ] || fail "the site has no pictures"

share=$root/usr/share
desktop-file-validate "$share/applications/org.vantorel.Vantorel.desktop"
appstreamcli validate --no-net "$share/metainfo/org.vantorel.Vantorel.metainfo.xml" >"$work/as" ||
    { cat "$work/as" >&2; fail "appstreamcli refused the metainfo"; }
mkdir -p "$work/mime/packages"
cp "$share/mime/packages/org.vantorel.Vantorel.xml" "$work/mime/packages/"
update-mime-database "$work/mime" 2>/dev/null
grep -q 'VantorelDatabase.vdb' "$work/mime/globs2" || fail "the file type has no glob"
warnings=$(MANWIDTH=80 man --warnings -l "$share/man/man1/vantorel.1" 2>&1 >/dev/null)
[ -z "$warnings" ] || fail "the manual page: $warnings"
bash -n "$share/bash-completion/completions/vantorel"
echo "package: $(basename "$deb") ($(du -k "$deb" | cut -f1) KiB) installs and runs"
