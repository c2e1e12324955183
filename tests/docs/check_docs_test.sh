#!/usr/bin/env bash
# The link check must find what is broken and accept what is not.
# Usage: check_docs_test.sh CHECK
set -euo pipefail
check=$1
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT

page() {
  printf '%s\n' "$@" >"$folder/page.md"
}
must_pass() {
  "$check" "$folder" >/dev/null || { echo "refused: $1" >&2; exit 1; }
}
must_fail() {
  ! "$check" "$folder" >/dev/null 2>&1 || { echo "accepted: $1" >&2; exit 1; }
}

printf '# One Heading, two\n' >"$folder/other.md"
page '[a](other.md) [b](other.md#one-heading-two) [c](https://example.org/) `[d](nowhere.md)`'
must_pass "links that lead somewhere"
page '[a](nowhere.md)'
must_fail "a file that does not exist"
page '[a](other.md#three)'
must_fail "a heading that does not exist"
page '# Here' '[a](#there)'
must_fail "a heading of the same page that does not exist"
page '```' '[a](nowhere.md)' '```'
must_pass "a link inside a fence"
page 'One.' '<<<<<<< HEAD' 'Two.' '=======' 'Three.' '>>>>>>> 1234567 (words)'
must_fail "both sides of a merge"
