"""Indexes of archives beside the programs that list files, and volumes of a cohort that memory does not hold."""

import collections
import hashlib
import json
import os
import re
import sqlite3
import subprocess
import sys
from dataclasses import dataclass

import generateArchive
from archiveJobs import KEYWORDS

from .growth_jobs import Growth
from .running import Job, Row

HERE = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
GENERATOR, PEERS = os.path.join(HERE, "generateArchive.py"), os.path.join(HERE, "archiveJobs.py")
ABSENT = ("NumberOfFrames",)  # in the generated files
ONE = "radvex-archive, 1 worker"
GIBIBYTE = 1024


@dataclass
class Amounts:
    files: int = 20_000  # of their own
    links: int = 100_000  # of the archive of the second run
    growth: tuple = (1_000, 10_000, 100_000, 1_000_000)
    volumes: tuple = (200, 64, 256)  # number, slices, side

    @staticmethod
    def of(setup):
        return Amounts(300, 1_000, (100, 1_000, 10_000), (20, 8, 64)) if setup.small else Amounts()


def archive_jobs(setup):
    amounts = Amounts.of(setup)
    yield _index_job(setup, amounts)
    yield _digests_job(setup, amounts)
    yield _unchanged_job(setup, amounts)
    yield _cohort_job(setup, amounts)


def archive_growths(setup):
    amounts = Amounts.of(setup)
    yield Growth("Archive: files of an index",
                 [(number, _growing(setup, amounts, number)) for number in amounts.growth], items="files")


def _index_job(setup, amounts):
    number = amounts.links
    archive, out = setup.file("archive-%d" % number), setup.file("index.sqlite")
    text, folder = setup.file("listed.txt"), setup.file("listed")
    scanned = [word for keyword in KEYWORDS for word in ("-k", keyword)]
    searched = [word for keyword in KEYWORDS for word in ("+P", keyword)]
    return Job("Archive: index of %d files" % number, [
        *_index_rows(setup, archive, out, lambda: _found_rows(_indexed(out), amounts.files, number)),
        Row("gdcmscanner", _into(text, "gdcmscanner", "-r", "-p", "-d", archive, *scanned), reference=ONE,
            removes=(text,), needs="gdcmscanner", found=lambda: _found_text([text], amounts.files, number)),
        Row("dcmdump, 2 processes",
            _divided(archive, folder, "dcmdump", "-q", "-M", "-s", "+F", "+sb", "PixelData", *searched),
            reference=ONE, removes=(folder,), needs="dcmdump", divides=True,
            found=lambda: _found_text([os.path.join(folder, name) for name in os.listdir(folder)], amounts.files, number)),
        Row("pydicom with Dask, 2 workers", setup.python(PEERS, "pydicom-dask", archive, out), reference=ONE,
            removes=_database(out), divides=True,
            found=lambda: _found_rows(_listed(out), amounts.files, number)),
    ], prepare=lambda: _make_links(setup, amounts, archive, number), rounds=3)


def _digests_job(setup, amounts):
    archive, out, text = setup.file("archive"), setup.file("index.sqlite"), setup.file("listed.txt")
    return Job("Archive: index of %d files with digests of their pixels" % amounts.files, [
        Row("plain read: find -exec cat",
            _into("/dev/null", "find", archive, "-type", "f", "-exec", "cat", "{}", "+"), reference=ONE),
        *_index_rows(setup, archive, out, lambda: _found_digests(_indexed(out), amounts.files), "--digests"),
        Row("gdcminfo --md5sum", _into(text, "gdcminfo", "-r", "--md5sum", archive), reference=ONE,
            removes=(text,), needs="gdcminfo", found=lambda: _found_md5(text, amounts.files)),
        Row("pydicom with Dask, 2 workers", setup.python(PEERS, "pydicom-dask", archive, out, "digests"),
            reference=ONE, removes=_database(out), divides=True,
            found=lambda: _found_digests(_listed(out), amounts.files)),
    ], prepare=lambda: _make_files(archive, amounts.files), rounds=3)


def _index_rows(setup, archive, out, found, *options):
    """With one worker, beside which all others stand, with two and with none."""
    def row(name, workers, **more):
        return Row(name, _index(setup, archive, out, workers, *options), reference=ONE, removes=_database(out),
                   found=found, **more)

    return [row(ONE, 1, divides=True), row("radvex-archive, 2 workers", 2, divides=True, times=1 / 1.7),
            row("radvex-archive, no worker", 0)]


def _unchanged_job(setup, amounts):
    archive = setup.file("archive-%d" % amounts.links)
    out, counts, text = setup.file("unchanged.sqlite"), setup.file("counts.json"), setup.file("listed.txt")
    reference = "plain list: find -printf"

    def prepare():
        _make_links(setup, amounts, archive, amounts.links)
        subprocess.run(_index(setup, archive, out, 2), check=True)

    def row(name, workers, **options):
        return Row(name, _into(counts, *_index(setup, archive, out, workers, "--json")), reference=reference,
                   removes=(counts,), found=lambda: _found_unchanged(counts, amounts.links), **options)

    return Job("Archive: second run over %d unchanged files" % amounts.links, [
        Row(reference, _into(text, "find", archive, "-printf", "%p %s %T@\\n"), reference=reference,
            removes=(text,)),
        row("radvex-archive, no worker", 0, times=1.5),
        row("radvex-archive, 2 workers", 2, times=1.5, divides=True),
    ], prepare=prepare)


