#!/usr/bin/env bash
# Compares the readers of this checkout with those of another revision, call
# by call: a seeded batch of calls of all thirteen readers on generated
# recordings (tests/calls/random_calls.cpp), run once against each build's
# libtrova.so; every output array (with a guard region), status, result and
# the log bytes must agree.
#
#   scripts/compare-builds.sh [REV] [CALLS] [SEED] [RECORDS]
#       (default: HEAD, 2000 calls, seed 1, at most 60 records a member;
#       a few thousand records make members of several scan chunks)
#
# REV must have TrovaDescribeRecording (the arrays are sized from it).
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
rev="${1:-HEAD}" calls="${2:-2000}" seed="${3:-1}" records="${4:-60}"
work="$(mktemp -d)"
trap 'git -C "$root" worktree remove --force "$work/old" >/dev/null 2>&1 || true; rm -rf "$work"' EXIT

build_library() {  # source dir, build dir
  cmake -S "$1" -B "$2" -DCMAKE_BUILD_TYPE=Release -DTROVA_BUILD_TESTS=OFF >/dev/null
  cmake --build "$2" -j"$(nproc)" --target trova trova_recwriter >/dev/null
}

git -C "$root" worktree add --detach "$work/old" "$rev" >/dev/null 2>&1
build_library "$work/old" "$work/old-build"
build_library "$root" "$root/build/compare"
"${CXX:-g++}" -std=c++17 -O2 -ffp-contract=off -I"$root/include" -I"$root/tools/recwriter" \
  -I"$root/tests/calls" "$root/tests/calls/random_calls.cpp" "$root/tests/calls/reader_call.cpp" \
  "$root/tests/calls/generated_calls.cpp" \
  "$root/build/compare/tools/recwriter/libtrova_recwriter.a" \
  -L"$root/build/compare/src" -ltrova -o "$work/random_calls"

# Both libraries answer to the name the program was linked with.
mkdir -p "$work/lib-old" "$work/lib-new"
for side in old new; do
  if [ "$side" = old ]; then from="$work/old-build/src"; else from="$root/build/compare/src"; fi
  for name in libtrova.so libtrova.so.0; do ln -sf "$(readlink -f "$from/libtrova.so")" "$work/lib-$side/$name"; done
  rm -rf "$work/rec" && mkdir "$work/rec"
  LD_LIBRARY_PATH="$work/lib-$side" "$work/random_calls" "$work/rec" "$calls" "$seed" "$records" >"$work/$side.txt"
done
if cmp -s "$work/old.txt" "$work/new.txt"; then
  echo "$calls calls (seed $seed, members of up to $records records): this checkout and $rev agree on every output, status, result, log line and progress report"
else
  echo "this checkout and $rev differ:" >&2
  diff "$work/old.txt" "$work/new.txt" | head -20 >&2
  exit 1
fi
