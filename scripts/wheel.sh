#!/usr/bin/env bash
# Packs the Python package of a build into a wheel that needs nothing of the build, and prints its path.
# Usage: wheel.sh BUILD_FOLDER
set -euo pipefail
build=$(cd "$1" && pwd)
here=$(cd "$(dirname "$0")/.." && pwd)
package=$build/python/radvex
staging=$(mktemp -d)
trap 'rm -rf "$staging"' EXIT

cp "$here/python/setup.py" "$here/python/pyproject.toml" "$staging"
mkdir -p "$staging/radvex/bin" "$staging/radvex/lib" "$staging/radvex/archive"
cp "$package"/*.py "$package"/*.pyi "$package"/py.typed "$package"/_radvex.*.so "$staging/radvex"
cp "$package"/archive/*.py "$staging/radvex/archive"
cp -L "$package"/bin/* "$staging/radvex/bin"
# Each library once, under the name by which the others ask for it.
cp -L "$package"/lib/{Radvex.so,radvexDatasets.so,libTT32i4.so,libdcmtk.so.17} "$staging/radvex/lib"
# These are not installed everywhere, other than those of the pictures: of JPEG 2000, and of the page's server.
cp -L "$(ldd "$package/lib/Radvex.so" | awk '$1 ~ /^libopenjp2/ { print $3 }')" "$staging/radvex/lib"
cp -L "$(ldd "$package/bin/radvex-view" | awk '$1 ~ /^libcpp-httplib/ { print $3 }')" "$staging/radvex/lib"
if [ -e "$package/page/index.html" ]; then # there is none without npm
    cp -rL "$package/page" "$staging/radvex/page"
fi
strip --strip-unneeded "$staging"/radvex/*.so "$staging"/radvex/lib/* "$staging"/radvex/bin/*

mkdir -p "$build/wheel"
rm -f "$build"/wheel/*.whl
(cd "$staging" && /usr/bin/python3 -m pip -q wheel --no-build-isolation --no-deps --no-index -w "$build/wheel" .)
ls "$build"/wheel/*.whl
