#!/usr/bin/env bash
# Runs all tests of a build that counts lines and prints what share of our own code they ran. Usage: coverage.sh BUILD
set -euo pipefail
build=$(cd "$1" && pwd)
source=$(cd "$(dirname "$0")/.." && pwd)
profiles=$build/profiles
rm -rf "$profiles"
mkdir -p "$profiles"

# Programs of one name add to the same few files: thousands of processes would leave thousands of them.
export LLVM_PROFILE_FILE=$profiles/%4m.profraw
status=0
(cd "$source" && ctest --preset coverage -j 2 --output-on-failure >"$build/tests.log" 2>&1) || status=$?
grep -E 'tests passed' "$build/tests.log" || true
llvm-profdata merge -sparse "$profiles"/*.profraw -o "$profiles/all.profdata"

objects=("$build/lib/Radvex.so")
for program in "$build/lib/libTT32i4.so" "$build/bin/radvex" "$build"/tests/*/*Tests; do
    [ -f "$program" ] && objects+=(-object "$program")
done
rooms=()
for room in tether bridge guard dicom host study cli; do
    [ -d "$source/$room" ] && rooms+=("$source/$room")
done
llvm-cov report "${objects[@]}" -instr-profile="$profiles/all.profdata" \
    -show-region-summary=false -show-branch-summary=false "${rooms[@]}"
exit $status
