"""Arguments and files that would give wrong numbers, crash the interpreter or make it wait for ever."""

import gc
import io
import os
import subprocess
import sys
import warnings

import numpy as np
import pytest

import builders
import radvex


def test_an_image_of_more_rows_than_a_file_can_say_is_refused(tmp_path):
    for shape in ((65536, 1), (1, 65536), (2, 70000, 3)):
        with pytest.raises(ValueError, match="65535"):
            radvex.write(tmp_path / "new.dcm", np.zeros(shape, "u1"), colour=False)
    assert not (tmp_path / "new.dcm").exists()
    radvex.write(tmp_path / "new.dcm", np.arange(65535, dtype="u2").reshape(65535, 1))
    assert radvex.image(tmp_path / "new.dcm", (65535, 32768)).shape == (65535, 1)


def test_a_large_slope_does_not_overflow():
    dataset = builders.picture(np.array([[13, 14]], "u2"))
    dataset.RescaleSlope, dataset.RescaleIntercept = "1000000000", "0"
    assert radvex.values(builders.content(dataset)).tolist() == [[13e9, 14e9]]
    dataset.RescaleSlope = "10000"  # below 2^31
    assert radvex.values(builders.content(dataset)).tolist() == [[130000, 140000]]


def test_unsigned_values_of_32_bits_and_an_intercept_do_not_overflow():
    dataset = builders.picture(np.array([[4294967295, 5]], "u4"))
    dataset.RescaleSlope, dataset.RescaleIntercept = "1", "-1"
    assert radvex.values(builders.content(dataset)).tolist() == [[4294967294, 4]]


def test_a_number_that_no_number_can_hold_stays_text():
    dataset = builders.dataset()
    dataset.add_new(0x00200013, "IS", "7")
    content = builders.content(dataset)
    long = builders.dataset()
    long.add_new(0x00200013, "IS", "")
    assert radvex.tags(content, "InstanceNumber") == {"InstanceNumber": 7}
    at = content.index(b"\x20\x00\x13\x00IS")
    digits = b"9" * 24
    changed = content[: at + 6] + len(digits).to_bytes(2, "little") + digits + content[at + 10 :]
    assert radvex.tags(changed, "InstanceNumber") == {"InstanceNumber": "9" * 24}


def test_text_with_a_null_character_is_no_path_and_no_tag(tmp_path):
    array = np.zeros((2, 3), "u1")
    with pytest.raises(ValueError):
        radvex.write(f"{tmp_path}/new.dcm\0.bak", array)
    with pytest.raises((ValueError, FileNotFoundError)):
        radvex.open(f"{tmp_path}/new.dcm\0.bak")
    assert os.listdir(tmp_path) == []
    radvex.write(tmp_path / "new.dcm", array)
    with radvex.open(tmp_path / "new.dcm") as file:
        with pytest.raises(ValueError):
            file["Rows\0x"]
        assert file["Rows"] == 2


def test_masked_pixels_are_refused(tmp_path):
    array = np.ma.masked_array(np.zeros((2, 3), "u1"), mask=[[1, 0, 0], [0, 0, 0]])
    with pytest.raises(radvex.UsageError, match="masked"):
        radvex.write(tmp_path / "new.dcm", array)
    radvex.write(tmp_path / "new.dcm", array.filled(0))
    radvex.write(tmp_path / "other.dcm", np.ma.masked_array(np.zeros((2, 3), "u1")))  # nothing is masked


def run(code, *arguments, seconds=60):
    return subprocess.run(
        [sys.executable, "-c", code, *map(str, arguments)],
        stdout=subprocess.PIPE,
        stderr=subprocess.PIPE,
        timeout=seconds,
        encoding="utf-8",
    )


def test_the_interpreter_may_end_while_other_threads_read(samples):
    code = """
import sys, threading, time, radvex
def loop():
    while True:
        radvex.values(sys.argv[1])
for _ in range(3):
    threading.Thread(target=loop, daemon=True).start()
time.sleep(0.3)
"""
    for _ in range(5):
        done = run(code, os.path.join(samples, "CT_small.dcm"))
        assert done.returncode == 0, done.stderr


