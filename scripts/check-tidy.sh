#!/usr/bin/env bash
# Runs clang-tidy over all sources with the compile commands of the release build.
# Usage: scripts/check-tidy.sh [FILE...]
set -euo pipefail
cd "$(dirname "$0")/.."
[ -f build/release/compile_commands.json ] || { echo "Build first: scripts/build.sh" >&2; exit 1; }
files=("$@")
[ ${#files[@]} -gt 0 ] || mapfile -t files < <(git ls-files '*.cpp')
printf '%s\0' "${files[@]}" | xargs -0 -n 4 -P "$(nproc)" clang-tidy --quiet -p build/release
