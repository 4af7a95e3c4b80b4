"""Attributes: of a file of many elements, of many small files, and of one file in a process of its own."""

import os
import shutil

from .running import Job, Row

KEYWORDS = ("PatientName", "SeriesInstanceUID", "InstanceNumber", "ImagePositionPatient", "PixelSpacing")


def metadata_jobs(setup):
    count = setup.amounts["elements"][-1]
    elements = setup.file("elements-%d.dcm" % count)
    yield Job("Metadata of %d elements" % count, [
        setup.plain_read(elements),
        *setup.bare("metadata", elements),
        Row("ReadAllMetadata", setup.hosted("metadata", elements)),
        Row("radvex tags --json", setup.radvex("tags", "--json", elements)),
        Row("radvex tags", setup.radvex("tags", elements)),
        Row("gdcmdump", ["gdcmdump", elements]),
        Row("dcmdump", ["dcmdump", elements]),
        Row("dcm2json", ["dcm2json", elements]),
        Row("pydicom", setup.peer("pydicom-metadata", elements)),
    ])
    yield _medium_job(setup)
    yield _index_job(setup)


def _medium_job(setup):
    folder = setup.file("small")
    medium = setup.file("small", "DICOMDIR")
    tags = [word for keyword in KEYWORDS for word in ("--tag", keyword)]
    searched = [word for keyword in KEYWORDS for word in ("+P", keyword)]
    scanned = [word for keyword in KEYWORDS for word in ("-k", keyword)]
    return Job("Five attributes of %(smallFiles)d files in %(smallSeries)d series" % setup.amounts, [
        setup.plain_read(folder),
        *setup.bare("medium-metadata", medium),
        Row("ReadMetadataRecursive", setup.hosted("medium-metadata", medium)),
        Row("radvex tags --recursive", setup.radvex("tags", "--recursive", "--json", medium, *tags), divides=True),
        Row("radvex tags --recursive --jobs 0",
            setup.radvex("tags", "--recursive", "--json", "--jobs", "0", medium, *tags)),
        Row("gdcmscanner", ["gdcmscanner", "-d", folder, "-p", *scanned]),
        Row("dcmdump", ["dcmdump", *searched, "+sd", folder]),
        Row("pydicom", setup.peer("pydicom-medium", folder)),
    ])


def _index_job(setup):
    folder, out = setup.file("small"), setup.file("index")
    plain = setup.file("small-plain")  # without the DICOMDIR, which would be taken for the folder
    if not os.path.exists(plain):
        shutil.copytree(folder, plain, ignore=shutil.ignore_patterns("DICOMDIR"))
    return Job("Index of %(smallFiles)d files in %(smallSeries)d series" % setup.amounts, [
        setup.plain_read(plain),
        Row("radvex index", setup.radvex("index", plain, "-o", out), reference="radvex index --jobs 0",
            removes=(out,), divides=True),
        Row("radvex index --jobs 0", setup.radvex("index", "--jobs", "0", plain, "-o", out), removes=(out,)),
        Row("dcmmkdir", ["dcmmkdir", "--recurse", "--invent", "+D", out, "+id", plain], removes=(out,)),
    ])


def start_jobs(setup):
    slice_file = setup.file("series", "IM000001")
    yield Job("Start: the version", [
        *setup.bare("version"),
        Row("the library, loaded", setup.hosted("version")),
        Row("radvex --version", setup.radvex("--version"), limit=0.015),
        Row("dcmdump --version", ["dcmdump", "--version"]),
        Row("gdcmdump --version", ["gdcmdump", "--version"]),
        Row("Python, importing pydicom", ["/usr/bin/python3", "-c", "import pydicom"]),
    ])
    yield Job("Start: one attribute of one file", [
        setup.plain_read(slice_file),
        *setup.bare("attribute", slice_file, "PatientName"),
        Row("ReadMetadata", setup.hosted("attribute", slice_file, "PatientName")),
        Row("radvex tags --tag", setup.radvex("tags", "--tag", "PatientName", slice_file), limit=0.025),
        Row("dcmdump", ["dcmdump", "+P", "PatientName", slice_file]),
        Row("pydicom", setup.peer("pydicom-attribute", slice_file, "PatientName")),
    ])
