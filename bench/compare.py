#!/usr/bin/env python3
"""Runs the library beside a bare DCMTK program and the peers that are installed, interleaved, as whole processes.

Prints the median time and the peak memory of each, and their ratios to the bare program.
Usage: compare.py BUILD_FOLDER [ROUNDS]
"""

import os
import shutil
import statistics
import subprocess
import sys
import tempfile
import time


def run(command):
    """Seconds and peak memory in MiB of one run."""
    start = time.perf_counter()
    process = subprocess.Popen(command, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    _, status, usage = os.wait4(process.pid, 0)
    if status != 0:
        raise RuntimeError("%s ended with %d" % (command[0], status))
    return time.perf_counter() - start, usage.ru_maxrss / 1024


def compare(title, commands, rounds):
    commands = {name: command for name, command in commands.items() if shutil.which(command[0])}
    results = {name: [] for name in commands}
    for _ in range(rounds):
        for name, command in commands.items():
            results[name].append(run(command))
    bare_time = statistics.median(seconds for seconds, _ in results["bare DCMTK"])
    bare_memory = statistics.median(memory for _, memory in results["bare DCMTK"])
    print("\n%s (%d rounds)" % (title, rounds))
    print("%-24s %9s %7s %9s %7s" % ("", "seconds", "x bare", "MiB", "x bare"))
    for name, runs in results.items():
        seconds = statistics.median(second for second, _ in runs)
        memory = statistics.median(peak for _, peak in runs)
        print("%-24s %9.3f %7.2f %9.0f %7.2f" % (name, seconds, seconds / bare_time, memory, memory / bare_memory))


def main(build, rounds=5):
    with tempfile.TemporaryDirectory() as data:
        subprocess.run([os.path.join(build, "bench/generateBenchmarkData"), data], check=True)
        elements = os.path.join(data, "elements.dcm")
        pydicom_walk = "import pydicom,sys; print(len(str(pydicom.dcmread(sys.argv[1]))))"
        compare("All metadata of 200,000 elements", {
            "bare DCMTK": [os.path.join(build, "bench/bareMetadata"), elements],
            "ReadAllMetadata": [os.path.join(build, "bench/readMetadata"), elements],
            "radvex tags --json": [os.path.join(build, "bin/radvex"), "tags", "--json", elements],
            "radvex tags": [os.path.join(build, "bin/radvex"), "tags", elements],
            "gdcmdump": ["gdcmdump", elements],
            "dcmdump": ["dcmdump", elements],
            "dcm2json": ["dcm2json", elements],
            "pydicom": ["/usr/bin/python3", "-c", pydicom_walk, elements],
        }, rounds)
        for syntax in ("frames", "frames-rle", "frames-jpeg", "frames-jpegls"):
            file = os.path.join(data, syntax + ".dcm")
            for job, name in (("image", "ReadImage"), ("data", "ReadImageData"),
                              ("intermediate", "ReadIntermediatePixelData")):
                compare("%s, 400 frames of 512 x 512 in 16 bits, %s" % (name, syntax), {
                    "bare DCMTK": [os.path.join(build, "bench/barePixels"), job, file],
                    name: [os.path.join(build, "bench/readPixels"), job, file],
                }, rounds)
        print()
        subprocess.run([os.path.join(build, "bench/readMetadata"), elements, "--apart"], check=True)


if __name__ == "__main__":
    main(sys.argv[1], *map(int, sys.argv[2:]))
