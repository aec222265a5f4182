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

# One instance per session: a running Scrivlet is left as it is.
nohup /usr/local/bin/scrivlet >/dev/null 2>&1 &
echo "Scrivlet is running in the tray. Grab text with Super+Shift+2."
