#!/usr/bin/env bash
# Builds the fuzzers with clang under the address and undefined-behaviour sanitizers, and runs each of them.
# Usage: scripts/fuzz.sh [SECONDS [TARGET...]]     (default: 60 seconds each of camera, blocks, live_view and descriptors)
# New inputs are kept in build/fuzz/corpus/; what did harm is left as build/fuzz/TARGET-crash-*. Bring the first into
# tests/fuzz/corpus/ with MERGE=1, which keeps only those that reach more code.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh fuzz
seconds=${1:-60}
[ $# -eq 0 ] || shift
targets=("$@")
[ ${#targets[@]} -gt 0 ] || targets=(camera blocks live_view descriptors)

log=build/fuzz.log
mkdir -p build
run() {
  "$@" >"$log" 2>&1 || { tail -n 60 "$log" >&2; echo "Failed: $*" >&2; exit 1; }
}
# Sanitizers and the fuzzer's counters go into all that is fuzzed, not only into the targets.
run cmake -S . -B build/fuzz -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ -DCMAKE_CXX_FLAGS=-fsanitize=fuzzer-no-link \
  -DTARVO_SANITIZE=address,undefined -DTARVO_FUZZ=ON -DTARVO_BLACK_BOX_TESTS=OFF
run cmake --build build/fuzz -j "$(nproc)" --target tarvo_fuzzers

for target in "${targets[@]}"; do
  found=build/fuzz/corpus/$target
  mkdir -p "$found"
  fuzzer=build/fuzz/tests/fuzz/fuzz_$target
  if [ -n "${MERGE:-}" ]; then
    "$fuzzer" -merge=1 -close_fd_mask=1 "tests/fuzz/corpus/$target" "$found"
    continue
  fi
  echo "== $target: $seconds seconds"
  # Leaks are looked for once, at the end: what a late completion may still write to outlives its run, and a look after
  # every such run would take nine tenths of the time.
  "$fuzzer" -max_total_time="$seconds" -timeout=60 -rss_limit_mb=4096 -max_len=4096 -close_fd_mask=1 \
    -detect_leaks=0 -print_final_stats=1 -artifact_prefix="build/fuzz/$target-" "$found" "tests/fuzz/corpus/$target"
done
