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

# Files that are compiled together are looked at one by one, and without the headers that another compiler compiled
# beforehand.
commands=$(mktemp -d)
trap 'rm -r "$commands"' EXIT
python3 - "$database" >"$commands/compile_commands.json" <<'END'
import json, re, sys

entries = []
for entry in json.load(open(sys.argv[1])):
    entry["command"] = re.sub(r"( -Winvalid-pch)? -include \S+/cmake_pch\.hxx| -fpch-preprocess", "", entry["command"])
    together = "/Unity/" in entry["file"]
    for file in re.findall(r'#include "(.+\.cpp)"', open(entry["file"]).read()) if together else [entry["file"]]:
        entries.append(entry | {"file": file, "command": entry["command"].replace(entry["file"], file)})
print(json.dumps(entries, indent=1))
END

compiled=$(sed -nE "s|^ *\"file\": \"$PWD/(.*)\",?$|\1|p" "$commands/compile_commands.json" | sort -u)
mapfile -t files < <(git ls-files -- "${@:-.}" | grep '\.cpp$' | sort | comm -12 - <(echo "$compiled"))
[ ${#files[@]} -gt 0 ] || { echo "Nothing that is compiled there: $*" >&2; exit 1; }
echo "clang-tidy: ${#files[@]} files"
printf '%s\0' "${files[@]}" | xargs -0 -n 2 -P "$jobs" clang-tidy --quiet -p "$commands"
