#!/usr/bin/env bash
# Runs clang-tidy with the compile commands of the release build.
# Usage: scripts/check-tidy.sh [-j JOBS] [ROOM|FILE...]     (default: all that is compiled, on all cores)
set -euo pipefail
cd "$(dirname "$0")/.."
jobs=$(nproc)
if [ "${1:-}" = -j ]; then
  jobs=${2:?how many jobs?}
  shift 2
fi
database=build/release/compile_commands.json
[ -f "$database" ] || { echo "Build first: scripts/test.sh" >&2; exit 1; }

compiled=$(sed -nE "s|^ *\"file\": \"$PWD/(.*)\",?$|\1|p" "$database" | sort -u)
mapfile -t files < <(git ls-files -- "${@:-.}" | grep '\.cpp$' | sort | comm -12 - <(echo "$compiled"))
[ ${#files[@]} -gt 0 ] || { echo "Nothing that is compiled there: $*" >&2; exit 1; }
echo "clang-tidy: ${#files[@]} files"
# Without the headers that another compiler compiled beforehand.
commands=$(mktemp -d)
trap 'rm -r "$commands"' EXIT
sed -E 's#( -Winvalid-pch)? -include [^ ]+/cmake_pch\.hxx| -fpch-preprocess##g' "$database" >"$commands/compile_commands.json"
printf '%s\0' "${files[@]}" | xargs -0 -n 2 -P "$jobs" clang-tidy --quiet -p "$commands"
