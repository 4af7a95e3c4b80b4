#!/usr/bin/env python3
"""Runs the library beside a bare DCMTK program and the peers that are installed, interleaved, as whole processes.

Prints the median time and the peak memory of each, and their ratios to the bare program.
Usage: compare.py BUILD_FOLDER [ROUNDS [WORD]]; with a word, only the jobs whose title holds it.
"""

import os
import shutil
import statistics
import subprocess
import sys
import tempfile
import time

PYTHON = "/usr/bin/python3"
PYDICOM_WALK = "import pydicom,sys; print(len(str(pydicom.dcmread(sys.argv[1]))))"
PYDICOM_VOLUME = """
import glob, sys, numpy, pydicom
files = [pydicom.dcmread(name) for name in glob.glob(sys.argv[1] + "/IM*")]
files.sort(key=lambda file: int(file.InstanceNumber))
numpy.stack([file.pixel_array for file in files]).astype(numpy.int16) - 1024
"""
GDCM_VOLUME = """
import glob, sys, gdcm
names = glob.glob(sys.argv[1] + "/IM*")
for name in names:
    reader = gdcm.ImageReader(); reader.SetFileName(name); assert reader.Read()
    reader.GetImage().GetBuffer()
"""
PYDICOM_ANONYMIZE = """
import glob, os, sys, pydicom
os.makedirs(sys.argv[2], exist_ok=True)
for name in glob.glob(sys.argv[1] + "/IM*"):
    file = pydicom.dcmread(name)
    for key in ("SOPInstanceUID", "StudyInstanceUID", "SeriesInstanceUID"):
        file[key].value = pydicom.uid.generate_uid()
    file.PatientID = file.StudyID = "0123456789ABCDEF"
    file.save_as(os.path.join(sys.argv[2], os.path.basename(name)))
"""


