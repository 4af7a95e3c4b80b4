#!/usr/bin/env python3
"""Runs the library beside bare DCMTK programs and the programs that are installed, and prints what each takes.

The data is generated. The rows of a job take turns, so that whatever else the machine does meets all of them.
"""

import argparse
import os
import subprocess
import sys
import tempfile

from comparison import report
from comparison.archive_jobs import archive_growths, archive_jobs
from comparison.growth_jobs import growths
from comparison.metadata_jobs import metadata_jobs, start_jobs
from comparison.pixel_jobs import frame_jobs, volume_jobs
from comparison.python_jobs import python_jobs
from comparison.setup import PACKAGED, Setup
from comparison.running import Runner
from comparison.writing_jobs import writing_jobs


def arguments():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("build", help="build folder, such as build/release")
    parser.add_argument("--rounds", type=int, default=5)
    parser.add_argument("--only", default="", metavar="WORD", help="only jobs and growths whose title holds it")
    parser.add_argument("--small", action="store_true", help="little data, to try the benchmark itself")
    parser.add_argument("--json", metavar="FILE", help="every number of every round")
    parser.add_argument("--markdown", metavar="FILE", help="the tables; between the marks of a file that has them")
    return parser.parse_args()


def measure(chosen, where, setup):
    if not setup.has_packaged:
        where["left_out"].append("Left out: the rows \"%s\"; libdcmtk-dev is not installed." % PACKAGED)
    print(report.heading(where), flush=True)
    runner = Runner(os.path.join(chosen.build, "bench/measure"), chosen.rounds)
    jobs, tables = [], []
    for group in (start_jobs, metadata_jobs, frame_jobs, volume_jobs, python_jobs, writing_jobs, archive_jobs):
        for job in group(setup):
            if chosen.only in job.title:
                jobs.append(runner.run(job))
                print(report.job_text(jobs[-1]), flush=True)
    for group in (growths, archive_growths):
        for growth in group(setup):
            if chosen.only in growth.title:
                tables.append(report.GrowthTable(growth, [runner.run(job) for _, job in growth.steps]))
                print(tables[-1].text(), flush=True)
    where["load_after"] = round(os.getloadavg()[0], 2)
    return where, jobs, tables


def main():
    chosen = arguments()
    where = report.surroundings(chosen.rounds, chosen.small)  # before the data is made, which is a load of its own
    with tempfile.TemporaryDirectory(prefix="radvex-bench-") as data:
        subprocess.run([os.path.join(chosen.build, "bench/generateBenchmarkData"), data,
                        *(["small"] if chosen.small else [])], check=True)
        where, jobs, tables = measure(chosen, where, Setup(chosen.build, data, chosen.small))
    if chosen.json:
        report.write_json(chosen.json, where, jobs, tables)
    if chosen.markdown:
        report.write_markdown(chosen.markdown, where, jobs, tables)
    other = [(job.title, row.row.name) for job in jobs for row in job.rows if row.state.startswith("other ")]
    print("\nThe load was %.2f before and %.2f after." % (where["load_before"], where["load_after"]))
    for title, name in other:
        print("Another result than was generated: %s, %s" % (title, name))
    return 0


if __name__ == "__main__":
    sys.exit(main())
