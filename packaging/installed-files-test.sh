#!/usr/bin/env bash
# SPDX-License-Identifier: GPL-3.0-or-later
# Installs the build into a temporary folder as the package does, and checks what a desktop finds
# there: each file in its freedesktop place and nothing else, a .desktop file and AppStream metainfo
# that validate and name an installed program and icon, a MIME package that maps .ged files to the
# type the .desktop file opens, the icon at every size, manual pages that man reads without a
# warning, and programs that answer --help and --version without a display.
# Usage: installed-files-test.sh CMAKE BUILD_DIR
set -euo pipefail
cmake=$1
build=$2

root=$(mktemp -d)
trap 'rm -rf "$root"' EXIT
failures=0
fail() {
    printf 'FAIL: %s\n' "$*" >&2
    failures=$((failures + 1))
}

DESTDIR="$root" "$cmake" --install "$build" --prefix /usr >/dev/null
usr=$root/usr

sizes=(16 24 32 48 64 128 256)
id=org.kinloom.Kinloom
expected=(bin/kinloom bin/kinloom-cli "share/applications/$id.desktop" "share/metainfo/$id.metainfo.xml"
    share/mime/packages/kinloom.xml "share/icons/hicolor/scalable/apps/$id.svg" share/doc/kinloom/copyright
    share/doc/kinloom/gedcom7-grammar/LICENSE share/doc/kinloom/gedcom7-grammar/NOTICE
    share/doc/kinloom/gedcom551-grammar/NOTICE share/man/man1/kinloom.1.gz share/man/man1/kinloom-cli.1.gz
    share/bash-completion/completions/kinloom-cli)
for size in "${sizes[@]}"; do
    expected+=("share/icons/hicolor/${size}x${size}/apps/$id.png")
done
wanted=$(printf '%s\n' "${expected[@]}" | sort)
installed=$(cd "$usr" && find . -type f -printf '%P\n' | sort)
[ "$installed" = "$wanted" ] || fail "installed files differ from the expected list:
$(diff <(echo "$wanted") <(echo "$installed") || true)"

for program in kinloom kinloom-cli; do
    [ -x "$usr/bin/$program" ] || fail "$program is not an installed program"
done
# The installed tool runs on its own, without the build folder beside it.
if ! "$usr/bin/kinloom-cli" sample "$root/tree.ged" >/dev/null || ! "$usr/bin/kinloom-cli" info "$root/tree.ged" >/dev/null; then
    fail "the installed kinloom-cli does not run"
fi

# --help and --version print and exit, and need no display; an unknown option is named.
for program in kinloom kinloom-cli; do
    help=$(env -u DISPLAY -u WAYLAND_DISPLAY QT_QPA_PLATFORM= "$usr/bin/$program" --help 2>&1) &&
        [[ $help == *"FILE"* ]] || fail "$program --help does not print its usage: $help"
    version=$(env -u DISPLAY -u WAYLAND_DISPLAY QT_QPA_PLATFORM= "$usr/bin/$program" --version 2>&1) &&
        [[ $version =~ ^(Kinloom|kinloom-cli)\ [0-9]+\.[0-9]+$ ]] || fail "$program --version prints \"$version\""
    status=0
    refusal=$(QT_QPA_PLATFORM=offscreen "$usr/bin/$program" --frobnicate 2>&1 >/dev/null) || status=$?
    [ "$status" -eq 2 ] && [[ $refusal == *frobnicate* ]] ||
        fail "$program --frobnicate exits with $status and says \"$refusal\""
done

# man prints groff's warnings on stderr; lexgrog reads the page's NAME line as apropos and whatis do.
for page in kinloom kinloom-cli; do
    man_page=$usr/share/man/man1/$page.1.gz
    [ -f "$man_page" ] || continue
    if ! out=$(MANWIDTH=80 man --warnings -l "$man_page" 2>&1 >/dev/null) || [ -n "$out" ]; then
        fail "man warns about $page(1): $out"
    fi
    lexgrog "$man_page" | grep -q "\"$page - " || fail "lexgrog finds no NAME line in $page(1)"
done

# The AppStream validator exits non-zero on errors and warnings; --no-net leaves the URLs unfetched.
metainfo=$usr/share/metainfo/$id.metainfo.xml
if [ -f "$metainfo" ] && ! out=$(appstreamcli validate --no-net "$metainfo" 2>&1); then
    fail "appstreamcli validate: $out"
fi
grep -q "<launchable type=\"desktop-id\">$id.desktop</launchable>" "$metainfo" ||
    fail "the metainfo does not launch $id.desktop"

desktop=$usr/share/applications/$id.desktop
# desktop-file-validate exits 0 on warnings and hints, so any output counts as a failure.
if ! out=$(desktop-file-validate "$desktop" 2>&1) || [ -n "$out" ]; then
    fail "desktop-file-validate: $out"
fi
entry() { sed -n "s/^$1=//p" "$desktop"; }
read -r exec_program exec_arguments <<<"$(entry Exec)"
[ -x "$usr/bin/$exec_program" ] || fail "Exec names \"$exec_program\", which is not installed"
# Without a file field code, file managers cannot open a file with the program.
[[ " $exec_arguments " == *" %f "* ]] || fail "Exec does not take a file: $(entry Exec)"
icon=$(entry Icon)
[ -f "$usr/share/icons/hicolor/scalable/apps/$icon.svg" ] || fail "Icon \"$icon\" is not installed"
[ "$(entry MimeType)" = "application/x-gedcom;" ] || fail "MimeType is \"$(entry MimeType)\""

# The package must parse, since update-mime-database skips a broken one and still exits 0; it is
# compiled alone so the system's own database cannot hide a fault in it.
mime_package=$usr/share/mime/packages/kinloom.xml
xmllint --noout "$mime_package" || fail "the MIME package is not well-formed XML"
mkdir -p "$root/mime/packages"
cp "$mime_package" "$root/mime/packages/"
if ! out=$(XDG_DATA_DIRS=$root update-mime-database "$root/mime" 2>&1) || [ -n "$out" ]; then
    fail "update-mime-database: $out"
fi
grep -qx '50:application/x-gedcom:\*\.ged' "$root/mime/globs2" || fail "*.ged does not map to application/x-gedcom"
grep -qx 'application/x-gedcom text/plain' "$root/mime/subclasses" || fail "application/x-gedcom is not a kind of text"
grep -qa '0 HEAD' "$root/mime/magic" || fail "no content rule recognises a file that starts with \"0 HEAD\""

xmllint --noout "$usr/share/icons/hicolor/scalable/apps/$id.svg" || fail "the SVG icon is not well-formed"
for size in "${sizes[@]}"; do
    png=$usr/share/icons/hicolor/${size}x${size}/apps/$id.png
    [ -f "$png" ] || continue
    # A PNG starts with its 8-byte signature, then the IHDR chunk whose width and height are 32-bit big-endian.
    signature=$(od -An -tx1 -N8 "$png" | tr -d ' \n')
    read -r width height <<<"$(od -An -tu4 --endian=big -j16 -N8 "$png")"
    if [ "$signature" != 89504e470d0a1a0a ] || [ "$width" != "$size" ] || [ "$height" != "$size" ]; then
        fail "the ${size}x${size} icon is not a ${size}x${size} PNG (${width:-?}x${height:-?})"
    fi
done

if [ "$failures" -ne 0 ]; then
    echo "$failures check(s) of the installed files failed" >&2
    exit 1
fi
echo "The installed files are in place and valid."
