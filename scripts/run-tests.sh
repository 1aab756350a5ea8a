#!/usr/bin/env bash
# Installs what is missing, then builds and runs every test: the unit tests
# under AddressSanitizer and UndefinedBehaviorSanitizer, the package check and
# the Python module's tests (under Debian's python3) on a plain release build,
# the Debian packages (built, installed, used and purged again), and each
# fuzzer for a bounded time.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh test
jobs=$(nproc)
fuzz_seconds=${KORVANE_FUZZ_SECONDS:-60}

echo "== unit tests with AddressSanitizer and UndefinedBehaviorSanitizer"
cmake -S . -B build-asan -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DKORVANE_SANITIZE=address,undefined
cmake --build build-asan
ctest --test-dir build-asan --output-on-failure -j "$jobs" -LE package

echo "== capture and depth worker tests with ThreadSanitizer"
cmake -S . -B build-tsan -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DKORVANE_SANITIZE=thread -DKORVANE_BUILD_EXAMPLES=OFF
cmake --build build-tsan --target capture_test depth_test pipeline_test
# A child that starts threads after fork is outside what the checker supports:
# the tests that run a worker in a forked child (each test program has a
# watchdog thread) run under the other sanitizers only.
TSAN_OPTIONS="suppressions=$PWD/tests/tsan.supp" ctest --test-dir build-tsan --output-on-failure -j "$jobs" -R '(Capture|SharedMemory|LoopbackStream|DisplayDepth|Cloud|DisparityWorker|PairsInFlight|NewestPair|FramePublisher|ImageSequenceSink)' \
  -E '(RawWidthOfNeitherSize|WorkerFailure)'

echo "== release build (benchmarks included), installed package used by another project, Python module"
cmake -S . -B build-release -G Ninja -DCMAKE_BUILD_TYPE=Release -DKORVANE_BUILD_BENCHMARKS=ON
cmake --build build-release
ctest --test-dir build-release --output-on-failure -L 'package|python'

echo "== Debian packages: lintian, installed, used from outside the build tree, purged"
scripts/check-packages.sh

echo "== fuzzers, ${fuzz_seconds} s each (their Clang build also checks the lock annotations)"
CC=clang CXX=clang++ cmake -S . -B build-fuzz -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DKORVANE_BUILD_FUZZERS=ON -DKORVANE_BUILD_TESTS=OFF -DKORVANE_BUILD_EXAMPLES=OFF \
  -DKORVANE_SANITIZE=address,undefined
cmake --build build-fuzz
for fuzzer in build-fuzz/tests/fuzz/fuzz_*; do
  [[ -x "$fuzzer" ]] || continue
  name=$(basename "$fuzzer")
  corpus=build-fuzz/corpus/$name
  mkdir -p "$corpus"
  echo "-- $name"
  "$fuzzer" -max_total_time="$fuzz_seconds" -close_fd_mask=3 -timeout=10 -rss_limit_mb=4096 \
    -dict=tests/fuzz/matrix_files.dict -print_final_stats=1 "$corpus" data tests/fuzz/seeds
done
echo "All tests passed."
