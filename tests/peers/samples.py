"""The public sample files that pydicom brings along, and a session of the command under test."""

import json
import os
import subprocess

import pydicom


def sample_files():
    """All files that hold DICOM, by path relative to pydicom's folder of test data."""
    root = os.path.join(os.path.dirname(pydicom.__file__), "data")
    files = []
    for folder, _, names in os.walk(root):
        for name in names:
            path = os.path.join(folder, name)
            if name.endswith((".py", ".pyc", ".txt", ".dump", ".json", ".gz", ".pickle", ".md")) or name == "README":
                continue
            files.append((os.path.relpath(path, root), path))
    return sorted(files)


class Session:
    """Calls exported functions through one running `radvex call -`."""

    def __init__(self, command):
        self.process = subprocess.Popen([command, "call", "-"], stdin=subprocess.PIPE, stdout=subprocess.PIPE,
                                        text=True, encoding="utf-8")

    def call(self, name, *arguments):
        """The answer as it stands: {"code": 0, "result": ...} or code, name and message."""
        self.process.stdin.write(json.dumps([name, *arguments]) + "\n")
        self.process.stdin.flush()
        return json.loads(self.process.stdout.readline())
