"""The packages: what they hold and need, and that they work on a system that holds nothing else."""

import json
import os
import re
import struct

import numpy as np
import pydicom
from conftest import BUILD, SAMPLES, TREE, run


def contents(package):
    """The files and links of a package, from the root on."""
    listed = run("dpkg-deb", "--contents", package)
    paths = (re.split(r"\s+", line, maxsplit=5)[5].split(" -> ")[0] for line in listed.splitlines())
    return {path[1:] for path in paths if not path.endswith("/")}


def depends(package):
    """The packages that one depends on, with what is said about their version."""
    return [part.strip() for part in run("dpkg-deb", "--field", package, "Depends").split(",")]


def values(path):
    """The modality values of a file, by pydicom."""
    dataset = pydicom.dcmread(path)
    return dataset.pixel_array * float(dataset.RescaleSlope) + float(dataset.RescaleIntercept)


def test_all_of_an_installation_is_in_the_package_of_its_kind(installed, packages):
    held = {name: {path[:-3] if path.startswith("/usr/share/man/") else path for path in contents(file)}
            for name, file in packages.items()}
    assert sorted(held) == ["libradvex-dev", "python3-radvex", "radvex"]
    for path in installed.rglob("*"):
        if path.is_dir() and not path.is_symlink():
            continue
        name = "/usr/" + str(path.relative_to(installed))
        name = name.replace("/zsh/site-functions/", "/zsh/vendor-completions/")
        is_for_builds = re.match(r"/usr/(include|lib/cmake|lib/pkgconfig|lib/.*\.a$)", name)
        assert name in held["libradvex-dev" if is_for_builds else "radvex"]
    assert "/usr/lib/python3/dist-packages/radvex/__init__.py" in held["python3-radvex"]


def test_dependencies_are_those_of_the_libraries_that_are_used(packages):
    needed = depends(packages["radvex"])
    assert any(re.match(r"libicu\d+ \(>= ", part) for part in needed)
    assert any(part.startswith("libc6 (>= ") for part in needed)
    assert not [part for part in needed if "dcmtk" in part] # it is in the package
    version = run("dpkg-deb", "--field", packages["radvex"], "Version").strip()
    for name in ("libradvex-dev", "python3-radvex"):
        assert f"radvex (= {version})" in depends(packages[name])
    assert any(part.startswith("python3 (<< ") for part in depends(packages["python3-radvex"]))


def test_no_package_offers_its_own_libraries_to_others(packages, tmp_path):
    for name, package in packages.items():
        run("dpkg-deb", "--control", package, tmp_path / name)
        assert not (tmp_path / name / "shlibs").exists()
        assert not (tmp_path / name / "triggers").exists() # of ldconfig, which looks in public folders


def test_lintian_finds_nothing_but_what_the_overrides_explain(packages, tmp_path):
    # Its programs keep files of their own, and a test must not use those of the user.
    environment = {**os.environ, "HOME": str(tmp_path), "TMPDIR": str(tmp_path)}
    assert run("lintian", "--allow-root", "--fail-on=error,warning", *packages.values(), env=environment) == ""


def test_every_override_has_its_reason():
    for file in (TREE / "scripts/debian").glob("*.lintian-overrides"):
        lines = file.read_text(encoding="utf-8").splitlines()
        for before, line in zip(["", *lines], lines):
            assert line.startswith("#") or before.startswith("#"), f"{file.name}: {line}"


def test_the_copyright_names_every_library_of_the_page(packages, tmp_path):
    run("dpkg-deb", "--extract", packages["radvex"], tmp_path)
    text = (tmp_path / "usr/share/doc/radvex/copyright").read_text(encoding="utf-8")
    assert text == (TREE / "scripts/debian/copyright").read_text(encoding="utf-8")
    lock = json.loads((TREE / "view/page/package-lock.json").read_text(encoding="utf-8"))["packages"]
    libraries = [path.split("node_modules/")[-1] for path, about in lock.items()
                 if path and not about.get("dev") and not about.get("optional")]
    assert "@niivue/niivue" in libraries
    words = re.split(r"[\s,]+|volume\.js/", text)
    assert [library for library in libraries if library not in words] == []


def test_every_licence_that_is_named_stands_in_the_copyright():
    text = (TREE / "scripts/debian/copyright").read_text(encoding="utf-8")
    named = {licence for line in re.findall(r"^License: (.*)\n(?! )", text, flags=re.MULTILINE) for licence in line.split(" and ")}
    given = set(re.findall(r"^License: (.*)\n(?= )", text, flags=re.MULTILINE))
    assert named == given