def run(command):
    """Seconds and peak memory in MiB of one run; nothing when the program failed."""
    start = time.perf_counter()
    process = subprocess.Popen(command, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    _, status, usage = os.wait4(process.pid, 0)
    if status != 0:
        return None
    return time.perf_counter() - start, usage.ru_maxrss / 1024


class Benchmark:
    def __init__(self, build, rounds, word):
        self.build, self.rounds, self.word = build, rounds, word

    def bench(self, name, *arguments):
        return [os.path.join(self.build, "bench", name), *arguments]

    def radvex(self, *arguments):
        return [os.path.join(self.build, "bin/radvex"), *arguments]

    def compare(self, title, commands):
        if self.word not in title:
            return
        commands = {name: command for name, command in commands.items() if shutil.which(command[0])}
        results = {name: [] for name in commands}
        for _ in range(self.rounds):
            for name, command in commands.items():
                results[name].append(run(command))
        bare_time = statistics.median(seconds for seconds, _ in results["bare DCMTK"])
        bare_memory = statistics.median(memory for _, memory in results["bare DCMTK"])
        print("\n%s (%d rounds)" % (title, self.rounds))
        print("%-30s %9s %7s %9s %7s" % ("", "seconds", "x bare", "MiB", "x bare"))
        for name, runs in results.items():
            if None in runs:
                print("%-30s failed" % name)
                continue
            seconds = statistics.median(second for second, _ in runs)
            memory = statistics.median(peak for _, peak in runs)
            print("%-30s %9.3f %7.2f %9.0f %7.2f" % (name, seconds, seconds / bare_time, memory, memory / bare_memory),
                  flush=True)

    def metadata(self, data):
        elements = os.path.join(data, "elements.dcm")
        self.compare("metadata of 200,000 elements", {
            "bare DCMTK": self.bench("bareMetadata", elements),
            "ReadAllMetadata": self.bench("readMetadata", elements),
            "radvex tags --json": self.radvex("tags", "--json", elements),
            "radvex tags": self.radvex("tags", elements),
            "gdcmdump": ["gdcmdump", elements],
            "dcmdump": ["dcmdump", elements],
            "dcm2json": ["dcm2json", elements],
            "pydicom": [PYTHON, "-c", PYDICOM_WALK, elements],
        })
        medium = os.path.join(data, "small/DICOMDIR")
        self.compare("five keywords of 2,000 files", {
            "bare DCMTK": self.bench("bareDirectory", "metadata", medium),
            "ReadMetadataRecursive": self.bench("readDirectory", "metadata", medium),
        })

    def frames(self, data):
        for syntax in ("frames", "frames-rle", "frames-jpeg", "frames-jpegls"):
            file = os.path.join(data, syntax + ".dcm")
            for job, name in (("image", "ReadImage"), ("data", "ReadImageData"),
                              ("intermediate", "ReadIntermediatePixelData")):
                self.compare("%s, 400 frames of 512 x 512 in 16 bits, %s" % (name, syntax), {
                    "bare DCMTK": self.bench("barePixels", job, file),
                    name: self.bench("readPixels", job, file),
                })

    def volumes(self, data):
        for syntax in ("series", "series-rle", "series-jpeg", "series-jpegls"):
            folder = os.path.join(data, syntax)
            medium = os.path.join(folder, "DICOMDIR")
            out = os.path.join(data, "out.nrrd")
            nifti = os.path.join(data, "nifti")
            os.makedirs(nifti, exist_ok=True)
            self.compare("volume of 300 slices of 512 x 512 in 16 bits, %s" % syntax, {
                "bare DCMTK": self.bench("bareDirectory", "volume", medium),
                "Read3DImage": self.bench("readDirectory", "volume", medium),
                "radvex volume --rendered": self.radvex("volume", medium, "--rendered", "--common-window", "-o", out),
                "radvex volume": self.radvex("volume", medium, "-o", out),
                "dcm2niix -z n": ["dcm2niix", "-z", "n", "-b", "n", "-w", "1", "-f", "out", "-o", nifti, folder],
                "dicomtonifti": ["dicomtonifti", "-o", os.path.join(data, "out.nii"), "-b", folder],
                "GDCM (Python, stored values)": [PYTHON, "-c", GDCM_VOLUME, folder],
                "pydicom": [PYTHON, "-c", PYDICOM_VOLUME, folder],
            })

    def writing(self, data):
        out = os.path.join(data, "written.dcm")
        for title, more in (("uncompressed", []), ("JPEG-LS", ["jpegls"])):
            self.compare("writing 200 frames of 512 x 512 in 16 bits, %s" % title, {
                "bare DCMTK": self.bench("bareWrite", "write", out, *more),
                "WriteImage": self.bench("writeFiles", "write", out, *more),
            })

    def anonymizing(self, data):
        folder = os.path.join(data, "series")
        out = os.path.join(data, "anonymous")
        self.compare("anonymizing 300 CT files", {
            "bare DCMTK": self.bench("bareWrite", "anonymize", folder, out),
            "DicomAnonymize": self.bench("writeFiles", "anonymize", folder, out),
            "radvex anonymize": ["sh", "-c", 'rm -rf "$3"; exec "$1" anonymize "$2" "$3"', "sh",
                                 os.path.join(self.build, "bin/radvex"), folder, out + "-radvex"],
            "cp and dcmodify": ["sh", "-c", 'rm -rf "$2"; cp -r "$1" "$2"; exec dcmodify -nb -gin -gse -gst -ma '
                                '"(0010,0020)=0" -ma "(0020,0010)=0" "$2"/IM*', "sh", folder, out + "-dcmodify"],
            "gdcmanon": ["gdcmanon", "--dumb", "--empty", "10,20", "-r", "--continue", "-i", folder, "-o",
                         out + "-gdcm"],
            "pydicom": [PYTHON, "-c", PYDICOM_ANONYMIZE, folder, out],
        })


def main(build, rounds=5, word=""):
    with tempfile.TemporaryDirectory() as data:
        subprocess.run([os.path.join(build, "bench/generateBenchmarkData"), data], check=True)
        benchmark = Benchmark(build, int(rounds), word)
        benchmark.metadata(data)
        benchmark.frames(data)
        benchmark.volumes(data)
        benchmark.writing(data)
        benchmark.anonymizing(data)
        print()
        subprocess.run([os.path.join(build, "bench/readMetadata"), os.path.join(data, "elements.dcm"), "--apart"],
                       check=True)


if __name__ == "__main__":
    main(*sys.argv[1:])
