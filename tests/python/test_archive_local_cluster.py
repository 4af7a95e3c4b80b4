"""The cluster that a run starts on this machine."""

import os
import subprocess
import sys

import builders
import pytest

FILES = 7000
INDEX = """
import sys
from radvex.archive import index, _cluster

def refuse(crew):
    raise OSError("There are no workers today.")

if __name__ == "__main__":
    if len(sys.argv) > 3:
        _cluster.Crew._started = refuse
    print(index(sys.argv[1], sys.argv[2], workers=2)["read"])
"""


@pytest.fixture
def archive(tmp_path):
    """More files than two batches have, so that workers are needed and what lists the files has to wait for us."""
    made = builders.content(builders.picture(builders.places(0), SeriesInstanceUID="1.2.3"))
    for number in range(FILES):
        builders.put(str(tmp_path / "archive" / f"{number:0200}" / f"{number}.dcm"), made)
    (tmp_path / "index.py").write_text(INDEX)
    return tmp_path


def indexed(place, *words, **environment):
    command = [sys.executable, place / "index.py", place / "archive", place / "i.sqlite", *words]
    return subprocess.run(
        command, env={**os.environ, **environment}, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True, timeout=120
    )


def test_the_path_of_the_temporary_folder_may_be_too_long_for_sockets(archive):
    long = archive / ("long" * 30)
    long.mkdir()
    done = indexed(archive, TMPDIR=str(long))
    assert (done.returncode, done.stdout) == (0, f"{FILES}\n"), done.stderr
    assert list(long.iterdir()) == []


def test_an_error_while_files_are_listed_ends_the_interpreter(archive):
    """What lists them is then closed when no thread can be started any more."""
    done = indexed(archive, "refuse")
    assert done.returncode == 1 and done.stderr.endswith("OSError: There are no workers today.\n")
