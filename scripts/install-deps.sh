#!/usr/bin/env bash
# Installs what building, running and testing libVellCore needs on Debian 12.
# Run as root. Does nothing when everything is already installed.
set -euo pipefail

packages=(cmake g++ make pkg-config
    qtbase5-dev libqt5opengl5-dev qttools5-dev-tools qttools5-dev
    libglu1-mesa-dev liblcms2-dev libgl1-mesa-dri xvfb xauth
    liblcms2-utils qt5-image-formats-plugins libzip-dev kimageformat-plugins fonts-dejavu-core libpng-dev
    libtiff-dev libdeflate-dev)

missing=()
for p in "${packages[@]}"; do
    dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if [ ${#missing[@]} -eq 0 ]; then
    exit 0
fi

if [ "$(id -u)" -ne 0 ]; then
    SUDO=sudo
else
    SUDO=
fi
echo "Installing: ${missing[*]}"
export DEBIAN_FRONTEND=noninteractive
$SUDO apt-get update
$SUDO apt-get install -y --no-install-recommends "${missing[@]}"
