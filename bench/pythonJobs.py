#!/usr/bin/env python3
"""Work inside of one Python process with radvex, pydicom and GDCM: pythonJobs.py JOB ARGUMENT...

Each prints the microseconds that the work took, without the start of the interpreter and the imports before it. The jobs of
radvex need its package on PYTHONPATH, or installed.
"""

import sys
import time

from peers import _gdcm_values, _pydicom_stack, gdcm_volume, names_of


def report(work, times=1):
    """The median of the times of a work."""
    taken = []
    for _ in range(times):
        start = time.perf_counter()
        work()
        taken.append(time.perf_counter() - start)
    print("%.3f" % (1e6 * sorted(taken)[len(taken) // 2]))


def import_radvex():
    import numpy
    report(lambda: __import__("radvex"))


def import_pydicom():
    import numpy
    report(lambda: __import__("pydicom"))


def import_nibabel():
    import numpy
    report(lambda: __import__("nibabel"))


def radvex_attribute(file, keyword):
    import radvex

    def work():
        with radvex.open(file) as opened:
            opened[keyword]

    report(work, 1000)


def radvex_tags(file, keyword):
    import radvex
    report(lambda: radvex.call("ReadMetadata", file, [keyword]) and radvex.call("CloseReader", file), 1000)


def pydicom_attribute(file, keyword):
    import pydicom
    report(lambda: pydicom.dcmread(file, specific_tags=[keyword], stop_before_pixels=True)[keyword].value, 1000)


def pydicom_whole_attribute(file, keyword):
    import pydicom
    report(lambda: pydicom.dcmread(file)[keyword].value, 1000)


def radvex_values(file):
    import radvex
    report(lambda: radvex.values(file))


def pydicom_values(file):
    """With its plug-ins: GDCM."""
    import pydicom
    report(lambda: pydicom.dcmread(file).pixel_array)


def pydicom_plain_values(file):
    """Without plug-ins: what pydicom and numpy decode by themselves."""
    import pydicom
    from pydicom.pixel_data_handlers import numpy_handler, rle_handler
    pydicom.config.pixel_data_handlers = [numpy_handler, rle_handler]
    report(lambda: pydicom.dcmread(file).pixel_array)


def gdcm_values(file):
    import gdcm
    report(lambda: _gdcm_values(file))


def radvex_volume(folder):
    import radvex
    report(lambda: radvex.volume(folder))


def radvex_volume_one_process(folder):
    import radvex
    report(lambda: radvex.volume(folder, jobs=1))


def radvex_volume_saved(folder, out):
    import radvex
    report(lambda: radvex.volume(folder).save(out))


def pydicom_volume(folder):
    report(lambda: _pydicom_stack(folder))


def gdcm_volume_saved(folder, out):
    report(lambda: gdcm_volume(folder, out))


def radvex_series(folder):
    """Five attributes of each file."""
    import radvex
    keywords = ["PatientName", "SeriesInstanceUID", "InstanceNumber", "ImagePositionPatient", "PixelSpacing"]
    report(lambda: [radvex.tags(name, *keywords) for name in names_of(folder)])


def pydicom_series(folder):
    import pydicom
    keywords = ["PatientName", "SeriesInstanceUID", "InstanceNumber", "ImagePositionPatient", "PixelSpacing"]
    report(lambda: [[pydicom.dcmread(name, specific_tags=keywords).get(keyword) for keyword in keywords]
                    for name in names_of(folder)])


if __name__ == "__main__":
    globals()[sys.argv[1].replace("-", "_")](*sys.argv[2:])