class TestOnAFreshSystem:
    """The main steps of the demonstration, on a system that holds nothing else."""

    def test_nothing_of_another_installation_is_there(self, system):
        assert not system.path("usr/lib/python3/dist-packages/pydicom").exists()
        assert not list(system.path("usr/lib").rglob("libdcmdata*"))
        assert len(list(system.path("usr/lib").rglob("libdcmtk.so.17"))) == 1

    def test_attributes(self, system):
        dataset = pydicom.dcmread(SAMPLES / "CT_small.dcm")
        printed = system.run("radvex", "tags", "--json", "--tag", "PatientName", "--tag", "Rows", "samples/CT_small.dcm")
        assert json.loads(printed) == {"PatientName": str(dataset.PatientName), "Rows": dataset.Rows}

    def test_a_picture(self, system):
        system.run("radvex", "image", "--window", "400,40", "-o", "tmp/ct.png", "samples/CT_small.dcm")
        header = system.path("tmp/ct.png").read_bytes()[:24]
        assert header[:8] == b"\x89PNG\r\n\x1a\n"
        assert struct.unpack(">II", header[16:]) == (128, 128)

    def test_values(self, system):
        system.run("radvex", "data", "-o", "tmp/ct.npy", "samples/CT_small.dcm")
        assert np.array_equal(np.load(system.path("tmp/ct.npy")), values(SAMPLES / "CT_small.dcm"))

    def test_a_volume(self, system):
        system.run("radvex", "volume", "samples/CT5N", "-o", "tmp/volume.npy")
        slices = sorted((SAMPLES / "dicomdirtests/98892001/CT5N").iterdir(),
                        key=lambda path: pydicom.dcmread(path).InstanceNumber)
        assert np.array_equal(np.load(system.path("tmp/volume.npy")), [values(path) for path in slices])

    def test_a_report(self, system):
        system.run("radvex", "view", "samples/CT5N", "--report", "tmp/report.html")
        assert "SmartScore" in system.path("tmp/report.html").read_text(encoding="utf-8")

    def test_a_saved_page(self, system):
        parts = system.path("usr/share/radvex/page")
        if not (BUILD / "page/index.html").exists(): # built without npm: the command says so, and the package is whole
            assert not parts.exists()
            return
        system.run("radvex", "view", "samples/CT5N", "--save", "tmp/page.html")
        saved = system.path("tmp/page.html").read_text(encoding="utf-8")
        assert saved.startswith("<!doctype html>") and len(saved) > (parts / "page.js").stat().st_size

    def test_a_new_file_and_one_without_its_patient(self, system):
        system.run("radvex", "write", "tmp/ct.png", "--tag", "PatientName=Doe^Jane", "-o", "tmp/new.dcm")
        assert pydicom.dcmread(system.path("tmp/new.dcm")).PatientName == "Doe^Jane"
        system.run("radvex", "anonymize", "tmp/new.dcm", "tmp/anonymous.dcm", "--set", "PatientName=Nobody")
        assert pydicom.dcmread(system.path("tmp/anonymous.dcm")).PatientName == "Nobody"

    def test_python(self, system):
        ask = ("import radvex; v = radvex.values('samples/CT_small.dcm'); print(int(v.max()), v.meaning.unit);"
               "print(radvex.volume('samples/CT5N').shape); print(radvex.__version__)")
        expected = values(SAMPLES / "CT_small.dcm")
        version = run("dpkg-parsechangelog", "-l", TREE / "scripts/debian/changelog", "--show-field", "Version").split("-")[0]
        printed = system.run("python3", "-c", ask)
        assert printed.splitlines() == [f"{int(expected.max())} HU", "(5, 16, 16)", version]

    def test_an_archive(self, system):
        system.run("radvex-archive", "index", "samples", "tmp/index.sqlite", "--workers", "0")
        found = system.run("radvex-archive", "find", "tmp/index.sqlite", "--where", "Modality = 'RTDOSE'", "--paths")
        assert found == "rtdose.dcm\n"

    def test_other_programs_link_with_it(self, system):
        description = system.path("usr/lib/pkgconfig")
        flags = run("pkg-config", "--cflags", "--libs", "radvex", env={**os.environ, "PKG_CONFIG_PATH": str(description)}).split()
        run("cc", TREE / "examples/smallHost.c", *flags, "-o", system.path("tmp/smallHost"))
        printed = system.run("tmp/smallHost", "usr/lib/radvex/Radvex.so", "samples/CT_small.dcm")
        assert "PatientName: CompressedSamples^CT1\n" in printed

    def test_removing_them_leaves_nothing(self, system):
        # The last test of the system. What tests made and the packages themselves lie in /tmp.
        made = [path for path in system.folder.rglob("*radvex*") if "tmp" not in path.relative_to(system.folder).parts[:1]]
        assert made
        system.remove()
        left = [path for path in made if os.path.lexists(path)]
        assert left == []
