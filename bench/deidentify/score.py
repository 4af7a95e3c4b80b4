#!/usr/bin/env python3
"""Judges what a de-identifier made of the generated files: identifiers left, and things lost that research needs.

Usage: score.py TRUTH ORIGINAL OUTPUT [--setting basic|research] [--json FILE] [--examples N]
TRUTH is truth.jsonl, ORIGINAL the folder data beside it, OUTPUT the folder of the finished files, in any layout and
with any names. Files are paired by InstanceNumber, which differs in every file and which no profile touches.
"""

import argparse
import collections
import functools
import json
import os
import warnings

import pydicom

import judging
from folding import folded, holds
from table import BASIC, SETTINGS

warnings.simplefilter("ignore")


class Tally:
    """How many of the actions of one group were taken, by place, and examples of the others."""

    def __init__(self):
        self.places, self.misses = collections.defaultdict(lambda: [0, 0]), []

    def count(self, place, good, what):
        self.places[place][0] += bool(good)
        self.places[place][1] += 1
        if not good:
            self.misses.append({"place": place, **what})

    @property
    def good(self):
        return sum(good for good, _ in self.places.values())

    @property
    def total(self):
        return sum(total for _, total in self.places.values())

    def share(self):
        return self.good / self.total if self.total else 0.0  # nothing judged is nothing done

    def as_json(self, examples):
        shown = collections.Counter()
        few = []
        for miss in self.misses:
            shown[miss["place"]] += 1
            if shown[miss["place"]] <= examples:
                few.append(miss)
        return {"share": self.share(), "good": self.good, "total": self.total,
                "places": dict(sorted(self.places.items())), "misses": few}


def finished_files(folder):
    """The finished files by their number, and the paths of others: unreadable, without number, or doubled."""
    found, others = {}, []
    for root, _, names in os.walk(folder):
        for name in sorted(names):
            path = os.path.join(root, name)
            try:
                file = judging.Finished(path, os.path.relpath(path, folder))
            except Exception:  # whatever a reader says, the file is not readable
                others.append(path)
                continue
            if file.index is None or file.index in found:
                others.append(path)
            else:
                found[file.index] = file
    return found, others


def spelled(texts, readings):
    return [text for text in texts if any(holds(reading, folded(text)) for reading in readings)]


@functools.lru_cache(maxsize=None)
def original_readings(path):
    return judging.Finished(path, path).readings


