#!/usr/bin/env bash
# Installs what is missing, builds, and runs all tests. Those against real drivers (label vm) need a virtual machine; where
# there can be none the others run, and the last lines say so and why.
# Usage: scripts/test.sh [PRESET...]     (default: release)
# With asan or tsan the tests of the units are built with the sanitizer, and the helper is: the black-box tests of the
# release build, which know it by its sockets alone, are run once more against that helper; not so with TARVO_UNITS_ONLY=1.
# With TARVO_HELPER_ONLY=1 the black-box tests alone are run.
# With TARVO_SECOND_CHANCE=1 a few tests that fail are run again, alone and three times each: a machine under load makes one
# miss its moment now and then. All three runs have to pass, the last lines name the test, and what a sanitizer has
# reported stays failed.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh test

presets=("$@")
[ ${#presets[@]} -gt 0 ] || presets=(release)
has_release() { [[ " ${presets[*]} " == *" release "* ]]; }

prepare_vm() { scripts/install-deps.sh vm && tests/vm/vm-setup; }

# Beside the build: it mostly waits for the network.
begin_to_prepare_vm() {
  vm_log=$(mktemp)
  prepare_vm >"$vm_log" 2>&1 &
  vm_preparation=$!
}

finish_preparing_vm() {
  [ -n "${vm_preparation:-}" ] || return 0
  wait "$vm_preparation" || no_vm=$(tail -n 5 "$vm_log")
  vm_preparation=
  rm "$vm_log"
}

unsteady=

# The last thing that is said, however the tests ended.
tell_what_did_not_run() {
  local status=$?
  finish_preparing_vm
  if [ -n "$unsteady" ]; then
    printf '\n== UNSTEADY: failed once, and passed three times alone:\n%s' "$unsteady"
  fi
  if [ -n "${no_vm:-}" ]; then
    printf '\n== NOT RUN: the tests against real drivers (label vm). The reason:\n%s\n' "$no_vm"
  fi
  exit "$status"
}

trap tell_what_did_not_run EXIT
! has_release || begin_to_prepare_vm

. scripts/compiler-cache.sh

is_sanitizer() {
  [ "$1" = asan ] || [ "$1" = tsan ]
}

runs_units() {
  ! is_sanitizer "$1" || [ -z "${TARVO_HELPER_ONLY:-}" ]
}

runs_sanitized_helper() {
  is_sanitizer "$1" && [ -z "${TARVO_UNITS_ONLY:-}" ]
}

build() {
  local log=build-$1.log tests=ON
  runs_units "$1" || tests=OFF
  echo "== $1: build"
  # scripts/benchmark.sh builds the benchmarks.
  cmake --preset "$1" -DTARVO_TESTS=$tests -DTARVO_BENCHMARKS=OFF "${launcher[@]}" >"$log" 2>&1 || { cat "$log"; exit 1; }
  cmake --build --preset "$1" -j "$(nproc)" >>"$log" 2>&1 || { tail -n 60 "$log"; exit 1; }
  rm "$log"
}

run_tests() {
  local preset=$1
  shift
  rm -f "build/$preset/Testing/Temporary/LastTestsFailed.log"
  # Twice the cores: most tests wait for a camera, a few compute.
  ctest --preset "$preset" -j $((2 * $(nproc))) --timeout 600 "$@" || run_failed_again "$preset"
}

run_failed_again() {
  local logs=build/$1/Testing/Temporary most=3 failed
  failed=$(cat "$logs/LastTestsFailed.log")
  [ -n "${TARVO_SECOND_CHANCE:-}" ] && [ -n "$failed" ] && [ "$(wc -l <<<"$failed")" -le "$most" ] || return 1
  ! grep -qE 'Sanitizer|runtime error:' "$logs/LastTest.log" || return 1
  echo "== $1: what failed, alone"
  ctest --preset "$1" --rerun-failed --timeout 600 --repeat until-fail:3 || return 1
  unsteady+=$failed$'\n'
}

for preset in "${presets[@]}"; do
  ! runs_sanitized_helper "$preset" || has_release || build release
  build "$preset"
done

if has_release; then
  echo "== format"
  scripts/check-format.sh
  finish_preparing_vm
fi

for preset in "${presets[@]}"; do
  if runs_units "$preset"; then
    echo "== $preset: tests"
    run_tests "$preset"
  fi
  runs_sanitized_helper "$preset" || continue
  echo "== $preset: the helper's tests"
  # GTK and GStreamer are compiled without the thread sanitizer, which then takes their own locks for races.
  which=(-L 'e2e|pipewire')
  [ "$preset" != tsan ] || which=(-L e2e -E '^ExportDialog')
  TARVO_SANITIZED=1 TARVO_HELPER=$PWD/build/$preset/bin/TarvoRemote run_tests release "${which[@]}"
done
