#!/usr/bin/env bash
# Installs what Scrivlet needs, builds and installs it under /usr/local, and starts it in the tray.
set -euo pipefail
cd "$(dirname "$0")/.."

bash scripts/install-deps.sh
cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=Release -DBUILD_TESTING=OFF
cmake --build build
sudo=""
[[ $(id -u) -ne 0 ]] && sudo="sudo"
$sudo cmake --install build
$sudo update-desktop-database -q /usr/local/share/applications 2>/dev/null || true

if [[ -z "${DISPLAY:-}" && -z "${WAYLAND_DISPLAY:-}" ]]; then
    echo "Scrivlet is installed, but not started: this shell has no graphical session (neither DISPLAY nor"
    echo "WAYLAND_DISPLAY is set). Start it from your desktop's application menu, or run 'scrivlet' in a terminal there."
    exit 0
fi
# One instance per session: a running Scrivlet is left as it is.
if pgrep -u "$(id -u)" -x scrivlet >/dev/null; then
    echo "Scrivlet was running already. To start the new build, choose Quit in its menu and run this again."
    exit 0
fi
log=$(mktemp --tmpdir scrivlet-start.XXXXXX.log)
nohup /usr/local/bin/scrivlet >"$log" 2>&1 &
pid=$!
# A start that fails (no display connection, a folder it may not use) ends within a moment; a good one stays.
for _ in 1 2 3 4 5 6; do
    sleep 0.5
    if ! kill -0 "$pid" 2>/dev/null; then
        wait "$pid" && status=0 || status=$?
        echo "Scrivlet could not start (exit status $status). What it said:" >&2
        tail -n 20 "$log" >&2
        exit 1
    fi
done
echo "Scrivlet is running (its messages go to $log)."
echo "Grab text with its shortcut (Super+Shift+2 unless you recorded another) or from its tray icon's menu."
echo "No icon in your panel? Your desktop has no tray: see 'Without a tray' in README.md."
