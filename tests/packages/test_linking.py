"""Programs that are built against an installation, as others would do it, and run with it."""

import os
import shutil

import pydicom
import pytest
from conftest import SAMPLES, TREE, run

FILE = SAMPLES / "CT_small.dcm"
WARNINGS = "-Wall -Wextra -Werror"


@pytest.fixture(params=["where it was installed", "moved"])
def prefix(request, installed, tmp_path):
    """The folder of an installation."""
    if request.param == "moved":
        installed = shutil.copytree(installed, tmp_path / "another place", symlinks=True)
    return installed


def pkg_config(prefix, *words):
    """What pkg-config says about this installation, and no other."""
    environment = {**os.environ, "PKG_CONFIG_LIBDIR": str(prefix / "lib/pkgconfig"), "PKG_CONFIG_PATH": ""}
    return run("pkg-config", *words, "radvex", env=environment).strip()


def environment_without(*names):
    return {name: value for name, value in os.environ.items() if name not in names}


def test_a_host_in_c_by_pkg_config(prefix, tmp_path):
    flags = f"{pkg_config(prefix, '--cflags')} {pkg_config(prefix, '--libs')}"
    host = tmp_path / "smallHost"
    # Through a shell, which takes the quotes away that pkg-config puts.
    run("sh", "-c", f'cc -std=gnu11 {WARNINGS} "$0" {flags} -o "$1"', TREE / "examples/smallHost.c", host)
    library = pkg_config(prefix, "--variable=library").replace("\\", "")
    printed = run(host, library, FILE, env=environment_without("LD_LIBRARY_PATH"))
    dataset = pydicom.dcmread(FILE)
    assert f"PatientName: {dataset.PatientName}\nModality: {dataset.Modality}\n" in printed
    assert f"picture: {dataset.Columns} x {dataset.Rows}, 1 channel(s)" in printed
    assert "OpenFileError" in printed


def test_pkg_config_says_the_version_of_the_command(prefix):
    assert run(prefix / "bin/radvex", "--version").strip().endswith(pkg_config(prefix, "--modversion"))


def test_a_host_in_cpp_by_cmake(prefix, tmp_path):
    build = tmp_path / "build"
    run("cmake", "-S", TREE / "examples/cppHost", "-B", build, f"-DCMAKE_PREFIX_PATH={prefix}", f"-DCMAKE_CXX_FLAGS={WARNINGS}")
    run("cmake", "--build", build)
    printed = run(build / "cppHost", FILE, env=environment_without("LD_LIBRARY_PATH"))
    dataset = pydicom.dcmread(FILE)
    values = dataset.pixel_array * int(dataset.RescaleSlope) + int(dataset.RescaleIntercept)
    assert printed.startswith(f"PatientName: {dataset.PatientName}\nModality: CT\nRows: {dataset.Rows}\n")
    assert f"values: 2 dimensions, {values.min()} to {values.max()}\n" in printed
    assert "OpenFileError" in printed
    # What it loads lies in this installation, and nowhere else.
    cache = (build / "CMakeCache.txt").read_text(encoding="utf-8")
    assert f"Radvex_DIR:PATH={prefix}/lib/cmake/Radvex" in cache
