"""Compares diffusion tables and sidecars of `radvex volume --4d --bids` with dcm2niix and with what was written.

Generated series of MR with standard attributes only: volumes of several weightings, in several orientations. A
direction is compared in the patient's system, into which FSL's rule and the matrix of the volume file turn it back.
dcm2niix writes each series twice, with its rows flipped and not, so that the determinant has either sign. Members of
the sidecars are compared where both have them.
Usage: compare_diffusion.py RADVEX
"""

import json
import os
import subprocess
import sys

import nibabel
import numpy
from pydicom.uid import MRImageStorage

from volumes import Series, compare_each

TOLERANCE = 1e-4  # of a unit vector: dcm2niix prints six digits
TURN = numpy.radians(20)
OBLIQUE = ((numpy.cos(TURN), numpy.sin(TURN), 0),
           (-numpy.sin(TURN) * numpy.cos(TURN), numpy.cos(TURN) ** 2, -numpy.sin(TURN)))

# b-values with directions in LPS
WEIGHTINGS = [(0, None), (1000, (1, 0, 0)), (1000, (0, 1, 0)), (1000, (0, 0, 1)), (1000, (0.48, -0.6, 0.64)),
              (2500, (-0.36, 0.48, 0.8)), (700, (-0.6, -0.64, 0.48))]

ATTRIBUTES = {
    "Manufacturer": "Siemens", "ManufacturerModelName": "Model 3", "SoftwareVersions": "V10",
    "BodyPartExamined": "BRAIN", "PatientPosition": "HFS", "ProtocolName": "dwi", "SeriesDescription": "dwi_ap",
    "AcquisitionNumber": 1, "AcquisitionTime": "101112.5", "MagneticFieldStrength": 3, "ImagingFrequency": "123.25",
    "ReceiveCoilName": "Head_32", "MRAcquisitionType": "2D", "ScanningSequence": "EP", "SequenceVariant": "SK",
    "ScanOptions": "FS", "SequenceName": "epse2d1_64", "EchoTime": "62.5", "EchoNumbers": 1, "RepetitionTime": "3100",
    "FlipAngle": "90", "EchoTrainLength": 31, "NumberOfAverages": 1, "PixelBandwidth": "2232",
    "PercentPhaseFieldOfView": "100", "PercentSampling": "100", "NumberOfPhaseEncodingSteps": 63,
    "InPlanePhaseEncodingDirection": "COL", "AcquisitionMatrix": [30, 0, 0, 40],
    "ImageType": ["ORIGINAL", "PRIMARY", "M", "ND"],
}

# Members that name the program.
NOT_COMPARED = ("ConversionSoftware", "ConversionSoftwareVersion")


class DiffusionSeries(Series):
    """Volumes of the same slices, one for each weighting, one after another."""

    def write(self, folder):
        os.makedirs(folder)
        for volume, weighting in enumerate(WEIGHTINGS):
            for index in range(self.slices):
                number = volume * self.slices + index + 1
                dataset = self._weighted(index, number, *weighting)
                dataset.save_as(os.path.join(folder, "IM%05d" % number), write_like_original=False)

    def _weighted(self, index, number, b_value, direction):
        dataset = self._dataset(index)
        for item in (dataset.file_meta, dataset):
            keyword = "MediaStorageSOP" if item is dataset.file_meta else "SOP"
            setattr(item, keyword + "ClassUID", MRImageStorage)
            setattr(item, keyword + "InstanceUID", "1.2.826.0.1.98.%d.%d" % (len(self.name), number))
        dataset.Modality, dataset.InstanceNumber = "MR", number
        for keyword, value in ATTRIBUTES.items():
            setattr(dataset, keyword, value)
        dataset.DiffusionBValue = float(b_value)
        if direction is not None:
            dataset.DiffusionGradientOrientation = [float(part) for part in direction]
        return dataset


