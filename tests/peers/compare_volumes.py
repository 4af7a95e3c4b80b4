"""Compares the volumes of `radvex volume` with dcm2niix, with dicomtonifti and with what was written.

Generated CT series, signed with an intercept: axial, descending, sagittal, oblique and tilted. Values agree voxel for
voxel and positions within 1e-4 mm, up to order and direction of the axes.
Usage: compare_volumes.py RADVEX
"""

import glob
import os
import subprocess
import sys

import nibabel
import numpy

from volumes import Series, canonical, compare_each, values_of

TOLERANCE = 1e-4  # mm
TURN = numpy.radians(20)
OBLIQUE = ((numpy.cos(TURN), numpy.sin(TURN), 0),
           (-numpy.sin(TURN) * numpy.cos(TURN), numpy.cos(TURN) ** 2, -numpy.sin(TURN)))

SERIES = [
    Series("axial", 300, (512, 512), (1, 0, 0), (0, 1, 0), (0, 0, 1.25), (0.7, 0.6)),
    Series("descending", 6, (40, 30), (1, 0, 0), (0, 1, 0), (0, 0, -2.5), (0.7, 0.6)),
    Series("numbers backwards", 6, (40, 30), (1, 0, 0), (0, 1, 0), (0, 0, 2.5), (0.7, 0.6), reverse=True),
    Series("sagittal", 7, (40, 30), (0, 1, 0), (0, 0, -1), (-3, 0, 0), (0.8, 0.9)),
    Series("oblique", 8, (40, 30), *OBLIQUE, 2.2 * numpy.cross(*OBLIQUE), (0.8, 0.9)),
    # dcm2niix takes the sign of 12 bits for a number: -1 becomes 4095.
    Series("twelve bits", 8, (40, 30), (1, 0, 0), (0, 1, 0), (0, 0, 3), (0.8, 0.9), 12, peers=("dicomtonifti",)),
    # dicomtonifti drops the tilt without a word. dcm2niix keeps it, and straightens it in a second file.
    Series("tilt", 8, (40, 30), (1, 0, 0), (0, 1, 0), (0, 0.9, 3), (0.8, 0.9), peers=("dcm2niix",)),
]


def run(*words):
    result = subprocess.run(words, capture_output=True, text=True, check=False)
    if result.returncode != 0:
        raise RuntimeError("%s: %s%s" % (words[0], result.stdout, result.stderr))
    return result


def differences(name, mine, reference):
    """Sentences on what differs between (values, matrix) and (values, matrix)."""
    found = []
    if mine[0].shape != reference[0].shape:
        return ["%s: shape %s instead of %s" % (name, mine[0].shape, reference[0].shape)]
    if not numpy.array_equal(mine[0], reference[0]):
        found.append("%s: values differ by up to %g" % (name, numpy.abs(mine[0] - reference[0]).max()))
    # By how far the eight corners lie apart: what a user of the matrix sees.
    corners = numpy.array(numpy.meshgrid(*[(0, size - 1) for size in mine[0].shape])).reshape(3, -1)
    corners = numpy.vstack([corners, numpy.ones(8)])
    apart = numpy.abs((mine[1] - reference[1]) @ corners).max()
    if apart > TOLERANCE:
        found.append("%s: positions differ by up to %g mm" % (name, apart))
    return found


def scaled(path):
    """A peer's file as modality values: these keep stored values and put the intercept into the header."""
    image = nibabel.load(path)
    return canonical(nibabel.Nifti1Image(numpy.asarray(image.get_fdata()), image.affine))


def check(command, series, target):
    folder = os.path.join(target, series.name)
    series.write(folder)
    expected = canonical(nibabel.Nifti1Image(values_of(folder), series.affine(), dtype="int32"))
    problems = []
    for extension in (".nii", ".nii.gz"):
        own = os.path.join(target, series.name + extension)
        run(command, "volume", folder, "-o", own)
        mine = canonical(nibabel.load(own))
        problems += differences("what was written", mine, expected)
    if "dcm2niix" in series.peers:
        os.makedirs(os.path.join(target, "peer"))
        run("dcm2niix", "-z", "n", "-b", "n", "-f", "peer", "-o", os.path.join(target, "peer"), folder)
        problems += differences("dcm2niix", mine, scaled(os.path.join(target, "peer", "peer.nii")))
    if "dicomtonifti" in series.peers:
        other = os.path.join(target, "other.nii")
        run("dicomtonifti", "-o", other, *sorted(glob.glob(os.path.join(folder, "*"))))
        problems += differences("dicomtonifti", mine, scaled(other))
    return problems


if __name__ == "__main__":
    sys.exit(compare_each(SERIES, check, sys.argv[1]))
