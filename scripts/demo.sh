#!/usr/bin/env bash
# Reads real files and shows what comes out. Usage: demo.sh BUILD_FOLDER
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
radvex=$(realpath "$1/bin/radvex")
samples=$("$here/samples.sh")

title() { printf '\n== %s\n' "$1"; }
show() {
    printf '$ radvex'
    printf ' %s' "$@"
    printf '\n'
}

title "Frames and overlays of real files (CT, MR, a dose, RLE, JPEG-LS, a DICOMDIR)"
cd "$samples"
for file in CT_small.dcm MR_small.dcm rtdose.dcm MR_small_RLE.dcm MR_small_jpeg_ls_lossless.dcm dicomdirtests/DICOMDIR; do
    "$radvex" frames "$file"
done
cd - >/dev/null

title "A file that is not there"
show frames missing.dcm
"$radvex" frames missing.dcm || echo "(exit status $?)"
