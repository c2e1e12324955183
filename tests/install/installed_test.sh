#!/usr/bin/env bash
# Installs a build into a folder of its own, and loads the Nikon modules there with the helper there.
# Usage: installed_test.sh CMAKE BUILD_FOLDER NIKON_MODULES_TEST
set -euo pipefail
cmake=$1 build=$2 modules_test=$3
tree=$(mktemp -d)
trap 'rm -rf "$tree"' EXIT

"$cmake" --install "$build" --prefix "$tree" >"$tree/install.log" || { cat "$tree/install.log" >&2; exit 1; }

missing=0
expect() {
  [ -f "$tree/$1" ] || { echo "missing: $1" >&2; missing=1; }
}
for name in D1 D2 D40 D50 D70 D80 D100 D200 Type000{1..8}; do
  bundle="lib/tarvo/simulated/nikon/$name Module.bundle/Contents"
  expect "$bundle/Info.plist"
  expect "$bundle/Linux/$name Module"
  # Immediate binding: what is missing would show only on a user's machine.
  unbound=$(ldd -r "$tree/$bundle/Linux/$name Module" 2>&1 | grep -E 'not found|undefined symbol' || true)
  [ -z "$unbound" ] || { echo "$name: $unbound" >&2; missing=1; }
done
expect lib/tarvo/simulated/nikon/libNkPTPDriver.dylib
for file in bin/TarvoRemote bin/tarvo lib/tarvo/libTarvoPlatform.so lib/tarvo/frameworks/libEDSDK.so \
  lib/tarvo/frameworks/libTarvoMovies-gst.so share/tarvo/scenarios/nikon-pair.json; do
  expect "$file"
done
# The programs that show windows: there, and complete with what lies around them.
for program in TarvoWindows TarvoExportDialog; do
  path=lib/tarvo/frameworks/$program
  [ -x "$tree/$path" ] || { echo "cannot be run: $path" >&2; missing=1; continue; }
  ! ldd -r "$tree/$path" 2>&1 | grep -E 'not found|undefined symbol' || { echo "$program" >&2; missing=1; }
done
[ "$missing" -eq 0 ] || exit 1

TARVO_HELPER=$tree/bin/TarvoRemote "$modules_test"
