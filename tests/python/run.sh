#!/usr/bin/env bash
# Installs the wheel of a build into a new virtual environment far from the tree, and runs the tests of the Python module
# there: nothing of the build is on any path.
# Usage: run.sh BUILD_FOLDER [arguments of pytest]
set -euo pipefail
build=$(cd "$1" && pwd)
shift
here=$(cd "$(dirname "$0")" && pwd)
root=$(cd "$here/../.." && pwd)
wheel=$("$root/scripts/wheel.sh" "$build")
place=$(mktemp -d /tmp/radvex-python-XXXXXX)
trap 'rm -rf "$place"' EXIT

/usr/bin/python3 -m venv --system-site-packages "$place/venv"
"$place/venv/bin/python" -m pip -q install --no-index --no-deps "$wheel"
mkdir "$place/work" "$place/tmp"
cp -r "$here"/*.py "$root/docs/python.md" "$place/work"
cd "$place/work"
env -i HOME="$place" PATH=/usr/bin:/bin LANG=C.UTF-8 TMPDIR="$place/tmp" PYTHONDONTWRITEBYTECODE=1 \
    RADVEX_FAILING_OPEN="${RADVEX_FAILING_OPEN:-}" RADVEX_SAMPLES="$("$root/scripts/samples.sh")" \
    "$place/venv/bin/python" -m pytest -q -p no:cacheprovider --timeout=300 --basetemp="$place/t" "$@" # sockets need short paths
left=$(ls -A "$place/tmp" | grep -v '^pytest-of-' || true)
if [ -n "$left" ]; then
    echo "Left behind in TMPDIR: $left" >&2
    exit 1
fi
