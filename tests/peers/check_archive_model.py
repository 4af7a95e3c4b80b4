"""Whether the simulation of bench/archive, and the formula beside it, say what can be computed by hand; and whether
the real client, before simulated workers, does the same. Usage: check_archive_model.py
"""

import math
import os
import sqlite3
import sys
import tempfile
import unittest
from contextlib import closing

BENCH = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "bench", "archive")
sys.path.insert(0, BENCH)

from client import Clock, run_client  # noqa: E402
from costs import FREE, Archive, Storage, load, mean_write_cost, write_cost  # noqa: E402
from events import simulate  # noqa: E402
from formula import answer, batch_size  # noqa: E402

ARCHIVE = Archive(40_000, 200, 0)  # 20 batches of 2000, if a file takes no more than a millisecond
LOCAL = Storage()


def seconds(costs, storage=LOCAL, workers=1, archive=ARCHIVE):
    return simulate(costs, archive, storage, workers).seconds


class Simulation(unittest.TestCase):
    def near(self, found, expected):
        self.assertAlmostEqual(found / expected, 1, 6)

    def test_one_worker_alone_needs_the_sum_of_what_it_does(self):
        self.near(seconds(FREE._replace(read_file=1e-3)), 40)
        self.near(seconds(FREE._replace(read_file=5e-4, read_batch=0.5)), 20 + 20 * 0.5)
        self.near(seconds(FREE._replace(read_file=1e-3), Storage(file_latency=2e-3)), 120)

    def test_workers_share_batches_and_no_halves_of_them(self):
        costs = FREE._replace(read_file=1e-3)
        for workers, rounds in ((1, 20), (2, 10), (3, 7), (10, 2), (19, 2), (20, 1), (21, 1), (256, 1)):
            self.near(seconds(costs, workers=workers), rounds * 2)

    def test_more_workers_than_needed_leave_the_slowest_serial_stage(self):
        reading = {"read_file": 1e-4}
        for stage, expected in (
            ({"compose_file": 2e-3}, 80 + 0.2),
            ({"receive_file": 1e-3}, 40 + 0.2),
            ({"write_file": [(1, 1e-3)]}, 40 + 0.2),
            ({"schedule_file": 1e-3}, 20 + 20),  # half on the way out, half on the way back
            ({"list_file": 1e-3}, 40 + 0.2),
            ({"submit_batch": 1.0}, 20 + 0.2),
        ):
            self.near(seconds(FREE._replace(**reading, **stage), workers=1000), expected)

    def test_what_the_client_does_adds_up(self):
        costs = FREE._replace(compose_file=1e-3, receive_file=2e-3, write_file=[(1, 3e-3)], finish_file=4e-3, start=7)
        self.near(seconds(costs, workers=4), 400 + 7)

    def test_storage_sends_no_more_than_its_bandwidth(self):
        costs = FREE._replace(read_bytes=1e6, read_file=1e-3)
        for workers in (1, 10):
            self.near(seconds(costs, Storage(bandwidth=1e8), workers), 400)
        self.near(seconds(costs, Storage(bandwidth=1e12), 10), 4)

    def test_latency_of_folders_and_of_names_is_paid_by_the_eight_threads_of_the_walk(self):
        self.near(seconds(FREE, Storage(folder_latency=0.5), workers=50), 200 * 0.5 / 8)
        self.near(seconds(FREE, Storage(stat_latency=0.01), workers=50), 400 / 8)

    def test_on_their_way_are_two_batches_for_each_worker_and_the_one_that_the_client_takes(self):
        costs = FREE._replace(read_file=1e-3)
        for workers, batches in ((1, 3), (3, 7), (9, 19), (10, 20), (100, 20)):
            self.assertEqual(simulate(costs, ARCHIVE, LOCAL, workers).most_files, batches * 2000)

    def test_a_batch_of_slow_files_takes_two_seconds(self):
        costs = FREE._replace(read_file=0.01, read_batch=0.5)  # 150 files, and more before the pace is known
        found = seconds(costs, archive=Archive(1_000_000, 200, 0))
        self.assertAlmostEqual(found / (1_000_000 / 150 * 2), 1, 2)
        self.assertEqual([batch_size(costs, LOCAL), batch_size(costs, Storage(file_latency=0.02))], [150, 50])
        self.assertEqual([batch_size(FREE, LOCAL), batch_size(FREE._replace(read_file=9), LOCAL)], [2000, 1])

    def test_the_last_batch_may_be_smaller(self):
        self.near(seconds(FREE._replace(read_file=1e-3), archive=Archive(2001, 200, 0)), 2.001)
        self.assertEqual(seconds(FREE, archive=Archive(0, 200, 0)), 0)

    def test_batches_follow_the_rule_of_the_client(self):
        self.assertEqual(Archive(1, 1, 0).batch_size(False), 2000)
        self.assertEqual(Archive(1, 1, 494_000).batch_size(True), 400)  # 0.00006 + 0.00494 seconds each
        self.assertEqual(Archive(1, 1, 494_000).batch_size(True, 4.0), 100)
        self.assertEqual(Archive(1, 1, 10**12).batch_size(True), 1)

    def test_costs_of_rows_lie_between_those_that_were_measured(self):
        costs = FREE._replace(write_file=[(100, 1.0), (10_000, 3.0)])
        for rows, expected in ((1, 1), (100, 1), (1000, 2), (10_000, 3), (10**9, 3)):
            self.near(write_cost(costs, rows), expected)
        self.near(mean_write_cost(costs, 100), 1)


