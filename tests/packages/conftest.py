"""What the tests of the packages share: an installation, the packages of the same build, and a system that holds them.

Environment: RADVEX_BUILD (the build folder), RADVEX_SAMPLES (the folder of pydicom's test files).
"""

import os
import pathlib
import shutil
import subprocess

import pytest
from fresh_root import FreshRoot

TREE = pathlib.Path(__file__).resolve().parents[2]
BUILD = pathlib.Path(os.environ["RADVEX_BUILD"])
SAMPLES = pathlib.Path(os.environ["RADVEX_SAMPLES"])


def run(*words, **more):
    """What a program prints. It has to succeed."""
    done = subprocess.run([str(word) for word in words], text=True, stdout=subprocess.PIPE, stderr=subprocess.PIPE, **more)
    assert done.returncode == 0, f"{words} ended with {done.returncode}\n{done.stdout}{done.stderr}"
    return done.stdout


@pytest.fixture(scope="session")
def installed(tmp_path_factory):
    """The folder of an installation by CMake."""
    prefix = tmp_path_factory.mktemp("installed") / "prefix"
    run("cmake", "--install", BUILD, "--prefix", prefix)
    return prefix


@pytest.fixture(scope="session")
def packages(tmp_path_factory):
    """The files of the three packages, by their names."""
    files = run(TREE / "scripts/deb.sh", BUILD, tmp_path_factory.mktemp("packages")).splitlines()
    return {pathlib.Path(file).name.split("_")[0]: pathlib.Path(file) for file in files}


@pytest.fixture(scope="session")
def system(packages, tmp_path_factory):
    """A system with nothing but the packages, what they depend on, and a few samples in /samples."""
    root = FreshRoot(tmp_path_factory.mktemp("system"), packages.values())
    (root.folder / "samples").mkdir()
    for name in ["CT_small.dcm", "rtdose.dcm", "dicomdirtests/98892001/CT5N"]:
        source = SAMPLES / name
        copy = shutil.copytree if source.is_dir() else shutil.copy
        copy(source, root.folder / "samples" / source.name)
    return root
