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
export TARVO_HELPER=$PWD/build/release/bin/TarvoRemote
results=build/release/benchmarks

# run NAME ARGUMENT...: some of the benchmarks, their aggregates in $results-NAME.json
run() {
  build/release/benchmarks/tarvo_benchmarks "${@:2}" --benchmark_report_aggregates_only=true \
    --benchmark_out="$results-$1.json" --benchmark_out_format=json >/dev/null
}

# What is compared with a baseline takes turns with it, often and in random order: on a machine whose pace changes
# within seconds, a baseline taken before or after says little.
compared='BM_(round_trip|byte_array_1MB|int_array_8MB|callback|download_25MB|nikon_live_view|nikon_transfer_25MB|video_frame_1080p)(_baseline)?/'
echo "1 of 2: against baselines, about 3 minutes" >&2
run compared --benchmark_filter="$compared" --benchmark_repetitions=25 --benchmark_min_time=0.1 \
  --benchmark_enable_random_interleaving=true
echo "2 of 2: all others, about 8 minutes" >&2
run others --benchmark_filter="-$compared" --benchmark_repetitions=3
python3 benchmarks/report.py "$results"-{compared,others}.json
