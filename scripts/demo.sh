#!/usr/bin/env bash
# Builds, then shows the whole way of a picture on simulated cameras with real photographs: no camera, no display and
# no answers needed. Leaves the pictures in demo-output/.
# Usage: scripts/demo.sh
set -euo pipefail
cd "$(dirname "$0")/.."
output=demo-output

scripts/build.sh
rm -rf "$output"
# The tour takes some 30 seconds; a hang must not outlast patience.
timeout --kill-after=10 180 dist/bin/tarvo demo --output "$output" || {
  status=$?
  [ "$status" -ne 124 ] || echo "The demonstration did not end in time." >&2
  echo "The demonstration failed with status $status." >&2
  exit 1
}

echo
echo "== The same pictures, compared once more by cmp with what the simulated camera had on its card"
originals=dist/share/tarvo/photos
for pair in "pair/frame0001.cr2 pairs/IMG_3501.CR2" "pair/frame0001.jpg pairs/IMG_3501.JPG" \
  "nikon/frame0001.nef nikon/meta_d70.nef" "nikon/frame0001.jpg nikon/d5300_room_3000x2000.jpg"; do
  read -r copy original <<<"$pair"
  cmp "$output/$copy" "$originals/$original"
  echo "cmp: $output/$copy and $originals/$original are identical"
done
echo
find "$output" -type f | sort | xargs ls -l
