#!/usr/bin/env bash
# Fails when a page (*.md) links to a file or a heading of this tree that does not exist, or holds both sides of a merge.
# Usage: scripts/check-docs.sh [FOLDER]     (default: the whole tree)
set -euo pipefail
cd "${1:-$(dirname "$0")/..}"

# The text of a page without what stands in fences.
prose() {
  awk '/^```/ { inside = !inside; next } !inside' "$1"
}

# One line for each heading: the name by which links reach it.
anchors() {
  prose "$1" | sed -nE 's/^#+ +//p' | tr '[:upper:]' '[:lower:]' | sed -E 's/`//g; s/[^[:alnum:] _-]//g; s/ /-/g'
}

# One line for each link: its target. Code in the line is no link.
links() {
  prose "$1" | sed -E 's/`[^`]*`//g' | grep -oE '\]\([^)]+\)' | sed -E 's/^\]\(//; s/\)$//' || true
}

failed=0
complain() {
  echo "$1: $2" >&2
  failed=1
}

count=0
while IFS= read -r page; do
  ! grep -qE '^(<{7}|>{7}) ' "$page" || complain "$page" "an unfinished merge"
  while IFS= read -r link; do
    [ -n "$link" ] || continue
    case $link in http://* | https://* | mailto:*) continue ;; esac
    count=$((count + 1))
    file=${link%%#*}
    target=$page
    [ -z "$file" ] || target=$(dirname "$page")/$file
    if [ ! -e "$target" ]; then
      complain "$page" "broken link: $link"
    elif [[ $link == *'#'* && $target == *.md ]]; then
      grep -qxF -- "${link#*#}" <<<"$(anchors "$target")" || complain "$page" "broken link: $link"
    fi
  done < <(links "$page")
done < <(find . -name '*.md' -not -path './build/*' -not -path './dist/*' -not -path './.git/*' | sort)

[ "$failed" -eq 0 ] || exit 1
echo "$count links lead somewhere"
