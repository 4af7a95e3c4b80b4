#!/usr/bin/env bash
# Checks the layout of all of our own code (clang-format) and runs the checks of .clang-tidy.
# Usage: lint.sh BUILD_FOLDER [changed]
#   changed   clang-tidy only over sources that changed in the day before the last commit, those with the most changed
#             lines first, until LINT_SECONDS (default 45) are over
set -euo pipefail
cd "$(dirname "$0")/.."
git ls-files '*.h' '*.cpp' | xargs clang-format --dry-run -Werror

sources=$(git ls-files '*.cpp' ':!tests' ':!fuzz' ':!bench' ':!cmake')
tidy() { xargs -r -P "$(nproc)" -n 1 clang-tidy -p "$1" --quiet; }

if [ "${2:-}" != changed ]; then
    echo "$sources" | tidy "$1"
    echo "lint: the tree passes"
    exit
fi

day_before=$(($(git log -1 --format=%ct) - 86400))
base=$(git rev-list -1 --before="$day_before" HEAD)
[ -n "$base" ] || base=$(git rev-list --max-parents=0 HEAD | tail -n 1)
changed=$(git diff --numstat --no-renames --diff-filter=d "$base" HEAD -- $sources | sort -rn | cut -f 3)
count=$(echo "$changed" | sed '/^$/d' | wc -l)
deadline=$((SECONDS + ${LINT_SECONDS:-45}))
looked=0
while read -r -a block && [ "${#block[@]}" -gt 0 ] && [ $SECONDS -lt $deadline ]; do
    printf '%s\n' "${block[@]}" | tidy "$1"
    looked=$((looked + ${#block[@]}))
done < <(echo "$changed" | xargs -r -n 8)
echo "lint: layout of the tree, and clang-tidy over $looked of $count changed sources, pass"
