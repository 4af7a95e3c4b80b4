#!/usr/bin/env bash
# Builds OpenJPEG with clang, sanitizers and the coverage counters that libFuzzer reads, once per user, from Debian's own
# source package, and prints the folder it was installed to. Only fuzzing takes it; all else takes Debian's library.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)

# As for DCMTK: what OpenJPEG does on every good file (shifts and sums of negative numbers) would hide all else. Its
# assertions are in it, as in Debian's library.
sanitize='-fsanitize=address,fuzzer-no-link,bounds,integer-divide-by-zero,null,return,unreachable,vla-bound'
flags=(
    -DCMAKE_BUILD_TYPE=None
    -DCMAKE_C_COMPILER=clang
    "-DCMAKE_C_FLAGS=-O1 -g1 -fno-omit-frame-pointer -w $sanitize"
    -DBUILD_SHARED_LIBS=ON
    -DBUILD_STATIC_LIBS=OFF
    -DBUILD_CODEC=OFF
    -DBUILD_TESTING=OFF
)
export ASAN_OPTIONS=detect_leaks=0

version=$(dpkg-query -W -f='${source:Version}' libopenjp2-7-dev) # that everything else is built on
key=$(printf '%s\n' "$version" "${flags[@]}" | sha256sum | cut -c1-12)
cache=${XDG_CACHE_HOME:-$HOME/.cache}/radvex
prefix=$cache/openjpeg-fuzz-$key
mkdir -p "$cache"
exec 9>"$prefix.lock"
flock 9 # a second build at the same time waits for the first and then finds its result
if [ ! -e "$prefix/.complete" ]; then
    work=$(mktemp -d)
    trap 'rm -rf "$work"' EXIT
    echo "Building OpenJPEG $version (fuzz) once for this user (1 minute)" >&2
    "$here/debian-source.sh" openjpeg2 "$version" "$work/openjpeg" 2>"$work/unpack.log" || {
        cat "$work/unpack.log" >&2
        exit 1
    }
    log=$prefix.log
    if ! { cmake -S "$work/openjpeg" -B "$work/build" -G Ninja "${flags[@]}" -DCMAKE_INSTALL_PREFIX="$prefix" &&
           cmake --build "$work/build" &&
           cmake --install "$work/build"; } >"$log" 2>&1; then
        tail -n 30 "$log" >&2
        echo "OpenJPEG did not build; the whole log is $log" >&2
        exit 1
    fi
    touch "$prefix/.complete"
fi
echo "$prefix"
