#!/usr/bin/env bash
# Every test: installs what is missing (as root on Debian), builds with
# warnings as errors and runs the suites, then again under the address and
# undefined-behaviour sanitizers.
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
jobs="$(nproc)"
"$root/scripts/install-deps.sh"

run_suite() {  # name, extra cmake arguments...
  local name="$1"; shift
  local build="$root/build/$name"
  echo "== $name"
  cmake -S "$root" -B "$build" -DTROVA_WERROR=ON "$@" >/dev/null
  cmake --build "$build" -j"$jobs" >/dev/null
  ctest --test-dir "$build" -j"$jobs" --output-on-failure --timeout 300
}

run_suite test-release -DCMAKE_BUILD_TYPE=RelWithDebInfo
ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
  run_suite test-sanitize -DCMAKE_BUILD_TYPE=Debug -DTROVA_SANITIZE=ON
echo "all tests passed"
