#!/usr/bin/env bash
# The soak test (not part of scripts/test.sh): trova_soak makes CALLS reader
# calls (default 10 000) in turn over 130 seeded generated calls of the
# thirteen readers, with cancels and refused paths and the completion pause 0.
# It runs twice: in a release build, where resident memory must stay flat
# after the warm-up, and under AddressSanitizer with LeakSanitizer, where
# the process must end without a leak. Each run checks every status and
# output; the figures go to build/soak/summary.txt.
#
#   scripts/soak.sh [CALLS] [--jobs N]
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
calls=10000 jobs=2
while [ $# -gt 0 ]; do
  case "$1" in
    --jobs) jobs="$2"; shift 2 ;;
    *) calls="$1"; shift ;;
  esac
done
out="$root/build/soak"
mkdir -p "$out"

build() {  # directory, extra cmake arguments...
  local dir="$1"; shift
  cmake -S "$root" -B "$dir" -DCMAKE_BUILD_TYPE=RelWithDebInfo "$@" >/dev/null
  cmake --build "$dir" -j"$jobs" --target trova_soak >/dev/null
}

build "$root/build/soak-release"
build "$root/build/soak-asan" -DTROVA_SANITIZE=ON

status=0
{
  echo "soak $(date -u +%Y-%m-%dT%H:%MZ), $calls calls per run"
  echo "-- release build (resident memory)"
  "$root/build/soak-release/tests/trova_soak" "$calls" | tail -3 || status=1
  echo "-- AddressSanitizer + LeakSanitizer (leaks; resident memory not limited: the"
  echo "   allocator's quarantine grows by design)"
  ASAN_OPTIONS=detect_leaks=1:abort_on_error=1:exitcode=23 \
  LSAN_OPTIONS=report_objects=1 TROVA_SOAK_NO_RSS_LIMIT=1 \
    "$root/build/soak-asan/tests/trova_soak" "$calls" 2>&1 | tail -4 || status=1
  if [ "$status" = 0 ]; then
    echo "result: every status and output as expected, no leak, memory flat"
  else
    echo "result: FAILED"
  fi
} | tee "$out/summary.txt"
grep -q '^result: every' "$out/summary.txt"
