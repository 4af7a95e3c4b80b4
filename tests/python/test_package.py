"""The package as pip installed it: whole, and without any way back to where it was built."""

import os
import re
import subprocess
import sys

import pytest

import radvex

PACKAGE = os.path.dirname(os.path.abspath(radvex.__file__))
BINARIES = ["lib/Radvex.so", "lib/radvexDatasets.so", "lib/libTT32i4.so", "lib/libdcmtk.so.17", "bin/radvex",
            "bin/radvex-worker"]


def printed(*command):
    return subprocess.run(command, check=True, stdout=subprocess.PIPE, encoding="utf-8").stdout


def extension():
    return next(name for name in os.listdir(PACKAGE) if re.fullmatch(r"_radvex\..*\.so", name))


def test_the_package_is_not_the_one_of_the_build_tree():
    assert not os.path.exists(os.path.join(PACKAGE, "..", "CMakeFiles"))
    assert not os.path.islink(os.path.join(PACKAGE, "lib"))


@pytest.mark.parametrize("name", [*BINARIES, "extension"])
def test_a_binary_finds_the_others_beside_it_and_nothing_elsewhere(name):
    path = os.path.join(PACKAGE, extension() if name == "extension" else name)
    run_paths = re.findall(r"R(?:UN)?PATH.*\[(.*)\]", printed("readelf", "-d", path))
    for folder in ":".join(run_paths).split(":"):
        assert folder == "" or folder.startswith("$ORIGIN"), run_paths
    for line in printed("ldd", path).splitlines():
        assert "not found" not in line
        found = re.search(r"=> (/\S+)", line)
        if found:
            place = os.path.realpath(found.group(1))
            assert place.startswith((PACKAGE, "/usr/lib/", "/lib/")), line


def test_the_libraries_of_the_package_are_those_of_the_package():
    names = printed("ldd", os.path.join(PACKAGE, "lib/Radvex.so"))
    assert os.path.realpath(re.search(r"libdcmtk\S* => (\S+)", names).group(1)).startswith(PACKAGE)
    assert os.path.realpath(re.search(r"libopenjp2\S* => (\S+)", names).group(1)).startswith(PACKAGE)
    assert os.path.realpath(re.search(r"libTT32i4\S* => (\S+)", names).group(1)).startswith(PACKAGE)


def test_pip_installs_the_command():
    command = os.path.join(os.path.dirname(sys.executable), "radvex")
    assert printed(command, "number", "PatientName") == "0010,0010\n"


def test_the_command_is_as_old_as_the_package():
    command = os.path.join(PACKAGE, "bin/radvex")
    assert radvex.__version__ in printed(command, "--version")


def test_it_works_while_nothing_of_its_surroundings_is_set(samples):
    code = "import radvex; print(radvex.values(%r).max())" % os.path.join(samples, "CT_small.dcm")
    done = subprocess.run([sys.executable, "-I", "-c", code], check=True, stdout=subprocess.PIPE, env={}, cwd="/")
    assert done.stdout == b"1167\n"
