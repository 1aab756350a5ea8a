#!/usr/bin/env bash
# Installs what is missing, builds the kit for /usr in build-packages/ and
# makes its Debian packages, one per install component, in build/packages/.
# Then: apt install ./build/packages/*.deb
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh packages
build="build-packages"
out=build/packages
# Debian's hardening flags; the build type gives the optimisation.
export DEB_BUILD_MAINT_OPTIONS=hardening=+all
export DEB_CFLAGS_MAINT_STRIP="-g -O2" DEB_CXXFLAGS_MAINT_STRIP="-g -O2"
flags() { dpkg-buildflags --get "$1"; }
# Packages install into /usr, where the linker finds the libraries: no run path.
cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release \
  -DCMAKE_C_FLAGS="$(flags CPPFLAGS) $(flags CFLAGS)" -DCMAKE_CXX_FLAGS="$(flags CPPFLAGS) $(flags CXXFLAGS)" \
  -DCMAKE_EXE_LINKER_FLAGS="$(flags LDFLAGS)" -DCMAKE_SHARED_LINKER_FLAGS="$(flags LDFLAGS)" \
  -DCMAKE_MODULE_LINKER_FLAGS="$(flags LDFLAGS)" -DKORVANE_BUILD_PYTHON=ON \
  -DCMAKE_INSTALL_PREFIX=/usr -DCMAKE_SKIP_INSTALL_RPATH=ON \
  -DKORVANE_BUILD_TESTS=OFF -DKORVANE_BUILD_BENCHMARKS=OFF -DKORVANE_BUILD_FUZZERS=OFF \
  -DKORVANE_BUILD_EXAMPLES=ON -DKORVANE_BUILD_VIRTUAL_MODULE=ON -DKORVANE_BUILD_MAN_PAGES=ON \
  -DKORVANE_SANITIZE=
nice -n 10 cmake --build "$build" -j "${KORVANE_BUILD_JOBS:-2}"
rm -f "$build"/*.deb
(cd "$build" && cpack -G DEB)
rm -rf "$out"
mkdir -p "$out"
cp "$build"/*.deb "$out"/
ls -1 "$out"
