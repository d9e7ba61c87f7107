#!/usr/bin/env bash
# Installs every Debian package Kelvara needs to build, run, test and benchmark.
# Quick when everything is already there; uses sudo only when not root.
set -euo pipefail

packages=(
  build-essential cmake pkg-config
  qt6-base-dev qt6-base-dev-tools qt6-datavisualization-dev
  qt6-declarative-dev            # the Data Visualization CMake config needs Qt6Qml
  libqt6opengl6-dev libgl-dev libxkbcommon-dev
  libopencv-core-dev             # DFT (core only; no CMake config in Debian)
  libdcmtk-dev                   # DICOM reader
  libopenjp2-7-dev               # JPEG 2000 Pixel Data
  zlib1g-dev                     # PNG writer
  clang libclang-rt-14-dev       # fuzz/ (libFuzzer runtime, make fuzz)
  xvfb xauth libgl1-mesa-dri     # headless widget and 3D tests
  python3-pydicom                # real DICOM files from other toolkits for the tests
  libbenchmark-dev               # bench/
  chromium                       # report.html read by a real browser in the tests
)

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing+=("$p")
done
[ ${#missing[@]} -eq 0 ] && exit 0

SUDO=""
[ "$(id -u)" -ne 0 ] && SUDO="sudo"
echo "Installing: ${missing[*]}"
export DEBIAN_FRONTEND=noninteractive
$SUDO apt-get update -qq
$SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}"
