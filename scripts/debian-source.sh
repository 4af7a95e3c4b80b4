#!/usr/bin/env bash
# Unpacks a source package of Debian. Usage: debian-source.sh PACKAGE VERSION FOLDER, where FOLDER is made.
set -euo pipefail
package=$1
version=$2
folder=$3

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
# A private list of source packages, made from the system's own lists, which stay as they are.
mkdir -p "$work/sources" "$work/lists/partial" "$work/package"
for list in /etc/apt/sources.list.d/*.sources; do
    [ -e "$list" ] && sed 's/^Types:.*/Types: deb-src/' "$list" > "$work/sources/$(basename "$list")"
done
for list in /etc/apt/sources.list /etc/apt/sources.list.d/*.list; do
    [ -e "$list" ] && sed -n 's/^deb\(-src\)\? /deb-src /p' "$list" | sort -u > "$work/sources/$(basename "$list")"
done
apt=(apt-get -qq -o Dir::Etc::sourcelist=/dev/null -o "Dir::Etc::sourceparts=$work/sources"
     -o "Dir::State::lists=$work/lists" -o APT::Sandbox::User="$(id -un)")
"${apt[@]}" update >&2
(cd "$work/package" && "${apt[@]}" source --download-only "$package=$version" >&2)
dpkg-source --no-check -x "$work/package/$package"_*.dsc "$folder" >&2
