#!/usr/bin/env bash
# Checks layout (clang-format) and the checks of .clang-tidy over all of our own code. Usage: lint.sh BUILD_FOLDER
set -euo pipefail
cd "$(dirname "$0")/.."
git ls-files '*.h' '*.cpp' | xargs clang-format --dry-run -Werror
git ls-files 'tether/*.cpp' 'bridge/*.cpp' 'dicom/*.cpp' 'guard/*.cpp' 'host/*.cpp' 'study/*.cpp' 'cli/*.cpp' |
    xargs -P "$(nproc)" -n 4 clang-tidy -p "$1" --quiet
echo "lint: the tree passes"
