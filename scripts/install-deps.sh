#!/usr/bin/env bash
# Installs what building, testing and the demonstration need, from Debian's packages, and only what is missing.
# Usage: scripts/install-deps.sh [build|test|fuzz|vm]
# (test, the default, includes build; fuzz includes test; vm is what tests against real drivers need besides)
set -euo pipefail

build_packages=(
  g++ cmake ninja-build pkg-config ccache
  libglib2.0-dev        # event loops
  libgtk-4-dev          # windows
  libplist-dev          # the information lists of camera modules
  libgstreamer1.0-dev libgstreamer-plugins-base1.0-dev  # movies, webcams
  # What GStreamer finds at run time: the base, movie files, pictures and webcams, H.264, AAC and what else there is to
  # decode.
  gstreamer1.0-plugins-base gstreamer1.0-plugins-good gstreamer1.0-plugins-ugly gstreamer1.0-libav
  libusb-1.0-0-dev      # webcams that no driver serves
  nlohmann-json3-dev    # the camera lab's files and commands
  libcli11-dev libfmt-dev  # the tarvo command
  libpng-dev            # the pictures that it makes of webcams
  libjpeg62-turbo-dev   # the pictures that simulated webcams show
)
test_packages=(
  libgtest-dev libbenchmark-dev
  clang-format clang-tidy
  xvfb xdotool x11-utils  # windows without a display
  sway wtype              # the same on Wayland
  dbus-daemon at-spi2-core  # what a screen reader finds in them
  # Webcams of PipeWire: the daemon, who links programs to them, GStreamer's part of it, and a program that plays one.
  pipewire wireplumber gstreamer1.0-pipewire gstreamer1.0-tools
  ffmpeg                  # looks at exported movies with eyes of its own
  python3 git
)

fuzz_packages=(
  clang libclang-rt-dev  # fuzzers, and the sanitizers that go with them
)

vm_packages=(
  qemu-system-x86 busybox-static kmod cpio  # the machine; its kernel is only downloaded (tests/vm/vm-setup)
  udev                                      # its device events
  v4l-utils                                 # a second program that looks at webcams
  gstreamer1.0-tools                        # makes the list of plug-ins once, outside
)

case ${1:-test} in
  build) packages=("${build_packages[@]}") ;;
  test) packages=("${build_packages[@]}" "${test_packages[@]}") ;;
  fuzz) packages=("${build_packages[@]}" "${test_packages[@]}" "${fuzz_packages[@]}") ;;
  vm) packages=("${vm_packages[@]}") ;;
  *) echo "install-deps.sh: no such group: $1" >&2; exit 2 ;;
esac

missing=()
for package in "${packages[@]}"; do
  dpkg-query -W -f '${Status}' "$package" 2>/dev/null | grep -q 'install ok installed' || missing+=("$package")
done
[ ${#missing[@]} -gt 0 ] || exit 0

echo "Installing: ${missing[*]}"
as_root=()
if [ "$(id -u)" -ne 0 ]; then
  command -v sudo >/dev/null || { echo "Run as root, or install sudo, or install by hand: ${missing[*]}" >&2; exit 1; }
  as_root=(sudo)
fi
export DEBIAN_FRONTEND=noninteractive
"${as_root[@]}" apt-get update -qq
"${as_root[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
