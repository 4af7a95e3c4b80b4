"""A process that reads for long stays as it was."""

import os

import builders

READS = """
    import gc, os, sys
    import psutil
    import radvex
    from radvex import _radvex

    samples, generated, missing = sys.argv[1:]
    good = [os.path.join(samples, name) for name in ("MR_small.dcm", "rtplan.dcm", "JPEG2000.dcm")] + [generated]
    content = open(generated, "rb").read()

    def attempt(read):
        try:
            read()
            return 1
        except (radvex.Error, KeyError, OSError, ValueError):
            return 0

    def opens(times):
        succeeded = failed = 0
        for number in range(times):
            source = content if number % 10 == 9 else good[number % 4]
            with radvex.open(source) as file:
                for read in (lambda: file["PatientName"], lambda: file["Nonsense"], lambda: file.get("Rows")):
                    was = attempt(read)
                    succeeded, failed = succeeded + was, failed + 1 - was
                if number % 10 in (3, 4, 5):
                    for read in (file.values, file.image, file.tags, lambda: file.image(frame=99)):
                        was = attempt(read)
                        succeeded, failed = succeeded + was, failed + 1 - was
            if number % 10 == 7:
                failed += 1 - attempt(lambda: radvex.open(missing))
                failed += 1 - attempt(lambda: radvex.open(b"no DICOM"))
                failed += 1 - attempt(lambda: radvex.call("ReadImage", generated, 0, 0, [1.0]))
                failed += 1 - attempt(lambda: radvex.call("GetFrameCount", 2**31))
        radvex.call("ClearCache")
        gc.collect()
        return succeeded, failed

    process = psutil.Process()
    opens(2000)
    memory, descriptors = process.memory_info().rss, process.num_fds()
    succeeded, failed = opens(10000)
    grown = process.memory_info().rss - memory
    assert succeeded > 20000 and failed > 10000, (succeeded, failed)
    print(grown // 1024, process.num_fds() - descriptors)
    _radvex.close()
    print(_radvex.account())
"""


def test_ten_thousand_files_leave_nothing_behind(samples, tmp_path):
    path = builders.written(tmp_path, builders.picture(builders.places(2, 30, 50), PatientName="A^B"))
    printed = builders.run(READS, samples, path, str(tmp_path / "missing.dcm"), timeout=60).splitlines()
    grown, descriptors = map(int, printed[0].split())
    assert grown < 2048, f"{grown} KiB more than after the first 2,000 files"
    assert descriptors == 0
    assert printed[1] == "(0, [])"


def test_descriptors_of_failed_opens_are_closed(samples, tmp_path):
    script = """
        import os, sys
        import radvex

        def descriptors():
            return len(os.listdir("/proc/self/fd"))

        radvex.tags(sys.argv[1])
        before = descriptors()
        for _ in range(50):
            for wrong in (b"no DICOM", sys.argv[2], os.path.dirname(sys.argv[1])):
                try:
                    radvex.open(wrong)
                except OSError:
                    continue
                raise SystemExit("opened")
        print(descriptors() - before)
    """
    found = builders.run(script, os.path.join(samples, "CT_small.dcm"), str(tmp_path / "missing.dcm"))
    assert found == "0\n"
