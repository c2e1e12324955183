#!/usr/bin/env bash
# Fuzzes the reader of settings files under the address and undefined-behaviour sanitizers. What is worth keeping
# joins the corpus that every test run reads again.
# Usage: scripts/fuzz-atoms.sh [SECONDS]     (default: 600)
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh fuzz
seconds=${1:-600}
corpus=tests/QuickTime/fuzz/atoms_corpus
work=build/fuzz
mkdir -p "$work/found"
clang++ -std=c++20 -g -O1 -fsanitize=fuzzer,address,undefined -fno-sanitize-recover=all -I. \
  tests/QuickTime/fuzz/atoms_fuzz.cpp frameworks/QuickTime/atoms/*.cpp -o "$work/fuzz_atoms"
"$work/fuzz_atoms" -max_total_time="$seconds" -max_len=4096 -timeout=10 -print_final_stats=1 \
  -artifact_prefix="$work/crash-" "$work/found" "$corpus"
"$work/fuzz_atoms" -merge=1 -artifact_prefix="$work/crash-" "$corpus" "$work/found"
