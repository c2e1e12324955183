#!/usr/bin/env bash
# Installs what is missing, builds, and runs all tests.
# Usage: scripts/test.sh [PRESET...]     (default: release; asan and tsan run the same tests under sanitizers)
# TARVO_CMAKE_OPTIONS holds further options for configuring, such as -DTARVO_BLACK_BOX_TESTS=OFF.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh test

presets=("$@")
[ ${#presets[@]} -gt 0 ] || presets=(release)

# Compiled files are found again from another clone, too.
export CCACHE_BASEDIR=$PWD CCACHE_NOHASHDIR=1
launcher=()
command -v ccache >/dev/null && launcher=(-DCMAKE_C_COMPILER_LAUNCHER=ccache -DCMAKE_CXX_COMPILER_LAUNCHER=ccache)

for preset in "${presets[@]}"; do
  echo "== $preset: build"
  cmake --preset "$preset" "${launcher[@]}" ${TARVO_CMAKE_OPTIONS:-} >"build-$preset.log" 2>&1 || { cat "build-$preset.log"; exit 1; }
  cmake --build --preset "$preset" -j "$(nproc)" >>"build-$preset.log" 2>&1 || { tail -n 60 "build-$preset.log"; exit 1; }
  rm "build-$preset.log"
done

if [[ " ${presets[*]} " == *" release "* ]]; then
  echo "== format"
  scripts/check-format.sh
fi

for preset in "${presets[@]}"; do
  echo "== $preset: tests"
  ctest --preset "$preset" -j "$(nproc)" --timeout 300
done
