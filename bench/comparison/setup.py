"""Where the programs and the data of a run are, and rows that many jobs have."""

import json
import os

from . import voxels
from .running import Row

PYTHON = "/usr/bin/python3"
PEERS = os.path.join(os.path.dirname(os.path.dirname(os.path.abspath(__file__))), "peers.py")
PACKAGED = "bare DCMTK, packaged"


class Setup:
    def __init__(self, build, data, small=False):
        self.build, self.data, self.small = build, data, small
        self.has_packaged = os.path.exists(os.path.join(build, "bench/bareJobsPackaged"))
        with open(os.path.join(data, "amounts.json"), encoding="utf-8") as file:
            self.amounts = json.load(file)

    def file(self, *names):
        return os.path.join(self.data, *names)

    def program(self, name, *arguments):
        return [os.path.join(self.build, "bench", name), *map(str, arguments)]

    def radvex(self, *arguments):
        return [os.path.join(self.build, "bin/radvex"), *arguments]

    def python(self, *arguments):
        """Python with the package of the build."""
        return ["/usr/bin/env", "PYTHONPATH=" + os.path.join(self.build, "python"), PYTHON, *map(str, arguments)]

    def hosted(self, *arguments):
        return self.program("hostedJobs", *arguments)

    def peer(self, *arguments):
        return [PYTHON, PEERS, *arguments]

    def bare(self, *arguments, **options):
        """The row of bare DCMTK, and where it was built the one of Debian's DCMTK."""
        rows = [Row("bare DCMTK", self.program("bareJobs", *arguments), **options)]
        if self.has_packaged:
            if options.get("check"):
                options = {**options, "check": self.program("bareJobsPackaged", *options["check"][1:])}
            rows.append(Row(PACKAGED, self.program("bareJobsPackaged", *arguments), **options))
        return rows

    def plain_read(self, path):
        return Row("plain read", self.program("plainFiles", "read", path))

    def comparison(self, kind, path, dtype):
        """A look at the voxels of a file. @param kind: of the expected values, "modality" or "rendered" """
        slices, side = self.amounts["slices"], self.amounts["side"]
        return lambda: voxels.difference(path, *getattr(voxels, kind)(slices, side), dtype)
