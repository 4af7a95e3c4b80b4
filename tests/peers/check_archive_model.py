"""Whether the simulation of bench/archive, and the formula beside it, say what can be computed by hand; and whether
the real client, before simulated workers, does the same. Usage: check_archive_model.py
"""

import math
import os
import sys
import tempfile
import unittest

BENCH = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "bench", "archive")
sys.path.insert(0, BENCH)

from client import Clock, run_client  # noqa: E402
from costs import Archive, Costs, Storage, load, mean_write_cost, write_cost  # noqa: E402
from events import simulate  # noqa: E402
from formula import answer  # noqa: E402

FREE = Costs(**{name: [(1, 0.0)] if name == "write_file" else 0.0 for name in Costs._fields})
ARCHIVE = Archive(40_000, 200, 0)  # ten batches of 4000
LOCAL = Storage()


def seconds(costs, storage=LOCAL, workers=1, archive=ARCHIVE):
    return simulate(costs, archive, storage, workers).seconds


class Simulation(unittest.TestCase):
    def near(self, found, expected):
        self.assertAlmostEqual(found / expected, 1, 6)

    def test_one_worker_alone_needs_the_sum_of_what_it_does(self):
        self.near(seconds(FREE._replace(read_file=1e-3)), 40)
        self.near(seconds(FREE._replace(read_file=1e-3, read_batch=0.5)), 45)
        self.near(seconds(FREE._replace(read_file=1e-3), Storage(file_latency=2e-3)), 120)

    def test_workers_share_batches_and_no_halves_of_them(self):
        costs = FREE._replace(read_file=1e-3)
        for workers, rounds in ((1, 10), (2, 5), (3, 4), (5, 2), (9, 2), (10, 1), (11, 1), (256, 1)):
            self.near(seconds(costs, workers=workers), rounds * 4)

    def test_more_workers_than_needed_leave_the_slowest_serial_stage(self):
        reading = {"read_file": 1e-4}
        for stage, expected in (
            ({"compose_file": 2e-3}, 80 + 0.4),
            ({"receive_file": 1e-3}, 40 + 0.4),
            ({"write_file": [(1, 1e-3)]}, 40 + 0.4),
            ({"schedule_file": 1e-3}, 20 + 20),  # half on the way out, half on the way back
            ({"list_file": 1e-3}, 40 + 0.4),
            ({"submit_batch": 1.0}, 10 + 0.4),
        ):
            self.near(seconds(FREE._replace(**reading, **stage), workers=1000), expected)

    def test_what_the_client_does_adds_up(self):
        costs = FREE._replace(compose_file=1e-3, receive_file=2e-3, write_file=[(1, 3e-3)], finish_file=4e-3, start=7)
        self.near(seconds(costs, workers=4), 400 + 7)

    def test_each_worker_makes_each_batch_dearer(self):
        costs = FREE._replace(submit_worker=0.01)
        self.near(seconds(costs, workers=1), 10 * 0.01)
        self.near(seconds(costs, workers=300), 10 * 3)

    def test_storage_sends_no_more_than_its_bandwidth(self):
        costs = FREE._replace(read_bytes=1e6, read_file=1e-3)
        for workers in (1, 10):
            self.near(seconds(costs, Storage(bandwidth=1e8), workers), 400)
        self.near(seconds(costs, Storage(bandwidth=1e12), 10), 4)

    def test_latency_of_folders_and_of_names_is_paid_by_the_walk(self):
        self.near(seconds(FREE, Storage(folder_latency=0.5), workers=50), 100)
        self.near(seconds(FREE, Storage(stat_latency=0.01), workers=50), 400)

    def test_no_more_is_on_its_way_than_two_batches_for_each_worker(self):
        costs = FREE._replace(read_file=1e-3)
        for workers, most in ((1, 8000), (3, 24_000), (100, 40_000)):
            self.assertEqual(simulate(costs, ARCHIVE, LOCAL, workers).most_files, most)

    def test_the_last_batch_may_be_smaller(self):
        self.near(seconds(FREE._replace(read_file=1e-3), archive=Archive(4001, 200, 0)), 4.001)
        self.assertEqual(seconds(FREE, archive=Archive(0, 200, 0)), 0)

    def test_batches_follow_the_rule_of_the_client(self):
        self.assertEqual(Archive(1, 1, 0).batch_size(False), 4000)
        self.assertEqual(Archive(1, 1, 470_000).batch_size(True), 400)  # 0.0003 + 0.0047 seconds each
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
                archive = Archive(20 * 4000 * workers)
                found = simulate(costs, archive, storage, workers).seconds
                self.assertLess(abs(answer(costs, archive, storage, workers).seconds / found - 1), 0.05)

    def test_it_names_the_slowest_stage(self):
        costs = FREE._replace(read_file=1e-4, compose_file=1e-5, list_file=1e-6, schedule_file=1e-6, read_bytes=1e4)
        for storage, workers, limit in (
            (LOCAL, 9, "workers"),
            (LOCAL, 11, "client"),
            (Storage(bandwidth=9.5e8), 9, "workers"),
            (Storage(bandwidth=9.5e8), 11, "storage"),
            (Storage(stat_latency=9.5e-6), 9, "workers"),
            (Storage(stat_latency=9.5e-6), 11, "listing"),
        ):
            with self.subTest(limit=limit, workers=workers):
                self.assertEqual(answer(costs, ARCHIVE, storage, workers).limit, limit)
        self.assertEqual(answer(costs._replace(schedule_file=2e-5), ARCHIVE, LOCAL, 11).limit, "scheduler")
        self.assertEqual(answer(costs, ARCHIVE, LOCAL, 9).stages["listing"], 1e6)


class Client(unittest.TestCase):
    """The real client, whose own work takes no time on a clock that stands still."""

    def run_real(self, costs, storage, workers, files):
        with tempfile.TemporaryDirectory() as folder:
            clock = Clock(lambda: 0.0)
            return run_client(costs, Archive(files), storage, workers, os.path.join(folder, "i.sqlite"), clock)

    def test_it_indexes_all_files_in_the_time_of_the_simulation(self):
        costs = FREE._replace(read_file=1e-3, read_batch=0.1)
        for workers in (1, 3, 20):
            storage = Storage(file_latency=1e-3)
            found = self.run_real(costs, storage, workers, 21_000)
            self.assertEqual((found.counts["read"], found.counts["dicom"]), (21_000, 21_000))
            self.assertAlmostEqual(found.seconds, seconds(costs, storage, workers, Archive(21_000)), 6)
        self.assertAlmostEqual(found.seconds, 8.1, 6)

    def test_it_waits_for_the_walk(self):
        found = self.run_real(FREE, Storage(folder_latency=0.5), 8, 4000)
        self.assertAlmostEqual(found.seconds, 10, 6)

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
