#!/usr/bin/env bash
# Installs the Debian packages of packages.txt that are missing. Does nothing, and asks nothing, when all are there.
# Lists named as arguments, such as packages-fuzz.txt, count too.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)

mapfile -t wanted < <(cd "$here" && grep -hvE '^\s*(#|$)' packages.txt "$@")
missing=()
for package in "${wanted[@]}"; do
    # Other packages of Node.js than Debian's bring npm with them, and stand in the way of Debian's.
    if [ "$package" = npm ] && command -v npm >/dev/null; then
        continue
    fi
    status=$(dpkg-query -W -f='${db:Status-Status}' "$package" 2>/dev/null || true)
    [ "$status" = installed ] || missing+=("$package")
done
[ ${#missing[@]} -eq 0 ] && exit 0

asRoot=()
if [ "$(id -u)" -ne 0 ]; then
    if ! command -v sudo >/dev/null; then
        echo "These Debian packages are missing, and installing them needs root: ${missing[*]}" >&2
        exit 1
    fi
    asRoot=(sudo)
fi
echo "Installing Debian packages: ${missing[*]}" >&2
export DEBIAN_FRONTEND=noninteractive
"${asRoot[@]}" apt-get update -qq >&2
"${asRoot[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}" >&2
