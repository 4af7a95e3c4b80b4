"""Pixels: frames of one file, volumes of a series, in four transfer syntaxes."""

import os

from .running import Job, Row

ENCODINGS = {"": "uncompressed", "-rle": "RLE", "-jpeg": "JPEG lossless", "-jpegls": "JPEG-LS"}
WRITING = "bare DCMTK, written"


def frame_jobs(place):
    for suffix, encoding in ENCODINGS.items():
        file = place.file("frames%s.dcm" % suffix)
        picture = "%(frames)d frames of %(side)d x %(side)d in 16 bits" % place.amounts
        yield _rendered_frames(place, file, "Pictures of %s, %s" % (picture, encoding))
        yield _stored_frames(place, file, "Modality values of %s, %s" % (picture, encoding))
    file = place.file("frames-rgb.dcm")
    yield _rendered_frames(place, file, "Pictures of %(rgbFrames)d frames of %(rgbColumns)d x %(rgbRows)d in RGB" %
                           place.amounts, stored="pydicom")


def _rendered_frames(place, file, title, stored=""):
    """@param stored: the row of pydicom where it has the same pixels without a window"""
    out = place.file("out.npy")
    last = (Row(stored, place.peer("pydicom-frames", file)) if stored else
            Row("pydicom with a window", place.peer("pydicom-window-frames", file)))
    return Job(title, [
        place.plain_read(file),
        *place.bare("rendered", file),
        Row("ReadImage", place.hosted("pixels", "ReadImage", file)),
        Row("ReadImageData", place.hosted("pixels", "ReadImageData", file)),
        Row("radvex data --rendered, to .npy", place.radvex("data", "--rendered", file, "-o", out), removes=(out,)),
        last,
    ])


def _stored_frames(place, file, title):
    out, raw = place.file("out.npy"), place.file("out.dcm")
    return Job(title, [
        place.plain_read(file),
        *place.bare("intermediate", file),
        Row("ReadIntermediatePixelData", place.hosted("pixels", "ReadIntermediatePixelData", file)),
        Row("radvex data, to .npy", place.radvex("data", file, "-o", out), removes=(out,)),
        Row("gdcmconv --raw, to a file", ["gdcmconv", "--raw", file, raw], removes=(raw,)),
        Row("GDCM (Python)", place.peer("gdcm-frames", file)),
        Row("pydicom", place.peer("pydicom-frames", file)),
    ])


def volume_jobs(place):
    for suffix, encoding in ENCODINGS.items():
        folder = place.file("series" + suffix)
        slices = "volume of %(slices)d slices of %(side)d x %(side)d" % place.amounts
        yield _modality_volume(place, folder, "Modality values as a %s, %s" % (slices, encoding))
        yield _rendered_volume(place, folder, "Pictures as a %s, %s" % (slices, encoding))
    yield _pictures(place)


def _pictures(place):
    medium, out = os.path.join(place.file("series"), "DICOMDIR"), place.file("pictures")
    words = ("series", medium, "-o", out, "--scaling", "minmax")
    return Job("PNG files of %(slices)d slices of %(side)d x %(side)d" % place.amounts, [
        place.plain_read(place.file("series")),
        Row("radvex series", place.radvex(*words), reference="radvex series --jobs 0", removes=(out,), divides=True),
        Row("radvex series --jobs 0", place.radvex(*words, "--jobs", "0"), removes=(out,)),
    ])


def _modality_volume(place, folder, title):
    """Every row writes its volume to a file."""
    medium = os.path.join(folder, "DICOMDIR")
    raw, nrrd, npy, nii = (place.file("out" + ending) for ending in (".raw", ".nrrd", ".npy", ".nii"))
    nifti = place.file("nifti")
    os.makedirs(nifti, exist_ok=True)

    def row(name, command, out, **options):
        return Row(name, command, removes=(out,), voxels=place.comparison("modality", out, "<i2"), **options)

    return Job(title, [
        place.plain_read(folder),
        *place.bare("modality-volume", medium, raw, removes=(raw,), voxels=place.comparison("modality", raw, "<i2")),
        row("ReadIntermediatePixelData", place.hosted("modality-volume", folder, raw), raw),
        row("radvex volume", place.radvex("volume", medium, "-o", nrrd), nrrd, divides=True),
        row("radvex volume --jobs 0", place.radvex("volume", "--jobs", "0", medium, "-o", nrrd), nrrd),
        row("dcm2niix -z n", ["dcm2niix", "-z", "n", "-b", "n", "-w", "1", "-f", "out", "-o", nifti, folder],
            os.path.join(nifti, "out.nii")),
        row("dicomtonifti", ["dicomtonifti", "-o", nii, "-b", folder], nii),
        row("GDCM (Python)", place.peer("gdcm-volume", folder, npy), npy),
        row("pydicom", place.peer("pydicom-volume", folder, npy), npy),
    ])


def _rendered_volume(place, folder, title):
    """The first rows keep the volume in memory: the library hands it to its host."""
    medium = os.path.join(folder, "DICOMDIR")
    raw, nrrd, npy = (place.file("out" + ending) for ending in (".raw", ".nrrd", ".npy"))
    check = {"removes": (raw,), "voxels": place.comparison("rendered", raw, "<u2")}
    return Job(title, [
        place.plain_read(folder),
        *place.bare("rendered-volume", medium,
                    check=place.program("bareJobs", "rendered-volume", medium, raw), **check),
        Row("Read3DImage", place.hosted("rendered-volume", medium),
            check=place.hosted("rendered-volume", medium, raw), **check),
        Row(WRITING, place.program("bareJobs", "rendered-volume", medium, raw), **check),
        Row("radvex volume --rendered", place.radvex("volume", medium, "--rendered", "--common-window", "-o", nrrd),
            reference=WRITING, removes=(nrrd,), voxels=place.comparison("rendered", nrrd, "<u2")),
        Row("pydicom with a window", place.peer("pydicom-window-volume", folder, npy), reference=WRITING,
            removes=(npy,), voxels=place.comparison("rendered", npy, "<u2")),
    ])
