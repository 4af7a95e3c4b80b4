#!/usr/bin/env python3
"""Work on archives with pydicom and Dask, and means of many volumes: archiveJobs.py JOB ARGUMENT...

Each job is a process of its own. Only what a job needs is imported: it is part of what is measured.
"""

import hashlib
import os
import sqlite3
import sys
import tempfile

KEYWORDS = (
    "SOPClassUID", "SOPInstanceUID", "TransferSyntaxUID", "PatientID", "StudyInstanceUID", "SeriesInstanceUID",
    "Modality", "StudyDate", "SeriesDate", "AcquisitionDate", "SeriesNumber", "InstanceNumber", "SeriesDescription",
    "StudyDescription", "Manufacturer", "ManufacturerModelName", "Rows", "Columns", "NumberOfFrames", "BitsStored",
)
"""The attributes that every program of a job reads of each file."""

_BATCH = 500  # files
_AHEAD = 4  # batches on their way


def rows_of(paths, has_digest):
    """A row for each file; runs in a worker."""
    import pydicom
    rows = []
    for path in paths:
        dataset = (pydicom.dcmread(path) if has_digest else
                   pydicom.dcmread(path, stop_before_pixels=True, specific_tags=list(KEYWORDS)))
        status = os.stat(path)
        digest = hashlib.sha256(dataset.pixel_array.tobytes()).hexdigest() if has_digest else None
        values = [dataset.get(keyword) for keyword in KEYWORDS]
        values[2] = dataset.file_meta.TransferSyntaxUID
        rows.append((path, status.st_size, status.st_mtime_ns, digest,
                     *(value if isinstance(value, (int, type(None))) else str(value) for value in values)))
    return rows


def batches(archive):
    """The files of an archive, some at a time."""
    paths = []
    for place, _, names in os.walk(archive):
        for name in names:
            paths.append(os.path.join(place, name))
            if len(paths) == _BATCH:
                yield paths
                paths = []
    if paths:
        yield paths


def pydicom_dask(archive, out, *digests):
    """A table of an archive by two processes: as short as such a script is written."""
    from distributed import Client, LocalCluster, as_completed
    database = sqlite3.connect(out)
    database.execute("CREATE TABLE files (path TEXT PRIMARY KEY, size INTEGER, changed INTEGER, digest TEXT, %s)"
                     % ", ".join(KEYWORDS))
    marks = ", ".join("?" * (4 + len(KEYWORDS)))
    with tempfile.TemporaryDirectory(prefix="radvex-bench-") as folder, LocalCluster(
        n_workers=2, threads_per_worker=1, processes=True, dashboard_address=None, silence_logs=50,
        local_directory=folder,
    ) as cluster, Client(cluster) as client:
        source = batches(archive)
        running = as_completed()
        for _, paths in zip(range(_AHEAD), source):  # in this order none is lost
            running.add(client.submit(rows_of, paths, bool(digests), pure=False))
        for future in running:
            database.executemany("INSERT INTO files VALUES (%s)" % marks, future.result())
            paths = next(source, None)
            if paths is not None:
                running.add(client.submit(rows_of, paths, bool(digests), pure=False))
    database.commit()
    database.close()


def radvex_mean(folder):
    import radvex.archive
    volumes = radvex.archive.open(folder)
    print(repr(float((sum(volume.array.mean() for volume in volumes) / len(volumes)).compute())))


def xarray_mean(folder):
    import xarray
    volumes = [xarray.open_zarr(path, consolidated=False)["values"] for path in _zarrs(folder)]
    print(repr(float((sum(volume.mean(dtype=float) for volume in volumes) / len(volumes)).compute())))


def zarr_mean(folder):
    """One volume after the other, in one thread."""
    import zarr
    means = [zarr.open_group(path, mode="r")["values"][...].mean() for path in _zarrs(folder)]
    print(repr(float(sum(means) / len(means))))


def _zarrs(folder):
    return sorted(os.path.join(folder, name) for name in os.listdir(folder))


if __name__ == "__main__":
    globals()[sys.argv[1].replace("-", "_")](*sys.argv[2:])
