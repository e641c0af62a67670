#!/usr/bin/env bash
# Fails when the usage example in README.md differs from the file it is kept
# in. The README marks the code block with a comment naming the file:
#   <!-- example: examples/readme/readme_example.cpp -->
#   ```cpp
#   ...
#   ```
set -euo pipefail
cd "$(dirname "$0")/.."

examples=$(sed -n 's/^<!-- example: \(.*\) -->$/\1/p' README.md)
[ -n "$examples" ] || { echo "README.md: no marked example" >&2; exit 1; }

status=0
while read -r file; do
  shown=$(awk -v marker="<!-- example: $file -->" '
    $0 == marker { found = 1; next }
    found == 1 && /^```/ { found = 2; next }
    found == 2 && /^```/ { exit }
    found == 2 { print }' README.md)
  if ! diff -u --label "$file" --label "README.md" "$file" <(printf '%s\n' "$shown"); then
    echo "README.md: the example differs from $file" >&2
    status=1
  fi
done <<<"$examples"
exit $status
