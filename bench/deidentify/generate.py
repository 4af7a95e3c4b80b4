#!/usr/bin/env python3
"""Writes invented studies with identifiers planted in many kinds of places, and the key of what was planted.

Usage: generate.py FOLDER [--patients N] [--seed N]
FOLDER/data holds the files and FOLDER/truth.jsonl one line for each. The same numbers give the same files.
"""

import argparse
import json
import os
import random
import warnings

import pydicom.config
from pydicom.dataset import FileDataset, FileMetaDataset
from pydicom.uid import (DeflatedExplicitVRLittleEndian, ExplicitVRBigEndian, ExplicitVRLittleEndian,
                         ImplicitVRLittleEndian, RLELossless)

import places
import sweep
import table
from documents import DOCUMENTS
from people import Person
from planting import Planting
from skeletons import IMAGES, Study, equipment, image, patient, series, study

warnings.simplefilter("ignore")
pydicom.config.replace_un_with_known_vr = False  # some attributes are to be written as UN

SYNTAXES = (ExplicitVRLittleEndian, ImplicitVRLittleEndian, ExplicitVRLittleEndian, RLELossless, ExplicitVRBigEndian,
            ExplicitVRLittleEndian, DeflatedExplicitVRLittleEndian, RLELossless)
PLACES_IN_A_FILE = 9
ROWS_IN_A_FILE = 18


class Rotation:
    """Hands out the places and the rows of the table in turn, so that each is used equally often."""

    def __init__(self, values):
        self.values, self.at = values, 0

    def next(self):
        self.at += 1
        return self.values[(self.at - 1) % len(self.values)]


def _fits(when, syntax, is_image):
    if when == places.EXPLICIT:
        return syntax not in (ImplicitVRLittleEndian, ExplicitVRBigEndian)
    return when != places.IMAGES or is_image


def _meta(planting, syntax):
    meta = FileMetaDataset()
    meta.MediaStorageSOPClassUID = planting.dataset.SOPClassUID
    meta.MediaStorageSOPInstanceUID, meta.TransferSyntaxUID = planting.dataset.SOPInstanceUID, syntax
    for keyword, value in planting.extra_meta.items():
        setattr(meta, keyword, value)
    return meta


def _save(planting, syntax, path):
    dataset = FileDataset(path, planting.dataset, preamble=planting.preamble)
    compressed = syntax == RLELossless
    dataset.file_meta = _meta(planting, ExplicitVRLittleEndian if compressed else syntax)
    dataset.is_little_endian, dataset.is_implicit_VR = syntax != ExplicitVRBigEndian, syntax == ImplicitVRLittleEndian
    if compressed:
        dataset.compress(RLELossless, generate_instance_uid=False)
        dataset["PixelData"].VR = "OB"
    os.makedirs(os.path.dirname(path), exist_ok=True)
    dataset.save_as(path, write_like_original=False)


class Generator:
    """Makes the studies of all patients, one file after the other."""

    def __init__(self, folder, seed):
        self.folder, self.random, self.table = folder, random.Random(seed), table.rows()
        self.places, self.rows = Rotation(places.PLACES), Rotation(sweep.sweepable(self.table))
        self.kinds, self.syntaxes = Rotation(list(IMAGES)), Rotation(list(SYNTAXES))
        self.documents, self.index = Rotation(list(DOCUMENTS)), 0
        self.truth = []

    def patient(self, number):
        person, shared = Person(number, self.random), None
        kind = self.kinds.next()
        for _ in range(1 + number % 3):
            shared = self.file(person, shared, kind)
        if number % 2 == 0:
            self.file(person, shared, self.documents.next())

    def file(self, person, shared, kind):
        self.index += 1
        planting = Planting(self.index, person, self.table, self.random)
        shared = shared or Study(planting)
        syntax = self.syntaxes.next() if kind in IMAGES else SYNTAXES[self.index % 2]
        self._fill(planting, shared, kind, syntax)
        self._plant(planting, shared, kind, syntax)
        self._write(planting, kind, syntax)
        return shared

    def _fill(self, planting, shared, kind, syntax):
        dataset = planting.dataset
        patient(planting, not shared.instances)
        study(planting, shared)
        series(planting, shared, kind, planting.person.number + 1)
        equipment(planting)
        dataset.SOPInstanceUID = planting.uid()
        if kind in IMAGES:
            image(planting, shared, kind, syntax == ExplicitVRBigEndian)
        else:
            DOCUMENTS[kind](planting, shared)
        shared.instances.append((dataset.SOPClassUID, dataset.SOPInstanceUID, dataset.SeriesInstanceUID, kind))
        planting.record_all()

    def _plant(self, planting, shared, kind, syntax):
        used = 0
        while used < PLACES_IN_A_FILE:
            when, plant = self.places.next()
            if _fits(when, syntax, kind in IMAGES):
                plant(planting, shared)
            used += 1
        for _ in range(ROWS_IN_A_FILE):
            explicit = syntax != ImplicitVRLittleEndian
            sweep.plant(planting, self.rows.next(), explicit)

    def _write(self, planting, kind, syntax):
        name = planting.file_name or f"IM{planting.index:05d}"
        path = os.path.join(planting.folder or f"P{planting.person.number:04d}", name)
        _save(planting, syntax, os.path.join(self.folder, "data", path))
        self.truth.append({"index": self.index, "file": path, "kind": kind, "patient": planting.person.number,
                           "charset": planting.person.charset, "syntax": str(syntax), "texts": planting.byte_texts,
                           "actions": planting.actions})

    def finish(self):
        with open(os.path.join(self.folder, "truth.jsonl"), "w", encoding="utf-8") as file:
            for line in self.truth:
                file.write(json.dumps(line, ensure_ascii=False) + "\n")


def generate(folder, patients=300, seed=7):
    """Writes the data and its truth. Returns the number of files."""
    generator = Generator(folder, seed)
    for number in range(patients):
        generator.patient(number)
    generator.finish()
    return generator.index


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("folder")
    parser.add_argument("--patients", type=int, default=300)
    parser.add_argument("--seed", type=int, default=7)
    options = parser.parse_args()
    print(generate(options.folder, options.patients, options.seed), "files")


if __name__ == "__main__":
    main()
