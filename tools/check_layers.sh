#!/usr/bin/env bash
# Fails when a file of src/ includes a header of a folder above its own, or when one feature
# module includes another. The order is the README's layout list, top to bottom.
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
readme="$root/README.md"

mapfile -t rows < <(sed -n '/^## Layout/,/^## /p' "$readme" | grep -E '^- `src/[a-z_]+/`')
[[ ${#rows[@]} -gt 0 ]] || { echo "FAIL: no layout list in $readme" >&2; exit 1; }

declare -A rank module
for i in "${!rows[@]}"; do
  folder="$(sed -E 's/^- `src\/([a-z_]+)\/`.*/\1/' <<<"${rows[$i]}")"
  rank[$folder]=$i
  [[ "${rows[$i]}" == *'*module*'* ]] && module[$folder]=1
done

failures=0
for dir in "$root"/src/*/; do
  folder="$(basename "$dir")"
  if [[ -z "${rank[$folder]+set}" ]]; then
    echo "FAIL: src/$folder/ is not in the README's layout list"
    failures=$((failures + 1))
    continue
  fi
  while IFS=: read -r file line included; do
    target="${included%%/*}"
    [[ "$target" == "$folder" ]] && continue
    if [[ -z "${rank[$target]+set}" ]]; then
      echo "FAIL: ${file#"$root"/}:$line includes $included, of no folder in the layout list"
      failures=$((failures + 1))
    elif ((rank[$target] <= rank[$folder])); then
      echo "FAIL: ${file#"$root"/}:$line includes $included, which lies above src/$folder/"
      failures=$((failures + 1))
    elif [[ -n "${module[$folder]+set}" && -n "${module[$target]+set}" ]]; then
      echo "FAIL: ${file#"$root"/}:$line: module src/$folder/ includes module $included"
      failures=$((failures + 1))
    fi
  done < <(grep -rnE '^#include "[a-z_]+/' "$dir" | sed -E 's/^([^:]+):([0-9]+):#include "([^"]+)".*/\1:\2:\3/')
done

if ((failures > 0)); then
  echo "$failures include(s) break the layering"
  exit 1
fi
echo "Layering holds: ${#rows[@]} folders, every include points down"
