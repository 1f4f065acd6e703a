#!/usr/bin/env bash
# Installs the Debian packages that building, running and testing Zenloft need.
# Safe to run again: apt-get skips what is already installed.
set -euo pipefail

PACKAGES=(
  build-essential cmake ninja-build pkg-config ccache
  qt6-base-dev qt6-base-dev-tools qt6-declarative-dev qt6-declarative-dev-tools
  qt6-positioning-dev qt6-sensors-dev qt6-multimedia-dev qt6-tools-dev
  qml6-module-qtquick qml6-module-qtquick-controls qml6-module-qtquick-templates
  qml6-module-qtquick-layouts qml6-module-qtquick-window qml6-module-qtquick-dialogs
  qml6-module-qtqml-workerscript qml6-module-qtpositioning qml6-module-qtmultimedia
  qml6-module-qtcore qml6-module-qt-labs-platform qml6-module-qtquick-shapes
  libqt6svg6 qt6-qpa-plugins libgl-dev libgl1-mesa-dri libegl-dev libegl1 xvfb xauth
  libsqlite3-dev sqlite3 zlib1g-dev libprotobuf-dev protobuf-compiler libexpat1-dev
  libgtest-dev libgmock-dev libbenchmark-dev libgeographiclib-dev libboost-dev
  libcpp-httplib-dev
  qt6-shadertools-dev fonts-dejavu-core
)

missing=()
for p in "${PACKAGES[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if [ ${#missing[@]} -eq 0 ]; then
  echo "install-deps: all packages present"
  exit 0
fi

SUDO=""
if [ "$(id -u)" -ne 0 ]; then SUDO="sudo"; fi
export DEBIAN_FRONTEND=noninteractive
$SUDO apt-get update -q
$SUDO apt-get install -y -q --no-install-recommends "${missing[@]}"
