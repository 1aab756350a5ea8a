#!/usr/bin/env bash
# Builds the kit's Debian packages, checks them with lintian, installs them
# with apt-get and uses the installed kit with nothing from the build tree:
# the main job, a CMake and a pkg-config consumer, the maintenance tool under
# the virtual-module launcher and as a user who may not open the node, the
# Python module under Debian's python3, the udev rules. Then purges the
# packages and checks that none of their files is left. Run as root: it
# installs and removes packages.
set -euo pipefail
cd "$(dirname "$0")/.."
source_dir=$PWD

fail() {
  echo "check-packages.sh: $*" >&2
  exit 1
}
[[ $(id -u) -eq 0 ]] || fail "run as root: the check installs and purges packages"

timeout 1800 scripts/install-deps.sh test
timeout 3600 scripts/build-packages.sh
debs=("$source_dir"/build/packages/*.deb)
packages=()
for deb in "${debs[@]}"; do
  packages+=("$(dpkg-deb -f "$deb" Package)")
done
version=$(dpkg-deb -f "${debs[0]}" Version)
kit_version=${version%-*}

work=$(mktemp -d)
installed=0
user=""
# Purges the packages and removes the scratch folder, also after a failure.
cleanup() {
  local status=$?
  if ((installed)); then
    DEBIAN_FRONTEND=noninteractive timeout 600 apt-get purge -y -q "${packages[@]}" >/dev/null || status=1
  fi
  if [[ -n $user ]]; then
    userdel "$user" >/dev/null 2>&1 || status=1
  fi
  rm -rf "$work"
  exit "$status"
}
trap cleanup EXIT

# Runs a command (bounded) and checks that its output holds the given text.
expect_output() {
  local want=$1 out
  shift
  out=$(timeout 300 "$@" 2>&1) || fail "failed: $*"$'\n'"$out"
  [[ $out == *"$want"* ]] || fail "'$want' not in the output of $*"$'\n'"$out"
  echo "ok: $*"
}

echo "== lintian (fails on errors)"
timeout 900 lintian --fail-on error "${debs[@]}"

echo "== install ${packages[*]} $version"
installed=1
DEBIAN_FRONTEND=noninteractive timeout 900 apt-get install -y -q "${debs[@]}"
# The packages' files (not their folders), to look for after the purge.
while IFS= read -r path; do
  if [[ -L $path || (-f $path && ! -d $path) ]]; then
    echo "$path"
  fi
done < <(dpkg -L "${packages[@]}") >"$work/files"

# From here on nothing of the build tree is on any path.
cd "$work"
unset LD_LIBRARY_PATH LD_PRELOAD LIBRARY_PATH CPATH PKG_CONFIG_PATH CMAKE_PREFIX_PATH PYTHONPATH
export OPENCV_LOG_LEVEL=ERROR

echo "== the installed main job on the synthetic module"
timeout 600 /usr/bin/korvane-depth --frames 5 --out "$work/depth" --no-window >"$work/depth.log" 2>&1 ||
  fail "the main job failed: $(cat "$work/depth.log")"
[[ -s $work/depth/depth.png ]] || fail "the main job wrote no depth image"
if grep -q "missing next to the camera library" "$work/depth.log"; then
  fail "the camera library did not find its installed trial parser"
fi
echo "ok: depth image $(stat -c %s "$work/depth/depth.png") bytes"

echo "== the installed libraries export their reviewed API only"
for library in korvane_camera korvane_control; do
  installed=$(dpkg -L "${packages[@]}" | grep -E "/lib${library}\.so\.[0-9]+$" | head -1)
  [[ -n $installed ]] || fail "lib${library} is not in the packages"
  "$source_dir/tests/package/check_exported_symbols.sh" "$installed" \
    "$source_dir/tests/package/exported/lib${library}.txt" || fail "lib${library} exports other symbols"
done

echo "== programs built against the installed development package"
cp -r "$source_dir/tests/package/consumer" "$work/consumer"
timeout 300 cmake -S "$work/consumer" -B "$work/cmake-consumer" -G Ninja >/dev/null
timeout 600 cmake --build "$work/cmake-consumer" >/dev/null
expect_output "consumer ok (kit $kit_version)" "$work/cmake-consumer/consumer"
expect_output "synthetic consumer ok" "$work/cmake-consumer/synthetic_consumer"
read -r -a flags <<<"$(pkg-config --cflags --libs korvane-sdk)"
timeout 600 c++ -std=c++17 "$work/consumer/consumer.cpp" "${flags[@]}" -o "$work/pkgconfig-consumer"
expect_output "consumer ok (kit $kit_version)" "$work/pkgconfig-consumer"

echo "== the calibration program"
# Its window library and the calibration library resolve from the packages.
expect_output "print it at" korvane-calibrate --print-target "$work/board.png"
[[ -s $work/board.png ]] || fail "korvane-calibrate --print-target wrote no picture"

echo "== the maintenance tool"
[[ $(timeout 60 korvane-maintenance --version) == "korvane-maintenance $kit_version" ]] ||
  fail "korvane-maintenance --version does not say $kit_version"
echo "ok: korvane-maintenance --version"
launch=(korvane-virtual-module --module "chip=2620,video=0,serial=KV0001" --)
expect_output "/dev/video0  SPCA2620" "${launch[@]}" korvane-maintenance list
expect_output "KV0001" "${launch[@]}" korvane-maintenance list

# A user made for the check, in no group that may open a module.
user=korvane-check-$$
useradd --system --no-create-home --shell /usr/sbin/nologin "$user" ||
  fail "cannot create the user $user"
# Under the launcher: the virtual tree open to other users, but not video0;
# the tool then runs as that user.
cat >"$work/denied.sh" <<'EOF'
chmod 755 "$UMOCKDEV_DIR"
chmod 666 "$UMOCKDEV_DIR"/dev/* "$UMOCKDEV_DIR"/ioctl/dev/*
chmod 000 "$UMOCKDEV_DIR"/dev/video0
status=0
setpriv --reuid="$2" --regid="$2" --clear-groups korvane-maintenance list 2>"$1" || status=$?
echo "status $status"
EOF
denied="korvane-maintenance: permission denied on /dev/video0: install the udev rules or join the plugdev group"
expect_output "status 3" "${launch[@]}" sh "$work/denied.sh" "$work/denied.err" "$user"
[[ $(cat "$work/denied.err") == "$denied" ]] || fail "as $user the tool said: $(cat "$work/denied.err")"
echo "ok: a node the user may not open is named, status 3"

echo "== the installed Python module, under Debian's python3"
python=(/usr/bin/python3 -c)
expect_output "korvane $kit_version (400, 928, 3)" "${python[@]}" \
  'import korvane; print("korvane", korvane.__version__, korvane.synthetic.Module((928, 400)).render_frame(0).shape)'
expect_output "['KV0001']" "${launch[@]}" "${python[@]}" \
  'import korvane; print([m["serial"] for m in korvane.list_modules()])'
# The installed launcher, found on PATH by korvane.virtual.
cat >"$work/virtual.py" <<'EOF'
import sys
import korvane
listing = "import korvane; print([(m['chip'], m['serial']) for m in korvane.list_modules()])"
result = korvane.virtual.run(["chip=2650,video=0,serial=KV0002"], [sys.executable, "-c", listing],
                             capture_output=True, text=True, timeout=60)
print(result.stdout.strip() or result.stderr.strip())
EOF
expect_output "[('SPCA2650', 'KV0002')]" /usr/bin/python3 "$work/virtual.py"

echo "== the udev rules"
rules=$(grep '/rules\.d/.*\.rules$' "$work/files" || true)
[[ -n $rules ]] || fail "no udev rules file installed"
if ! command -v udevadm >/dev/null; then
  echo "skipped: udevadm verify (udev is not installed)"
elif ! udevadm --help 2>&1 | grep -qw verify; then
  echo "skipped: udevadm verify ($(udevadm --version 2>/dev/null) has no verify command; it came with 253)"
else
  timeout 60 udevadm verify "$rules"
  echo "ok: udevadm verify $rules"
fi

echo "== purge"
DEBIAN_FRONTEND=noninteractive timeout 600 apt-get purge -y -q "${packages[@]}"
installed=0
left=()
while IFS= read -r path; do
  if [[ -e $path || -L $path ]]; then
    left+=("$path")
  fi
done <"$work/files"
((${#left[@]} == 0)) || fail "left after the purge: ${left[*]}"
echo "ok: no file of the packages is left ($(wc -l <"$work/files") files)"
echo "Packages checked."
