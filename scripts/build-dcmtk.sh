#!/usr/bin/env bash
# Builds DCMTK once per user from Debian's own source package and prints the folder it was installed to.
#
#   scripts/build-dcmtk.sh          the one that the library is built on
#   scripts/build-dcmtk.sh fuzz     the same with clang, sanitizers and the coverage counters that libFuzzer reads
#
# Debian's binary package has no compiled-in dictionary; the library needs one, and no environment setting.
# The result is cached under the user's cache folder, keyed by the package version and how it is built.
set -euo pipefail
variant=${1:-}
project=$(cd "$(dirname "$0")/.." && pwd)
hook=$project/cmake/JoinDcmtk.cmake
patches=("$project"/cmake/dcmtk/*.patch) # defects of DCMTK that cannot be kept away from it; each says what and why

flags=(
    -DCMAKE_BUILD_TYPE=Release
    -DBUILD_SHARED_LIBS=ON
    -DBUILD_SINGLE_SHARED_LIBRARY=ON
    -DBUILD_APPS=OFF
    -DCMAKE_POSITION_INDEPENDENT_CODE=ON
    -DCMAKE_C_FLAGS=-fcommon
    -DCMAKE_CXX_STANDARD=17
    -DCMAKE_INSTALL_DATADIC=share/dcmtk
    -DDCMTK_DEFAULT_DICT=builtin
    -DDCMTK_USE_DCMDICTPATH=OFF
    -DDCMTK_ENABLE_PRIVATE_TAGS=ON
    -DDCMTK_ENABLE_STL=ON
    -DDCMTK_WITH_ICU=ON
    -DDCMTK_WITH_ICONV=OFF
    -DDCMTK_WITH_STDLIBC_ICONV=OFF
    -DDCMTK_WITH_OPENSSL=OFF
    -DDCMTK_WITH_XML=OFF
    -DDCMTK_WITH_TIFF=OFF
    -DDCMTK_WITH_PNG=OFF
    -DDCMTK_WITH_SNDFILE=OFF
    -DDCMTK_WITH_WRAP=OFF
    "-DDCMTK_MODULES=ofstd;oflog;dcmdata;dcmimgle;dcmimage;dcmjpeg;dcmjpls;dcmiod;dcmfg;dcmpmap"
)

case $variant in
'')
    ;;
fuzz)
    # Of UndefinedBehaviorSanitizer the checks that stand for an access outside an object or for a signal. The others
    # report what DCMTK and its codecs do on every good file (unaligned reads, shifts and sums of negative numbers, enum
    # values from files), so that nothing else could be seen. Of the bounds that the compiler itself can tell, a breach
    # shows as an illegal instruction.
    sanitize='-fsanitize=address,fuzzer-no-link,bounds,integer-divide-by-zero,null,return,unreachable,vla-bound'
    flags+=(-DCMAKE_BUILD_TYPE=None # of two settings of one name the later counts
            -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++
            "-DCMAKE_C_FLAGS=-O1 -g1 -DNDEBUG -fcommon -fno-omit-frame-pointer -w $sanitize"
            "-DCMAKE_CXX_FLAGS=-O1 -g1 -DNDEBUG -fno-omit-frame-pointer -w $sanitize")
    export ASAN_OPTIONS=detect_leaks=0 # tools that run while DCMTK is built leave memory to their end
    ;;
*)
    echo "There is no variant '$variant' of DCMTK; leave it out, or say 'fuzz'." >&2
    exit 2
    ;;
esac

version=$(apt-cache madison dcmtk | awk -F'|' 'NR == 1 { gsub(/ /, "", $2); print $2 }')
if [ -z "$version" ]; then
    echo "apt knows no package 'dcmtk'. Run 'apt-get update' as root, then try again." >&2
    exit 1
fi
key=$({ printf '%s\n' "$version" "${flags[@]}" && cat "$hook" "${patches[@]}"; } | sha256sum | cut -c1-12)
cache=${XDG_CACHE_HOME:-$HOME/.cache}/radvex
prefix=$cache/dcmtk${variant:+-$variant}-$key
if [ -e "$prefix/.complete" ]; then
    echo "$prefix"
    exit 0
fi

mkdir -p "$cache"
exec 9>"$prefix.lock"
flock 9 # a second build at the same time waits for the first and then finds its result
if [ -e "$prefix/.complete" ]; then
    echo "$prefix"
    exit 0
fi

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
echo "Building DCMTK $version${variant:+ ($variant)} once for this user (3 minutes on two cores, 10 with sanitizers)" >&2

"$project/scripts/debian-source.sh" dcmtk "$version" "$work/dcmtk" 2>"$work/unpack.log" || {
    cat "$work/unpack.log" >&2
    exit 1
}
for patch in "${patches[@]}"; do
    patch --binary --quiet --strip=1 --directory="$work/dcmtk" <"$patch" >&2 || {
        echo "$(basename "$patch") does not fit DCMTK $version." >&2
        exit 1
    }
done

launcher=()
export CCACHE_BASEDIR=$work CCACHE_NOHASHDIR=1 # the folder is another one each time
command -v ccache >/dev/null && launcher=(-DCMAKE_C_COMPILER_LAUNCHER=ccache -DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
log=$prefix.log
if ! { cmake -S "$work/dcmtk" -B "$work/build" -G Ninja "${flags[@]}" "${launcher[@]}" \
           -DCMAKE_PROJECT_INCLUDE="$hook" -DCMAKE_INSTALL_PREFIX="$prefix" &&
       cmake --build "$work/build" &&
       cmake --install "$work/build"; } >"$log" 2>&1; then
    tail -n 30 "$log" >&2
    echo "DCMTK did not build; the whole log is $log" >&2
    exit 1
fi
touch "$prefix/.complete"
echo "$prefix"
