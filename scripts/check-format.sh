#!/usr/bin/env bash
# Fails when a source file is not as clang-format leaves it. With --fix, formats instead.
set -euo pipefail
cd "$(dirname "$0")/.."
mode=(--dry-run --Werror)
[ "${1:-}" != --fix ] || mode=(-i)
git ls-files -z '*.cpp' '*.h' | xargs -0 -r clang-format "${mode[@]}"
