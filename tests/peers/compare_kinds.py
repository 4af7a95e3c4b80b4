"""Compares `radvex volume`, dcm2niix and dicomtonifti with what each kind of series in series_kinds.py is.

`radvex volume` has to give the very voxels and places, in NIfTI and NRRD, and refuse what is no volume. The others may
differ: kinds_differences.json says why. A difference that is not listed fails, and so does a listed one that is gone.
Usage: compare_kinds.py RADVEX [KIND...]
"""

import itertools
import glob
import json
import os
import subprocess
import sys
import tempfile
import textwrap
import warnings

import numpy

from kind_files import save
from series_kinds import KINDS
from volume_files import read_nifti, read_nrrd

warnings.simplefilter("ignore")

JSON_TYPES = {"int8": "s8", "uint8": "u8", "int16": "s16", "uint16": "u16", "int32": "s32", "uint32": "u32"}
READERS = {".nii.gz": read_nifti, ".nrrd": read_nrrd}
PEERS = ("dcm2niix", "dicomtonifti")
SHORT = 70  # columns of a difference in the table


def execute(*words):
    return subprocess.run(words, capture_output=True, text=True, check=False, timeout=120)


def shape_text(shape):
    return " x ".join(str(size) for size in shape)


# Where voxels lie


def turned(volume, grid):
    """Values and matrix with the axes in the order and direction nearest to the grid's."""
    steps = numpy.stack([grid.column_step, grid.row_step, grid.normal], axis=1)
    cosines = (volume.affine[:3, :3] / numpy.linalg.norm(volume.affine[:3, :3], axis=0)).T @ (
        steps / numpy.linalg.norm(steps, axis=0))  # by axis of the volume, axis of the grid
    order = max(itertools.permutations(range(3)), key=lambda axes: sum(abs(cosines[axes[k], k]) for k in range(3)))
    matrix = volume.affine.copy()
    matrix[:3, :3] = volume.affine[:3, list(order)]
    values = volume.values
    last = values.ndim - 1 - int(values.ndim == 4)  # the axis of the columns; colour comes after it
    values = values.transpose([last - order[2], last - order[1], last - order[0], *range(last + 1, values.ndim)])
    for axis in range(3):
        along = steps[:, axis] if axis < 2 or len(grid.origins) < 2 else grid.origins[-1] - grid.origins[0]
        if matrix[:3, axis] @ along < 0:
            size = values.shape[2 - axis]
            values = numpy.flip(values, 2 - axis)
            matrix[:3, 3] += (size - 1) * matrix[:3, axis]
            matrix[:3, axis] *= -1
    return values, matrix


def distance(matrix, grid):
    """By how far the corners of the slices lie apart at most: what a user of the matrix sees."""
    slices, rows, columns = grid.shape
    largest = 0.0
    for index, row, column in itertools.product(range(slices), (0, rows - 1), (0, columns - 1)):
        true = grid.origins[index] + row * grid.row_step + column * grid.column_step
        largest = max(largest, numpy.linalg.norm((matrix @ [column, row, index, 1])[:3] - true))
    return largest


def value_differences(values, truth):
    if values.shape != truth.values.shape:
        return ["%s instead of %s" % (shape_text(values.shape), shape_text(truth.values.shape))]
    apart = numpy.abs(values.astype("float64") - truth.values)
    wrong = apart > 1.2e-7 * numpy.abs(truth.values)  # as precise as 32 bits are
    if wrong.any():
        place = tuple(int(index) for index in numpy.argwhere(wrong)[0])
        return ["%d of %d values differ, the first at %s: %g instead of %g" % (
            wrong.sum(), wrong.size, place, values[place], truth.values[place])]
    return []


def differences(volume, truth, any_order=False):
    """Sentences on what differs between a volume and the truth."""
    if truth.in_space != (volume.affine is not None):
        return ["it has %s position in space" % ("no" if truth.in_space else "a")]
    values, matrix = volume.values, volume.affine
    if truth.in_space and any_order:
        values, matrix = turned(volume, truth.grid)
    found = value_differences(values, truth)
    if truth.in_space and values.shape == truth.values.shape:
        apart = distance(matrix, truth.grid)
        if not apart <= truth.tolerance:
            found.append("places differ by up to %g mm" % apart)
    return found


