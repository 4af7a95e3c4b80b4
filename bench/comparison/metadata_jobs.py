"""Attributes: of a file of many elements, of many small files, and of one file in a process of its own."""

import os
import shutil

from .running import Job, Row

KEYWORDS = ("PatientName", "SeriesInstanceUID", "InstanceNumber", "ImagePositionPatient", "PixelSpacing")


def metadata_jobs(place):
    count = place.amounts["elements"][-1]
    elements = place.file("elements-%d.dcm" % count)
    yield Job("Metadata of %d elements" % count, [
        place.plain_read(elements),
        *place.bare("metadata", elements),
        Row("ReadAllMetadata", place.hosted("metadata", elements)),
        Row("radvex tags --json", place.radvex("tags", "--json", elements)),
        Row("radvex tags", place.radvex("tags", elements)),
        Row("gdcmdump", ["gdcmdump", elements]),
        Row("dcmdump", ["dcmdump", elements]),
        Row("dcm2json", ["dcm2json", elements]),
        Row("pydicom", place.peer("pydicom-metadata", elements)),
    ])
    yield _medium_job(place)
    yield _index_job(place)


def _medium_job(place):
    folder = place.file("small")
    medium = place.file("small", "DICOMDIR")
    tags = [word for keyword in KEYWORDS for word in ("--tag", keyword)]
    searched = [word for keyword in KEYWORDS for word in ("+P", keyword)]
    scanned = [word for keyword in KEYWORDS for word in ("-k", keyword)]
    return Job("Five attributes of %(smallFiles)d files in %(smallSeries)d series" % place.amounts, [
        place.plain_read(folder),
        *place.bare("medium-metadata", medium),
        Row("ReadMetadataRecursive", place.hosted("medium-metadata", medium)),
        Row("radvex tags --recursive", place.radvex("tags", "--recursive", "--json", medium, *tags), divides=True),
        Row("radvex tags --recursive --jobs 0",
            place.radvex("tags", "--recursive", "--json", "--jobs", "0", medium, *tags)),
        Row("gdcmscanner", ["gdcmscanner", "-d", folder, "-p", *scanned]),
        Row("dcmdump", ["dcmdump", *searched, "+sd", folder]),
        Row("pydicom", place.peer("pydicom-medium", folder)),
    ])


def _index_job(place):
    folder, out = place.file("small"), place.file("index")
    plain = place.file("small-plain")  # without the DICOMDIR, which would be taken for the folder
    if not os.path.exists(plain):
        shutil.copytree(folder, plain, ignore=shutil.ignore_patterns("DICOMDIR"))
    return Job("Index of %(smallFiles)d files in %(smallSeries)d series" % place.amounts, [
        place.plain_read(plain),
        Row("radvex index", place.radvex("index", plain, "-o", out), reference="radvex index --jobs 0",
            removes=(out,), divides=True),
        Row("radvex index --jobs 0", place.radvex("index", "--jobs", "0", plain, "-o", out), removes=(out,)),
        Row("dcmmkdir", ["dcmmkdir", "--recurse", "--invent", "+D", out, "+id", plain], removes=(out,)),
    ])


def start_jobs(place):
    slice_file = place.file("series", "IM000001")
    yield Job("Start: the version", [
        *place.bare("version"),
        Row("the library, loaded", place.hosted("version")),
        Row("radvex --version", place.radvex("--version"), limit=0.015),
        Row("dcmdump --version", ["dcmdump", "--version"]),
        Row("gdcmdump --version", ["gdcmdump", "--version"]),
        Row("Python, importing pydicom", ["/usr/bin/python3", "-c", "import pydicom"]),
    ])
    yield Job("Start: one attribute of one file", [
        place.plain_read(slice_file),
        *place.bare("attribute", slice_file, "PatientName"),
        Row("ReadMetadata", place.hosted("attribute", slice_file, "PatientName")),
        Row("radvex tags --tag", place.radvex("tags", "--tag", "PatientName", slice_file), limit=0.025),
        Row("dcmdump", ["dcmdump", "+P", "PatientName", slice_file]),
        Row("pydicom", place.peer("pydicom-attribute", slice_file, "PatientName")),
    ])
