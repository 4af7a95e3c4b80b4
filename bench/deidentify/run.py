#!/usr/bin/env python3
"""De-identifies generated files with radvex and with other programs, and shows what each leaves and what each loses.

Usage: run.py [--radvex PATH] [--patients N] [--seed N] [--only NAME,...] [--json FILE] [--misses N] [--keep FOLDER]
              [--least SHARE] [--most-lost SHARE]
Exit status 1: radvex took less of the required actions than --least says (99.95 %), or lost more of what is kept than
--most-lost says (0.1 %).
"""

import argparse
import json
import os
import sys
import tempfile
import time

import table
from deidentifiers import Dcmodify, Gdcmanon, Pydicom, Radvex
from generate import generate
from score import print_misses, score

COMMAND = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "build", "release", "bin", "radvex")
LEAST_TAKEN, MOST_LOST = 0.9995, 0.001


def programs(command):
    return [Radvex(command, table.BASIC), Radvex(command, table.RESEARCH), Gdcmanon(), Dcmodify(),
            Pydicom(table.BASIC), Pydicom(table.RESEARCH)]


def measure(program, folder, scratch):
    """What one program did, as a dictionary for the table and for JSON, and its judge."""
    target = os.path.join(scratch, "out " + program.name)
    begin = time.monotonic()
    program.run(os.path.join(folder, "data"), target, scratch)
    seconds = time.monotonic() - begin
    judge, others = score(os.path.join(folder, "truth.jsonl"), os.path.join(folder, "data"), target, program.setting)
    result = {"program": program.name, "setting": program.setting, "seconds": round(seconds, 2),
              "missing": len(judge.missing), "unpaired": len(others), "required": judge.required.as_json(3),
              "kept": judge.kept.as_json(3)}
    return result, judge


def show(results, files):
    print(f"{files} files")
    print(f"{'program':<18}{'setting':<10}{'taken':>10}{'of':>8}{'lost':>9}{'of':>8}{'not written':>13}{'seconds':>9}")
    for result in results:
        required, kept = result["required"], result["kept"]
        print(f"{result['program']:<18}{result['setting']:<10}{required['share']:>10.3%}{required['total']:>8}"
              f"{1 - kept['share']:>9.3%}{kept['total']:>8}{result['missing']:>13}{result['seconds']:>9.1f}")


def is_good(result, options):
    """Whether a program did what is demanded of radvex. A file that was not written has lost all that is kept."""
    return result["required"]["share"] >= options.least and 1 - result["kept"]["share"] <= options.most_lost


def run(options, scratch):
    folder = os.path.join(scratch, "generated")
    files = generate(folder, options.patients, options.seed)
    wanted, results = options.only.split(",") if options.only else None, []
    for program in programs(options.radvex):
        if wanted is None or program.name.split(",")[0] in wanted:
            result, judge = measure(program, folder, scratch)
            results.append(result)
            if options.misses:
                print(program.name)
                print_misses(judge.required, "identifier left", options.misses)
                print_misses(judge.kept, "lost", options.misses)
    show(results, files)
    if options.json:
        with open(options.json, "w", encoding="utf-8") as file:
            json.dump({"files": files, "results": results}, file, indent=1, ensure_ascii=False)
    return all(is_good(result, options) for result in results if result["program"].startswith("radvex"))


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--radvex", default=COMMAND)
    parser.add_argument("--patients", type=int, default=300)
    parser.add_argument("--seed", type=int, default=7)
    parser.add_argument("--least", type=float, default=LEAST_TAKEN, help="share of actions that radvex has to take")
    parser.add_argument("--most-lost", type=float, default=MOST_LOST, help="share of kept things that it may lose")
    parser.add_argument("--only", help="names of programs: radvex, gdcmanon, dcmodify, pydicom")
    parser.add_argument("--json")
    parser.add_argument("--misses", type=int, default=0, help="show so many examples for each place")
    parser.add_argument("--keep", help="folder for the files, which stay there")
    options = parser.parse_args()
    if options.keep:
        sys.exit(0 if run(options, options.keep) else 1)
    with tempfile.TemporaryDirectory(prefix="radvex-bench-") as scratch:
        sys.exit(0 if run(options, scratch) else 1)


if __name__ == "__main__":
    main()
