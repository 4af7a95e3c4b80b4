"""Writing: frames into a new file, and files without their identity."""

import numpy

from . import voxels
from .running import Job, Row


def writing_jobs(setup):
    frames, side = setup.amounts["frames"], setup.amounts["side"]
    out, pixels = setup.file("written.dcm"), setup.file("pixels.npy")
    numpy.save(pixels, voxels.stored(frames, side))
    size = 2 * frames * side * side
    for encoding, word, name in (("uncompressed", [], "Uncompressed"), ("JPEG-LS", ["jpegls"], "JPEG-LSLossless")):
        rows = [
            Row("plain write", setup.program("plainFiles", "write", out, size), removes=(out,)),
            *setup.bare("write", out, frames, side, *word, removes=(out,)),
            Row("WriteImage", setup.hosted("write", out, frames, side, *word), removes=(out,)),
            Row("radvex write, from .npy", setup.radvex("write", pixels, "--axes", "frames,rows,columns", "--compress",
                                                        name, "-o", out), removes=(out,)),
        ]
        rows += _compressing(setup, out) if word else [
            Row("pydicom, from .npy", setup.peer("pydicom-write", pixels, out), removes=(out,))]
        yield Job("Writing %d frames of %d x %d in 16 bits, %s" % (frames, side, side, encoding), rows)
    yield _anonymizing(setup)


def _compressing(setup, out):
    file = setup.file("frames.dcm")
    return [Row("dcmcjpls, from DICOM", ["dcmcjpls", file, out], removes=(out,)),
            Row("gdcmconv --jpegls, from DICOM", ["gdcmconv", "--jpegls", file, out], removes=(out,))]


def _anonymizing(setup):
    folder, out = setup.file("series"), setup.file("anonymous")
    modified = ('cp -r "$1" "$2" && exec dcmodify -nb -gin -gse -gst -ma "(0010,0020)=0" -ma "(0020,0010)=0" "$2"/IM*')

    def row(name, command, **options):
        return Row(name, command, removes=(out,), **options)

    return Job("Anonymizing %(slices)d CT files" % setup.amounts, [
        row("plain copy", setup.program("plainFiles", "copy", folder, out)),
        *setup.bare("anonymize", folder, out, removes=(out,)),
        row("DicomAnonymize", setup.hosted("anonymize", folder, out)),
        row("radvex anonymize", setup.radvex("anonymize", folder, out), divides=True),
        row("radvex anonymize --jobs 0", setup.radvex("anonymize", "--jobs", "0", folder, out)),
        row("cp and dcmodify", ["sh", "-c", modified, "sh", folder, out]),
        row("gdcmanon", ["gdcmanon", "--dumb", "--empty", "10,20", "-r", "--continue", "-i", folder, "-o", out]),
        row("pydicom", setup.peer("pydicom-anonymize", folder, out)),
    ])
