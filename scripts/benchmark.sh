#!/usr/bin/env bash
# Builds and runs all benchmarks and prints each figure beside its target.
# Usage: scripts/benchmark.sh [--build]     (--build: only builds them)     Leave the machine alone meanwhile.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh test
. scripts/compiler-cache.sh
cmake --preset release -DTARVO_BENCHMARKS=ON "${launcher[@]}" >/dev/null
cmake --build build/release -j "$(nproc)" --target tarvo_benchmarks >/dev/null
[ "${1:-}" != --build ] || exit 0
results=build/release/benchmarks.json
TARVO_HELPER=$PWD/build/release/bin/TarvoRemote build/release/benchmarks/tarvo_benchmarks \
  --benchmark_repetitions=3 --benchmark_report_aggregates_only=true \
  --benchmark_out="$results" --benchmark_out_format=json >/dev/null
python3 benchmarks/report.py "$results"