class Judge:
    """Goes through the key of one setting. Which new UID stands for an original has to be known first."""

    def __init__(self, truths, original, setting):
        self.truths, self.original, self.setting = truths, original, setting
        self.required, self.kept = Tally(), Tally()
        self.uids, self.days, self.missing = {}, collections.defaultdict(list), []

    def judge(self, finished):
        self._learn_uids(finished)
        for truth in self.truths:
            file = finished.get(truth["index"])
            if file is None:
                self.missing.append(truth["file"])
            for action in truth["actions"]:
                if self.setting in action["settings"]:
                    self._judge_action(file, action, truth)
            if file is not None:
                self._judge_bytes(file, truth)
        self._judge_days()

    def _actions(self, truth, *kinds):
        return [one for one in truth["actions"] if one["kind"] in kinds and self.setting in one["settings"]]

    def _learn_uids(self, finished):
        """The new UID that stands most often for each original; one that stands for two originals stands for neither."""
        seen = collections.defaultdict(collections.Counter)
        for truth in self.truths:
            file = finished.get(truth["index"])
            for action in self._actions(truth, "uid replaced") if file else ():
                element = file.element(action["path"])
                if element is not None and element.value:
                    seen[action["value"]][str(element.value)] += 1
        best = {original: news.most_common(1)[0][0] for original, news in seen.items()}
        owners = collections.Counter(best.values())
        self.uids = {original: new for original, new in best.items() if owners[new] == 1}

    def _judge_action(self, file, action, truth):
        tally = self.required if action["group"] == "required" else self.kept
        what = {"file": truth["file"], "path": action["path"], "kind": action["kind"], "how": action.get("how", ""),
                "value": str(action.get("value", ""))[:200]}
        if file is None:
            if tally is self.kept:
                tally.count(action["place"], False, what)
            return
        what["output"] = file.relative
        if action["kind"] == "interval kept":
            self._note_day(file, action, truth, what)
        else:
            tally.count(action["place"], self._is_good(file, action, truth), what)

    def _is_good(self, file, action, truth):
        kind = action["kind"]
        if kind in ("uid replaced", "uid follows"):
            return self._is_good_uid(file.element(action["path"]), action["value"], kind == "uid follows")
        if kind == "pixels kept":
            return judging.pixels_kept(file, pydicom.dcmread(os.path.join(self.original, truth["file"])))
        return {**judging.REQUIRED, **judging.KEPT}[kind](file, action, truth)

    def _is_good_uid(self, element, original, is_kept):
        """Required: the original is gone and what replaces it is the same everywhere. Kept: references stay valid."""
        if element is None or not element.value:
            return not is_kept
        is_same = str(element.value) == self.uids.get(original)
        return is_same and (is_kept or str(element.value) != original)

    def _note_day(self, file, action, truth, what):
        element = file.element(action["path"])
        values = judging.values_of(element) if element is not None else []
        new = judging.day_of(values[0]) if values else None
        moved = None if new is None else (new - judging.day_of(action["value"])).days
        self.days[truth["patient"]].append((moved, action["place"], what))

    def _judge_days(self):
        """All dates of a patient have to be moved by the same number of days, so that the intervals stay."""
        for noted in self.days.values():
            moves = collections.Counter(moved for moved, _, _ in noted if moved is not None)
            usual = moves.most_common(1)[0][0] if moves else None
            for moved, place, what in noted:
                self.kept.count(place, moved is not None and moved == usual, what)

    def _judge_bytes(self, file, truth):
        """No byte of the finished file spells an identifier, wherever it was planted."""
        groups = dict(truth["texts"])
        groups["UIDs"] = [one["value"] for one in self._actions(truth, "uid replaced")]
        original = original_readings(os.path.join(self.original, truth["file"]))
        for what, texts in groups.items():
            left = spelled(texts, file.readings)
            if left or spelled(texts, original):
                self.required.count(f"bytes of the file, {what}", not left, {
                    "file": truth["file"], "kind": "bytes", "value": left[:3], "output": file.relative})


def score(truth_file, original, output, setting=BASIC):
    """The judgement as a dictionary; `misses` of its two groups hold everything that is wrong."""
    with open(truth_file, encoding="utf-8") as lines:
        truths = [json.loads(line) for line in lines]
    finished, others = finished_files(output)
    judge = Judge(truths, original, setting)
    judge.judge(finished)
    return judge, others


def print_misses(tally, title, examples):
    by_place = collections.defaultdict(list)
    for miss in tally.misses:
        by_place[miss["place"]].append(miss)
    for place, misses in sorted(by_place.items(), key=lambda pair: -len(pair[1])):
        print(f"  {title}: {place}: {len(misses)} of {tally.places[place][1]}")
        for miss in misses[:examples]:
            path = "".join(f"[{step}]" if isinstance(step, int) else "." + step for step in miss.get("path", []))
            how = f" ({miss['how']})" if miss.get("how") else ""
            print(f"      {miss.get('output', miss['file'])} {path.lstrip('.')} {miss['kind']}{how}: {miss['value']}")


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("truth")
    parser.add_argument("original")
    parser.add_argument("output")
    parser.add_argument("--setting", choices=SETTINGS, default=BASIC)
    parser.add_argument("--json")
    parser.add_argument("--examples", type=int, default=2)
    options = parser.parse_args()
    judge, others = score(options.truth, options.original, options.output, options.setting)
    for tally, title in ((judge.required, "identifier left"), (judge.kept, "lost")):
        print_misses(tally, title, options.examples)
    print(f"required actions taken: {judge.required.share():.4%} of {judge.required.total}")
    print(f"things kept:            {judge.kept.share():.4%} of {judge.kept.total}")
    print(f"files missing: {len(judge.missing)}; files that are not paired: {len(others)}")
    if options.json:
        with open(options.json, "w", encoding="utf-8") as file:
            json.dump({"required": judge.required.as_json(options.examples), "kept": judge.kept.as_json(
                options.examples), "missing": judge.missing}, file, indent=1, ensure_ascii=False)


if __name__ == "__main__":
    main()