# radvex


def output_name(truth, extension):
    return "out" + truth.suffix + extension


def finding_differences(entries, run):
    """On the findings of all volumes."""
    findings = [finding for entry in entries for finding in entry.get("findings", [])]
    kinds = {finding["kind"] for finding in findings}
    errors = {finding["kind"] for finding in findings if finding["error"]}
    found = []
    missing = run.findings - kinds
    if missing:
        found.append("no finding " + ", ".join(sorted(missing)))
    if run.refused and not errors & run.refused:
        found.append("no error %s, but %s" % (" or ".join(sorted(run.refused)), ", ".join(sorted(errors)) or "none"))
    others = kinds - run.findings - run.refused
    if others and not run.options and not run.refused:
        sentences = [finding["sentence"] for finding in findings if finding["kind"] in others]
        found.append("unexpected findings: %s" % "; ".join(sentences))
    return found


def geometry_differences(entry, truth):
    """On the geometry in the JSON."""
    geometry = entry["geometry"]
    if geometry["hasPosition"] != truth.in_space:
        return ["hasPosition is %s" % geometry["hasPosition"]]
    if not truth.in_space:
        return []
    matrix = numpy.eye(4)
    for axis, name in enumerate(("columnStep", "rowStep", "sliceStep")):
        matrix[:3, axis] = geometry[name]
        if abs(numpy.linalg.norm(geometry[name]) - geometry["spacing"][axis]) > 1e-6:
            return ["spacing does not agree with the steps"]
    matrix[:3, 3] = geometry["origin"]
    grid = truth.grid
    if truth.any_order and matrix[:3, 2] @ (grid.origins[-1] - grid.origins[0]) < 0:
        grid = grid.part(range(len(grid.origins) - 1, -1, -1))
    apart = distance(matrix, grid)
    return [] if apart <= truth.tolerance else ["places by the JSON differ by up to %g mm" % apart]


def entry_differences(entry, truth):
    """On what the JSON says about one volume."""
    found = geometry_differences(entry, truth)
    if truth.type and entry["type"] != JSON_TYPES[truth.type]:
        found.append("type %s instead of %s" % (entry["type"], JSON_TYPES[truth.type]))
    if truth.unit and entry.get("unit") != truth.unit:
        found.append("unit %s instead of %s" % (entry.get("unit"), truth.unit))
    if entry["shape"] != list(truth.values.shape):
        found.append("shape %s in the JSON" % entry["shape"])
    for keyword, value in truth.group.items():
        if entry["group"].get(keyword) != value:
            found.append("%s is %s in the JSON instead of %s" % (keyword, entry["group"].get(keyword), value))
    if truth.is_of_group and not entry.get("group"):
        found.append("no group in the JSON")
    return found


def one_volume(path, entry, run, truth, extension):
    volume = READERS[extension](path)
    if run.check:
        return run.check(volume)
    found = differences(volume, truth, truth.any_order) + entry_differences(entry, truth)
    if truth.type and volume.values.dtype != numpy.dtype(truth.type):
        found.append("voxels of type %s" % volume.values.dtype)
    if volume.forms_apart > truth.tolerance:
        found.append("sform and qform differ by up to %g mm" % volume.forms_apart)
    if truth.seconds and (volume.seconds is None or abs(volume.seconds - truth.seconds) > 1e-6):
        found.append("%s s between two points in time instead of %g" % (volume.seconds, truth.seconds))
    return found


