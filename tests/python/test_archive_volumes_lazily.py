"""A cohort of Zarr volumes is worked on piece by piece."""

import subprocess
import sys
from types import SimpleNamespace

import numpy as np
import pytest

from radvex.archive._volumes import _save_zarr

COUNT, SHAPE = 30, (48, 200, 300)
MEBIBYTES = COUNT * np.prod(SHAPE) * 2 / 2**20  # 165

# The peak of this process alone: what the system tells of children begins with the peak of who starts them.
READING = """
import dask, sys
import numpy as np
import radvex.archive

def peak():
    with open("/proc/self/status") as file:
        return next(int(line.split()[1]) for line in file if line.startswith("VmHWM:")) / 1024

volumes = radvex.archive.open(sys.argv[1])
volumes[0].array[:1].mean().compute(scheduler="threads", num_workers=2)  # what reading needs is loaded
before = peak()
if sys.argv[2] == "lazily":
    mean = (sum(volume.array.mean() for volume in volumes) / len(volumes)).compute(scheduler="threads", num_workers=2)
else:
    mean = np.stack([volume.array.compute(scheduler="threads", num_workers=2) for volume in volumes]).mean()
print(len(volumes), repr(float(mean)), peak() - before)
"""


@pytest.fixture(scope="module")
def cohort(tmp_path_factory):
    """A folder of volumes, and their mean. Voxel (k, j, i) of volume n is 1000 * n + 10 * k + (j + i) % 7."""
    folder = tmp_path_factory.mktemp("cohort")
    k, j, i = np.ogrid[: SHAPE[0], : SHAPE[1], : SHAPE[2]]
    sums = 0
    for number in range(COUNT):
        values = (1000 * number + 10 * k + (j + i) % 7).astype("i2")
        sums += int(values.sum(dtype="i8"))
        volume = SimpleNamespace(
            array=values,
            axes=["z", "y", "x"],
            unit="HU",
            series=str(number),
            study="",
            patient="",
            label="",
            spacing=(3, 2, 1.5),
            has_position=False,
            findings=(),
        )
        _save_zarr(str(folder / f"{number:02}.zarr"), volume)
    return folder, sums / (COUNT * np.prod(SHAPE))


def read(folder, how):
    words = [sys.executable, "-c", READING, str(folder), how]
    count, mean, grown = subprocess.run(words, stdout=subprocess.PIPE, check=True).stdout.split()
    assert int(count) == COUNT
    return float(mean), float(grown)


def test_the_mean_of_a_cohort_takes_little_memory(cohort):
    folder, expected = cohort
    mean, grown = read(folder, "lazily")
    assert abs(mean - expected) < 1e-6 and grown < MEBIBYTES / 3


def test_the_same_mean_of_whole_volumes_takes_the_memory_of_all(cohort):
    """The limit of the test before is one that can be broken."""
    folder, expected = cohort
    mean, grown = read(folder, "at once")
    assert abs(mean - expected) < 1e-6 and grown > MEBIBYTES