def test_the_first_arrays_may_be_made_by_several_threads(samples):
    code = """
import sys, threading, radvex
assert "numpy" not in sys.modules  # it loads when it is needed
path, found = sys.argv[1], []
makers = [
    lambda: radvex.values(path),
    lambda: radvex.image(path),
    lambda: radvex.call("ReadIntermediatePixelData", path, 1, 0),
    lambda: radvex.volume(path).array,
]
def make(index):
    found.append(makers[index % 4]().ndim)
threads = [threading.Thread(target=make, args=(index,)) for index in range(12)]
for thread in threads:
    thread.start()
for thread in threads:
    thread.join()
print(sorted(found))
"""
    for _ in range(5):
        done = run(code, os.path.join(samples, "CT_small.dcm"))
        assert done.returncode == 0 and eval(done.stdout) == [2] * 9 + [3] * 3, done.stderr


def test_files_that_are_collected_during_a_call_do_not_lock(samples):
    code = """
import gc, sys, threading, radvex
gc.set_threshold(1)
path = sys.argv[1]
def held():
    with radvex.open(path) as file:
        me.append(None)
        yield file
def cycles():
    global me
    for _ in range(200):
        me = []
        generator = held()
        next(generator)
        me.append(generator)
        del generator
        radvex.call("ReadMetadata", path, ["Rows", "Columns"])
def opens():
    for _ in range(400):
        radvex.open(path).close()
threads = [threading.Thread(target=work) for work in (cycles, opens)]
for thread in threads:
    thread.start()
for thread in threads:
    thread.join()
"""
    done = run(code, os.path.join(samples, "CT_small.dcm"))
    assert done.returncode == 0, done.stderr


def test_a_fork_whose_hooks_drop_arrays_does_not_lock(samples):
    code = """
import os, sys
held = []
os.register_at_fork(before=held.clear, after_in_child=held.clear)
import radvex
held.append(radvex.values(sys.argv[1]))
child = os.fork()
if child == 0:
    os._exit(0 if radvex.values(sys.argv[1]).max() == 1167 else 1)
sys.exit(os.waitstatus_to_exitcode(os.waitpid(child, 0)[1]))
"""
    assert run(code, os.path.join(samples, "CT_small.dcm")).returncode == 0


def test_a_forked_process_has_volumes_of_its_own(samples):
    volume = radvex.volume(os.path.join(samples, "CT_small.dcm"))
    before = volume.array.copy()
    child = os.fork()
    if child == 0:
        volume.array[:] = -1
        os._exit(0)
    os.waitpid(child, 0)
    assert np.array_equal(volume.array, before)


def test_volumes_hold_no_descriptors(samples):
    before = len(os.listdir("/proc/self/fd"))
    kept = [radvex.volume(os.path.join(samples, "CT_small.dcm")) for _ in range(5)]
    assert len(os.listdir("/proc/self/fd")) == before and len(kept) == 5


def test_a_file_that_cannot_be_opened_leaves_no_descriptor():
    before = len(os.listdir("/proc/self/fd"))
    for _ in range(5):
        with pytest.raises(radvex.OpenFileError):
            radvex.open(io.BytesIO(b"no file"))
    gc.collect()
    assert len(os.listdir("/proc/self/fd")) == before


def test_a_request_is_in_no_command_line(samples, tmp_path):
    import psutil

    seen = []

    def progress(*_):
        for each in psutil.Process().children(recursive=True):
            try:
                seen.extend(each.cmdline())
            except psutil.NoSuchProcess:
                pass

    with warnings.catch_warnings():
        warnings.simplefilter("ignore")
        radvex.tree(samples, patient="77654033", progress=progress, jobs=1)
    assert any("radvex-worker" in word for word in seen)
    assert not [word for word in seen if "77654033" in word]
