#!/usr/bin/env bash
# Installs the build into a scratch prefix and checks what desktops and software centres read from it.
# Usage: installed_files_test.sh BUILD_DIR
set -euo pipefail
build=$1
prefix=$(mktemp -d)
trap 'rm -rf "$prefix"' EXIT
cmake --install "$build" --prefix "$prefix" >/dev/null

failed=0
check() {
    if ! "$@"; then
        echo "FAIL: $*" >&2
        failed=1
    fi
}
for file in bin/scrivlet share/applications/scrivlet.desktop share/metainfo/app.scrivlet.Scrivlet.metainfo.xml \
    share/man/man1/scrivlet.1 share/icons/hicolor/scalable/apps/scrivlet.svg; do
    check test -s "$prefix/$file"
done
# The fixed sizes, each a PNG of its size.
for size in 16 22 24 32 48 64 128 256; do
    check grep -q "PNG image data, $size x $size" <(file "$prefix/share/icons/hicolor/${size}x${size}/apps/scrivlet.png")
done
check desktop-file-validate "$prefix/share/applications/scrivlet.desktop"
check appstreamcli validate --no-net --explain "$prefix/share/metainfo/app.scrivlet.Scrivlet.metainfo.xml"
# The software centre's entry starts the program the desktop file names.
check grep -q '<launchable type="desktop-id">scrivlet.desktop</launchable>' \
    "$prefix/share/metainfo/app.scrivlet.Scrivlet.metainfo.xml"
# The manual page renders without warnings and documents every URL request the program answers.
warnings=$(MANWIDTH=80 man --warnings -l "$prefix/share/man/man1/scrivlet.1" 2>&1 >/dev/null || true)
check test -z "$warnings"
page=$(MANWIDTH=80 man -l "$prefix/share/man/man1/scrivlet.1" 2>/dev/null)
for request in _Grab_ _ReadQRCode_ _clear-history_; do
    check grep -q "scrivlet:///$request" <<<"$page"
done
exit $failed
