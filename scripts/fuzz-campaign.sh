#!/usr/bin/env bash
# A fuzzing campaign over the readers and the header parsers, with ASan and
# UBSan: builds the libFuzzer targets with clang (build/fuzz), seeds a
# corpus with reader calls of all thirteen kinds made by the recording
# writer, runs each target on its budget and writes a summary.
#
#   scripts/fuzz-campaign.sh [--time SECONDS | --runs N] [--jobs 1|2] [--out DIR]
#                            [--share-headers PERCENT]
#
# --time is the wall-clock budget of the whole campaign (default 600 s),
# --runs the budget in executions over all targets instead; either is split
# between fuzz_readers and fuzz_headers (the header parsers take
# --share-headers percent, default 10). --jobs 2 runs two fuzzing processes
# per target on one shared corpus (both cores). The corpus, crash artifacts,
# logs and summary.txt go to --out (default build/fuzz-campaign); a crash
# ends that process and is reported with its reproducer.
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"
budget_time=600 budget_runs="" jobs=1 out="$root/build/fuzz-campaign" share_headers=10
while [ $# -gt 0 ]; do
  case "$1" in
    --time) budget_time="$2"; shift 2 ;;
    --runs) budget_runs="$2"; shift 2 ;;
    --jobs) jobs="$2"; shift 2 ;;
    --out) out="$2"; shift 2 ;;
    --share-headers) share_headers="$2"; shift 2 ;;
    *) echo "usage: $0 [--time SECONDS | --runs N] [--jobs 1|2] [--out DIR] [--share-headers PERCENT]" >&2; exit 2 ;;
  esac
done
case "$jobs" in 1|2) ;; *) echo "--jobs must be 1 or 2" >&2; exit 2 ;; esac

build="$root/build/fuzz"
CC=clang CXX=clang++ cmake -S "$root" -B "$build" -DTROVA_FUZZ=ON -DTROVA_SANITIZE=ON \
  -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build "$build" -j"$jobs" --target fuzz_readers fuzz_headers fuzz_readers_replay \
  fuzz_headers_replay >/dev/null

mkdir -p "$out"
# Member files of the inputs go to a memory file system where there is one.
scratch=/tmp
[ -d /dev/shm ] && [ -w /dev/shm ] && scratch=/dev/shm
export TMPDIR="$scratch"
export ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1

# One target: its share of the budget, `jobs` processes on one corpus.
run_target() {  # target, share in percent
  local target="$1" share="$2" corpus="$out/corpus-$1" limit
  mkdir -p "$corpus" "$out/artifacts-$target"
  if [ -z "$(ls -A "$corpus")" ]; then
    TROVA_FUZZ_WRITE_SEEDS="$corpus" "$build/fuzz/${target}_replay" >/dev/null
  fi
  if [ -n "$budget_runs" ]; then
    limit="-runs=$(( budget_runs * share / 100 / jobs ))"
  else
    limit="-max_total_time=$(( budget_time * share / 100 ))"
  fi
  local pids=() j
  for j in $(seq 1 "$jobs"); do
    "$build/fuzz/$target" "$corpus" "$limit" -timeout=20 -rss_limit_mb=2048 \
      -print_final_stats=1 -artifact_prefix="$out/artifacts-$target/" \
      >"$out/$target-$j.log" 2>&1 &
    pids+=($!)
  done
  local failed=0 pid
  for pid in "${pids[@]}"; do wait "$pid" || failed=1; done
  return $failed
}

status=0
start=$(date +%s)
run_target fuzz_readers $(( 100 - share_headers )) || status=1
run_target fuzz_headers "$share_headers" || status=1
end=$(date +%s)

summary="$out/summary.txt"
{
  echo "fuzz campaign $(date -u +%Y-%m-%dT%H:%MZ): $(( end - start )) s, jobs $jobs, ASan+UBSan, clang $(clang --version | head -1 | sed 's/.*version //')"
  total=0
  for target in fuzz_readers fuzz_headers; do
    execs=0 cov="" ft=""
    for log in "$out/$target"-*.log; do
      n=$(grep -o 'stat::number_of_executed_units: *[0-9]*' "$log" | grep -o '[0-9]*$' || true)
      [ -z "$n" ] && n=$(grep -o '^#[0-9]*' "$log" | tail -1 | tr -d '#' || true)
      execs=$(( execs + ${n:-0} ))
      line=$(grep -E '^#[0-9]+.*cov: ' "$log" | tail -1 || true)
      cov=$(echo "$line" | grep -o 'cov: [0-9]*' | grep -o '[0-9]*' || true)
      ft=$(echo "$line" | grep -o 'ft: [0-9]*' | grep -o '[0-9]*' || true)
    done
    corpus_size=$(ls "$out/corpus-$target" | wc -l)
    crashes=$(ls "$out/artifacts-$target" | wc -l)
    total=$(( total + execs ))
    echo "$target: $execs executions, coverage $cov edges, $ft features, corpus $corpus_size inputs, $crashes crash artifacts"
  done
  echo "total: $total executions"
} | tee "$summary"
exit $status
