"""Several threads, and processes that come of a fork."""

import multiprocessing
import os
import threading
import time

import numpy as np
import pydicom
import pytest

import builders
import radvex

THREADS = 16


def in_threads(work, count=THREADS, seconds=60):
    """Runs work(number) in threads, and raises what any of them raised."""
    errors = []

    def guarded(number):
        try:
            work(number)
        except BaseException as error:
            errors.append(error)

    threads = [threading.Thread(target=guarded, args=(number,), daemon=True) for number in range(count)]
    for thread in threads:
        thread.start()
    end = time.monotonic() + seconds
    for thread in threads:
        thread.join(max(0.1, end - time.monotonic()))
    assert not any(thread.is_alive() for thread in threads), "a thread hangs"
    if errors:
        raise errors[0]


def test_threads_that_read_one_file_get_what_one_thread_gets(samples):
    path = os.path.join(samples, "CT_small.dcm")
    values, name = np.array(radvex.values(path)), radvex.tags(path, "PatientName")

    def read(_):
        for _ in range(20):
            with radvex.open(path) as file:
                assert np.array_equal(file.values(), values)
                assert file["PatientName"] == name["PatientName"]

    in_threads(read)


def test_threads_that_read_different_files_get_what_one_thread_gets(tmp_path):
    arrays = [builders.places(2, 30, 50) + number for number in range(THREADS)]
    paths = [
        builders.written(tmp_path, builders.picture(array, PatientID=str(number)), f"{number}.dcm")
        for number, array in enumerate(arrays)
    ]

    def read(number):
        for step in range(20):
            which = (number + step) % THREADS
            with radvex.open(paths[which]) as file:
                assert file["PatientID"] == str(which)
                assert np.array_equal(file.values(), arrays[which])
                assert np.array_equal(file.image(scaling="none", frame=1), arrays[which][1])

    in_threads(read)


def test_threads_may_share_an_open_file(tmp_path):
    array = builders.places(15, 30, 50)
    path = builders.written(tmp_path, builders.picture(array))
    with radvex.open(path) as file:

        def read(number):
            for step in range(15):
                frame = (number + step) % 15
                assert np.array_equal(file.values(frame=frame), array[frame])
                assert file["Rows"] == 30

        in_threads(read)


def test_threads_may_write_and_call(tmp_path):
    def work(number):
        for step in range(10):
            array = builders.places(0) + 100 * number + step
            path = str(tmp_path / f"{number}.dcm")
            radvex.write(path, array, {"PatientID": str(number)}, force=True)
            assert radvex.call("ReadMetadata", path, ["PatientID"])[0] == str(number)
            assert np.array_equal(radvex.values(path), array)

    in_threads(work)


def test_other_threads_run_during_a_long_call(tmp_path):
    array = np.random.default_rng(1).integers(0, 256, (120, 500, 500), "u1")
    path = str(tmp_path / "long.dcm")
    radvex.write(path, array, compress="JPEGLossless")
    counts, stop = [], threading.Event()

    def count():
        while not stop.is_set():
            counts.append(time.monotonic())
            time.sleep(0.001)

    counter = threading.Thread(target=count, daemon=True)
    counter.start()
    start = time.monotonic()
    values = radvex.values(path)
    end = time.monotonic()
    stop.set()
    counter.join(10)
    assert np.array_equal(values, array)
    assert end - start > 0.1, "the call is too short to say anything"
    during = [moment for moment in counts if start + 0.01 < moment < end - 0.01]
    # A call that kept the interpreter to itself would leave none, or those of its end.
    assert len(during) > 10
    assert max(np.diff([start, *during, end])) < 0.5 * (end - start)


# Forks: a child ends with a status, and is ended if it does not.


def child(work):
    """The process number of a fork that runs `work` and ends with status 0 if all went well."""
    number = os.fork()
    if number == 0:
        status = 1
        try:
            work()
            status = 0
        finally:
            os._exit(status)
    return number


def await_all(numbers, seconds=60):
    """Waits until all children ended well."""
    end = time.monotonic() + seconds
    left = set(numbers)
    bad = []
    while left and time.monotonic() < end:
        for number in list(left):
            ended, status = os.waitpid(number, os.WNOHANG)
            if ended:
                left.remove(number)
                if status:
                    bad.append(status)
        time.sleep(0.002)
    for number in left:
        os.kill(number, 9)
        os.waitpid(number, 0)
    assert not left, f"{len(left)} children hang"
    assert not bad, f"children ended with {bad}"


def test_children_of_a_fork_read_what_their_parent_reads(samples):
    path = os.path.join(samples, "CT_small.dcm")
    expected = np.array(radvex.values(path))

    def read():
        for _ in range(5):
            assert np.array_equal(radvex.values(path), expected)

    await_all([child(read) for _ in range(4)])
    assert np.array_equal(radvex.values(path), expected)


