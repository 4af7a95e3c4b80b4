#!/usr/bin/env bash
# Packs a build into the Debian packages radvex, libradvex-dev and python3-radvex, and prints their paths.
# Usage: deb.sh BUILD_FOLDER [OUTPUT_FOLDER]      the output is build/deb when it is left out
set -euo pipefail
build=$(cd "$1" && pwd)
root=$(cd "$(dirname "$0")/.." && pwd)
mkdir -p "${2:-$root/build/deb}"
out=$(cd "${2:-$root/build/deb}" && pwd)
work=$(mktemp -d "$out/work-XXXXXX") # two runs at a time do not meet
trap 'rm -rf "$work"' EXIT

mkdir "$work/tree"
cp -r "$root/scripts/debian" "$root/examples" "$root/CHANGELOG.md" "$work/tree"
cd "$work/tree"
version=$(sed -n 's/^CMAKE_PROJECT_VERSION:STATIC=//p' "$build/CMakeCache.txt")
packed=$(dpkg-parsechangelog --show-field Version)
if [ "${packed%-*}" != "$version" ]; then
    echo "The build is version $version, but scripts/debian/changelog describes $packed." >&2
    exit 1
fi

umask 022
if ! RADVEX_BUILD=$build dpkg-buildpackage --build=binary --no-sign --no-pre-clean >"$out/log" 2>&1; then
    tail -n 30 "$out/log" >&2
    echo "The packages could not be made; the whole log is $out/log" >&2
    exit 1
fi
mv "$work"/*.deb "$out"
ls "$out"/*radvex*_"$packed"_*.deb