class Formula(unittest.TestCase):
    def test_it_is_near_the_simulation_when_there_are_batches_for_all(self):
        costs = load(os.path.join(BENCH, "costs.json"))
        for workers in (1, 3, 16, 100):
            for latency in (0, 2e-3, 1e-2):
                storage = Storage(latency, latency, 0, 1e9)
                archive = Archive(40 * 2000 * workers)
                found = simulate(costs, archive, storage, workers).seconds
                self.assertLess(abs(answer(costs, archive, storage, workers).seconds / found - 1), 0.05)

    def test_it_names_the_slowest_stage(self):
        costs = FREE._replace(read_file=1e-4, compose_file=1e-5, list_file=1e-6, schedule_file=1e-6, read_bytes=1e4)
        for storage, workers, limit in (
            (LOCAL, 9, "workers"),
            (LOCAL, 11, "client"),
            (Storage(bandwidth=9.5e8), 9, "workers"),
            (Storage(bandwidth=9.5e8), 11, "storage"),
            (Storage(stat_latency=8 * 9.5e-6), 9, "workers"),
            (Storage(stat_latency=8 * 9.5e-6), 11, "listing"),
        ):
            with self.subTest(limit=limit, workers=workers):
                self.assertEqual(answer(costs, ARCHIVE, storage, workers).limit, limit)
        self.assertEqual(answer(costs._replace(schedule_file=2e-5), ARCHIVE, LOCAL, 11).limit, "scheduler")
        self.assertEqual(answer(costs, ARCHIVE, LOCAL, 9).stages["listing"], 1e6)


class Client(unittest.TestCase):
    """The real client, whose own work takes no time on a clock that stands still."""

    def run_real(self, costs, storage, workers, archive):
        with tempfile.TemporaryDirectory() as folder:
            clock = Clock(lambda: 0.0)
            return run_client(costs, archive, storage, workers, os.path.join(folder, "i.sqlite"), clock)

    def test_it_indexes_all_files_in_the_time_of_the_simulation(self):
        costs = FREE._replace(read_file=1e-3, read_batch=0.1, read_bytes=1e4)
        for workers in (1, 3, 20):
            for latency, size, bandwidth in (  # faster than the client expects, slower, and with slow storage
                (1e-3, 10**9, math.inf),
                (1e-2, 500_000, math.inf),
                (1e-3, 500_000, 1e7),
            ):
                archive, storage = Archive(21_000, 200, size), Storage(latency, bandwidth=bandwidth)
                found = self.run_real(costs, storage, workers, archive)
                self.assertEqual((found.counts["read"], found.counts["dicom"]), (21_000, 21_000))
                self.assertAlmostEqual(found.seconds, seconds(costs, storage, workers, archive), 6)
        found = self.run_real(costs, Storage(file_latency=1e-2), 20, Archive(21_000))
        self.assertAlmostEqual(found.seconds, 0.1 + 2000 * 0.011, 6)  # all were given out before the pace was known

    def test_what_it_writes_is_what_the_workers_found(self):
        with tempfile.TemporaryDirectory() as folder:
            path = os.path.join(folder, "i.sqlite")
            run_client(FREE, Archive(401), LOCAL, 1, path, Clock(lambda: 0.0))
            with closing(sqlite3.connect(path)) as index:
                found = index.execute(
                    "SELECT path, PatientID, InstanceNumber, Modality, Rows, NumberOfFrames FROM paths "
                    "WHERE path LIKE '%/000199.dcm' OR folder = 3 ORDER BY path"
                ).fetchall()
        self.assertEqual(found, [
            ("00000000/000199.dcm", "P00000000", "200", "MR", 512, None),
            ("00000001/000199.dcm", "P00000000", "200", "CT", 512, None),
            ("00000002/000000.dcm", "P00000000", "1", "CT", 512, None),
        ])

    def test_it_waits_for_the_walk(self):
        found = self.run_real(FREE, Storage(folder_latency=0.5), 8, Archive(4000))
        self.assertAlmostEqual(found.seconds, 20 * 0.5 / 8, 6)

    def test_a_clock_jumps_over_waiting_and_leaves_out_what_is_stopped(self):
        real = [100.0]
        clock = Clock(lambda: real[0])
        real[0] += 2
        clock.wait_until(10)
        clock.wait_until(5)
        self.assertTrue(math.isclose(clock.now(), 10))
        with clock.stopped():
            real[0] += 50
        self.assertTrue(math.isclose(clock.now(), 10))
        real[0] += 1
        self.assertTrue(math.isclose(clock.now(), 11))


if __name__ == "__main__":
    unittest.main()