FORKS_WHILE_THREADS_READ = """
    import os, signal, sys, threading
    import numpy as np
    import radvex

    path = sys.argv[1]
    expected = np.array(radvex.values(path))
    stop = threading.Event()

    def read():
        while not stop.is_set():
            with radvex.open(path) as file:
                assert np.array_equal(file.values(), expected)

    threads = [threading.Thread(target=read, daemon=True) for _ in range(4)]
    for thread in threads:
        thread.start()
    statuses = []
    for _ in range(100):
        number = os.fork()
        if number == 0:
            signal.alarm(10)
            with radvex.open(path) as file:
                is_right = np.array_equal(file.values(), expected)
            os._exit(0 if is_right else 1)
        statuses.append(os.waitpid(number, 0)[1])
    stop.set()
    for thread in threads:
        thread.join(10)
    print(len(statuses), set(statuses))
"""


def test_a_fork_while_other_threads_read_harms_nobody(samples):
    path = os.path.join(samples, "CT_small.dcm")
    assert builders.run(FORKS_WHILE_THREADS_READ, path, timeout=15) == "100 {0}\n"


def test_parent_and_children_read_late_pixels_of_one_open_file(tmp_path):
    """Pixels are read when they are asked for, from a descriptor that parent and children share."""
    array = np.random.default_rng(2).integers(0, 65536, (4, 100, 130), "u2")
    path = builders.written(tmp_path, builders.picture(array))
    for _ in range(50):
        with radvex.open(path) as file:
            assert file["Rows"] == 100
            ready, go = os.pipe()

            def read():
                os.read(ready, 1)
                assert np.array_equal(file.values(), array)

            children = [child(read) for _ in range(4)]
            os.write(go, b"12345")
            try:
                read()
            finally:
                await_all(children)
                os.close(ready)
                os.close(go)


def test_children_read_a_file_in_memory_of_their_parent(tmp_path):
    array = builders.places(2, 100, 130)
    with radvex.open(builders.content(builders.picture(array))) as file:

        def read():
            assert np.array_equal(file.values(), array)
            file.close()

        await_all([child(read) for _ in range(4)])
        assert np.array_equal(file.values(), array)


def test_an_array_of_the_parent_is_an_array_of_its_children(samples):
    values = radvex.values(os.path.join(samples, "CT_small.dcm"))
    expected = np.array(values)

    def use():
        assert np.array_equal(values, expected)

    def drop():
        nonlocal values
        del values

    await_all([child(use), child(drop), child(use)])
    assert np.array_equal(values, expected)


def largest(path):
    """For pools, which find it by its name."""
    return int(radvex.values(path).max())


@pytest.mark.parametrize("method", ["fork", "spawn", "forkserver"])
def test_pools_of_processes_read_files(samples, method):
    names = ["CT_small.dcm", "MR_small.dcm"] * 5
    paths = [os.path.join(samples, name) for name in names]
    expected = []
    for path in paths:
        made = pydicom.dcmread(path)
        scale, intercept = getattr(made, "RescaleSlope", 1), getattr(made, "RescaleIntercept", 0)
        expected.append(int(made.pixel_array.max() * scale + intercept))
    assert largest(paths[0]) == expected[0]  # so that a fork has a library that was used
    with multiprocessing.get_context(method).Pool(2) as pool:
        assert pool.map_async(largest, paths).get(60) == expected


# What the garbage collector and callbacks do in the middle of a call


def test_a_file_may_be_collected_during_a_call(samples):
    script = """
        import gc, sys
        import radvex

        path = sys.argv[1]

        def lose():
            file = radvex.open(path)
            file.itself = file  # only the collector frees it

        gc.set_threshold(1)
        for _ in range(100):
            lose()
            assert radvex.call("ReadAllMetadata", path, ["PixelData"])["Rows"] == 128
        print("done")
    """
    assert builders.run(script, os.path.join(samples, "CT_small.dcm"), timeout=10) == "done\n"


def test_an_argument_may_use_the_library_itself(samples):
    script = """
        import sys
        import radvex

        class Path:
            def __fspath__(self):
                with radvex.open(sys.argv[1]) as file:
                    return file.path

        print(radvex.call("GetFrameCount", Path()))
    """
    assert builders.run(script, os.path.join(samples, "rtdose.dcm"), timeout=10) == "15\n"


def test_a_signal_handler_may_use_the_library(samples):
    script = """
        import signal, sys
        import radvex

        path = sys.argv[1]
        seen = []

        def handle(*_):
            with radvex.open(path) as file:
                seen.append(file["Rows"])

        signal.signal(signal.SIGALRM, handle)
        signal.setitimer(signal.ITIMER_REAL, 0.002, 0.002)
        while len(seen) < 200:
            radvex.call("ReadAllMetadata", path, ["PixelData"])
            with radvex.open(path) as file:
                file.tags()
        signal.setitimer(signal.ITIMER_REAL, 0)
        print(set(seen))
    """
    assert builders.run(script, os.path.join(samples, "CT_small.dcm"), timeout=15) == "{128}\n"
