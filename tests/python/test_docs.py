"""The page docs/python.md: every example runs, is typed, and names all that is public."""

import doctest
import inspect
import os
import pathlib
import re
import subprocess
import sys
import warnings

import phantom
import pytest
import radvex

PAGE = pathlib.Path(__file__).resolve().parent / "python.md"
if not PAGE.exists():  # run from the tree
    PAGE = pathlib.Path(__file__).resolve().parents[2] / "docs" / "python.md"
SAMPLES = (
    "CT_small.dcm JPEG2000.dcm MR_small.dcm MR_truncated.dcm README.txt SC_rgb_small_odd.dcm "
    "dicomdirtests rtdose.dcm test-SR.dcm"
).split()


def examples():
    """The blocks of the page as they stand."""
    return re.findall(r"^```python\n(.*?)^```$", PAGE.read_text(encoding="utf-8"), flags=re.MULTILINE | re.DOTALL)


@pytest.fixture
def place(tmp_path, monkeypatch):
    """A folder with the files that the page reads."""
    for name in SAMPLES:
        os.symlink(os.path.join(os.environ["RADVEX_SAMPLES"], name), tmp_path / name)
    phantom.write_series(tmp_path / "phantom")
    phantom.write_times(tmp_path / "times")
    monkeypatch.chdir(tmp_path)
    return tmp_path


def run_examples(text):
    """Failures and tries of the examples in a text, and what was said of the failures."""
    said = []
    test = doctest.DocTestParser().get_doctest(text, {"__name__": "page"}, PAGE.name, str(PAGE), 0)
    runner = doctest.DocTestRunner(optionflags=doctest.ELLIPSIS)
    with warnings.catch_warnings():
        warnings.simplefilter("error", radvex.RadvexWarning)
        result = runner.run(test, out=said.append)
    return result.failed, result.attempted, "".join(said)


def test_every_example_of_the_page_gives_what_the_page_shows(place):
    failed, attempted, said = run_examples(PAGE.read_text(encoding="utf-8"))
    assert failed == 0, said
    assert attempted > 150


def test_every_example_in_a_docstring_gives_what_it_shows(place):
    names = ("_deidentify", "_file", "_library", "_volume")
    documented = [radvex, *(sys.modules["radvex." + name] for name in names)]
    found = [test for module in documented for test in doctest.DocTestFinder().find(module) if test.examples]
    assert len(found) == len(documented)
    runner = doctest.DocTestRunner()
    said = []
    for test in found:
        test.globs = {"radvex": radvex}
        runner.run(test, out=said.append)
    assert runner.failures == 0, "".join(said)


def test_an_example_with_another_result_is_noticed(place):
    failed, attempted, said = run_examples('>>> import radvex\n>>> radvex.open("CT_small.dcm")["Rows"]\n127\n')
    assert (failed, attempted) == (1, 2)
    assert "128" in said


def test_the_examples_have_at_least_200_lines():
    lines = [line for block in examples() for line in block.splitlines() if line.startswith((">>> ", "... "))]
    assert len(lines) >= 200


def test_all_examples_stand_in_blocks_for_python():
    in_blocks = "".join(examples())
    assert PAGE.read_text(encoding="utf-8").count("\n>>> ") == ("\n" + in_blocks).count("\n>>> ")


def mypy(folder, *arguments):
    """What mypy --strict says, and its exit status."""
    environment = {**os.environ, "PYTHONPATH": os.path.dirname(os.path.dirname(radvex.__file__))}
    done = subprocess.run(
        [sys.executable, "-m", "mypy", "--strict", "--cache-dir", str(folder / "cache"), *arguments],
        cwd=folder,
        env=environment,
        capture_output=True,
        text=True,
    )
    return done.returncode, done.stdout + done.stderr


def script():
    """The examples as one program."""
    return doctest.script_from_examples("\n".join(examples()))


# They bring no types.
PEERS = "[mypy-pydicom.*,nibabel.*,xarray.*]\nignore_missing_imports = True\n"


def test_the_package_and_the_examples_pass_mypy_strict(tmp_path):
    (tmp_path / "mypy.ini").write_text("[mypy]\n" + PEERS)
    (tmp_path / "page.py").write_text(script())
    (tmp_path / "wrong.py").write_text('import radvex\n\nradvex.volume("folder", four_d="yes").shape.nothing\n')
    status, said = mypy(tmp_path, "-p", "radvex", "-m", "page")
    assert status == 0, said
    status, said = mypy(tmp_path, "wrong.py")
    assert status == 1 and "arg-type" in said and "attr-defined" in said


def described(thing):
    return bool(inspect.getdoc(thing)) and (not isinstance(thing, type) or thing.__doc__ is not None)


def test_all_that_is_public_has_a_docstring():
    public = [getattr(radvex, name) for name in [*radvex.__all__, "open"] if name != "__version__"]
    classes = [thing for thing in public if isinstance(thing, type)]
    members = [
        member
        for each in classes
        for name, member in vars(each).items()
        if not name.startswith("_") and (callable(member) or isinstance(member, property))
    ]
    functions = [getattr(radvex.functions, name) for name in radvex.functions.__all__]
    assert len(public) > 20 and len(members) > 20 and len(functions) > 20
    assert [thing for thing in public + members + functions if not described(thing)] == []


def test_all_that_is_public_is_on_the_page():
    page = PAGE.read_text(encoding="utf-8")
    assert [name for name in [*radvex.__all__, "open"] if not re.search(rf"\b{name}\b", page)] == []


def test_every_page_that_the_page_links_is_known():
    links = re.findall(r"\]\(([\w/.-]+)\)", PAGE.read_text(encoding="utf-8"))
    known = {"archives.md", "deidentification.md", "formats.md", "functions.md", "pictures/python-volume.png", "view.md", "volumes.md",
             "writing-files.md"}
    assert set(links) == known


def test_the_import_brings_nothing_along_that_is_used_later():
    code = "import sys, numpy; before = set(sys.modules); import radvex; print(*sorted(set(sys.modules) - before))"
    done = subprocess.run([sys.executable, "-c", code], check=True, stdout=subprocess.PIPE, encoding="utf-8")
    brought = {name.partition(".")[0] for name in done.stdout.split()}
    assert "radvex" in brought
    assert not brought & {"nibabel", "xarray", "pandas", "tqdm", "dask", "distributed", "multiprocessing", "asyncio"}


def test_the_head_has_the_lesion_that_the_page_tells_of():
    head = phantom.hounsfield_units()
    assert head.shape == phantom.SHAPE
    k, j, i = (head == phantom.LESION).nonzero()
    millimetres = [corner + step * at.mean() for corner, step, at in zip(phantom.CORNER, phantom.SPACING, (k, j, i))]
    assert [round(each, 6) for each in millimetres] == [9, -20, 40]
    assert len(k) * 6 * 2 * 2.5 == 6840  # a sphere of 12 mm has 7238 cubic millimetres
