#!/usr/bin/python3
"""Makes docs/pictures/python-volume.png, the preview of the generated head that docs/python.md begins with.

Usage: PYTHONPATH=BUILD/python scripts/python-picture.py
"""

import pathlib
import sys
import tempfile

import radvex

ROOT = pathlib.Path(__file__).resolve().parent.parent
sys.path.insert(0, str(ROOT / "tests" / "python"))
sys.dont_write_bytecode = True

import phantom  # noqa: E402


def main():
    with tempfile.TemporaryDirectory() as folder:
        phantom.write_series(folder + "/phantom")
        picture = radvex.volume(folder + "/phantom").preview()
    target = ROOT / "docs" / "pictures" / "python-volume.png"
    target.parent.mkdir(exist_ok=True)
    target.write_bytes(picture)


if __name__ == "__main__":
    main()
