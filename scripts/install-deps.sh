#!/usr/bin/env bash
# Installs the Debian packages a job needs, with apt-get, only when missing.
# Usage: scripts/install-deps.sh main|packages|test
set -euo pipefail

main_packages=(
  build-essential cmake ninja-build pkg-config
  libopencv-dev libopencv-contrib-dev libudev-dev zlib1g-dev
  libgstreamer1.0-dev gstreamer1.0-plugins-base gstreamer1.0-plugins-good
  gstreamer1.0-plugins-ugly
  python3-dev pybind11-dev python3-numpy
)
# Building the Debian packages: the launcher's umockdev, dpkg-shlibdeps, the
# file type probe CPack runs and the manual pages' maker.
packages_packages=(
  "${main_packages[@]}"
  libumockdev-dev dpkg-dev file help2man
)
test_packages=(
  "${packages_packages[@]}"
  googletest libgtest-dev libgmock-dev libbenchmark-dev
  clang libclang-rt-14-dev
  umockdev
  libgstreamer-plugins-base1.0-dev gstreamer1.0-libav
  xvfb xdotool
  lintian
  python3-pytest
)

case "${1:-main}" in
  main) wanted=("${main_packages[@]}") ;;
  packages) wanted=("${packages_packages[@]}") ;;
  test) wanted=("${test_packages[@]}") ;;
  *) echo "usage: $0 main|packages|test" >&2; exit 2 ;;
esac

missing=()
for p in "${wanted[@]}"; do
  status=$(dpkg-query -W -f='${Status}' "$p" 2>/dev/null || true)
  [[ "$status" == "install ok installed" ]] || missing+=("$p")
done

if ((${#missing[@]})); then
  echo "Installing: ${missing[*]}"
  if [[ $(id -u) -ne 0 ]]; then
    echo "error: missing packages and not root; run as root or install them: ${missing[*]}" >&2
    exit 1
  fi
  export DEBIAN_FRONTEND=noninteractive
  apt-get update -q
  apt-get install -y -q --no-install-recommends "${missing[@]}"
fi
