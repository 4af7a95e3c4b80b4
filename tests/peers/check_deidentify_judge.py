"""Whether the judge of bench/deidentify sees what is wrong: it is shown outputs whose defects are known.

The originals themselves leave every identifier and lose nothing; the output of a sound program gets a
defect of each kind, which the judge has to name. Usage: check_deidentify_judge.py
"""

import os
import shutil
import sys
import tempfile
import warnings

import pydicom

BENCH = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "bench", "deidentify")
sys.path.insert(0, BENCH)

from deidentifiers import Pydicom  # noqa: E402
from generate import generate  # noqa: E402
from score import score  # noqa: E402
from table import BASIC, RESEARCH, SETTINGS  # noqa: E402

warnings.simplefilter("ignore")

PATIENTS = 4


def demand(is_right, sentence):
    if not is_right:
        sys.exit("the judge is wrong: " + sentence)


def judged(folder, output, setting):
    return score(os.path.join(folder, "truth.jsonl"), os.path.join(folder, "data"), output, setting)[0]


def check_originals(folder):
    """Nothing was done: no action may count as taken, and nothing as lost."""
    for setting in SETTINGS:
        judge = judged(folder, os.path.join(folder, "data"), setting)
        demand(judge.required.good == 0, f"originals, {setting}: {judge.required.good} actions count as taken")
        demand(not judge.kept.misses, f"originals, {setting}: lost {judge.kept.misses[:2]}")


def check_nothing_written(folder):
    with tempfile.TemporaryDirectory() as empty:
        judge = judged(folder, empty, BASIC)
    demand(judge.kept.good == 0 and judge.required.total == 0, "files that were not written kept something")


def first_file(folder):
    """The path and the dataset of the file that was generated first, which is an image."""
    for root, _, names in os.walk(folder):
        for name in names:
            dataset = pydicom.dcmread(os.path.join(root, name))
            if dataset.InstanceNumber == 1:
                return os.path.join(root, name), dataset
    sys.exit("the first file is missing")


def _changed(folder, output, setting, change):
    """The complaints that come from changing one image of an output: of both groups, those that were not there."""
    before = judged(folder, output, setting)
    with tempfile.TemporaryDirectory() as scratch:
        copy = os.path.join(scratch, "copy")
        shutil.copytree(output, copy)
        path, dataset = first_file(copy)
        change(dataset)
        dataset.save_as(path)
        after = judged(folder, copy, setting)
    fresh = [miss["kind"] for tally, old in ((after.required, before.required), (after.kept, before.kept))
             for miss in tally.misses if miss not in old.misses]
    return set(fresh)


def _brighter(dataset):
    data = bytearray(dataset.PixelData)
    data[-2] ^= 1
    dataset.PixelData = bytes(data)


def _set(keyword, value):
    return lambda dataset: setattr(dataset, keyword, value)


def defects(folder):
    """(setting, change of an image, kind of the complaint)"""
    patient = first_file(os.path.join(folder, "data"))[1]
    return ((BASIC, _set("PatientName", patient.PatientName), "replaced"),
            (BASIC, _set("ImageComments", str(patient.PatientID)), "bytes"),
            (BASIC, _set("SeriesDescription", patient.get("SeriesDescription") or "x"), "removed"),
            (BASIC, _set("StudyInstanceUID", "2.25.99"), "uid replaced"),
            (BASIC, _set("StudyInstanceUID", ""), "uid follows"),
            (BASIC, _set("Modality", "ZZ"), "kept exactly"),
            (BASIC, _brighter, "pixels kept"),
            (RESEARCH, _set("StudyDate", patient.StudyDate), "date replaced"),
            (RESEARCH, _set("SeriesDate", "20300101"), "interval kept"))


def main():
    with tempfile.TemporaryDirectory() as folder:
        generate(folder, PATIENTS)
        check_originals(folder)
        check_nothing_written(folder)
        outputs = {}
        for setting in SETTINGS:
            outputs[setting] = os.path.join(folder, "out " + setting)
            Pydicom(setting).run(os.path.join(folder, "data"), outputs[setting], folder)
        for setting, change, kind in defects(folder):
            found = _changed(folder, outputs[setting], setting, change)
            demand(kind in found, f"of a defect of the kind '{kind}' it says {found}")
    print("the judge names each defect")


if __name__ == "__main__":
    main()
