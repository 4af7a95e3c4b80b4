#!/usr/bin/env bash
# Reads real files and shows what comes out. Usage: demo.sh BUILD_FOLDER
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
radvex=$(realpath "$1/bin/radvex")
samples=$("$here/samples.sh")
build=$(realpath "$1")
pictures=$build/demo
rm -rf "$pictures" # of an earlier run: nothing is replaced
mkdir -p "$pictures"

title() { printf '\n== %s\n' "$1"; }
show() {
    printf '$ radvex'
    printf ' %s' "$@"
    printf '\n'
}

title "Metadata of a CT slice"
cd "$samples"
show info CT_small.dcm
"$radvex" info CT_small.dcm
show tags --tag OtherPatientIDsSequence --tag RescaleIntercept CT_small.dcm
"$radvex" tags --tag OtherPatientIDsSequence --tag RescaleIntercept CT_small.dcm

title "Its pixels: modality values, and a picture"
show data CT_small.dcm
"$radvex" data CT_small.dcm
show image --window 400,40 -o ct.png CT_small.dcm
"$radvex" image --window 400,40 -o "$pictures/ct.png" CT_small.dcm
show image --sheet -o dose.png rtdose.dcm
"$radvex" image --sheet -o "$pictures/dose.png" rtdose.dcm
cd - >/dev/null
echo "The pictures are in $pictures"

title "Frames and overlays of real files (CT, MR, a dose, RLE, JPEG-LS, JPEG 2000, a DICOMDIR)"
cd "$samples"
for file in CT_small.dcm MR_small.dcm rtdose.dcm MR_small_RLE.dcm MR_small_jpeg_ls_lossless.dcm MR_small_jp2klossless.dcm dicomdirtests/DICOMDIR; do
    "$radvex" frames "$file"
done
cd - >/dev/null

title "JPEG 2000, which DCMTK alone does not decode"
cd "$samples"
show info JPEG2000.dcm
"$radvex" info JPEG2000.dcm
show data JPEG2000.dcm
"$radvex" data JPEG2000.dcm
show image -o jpeg2000.png JPEG2000.dcm
"$radvex" image -o "$pictures/jpeg2000.png" JPEG2000.dcm
echo "The JPEG 2000 file was read; its picture is $pictures/jpeg2000.png. What is read and written: docs/formats.md"
cd - >/dev/null

title "A medium, and the volume of one of its series"
cd "$samples"
show tree dicomdirtests/98892001
"$radvex" tree dicomdirtests/98892001
show volume dicomdirtests/98892001 --series '".*16302.0.6"' -o volume.nrrd
"$radvex" volume dicomdirtests/98892001 --series ".*16302.0.6" -o "$pictures/volume.nrrd"
cd - >/dev/null

title "The page of a study as one file, and a report"
cd "$samples"
if [ -e "$build/page/index.html" ]; then
    show view dicomdirtests/98892001 --save study.html
    "$radvex" view dicomdirtests/98892001 --save "$pictures/study.html"
    echo "The page is in $pictures/study.html. For all samples in the browser: radvex view $samples"
else
    echo "radvex view has no page here: it was built without npm."
fi
show view dicomdirtests/98892001 --report report.html
"$radvex" view dicomdirtests/98892001 --report "$pictures/report.html"
echo "The report is in $pictures/report.html"
cd - >/dev/null

title "A new file from a picture, and a file without its patient"
cd "$pictures"
show write ct.png --tag 'PatientName=Doe^Jane' --compress JPEG-LSLossless -o picture.dcm
"$radvex" write ct.png --tag 'PatientName=Doe^Jane' --compress JPEG-LSLossless -o picture.dcm
show info picture.dcm
"$radvex" info picture.dcm
show anonymize picture.dcm anonymous.dcm --set PatientName=Nobody --force
"$radvex" anonymize picture.dcm anonymous.dcm --set PatientName=Nobody --force
cd - >/dev/null

title "The same in Python"
cd "$samples"
ask='import radvex; v = radvex.values("CT_small.dcm"); print(v.shape, v.dtype, v.max(), v.meaning.unit)'
printf "$ python3 -c '%s'\n" "$ask"
PYTHONPATH=$build/python PYTHONDONTWRITEBYTECODE=1 /usr/bin/python3 -c "$ask"
cd - >/dev/null

title "An index of all samples"
index=$(mktemp -d)
echo "$ radvex-archive index SAMPLES index.sqlite --workers 0"
PYTHONPATH=$build/python PYTHONDONTWRITEBYTECODE=1 /usr/bin/python3 -m radvex.archive index "$samples" "$index/index.sqlite" --workers 0
rm -r "$index"

title "A file that is not there"
show frames missing.dcm
"$radvex" frames missing.dcm || echo "(exit status $?)"
