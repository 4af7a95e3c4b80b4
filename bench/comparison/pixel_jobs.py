"""Pixels: frames of one file, volumes of a series, in four transfer syntaxes."""

import os

from .running import Job, Row

ENCODINGS = {"": "uncompressed", "-rle": "RLE", "-jpeg": "JPEG lossless", "-jpegls": "JPEG-LS"}
WRITING = "bare DCMTK, written"


def frame_jobs(setup):
    for suffix, encoding in ENCODINGS.items():
        file = setup.file("frames%s.dcm" % suffix)
        picture = "%(frames)d frames of %(side)d x %(side)d in 16 bits" % setup.amounts
        yield _rendered_frames(setup, file, "Pictures of %s, %s" % (picture, encoding))
        yield _stored_frames(setup, file, "Modality values of %s, %s" % (picture, encoding))
    file = setup.file("frames-rgb.dcm")
    yield _rendered_frames(setup, file, "Pictures of %(rgbFrames)d frames of %(rgbColumns)d x %(rgbRows)d in RGB" %
                           setup.amounts, stored="pydicom")


def _rendered_frames(setup, file, title, stored=""):
    """@param stored: the row of pydicom where it has the same pixels without a window"""
    out = setup.file("out.npy")
    last = (Row(stored, setup.peer("pydicom-frames", file)) if stored else
            Row("pydicom with a window", setup.peer("pydicom-window-frames", file)))
    return Job(title, [
        setup.plain_read(file),
        *setup.bare("rendered", file),
        Row("ReadImage", setup.hosted("pixels", "ReadImage", file)),
        Row("ReadImageData", setup.hosted("pixels", "ReadImageData", file)),
        Row("radvex data --rendered, to .npy", setup.radvex("data", "--rendered", file, "-o", out), removes=(out,)),
        last,
    ])


def _stored_frames(setup, file, title):
    out, raw = setup.file("out.npy"), setup.file("out.dcm")
    return Job(title, [
        setup.plain_read(file),
        *setup.bare("intermediate", file),
        Row("ReadIntermediatePixelData", setup.hosted("pixels", "ReadIntermediatePixelData", file)),
        Row("radvex data, to .npy", setup.radvex("data", file, "-o", out), removes=(out,)),
        Row("gdcmconv --raw, to a file", ["gdcmconv", "--raw", file, raw], removes=(raw,)),
        Row("GDCM (Python)", setup.peer("gdcm-frames", file)),
        Row("pydicom", setup.peer("pydicom-frames", file)),
    ])


def volume_jobs(setup):
    for suffix, encoding in ENCODINGS.items():
        folder = setup.file("series" + suffix)
        slices = "volume of %(slices)d slices of %(side)d x %(side)d" % setup.amounts
        yield _modality_volume(setup, folder, "Modality values as a %s, %s" % (slices, encoding))
        yield _rendered_volume(setup, folder, "Pictures as a %s, %s" % (slices, encoding))
        yield _signed_volume(setup, setup.file("series-signed" + suffix),
                             "Signed values with an intercept as a %s, %s" % (slices, encoding))
    yield _pictures(setup)


def _pictures(setup):
    medium, out = os.path.join(setup.file("series"), "DICOMDIR"), setup.file("pictures")
    words = ("series", medium, "-o", out, "--scaling", "minmax")
    return Job("PNG files of %(slices)d slices of %(side)d x %(side)d" % setup.amounts, [
        setup.plain_read(setup.file("series")),
        Row("radvex series", setup.radvex(*words), reference="radvex series --jobs 0", removes=(out,), divides=True),
        Row("radvex series --jobs 0", setup.radvex(*words, "--jobs", "0"), removes=(out,)),
    ])


def _modality_volume(setup, folder, title):
    """Every row writes its volume to a file."""
    medium = os.path.join(folder, "DICOMDIR")
    raw, nrrd, npy, nii = (setup.file("out" + ending) for ending in (".raw", ".nrrd", ".npy", ".nii"))
    nifti = setup.file("nifti")
    os.makedirs(nifti, exist_ok=True)

    def row(name, command, out, **options):
        return Row(name, command, removes=(out,), voxels=setup.comparison("modality", out, "<i2"), **options)

    return Job(title, [
        setup.plain_read(folder),
        *setup.bare("modality-volume", medium, raw, removes=(raw,), voxels=setup.comparison("modality", raw, "<i2")),
        row("ReadIntermediatePixelData", setup.hosted("modality-volume", folder, raw), raw),
        row("radvex volume", setup.radvex("volume", medium, "-o", nrrd), nrrd, divides=True),
        row("radvex volume --jobs 0", setup.radvex("volume", "--jobs", "0", medium, "-o", nrrd), nrrd),
        row("dcm2niix -z n", ["dcm2niix", "-z", "n", "-b", "n", "-w", "1", "-f", "out", "-o", nifti, folder],
            os.path.join(nifti, "out.nii")),
        row("dicomtonifti", ["dicomtonifti", "-o", nii, "-b", folder], nii),
        row("GDCM (Python)", setup.peer("gdcm-volume", folder, npy), npy),
        row("pydicom", setup.peer("pydicom-volume", folder, npy), npy),
    ])


def _signed_volume(setup, folder, title):
    """16 bits signed with an intercept of -1024: NIfTI of either program, in the same type."""
    nifti = setup.file("nifti")
    nii = setup.file("out.nii")
    os.makedirs(nifti, exist_ok=True)
    peer = os.path.join(nifti, "out.nii")
    dcm2niix = ["dcm2niix", "-z", "n", "-b", "n", "-w", "1", "-f", "out", "-o", nifti, folder]
    medium = os.path.join(folder, "DICOMDIR")
    voxels = {"removes": (nii,), "voxels": setup.comparison("modality", nii, "<i2")}
    return Job(title, [
        setup.plain_read(folder),
        Row("dcm2niix -z n", dcm2niix, removes=(peer,), voxels=setup.comparison("modality", peer, "<i2")),
        Row("radvex volume", setup.radvex("volume", medium, "-o", nii), reference="dcm2niix -z n", divides=True,
            **voxels),
        Row("radvex volume --jobs 0", setup.radvex("volume", "--jobs", "0", medium, "-o", nii),
            reference="dcm2niix -z n", **voxels),
    ])


def _rendered_volume(setup, folder, title):
    """The first rows keep the volume in memory: the library hands it to its host."""
    medium = os.path.join(folder, "DICOMDIR")
    raw, nrrd, npy = (setup.file("out" + ending) for ending in (".raw", ".nrrd", ".npy"))
    check = {"removes": (raw,), "voxels": setup.comparison("rendered", raw, "<u2")}
    return Job(title, [
        setup.plain_read(folder),
        *setup.bare("rendered-volume", medium,
                    check=setup.program("bareJobs", "rendered-volume", medium, raw), **check),
        Row("Read3DImage", setup.hosted("rendered-volume", medium),
            check=setup.hosted("rendered-volume", medium, raw), **check),
        Row(WRITING, setup.program("bareJobs", "rendered-volume", medium, raw), **check),
        Row("radvex volume --rendered", setup.radvex("volume", medium, "--rendered", "--common-window", "-o", nrrd),
            reference=WRITING, removes=(nrrd,), voxels=setup.comparison("rendered", nrrd, "<u2")),
        Row("pydicom with a window", setup.peer("pydicom-window-volume", folder, npy), reference=WRITING,
            removes=(npy,), voxels=setup.comparison("rendered", npy, "<u2")),
    ])
