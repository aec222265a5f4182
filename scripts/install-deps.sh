#!/usr/bin/env bash
# Installs the Debian 12 packages Scrivlet needs to build and run; with --test, also what its tests drive.
set -euo pipefail

packages=(
    # build
    cmake ninja-build g++ pkg-config qt6-base-dev qt6-svg-dev libgl-dev
    libtesseract-dev libleptonica-dev libzxing-dev
    libxcb1-dev libxcb-xkb-dev libxkbcommon-dev libxkbcommon-x11-dev
    qt6-declarative-dev qt6-tools-dev qt6-l10n-tools libglib2.0-dev
    libgstreamer1.0-dev libgstreamer-plugins-base1.0-dev
    # run: the English recognition model, Qt's X11 and SVG plugins, and a region selection tool
    tesseract-ocr-eng qt6-qpa-plugins libqt6svg6 maim slop desktop-file-utils
    # run: more recognition languages, and the script detection that the automatic choice will use
    tesseract-ocr-deu tesseract-ocr-fra tesseract-ocr-spa tesseract-ocr-rus tesseract-ocr-osd
    # run on Wayland: wl-copy (a clipboard that outlives Scrivlet), grim and slurp on wlroots desktops, and Qt's
    # Wayland plugin for sessions without XWayland
    wl-clipboard grim slurp qt6-wayland
    # run, for the screen recorder: X11 capture and MP4 (good), openh264 and the H.264 parser (bad)
    gstreamer1.0-plugins-base gstreamer1.0-plugins-good gstreamer1.0-plugins-bad
)
if [[ "${1:-}" == "--test" ]]; then
    packages+=(
        xvfb xdotool trayer xclip x11-xkb-utils dbus procps
        # a headless Wayland session (sway, run by a user of its own, with XWayland and a background picture)
        sway swaybg xwayland
        libxcb-xfixes0-dev fonts-dejavu-core picom
        dconf-service dconf-cli gsettings-desktop-schemas xfconf dex
        # a StatusNotifierItem tray host (its systray plugin), for the tray over D-Bus
        xfce4-panel
        # the validators of what is installed: AppStream metadata and the manual page
        appstream man-db file
        # KDE's compositor, headless, with the desktop portal and its KDE back end (a Qt 5 program on Wayland)
        kwin-wayland xdg-desktop-portal xdg-desktop-portal-kde qtwayland5
        # the QML controls of the two modules, which the program itself does not use
        qml6-module-qtquick qml6-module-qtquick-controls qml6-module-qtquick-layouts qml6-module-qtquick-templates
        qml6-module-qtquick-window qml6-module-qtqml-workerscript
        gnome-settings-daemon-common dconf-gsettings-backend libxfconf-0-3
        # the fuzzers (scripts/fuzz.sh), and llvm-14 for symbolized sanitizer reports
        clang-14 libfuzzer-14-dev llvm-14
    )
fi

missing=()
for package in "${packages[@]}"; do
    if ! dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q "install ok installed"; then
        missing+=("$package")
    fi
done
if ((${#missing[@]})); then
    sudo=""
    [[ $(id -u) -ne 0 ]] && sudo="sudo"
    $sudo apt-get update -qq
    DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi
