"""Writing: frames into a new file, and files without their identity."""

import numpy

from . import voxels
from .running import Job, Row


def writing_jobs(place):
    frames, side = place.amounts["frames"], place.amounts["side"]
    out, pixels = place.file("written.dcm"), place.file("pixels.npy")
    numpy.save(pixels, voxels.stored(frames, side))
    size = 2 * frames * side * side
    for encoding, word, name in (("uncompressed", [], "Uncompressed"), ("JPEG-LS", ["jpegls"], "JPEG-LSLossless")):
        rows = [
            Row("plain write", place.program("plainFiles", "write", out, size), removes=(out,)),
            *place.bare("write", out, frames, side, *word, removes=(out,)),
            Row("WriteImage", place.hosted("write", out, frames, side, *word), removes=(out,)),
            Row("radvex write, from .npy", place.radvex("write", pixels, "--axes", "frames,rows,columns", "--compress",
                                                        name, "-o", out), removes=(out,)),
        ]
        rows += _compressing(place, out) if word else [
            Row("pydicom, from .npy", place.peer("pydicom-write", pixels, out), removes=(out,))]
        yield Job("Writing %d frames of %d x %d in 16 bits, %s" % (frames, side, side, encoding), rows)
    yield _anonymizing(place)


def _compressing(place, out):
    file = place.file("frames.dcm")
    return [Row("dcmcjpls, from DICOM", ["dcmcjpls", file, out], removes=(out,)),
            Row("gdcmconv --jpegls, from DICOM", ["gdcmconv", "--jpegls", file, out], removes=(out,))]


def _anonymizing(place):
    folder, out = place.file("series"), place.file("anonymous")
    modified = ('cp -r "$1" "$2" && exec dcmodify -nb -gin -gse -gst -ma "(0010,0020)=0" -ma "(0020,0010)=0" "$2"/IM*')

    def row(name, command, **options):
        return Row(name, command, removes=(out,), **options)

    return Job("Anonymizing %(slices)d CT files" % place.amounts, [
        row("plain copy", place.program("plainFiles", "copy", folder, out)),
        *place.bare("anonymize", folder, out, removes=(out,)),
        row("DicomAnonymize", place.hosted("anonymize", folder, out)),
        row("radvex anonymize", place.radvex("anonymize", folder, out), divides=True),
        row("radvex anonymize --jobs 0", place.radvex("anonymize", "--jobs", "0", folder, out)),
        row("cp and dcmodify", ["sh", "-c", modified, "sh", folder, out]),
        row("gdcmanon", ["gdcmanon", "--dumb", "--empty", "10,20", "-r", "--continue", "-i", folder, "-o", out]),
        row("pydicom", place.peer("pydicom-anonymize", folder, out)),
    ])