def run_differences(command, folder, run, extension):
    """Sentences on what `radvex volume` does otherwise than expected."""
    with tempfile.TemporaryDirectory() as target:
        path = os.path.join(target, "out" + extension)
        result = execute(command, "volume", folder, "-o", path, "--json", *run.options)
        try:
            entries = json.loads(result.stdout)
        except ValueError:
            return ["status %d, no JSON: %s" % (result.returncode, result.stderr)]
        found = finding_differences(entries, run)
        if result.returncode != int(bool(run.refused)):
            found.append("status %d: %s" % (result.returncode, " ".join(result.stderr.split())))
        names = sorted(output_name(truth, extension) for truth in run.volumes)
        if sorted(os.listdir(target)) != names:
            found.append("writes %s instead of %s" % (sorted(os.listdir(target)), names))
        by_name = {os.path.basename(entry["written"]): entry for entry in entries if entry["written"]}
        for truth in run.volumes:
            name = output_name(truth, extension)
            if name in by_name and os.path.exists(os.path.join(target, name)):
                sentences = one_volume(os.path.join(target, name), by_name[name], run, truth, extension)
                found += ["%s: %s" % (name, sentence) for sentence in sentences]
    return found


def own_differences(command, folder, runs):
    found = []
    for run in runs:
        for extension in run.extensions:
            for sentence in run_differences(command, folder, run, extension):
                found.append("%s%s: %s" % (extension, "".join(" " + option for option in run.options), sentence))
    return found


# The others


def volumes_of(peer, folder, target):
    """The volumes that a peer makes of a folder, and its last words."""
    if peer == "dcm2niix":
        result = execute("dcm2niix", "-z", "n", "-b", "n", "-f", "peer_%s", "-o", target, folder)
    else:
        result = execute("dicomtonifti", "-o", os.path.join(target, "peer.nii"), *sorted(glob.glob(folder + "/*")))
    words = [line for line in (result.stderr or result.stdout).splitlines() if line.strip()]
    found = []
    for path in sorted(glob.glob(target + "/*.nii")):
        found += read_nifti(path).parts()
    return found, words[-1] if words else "no word"


def peer_differences(peer, folder, run):
    """The empty text when a peer gives the same volumes, else what differs."""
    with tempfile.TemporaryDirectory() as target:
        found, words = volumes_of(peer, folder, target)
    if not found:
        return "" if run.refused else "nothing: " + words
    count = len(found)
    shapes = ", ".join(shape_text(volume.values.shape) for volume in found)
    if run.refused:
        return "writes " + shapes
    for truth in run.volumes:
        candidates = [(differences(volume, truth, any_order=True), volume) for volume in found]
        sentences, nearest = min(candidates, key=lambda pair: len(pair[0]))
        if sentences:
            if count != len(run.volumes):
                sentences = ["%d volumes instead of %d" % (count, len(run.volumes))] + sentences
            return "; ".join(sentences)
        found = [volume for volume in found if volume is not nearest] or found
    return "" if count == len(run.volumes) else "more volumes: " + shapes


def main(command, chosen):
    with open(os.path.join(os.path.dirname(__file__), "kinds_differences.json"), encoding="utf-8") as file:
        listed = json.load(file)
    failures = 0
    print("%-40s %-9s %-12s %s" % ("kind", "radvex", *PEERS))
    for name in chosen or KINDS:
        files, runs = KINDS[name]()
        details = []
        with tempfile.TemporaryDirectory() as target:
            folder = os.path.join(target, "series")
            save(files, folder)
            own = own_differences(command, folder, runs)
            theirs = {peer: peer_differences(peer, folder, runs[0]) for peer in PEERS}
        details += ["radvex: FAILED: " + sentence for sentence in own]
        failures += bool(own)
        for peer, difference in theirs.items():
            reason = listed.get(name, {}).get(peer)
            if bool(difference) != bool(reason):
                failures += 1
                details.append("%s: UNEXPLAINED: %s" % (peer, difference or "is listed, but gives the same"))
            elif difference:
                details.append("%s: %s (%s)" % (peer, reason, textwrap.shorten(difference, SHORT)))
        columns = ["differs" if own else "right"] + ["differs" if theirs[peer] else "same" for peer in PEERS]
        print("%-40s %-9s %-12s %s" % (name, *columns))
        for detail in details:
            print("    " + detail)
    unknown = sorted(set(listed) - set(KINDS))
    for name in unknown:
        print("%s: is explained, but is no kind" % name)
    failures += len(unknown)
    print("%d kinds compared, %d failures" % (len(chosen or KINDS), failures))
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1], sys.argv[2:]))