SERIES = [
    DiffusionSeries("axial", 5, (40, 30), (1, 0, 0), (0, 1, 0), (0, 0, 2.5), (0.7, 0.6), 12),
    DiffusionSeries("descending", 5, (40, 30), (1, 0, 0), (0, 1, 0), (0, 0, -2.5), (0.7, 0.6), 12),
    DiffusionSeries("sagittal", 6, (40, 30), (0, 1, 0), (0, 0, -1), (-3, 0, 0), (0.8, 0.9), 12),
    DiffusionSeries("coronal", 6, (40, 30), (1, 0, 0), (0, 0, -1), (0, 3, 0), (0.8, 0.9), 12),
    DiffusionSeries("oblique", 5, (40, 30), *OBLIQUE, 2.2 * numpy.cross(*OBLIQUE), (0.8, 0.9), 12),
    DiffusionSeries("oblique backwards", 5, (40, 30), *OBLIQUE, -2.2 * numpy.cross(*OBLIQUE), (0.8, 0.9), 12),
]


def run(*words):
    result = subprocess.run(words, capture_output=True, text=True, check=False)
    if result.returncode != 0:
        raise RuntimeError("%s: %s%s" % (words[0], result.stdout, result.stderr))


class Table:
    """The diffusion table beside a volume file, with the directions turned back into the patient's system (RAS)."""

    def __init__(self, base):
        affine = nibabel.load(base + ".nii.gz").affine[:3, :3]
        self.b_values = numpy.loadtxt(base + ".bval", ndmin=1)
        vectors = numpy.loadtxt(base + ".bvec", ndmin=2)
        if numpy.linalg.det(affine) > 0:  # FSL's rule
            vectors[0] = -vectors[0]
        self.directions = ((affine / numpy.linalg.norm(affine, axis=0)) @ vectors).T

    def rows(self):
        """Rows of b-value and direction in one order, since the order of the volumes is the program's."""
        rows = numpy.column_stack([self.b_values, self.directions])
        return rows[numpy.lexsort(numpy.round(rows, 2).T[::-1])]


def written_rows():
    """The same from what was written."""
    rows = numpy.array([(b_value, *(numpy.array(direction or (0, 0, 0)) * (-1, -1, 1)))
                        for b_value, direction in WEIGHTINGS], float)
    return rows[numpy.lexsort(numpy.round(rows, 2).T[::-1])]


def table_differences(name, mine, reference):
    if mine.shape != reference.shape:
        return ["%s: %d volumes instead of %d" % (name, len(mine), len(reference))]
    found = []
    if not numpy.allclose(mine[:, 0], reference[:, 0]):
        found.append("%s: b-values %s instead of %s" % (name, mine[:, 0], reference[:, 0]))
    apart = numpy.abs(mine[:, 1:] - reference[:, 1:]).max()
    if not apart <= TOLERANCE:
        found.append("%s: directions differ by up to %g" % (name, apart))
    return found


def plain(value):
    """A member without the differences of writing: dcm2niix joins texts and puts _ for other characters."""
    if isinstance(value, list):
        return "_".join(plain(part) for part in value) if value and isinstance(value[0], str) else value
    if isinstance(value, str):
        return "".join(letter if letter.isalnum() else "_" for letter in value)
    return value


def sidecar_differences(mine, peer):
    found = []
    for key in sorted(set(mine) & set(peer) - set(NOT_COMPARED)):
        left, right = plain(mine[key]), plain(peer[key])
        if isinstance(left, (int, float)) and isinstance(right, (int, float)):
            same = numpy.isclose(left, right, rtol=1e-5)  # dcm2niix prints six digits
        else:
            same = left == right
        if not same:
            found.append("sidecar: %s is %r, dcm2niix says %r" % (key, mine[key], peer[key]))
    return found


def load(path):
    with open(path, encoding="utf-8") as file:
        return json.load(file)


def check(command, series, target):
    folder, own, peer = (os.path.join(target, name) for name in ("in", "own", "peer"))
    series.write(folder)
    run(command, "volume", folder, "-o", own + ".nii.gz", "--4d", "--bids")
    mine = Table(own).rows()
    problems = table_differences("what was written", mine, written_rows())
    for flip in ("y", "n"):
        run("dcm2niix", "-y", flip, "-z", "y", "-b", "y", "-f", "peer" + flip, "-o", target, folder)
        problems += table_differences("dcm2niix -y " + flip, mine, Table(peer + flip).rows())
    sidecars = load(own + ".json"), load(peer + "y.json")
    if len(set(sidecars[0]) & set(sidecars[1])) < len(ATTRIBUTES) // 2:
        problems.append("sidecar: few members to compare")
    return problems + sidecar_differences(*sidecars)


if __name__ == "__main__":
    sys.exit(compare_each(SERIES, check, sys.argv[1]))
