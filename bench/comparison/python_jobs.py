"""What people do in Python, inside of one process: the start of the interpreter and the imports do not count."""

import os

from .pixel_jobs import ENCODINGS
from .running import Job, Row

JOBS = os.path.join(os.path.dirname(os.path.dirname(os.path.abspath(__file__))), "pythonJobs.py")


def python_jobs(setup):
    def row(name, job, *arguments, **options):
        return Row(name, setup.python(JOBS, job, *arguments), reports=True, **options)

    yield Job("Python: import, beyond numpy", [
        row("import radvex", "import-radvex", reference="import pydicom", limit=0.06),
        row("import pydicom", "import-pydicom", reference="import pydicom"),
        row("import nibabel", "import-nibabel", reference="import pydicom"),
    ])
    file = setup.file("series", "IM000001")
    library = "the library: ReadMetadata, CloseReader"
    yield Job("Python: open a file and read one attribute", [
        Row(library, setup.hosted("attribute-opened", file, "PatientName"), reference=library, reports=True),
        row("radvex.call", "radvex-tags", file, "PatientName", reference=library),
        row("radvex.open(file)[keyword]", "radvex-attribute", file, "PatientName", reference=library),
        row("pydicom, of this attribute only", "pydicom-attribute", file, "PatientName", reference=library),
        row("pydicom", "pydicom-whole-attribute", file, "PatientName", reference=library),
    ])
    yield Job("Python: five attributes of each of %(slices)d files" % setup.amounts, [
        row("radvex", "radvex-series", setup.file("series"), reference="pydicom"),
        row("pydicom", "pydicom-series", setup.file("series"), reference="pydicom"),
    ])
    for suffix, encoding in ENCODINGS.items():
        yield _values(setup, row, setup.file("frames%s.dcm" % suffix), encoding)
        yield _volume(setup, row, setup.file("series" + suffix), encoding)


def _values(setup, row, file, encoding):
    reference = "ReadIntermediatePixelData, with its start"
    title = "Python: values of %(frames)d frames of %(side)d x %(side)d" % setup.amounts
    return Job("%s, %s" % (title, encoding), [
        Row(reference, setup.hosted("pixels", "ReadIntermediatePixelData", file), reference=reference),
        row("radvex.values", "radvex-values", file, reference=reference),
        row("pydicom with GDCM", "pydicom-values", file, reference=reference),
        row("pydicom without plug-ins", "pydicom-plain-values", file, reference=reference),
        row("GDCM", "gdcm-values", file, reference=reference),
    ])


def _volume(setup, row, folder, encoding):
    nii, npy = setup.file("out.nii"), setup.file("out.npy")
    reference = "radvex volume"
    title = "Python: volume of %(slices)d slices of %(side)d x %(side)d" % setup.amounts
    return Job("%s, %s" % (title, encoding), [
        Row(reference, setup.radvex("volume", folder, "-o", nii), removes=(nii,), reference=reference, divides=True),
        row("radvex.volume", "radvex-volume", folder, reference=reference),
        row("radvex.volume(jobs=1)", "radvex-volume-one-process", folder, reference=reference),
        row("radvex.volume, saved", "radvex-volume-saved", folder, nii, removes=(nii,), reference=reference),
        row("pydicom", "pydicom-volume", folder, reference=reference),
        row("GDCM, saved", "gdcm-volume-saved", folder, npy, removes=(npy,), reference=reference),
    ])
