#!/usr/bin/env python3
"""Fails when a job of the library takes more instructions, beside bare DCMTK's, than the repository says.

Small jobs run under callgrind: instructions do not depend on what else the machine does. The numbers of the repository
hold for one compiler, DCMTK and processor; with others the check is left out (status 77).
Usage: check_counts.py GENERATOR_FOLDER PROGRAM_FOLDER --compiler NAME --flags FLAGS --processor NAME [--record]
"""

import argparse
import json
import os
import platform
import re
import shutil
import subprocess
import sys
import tempfile

SKIPPED = 77
RECORD = os.path.join(os.path.dirname(os.path.abspath(__file__)), "counts.json")
JOBS = ("bridge", "metadata", "volume", "files", "writing")
BRIDGE_CALLS = 1500
TOLERANCE = 8  # per cent
VALGRIND_MARK = re.compile(r"^desc: Trigger: --dump-after=(\w+)Counted", re.M)


def count(program, data, out):
    """Instructions of every counted job of a program."""
    with tempfile.TemporaryDirectory() as place:
        command = ["valgrind", "--tool=callgrind", "--callgrind-out-file=" + os.path.join(place, "dump")]
        for job in JOBS:
            command += ["--toggle-collect=%sCounted" % job, "--dump-after=%sCounted" % job]
        run = subprocess.run([*command, program, data, out], capture_output=True, text=True, check=False)
        if run.returncode != 0:
            sys.exit("%s failed under valgrind:\n%s" % (program, run.stderr))
        counts = {}
        for name in os.listdir(place):
            with open(os.path.join(place, name), encoding="utf-8") as file:
                text = file.read()
            mark, total = VALGRIND_MARK.search(text), re.search(r"^(?:totals|summary): (\d+)", text, re.M)
            if mark and total:
                counts[mark.group(1)] = int(total.group(1))
        return counts


def ratios(bare, hosted):
    """The library's instructions for one of bare DCMTK's; for the bridge, which has no such counterpart, of a call."""
    found = {job: round(hosted[job] / bare[job], 4) for job in JOBS if job in bare}
    found["bridge"] = round(hosted["bridge"] / BRIDGE_CALLS)
    return found


def complaints(found, wanted):
    """Sentences about jobs that take more than the tolerance allows."""
    return ["%s takes %.1f %% more instructions than %s says: %g, not %g" %
            (job, 100 * (found[job] / wanted[job] - 1), os.path.basename(RECORD), found[job], wanted[job])
            for job in wanted if found[job] > wanted[job] * (1 + TOLERANCE / 100)]


def require_that_growth_is_seen(wanted):
    """A check that cannot fail is none: each job by itself, grown by a fifth, has to be complained about."""
    for job in wanted:
        grown = {**wanted, job: wanted[job] * 1.2}
        if len(complaints(grown, wanted)) != 1:
            sys.exit("check_counts.py does not see that %s takes 20 %% more instructions." % job)


def measure(generator, programs):
    with tempfile.TemporaryDirectory() as data:
        subprocess.run([os.path.join(generator, "generateBenchmarkData"), data, "counted"], check=True)
        out = os.path.join(data, "written.dcm")
        bare = count(os.path.join(programs, "countedBareJobs"), data, out)
        hosted = count(os.path.join(programs, "countedHostedJobs"), data, out)
    missing = [job for job in JOBS if not hosted.get(job) or (not bare.get(job) and job != "bridge")]
    if missing:
        sys.exit("valgrind gave no count of %s." % ", ".join(missing))
    return bare, hosted


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("generator")
    parser.add_argument("programs")
    for name in ("compiler", "flags", "processor"):
        parser.add_argument("--" + name, required=True)
    parser.add_argument("--record", action="store_true", help="write the counts of this build as those to compare with")
    arguments = parser.parse_args()
    if shutil.which("valgrind") is None:
        print("Left out: valgrind is not installed.")
        return SKIPPED
    version = subprocess.run([os.path.join(arguments.generator, "bareJobs"), "version"], capture_output=True, text=True,
                             check=True).stdout.strip()
    conditions = {"compiler": arguments.compiler, "flags": arguments.flags.strip(), "processor": arguments.processor,
                  "dcmtk": version, "libc": " ".join(platform.libc_ver())}
    if not arguments.record:
        with open(RECORD, encoding="utf-8") as file:
            record = json.load(file)
        if record["conditions"] != conditions:
            print("Left out: the counts hold for %s, and this is %s." % (record["conditions"], conditions))
            return SKIPPED
    bare, hosted = measure(arguments.generator, arguments.programs)
    found = ratios(bare, hosted)
    if arguments.record:
        with open(RECORD, "w", encoding="utf-8") as file:
            json.dump({"conditions": conditions, "counts": found}, file, indent=2)
            file.write("\n")
        print("Recorded %s" % found)
        return 0
    return judge(found, record["counts"], bare, hosted)


def judge(found, wanted, bare, hosted):
    require_that_growth_is_seen(wanted)
    for job in JOBS:
        print("%-16s %12d instructions, bare %12s, measure %9g, recorded %9g (%+.1f %%)" %
              (job, hosted[job], bare.get(job, "-"), found[job], wanted[job], 100 * (found[job] / wanted[job] - 1)))
        if found[job] < wanted[job] * (1 - TOLERANCE / 100):
            print("  less than recorded: run this with --record, so that it cannot creep back")
    problems = complaints(found, wanted)
    print("\n".join(problems))
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