def _cohort_job(setup, amounts):
    number, slices, side = amounts.volumes
    folder, text = setup.file("volumes"), setup.file("mean.txt")

    def prepare():
        if not os.path.exists(folder):
            subprocess.run(setup.python(GENERATOR, "volumes", folder, *amounts.volumes), check=True)

    def row(name, job, **options):
        return Row(name, _into(text, *setup.python(PEERS, job, folder)), reference="radvex.archive.open",
                   removes=(text,), found=lambda: _found_mean(text, amounts), **options)

    return Job("Archive: mean of %d volumes of %d x %d x %d in 16 bits" % (number, slices, side, side), [
        row("radvex.archive.open", "radvex-mean", most=GIBIBYTE),
        row("xarray.open_zarr", "xarray-mean"),
        row("zarr, one volume at a time", "zarr-mean"),
    ], prepare=prepare)


def _growing(setup, amounts, number):
    """The first run and the second one, which finds the index of the first."""
    archive, out = setup.file("archive-%d" % number), setup.file("growing-%d.sqlite" % number)
    counts, again = setup.file("counts.json"), setup.file("again.json")
    return Job("Archive of %d files" % number, [
        Row("index, 2 workers", _into(counts, *_index(setup, archive, out, 2, "--json")), removes=_database(out),
            divides=True, found=lambda: _found_rows(_indexed(out), amounts.files, number)),
        Row("again, unchanged", _into(again, *_index(setup, archive, out, 0, "--json")),
            found=lambda: _found_unchanged(again, number)),
    ], prepare=lambda: _make_links(setup, amounts, archive, number), rounds=1 if number >= 100_000 else 0)


def _index(setup, archive, out, workers, *options):
    quiet = () if "--json" in options else ("--quiet",)
    return setup.python("-m", "radvex.archive", "index", archive, out, "--workers", workers, *quiet, *options)


def _into(path, *command):
    """A command whose output goes into a file."""
    return ["/bin/sh", "-c", 'exec "$@" > "$0"', path, *command]


def _divided(archive, folder, *command):
    """A command that takes files, of which two processes at a time get 500 each. Each writes a file of its own."""
    each = 'out=$1/$$; shift 2; exec "$@" > "$out"'
    return ["/bin/sh", "-c", 'mkdir "$1" && find "$0" -type f -print0 | xargs -0 -P 2 -n 500 /bin/sh -c "$2" sh "$@"',
            archive, folder, each, *command]


def _database(path):
    return (path, path + "-wal", path + "-shm")


def _make_files(archive, number):
    if not os.path.exists(archive):
        subprocess.run([sys.executable, GENERATOR, "files", archive, str(number)], check=True)
        os.sync()  # not while something is measured


def _make_links(setup, amounts, archive, number):
    _make_files(setup.file("archive"), amounts.files)
    if not os.path.exists(archive):
        subprocess.run([sys.executable, GENERATOR, "links", archive, str(number), setup.file("archive")], check=True)
        os.sync()


def _query(path, sql):
    database = sqlite3.connect(path)
    try:
        return database.execute(sql).fetchall()
    finally:
        database.close()


def _indexed(path):
    return _query(path, "SELECT SOPInstanceUID, digest, Rows FROM files WHERE state = 'dicom'")


def _listed(path):
    return _query(path, "SELECT SOPInstanceUID, digest, Rows FROM files")


def _found_rows(rows, files, number):
    return _compared([row[0] for row in rows], files, number)


def _compared(instances, files, number):
    """How the SOP instances that a program found differ from those of an archive of links to so many files."""
    if len(instances) != number:
        return "%d files instead of %d" % (len(instances), number)
    if generateArchive.checksum(instances) != generateArchive.expected(min(files, number), number):
        return "other SOP instances"
    return ""


def _found_text(paths, files, number):
    """What dcmdump and gdcmscanner print: a line for each attribute, with its tag."""
    attributes, instances = 0, []
    for path in paths:
        with open(path, encoding="utf-8", errors="replace") as file:
            for line in file:
                attributes += bool(re.match(r"\([0-9a-f]{4},[0-9a-f]{4}\)", line))
                found = re.match(r"\(0008,0018\).*\[([0-9.]+)\]", line)
                if found:
                    instances.append(found.group(1))
    wanted = (len(KEYWORDS) - len(ABSENT)) * number
    if attributes != wanted:
        return "%d attributes instead of %d" % (attributes, wanted)
    return _compared(instances, files, number)


def _found_digests(rows, files):
    digests = {side: hashlib.sha256(generateArchive.pixels(side).tobytes()).hexdigest()
               for side in generateArchive.SIDES}
    wrong = sum(digest != digests[side] for _, digest, side in rows)
    return _found_rows(rows, files, files) or ("%d other digests" % wrong if wrong else "")


def _found_md5(path, files):
    with open(path, encoding="utf-8", errors="replace") as file:
        found = collections.Counter(re.findall(r"^md5sum: ([0-9a-f]{32})", file.read(), re.MULTILINE))
    sides = [generateArchive.side_of(number) for number in range(files)]
    digests = {side: hashlib.md5(generateArchive.pixels(side).tobytes()).hexdigest() for side in set(sides)}
    wanted = collections.Counter(digests[side] for side in sides)
    return "" if found == wanted else "%d digests that are not those of the pixels" % sum((found - wanted).values())


def _found_unchanged(path, number):
    with open(path, encoding="utf-8") as file:
        counts = json.load(file)
    found = counts["unchanged"], counts["read"], counts["dicom"]
    return "" if found == (number, 0, number) else "%d unchanged, %d read, %d in the index" % found


def _found_mean(path, amounts):
    with open(path, encoding="ascii") as file:
        found = float(file.read())
    wanted = generateArchive.mean_of_volumes(*amounts.volumes)
    return "" if abs(found - wanted) < 1e-6 else "%r instead of %r" % (found, wanted)
