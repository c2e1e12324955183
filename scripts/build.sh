#!/usr/bin/env bash
# Installs what is missing, builds, and leaves a runnable tree in dist/.
# Usage: scripts/build.sh
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh build

. scripts/compiler-cache.sh

# Tests and benchmarks need packages of their own; a tree that is configured with them keeps them.
extra=(-DTARVO_TESTS=OFF -DTARVO_BENCHMARKS=OFF)
! grep -qs '^TARVO_TESTS:BOOL=ON' build/release/CMakeCache.txt || extra=()

log=build/build.log
mkdir -p build
run() {
  "$@" >"$log" 2>&1 || { tail -n 60 "$log" >&2; echo "Failed: $*" >&2; exit 1; }
}
echo "Building (release)"
run cmake --preset release "${launcher[@]}" "${extra[@]}"
run cmake --build build/release -j "$(nproc)"
# What an earlier build left must not be taken for this one's.
rm -rf dist
run cmake --install build/release --prefix dist
echo "Built: dist/bin/TarvoRemote, dist/bin/tarvo"
