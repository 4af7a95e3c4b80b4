#!/usr/bin/env python3
"""Says how long an index of an archive takes on a cluster: by a simulation, and by a closed formula beside it.

Usage: simulate.py [--measure] [--rows N] [--costs FILE] [--files N,...] [--workers N,...] [--latency MS,...]
                   [--folder-latency MS] [--stat-latency MS] [--bandwidth MB] [--digests]
                   [--client N] [--cluster N]

Costs are those of a file, costs.json beside this program, or measured on this machine before and written there.
--rows: to which an index grows when it is measured, about 500 bytes on the disk for each
--client: also runs the client as it is, with its SQLite file, on so many files before simulated workers
--cluster: also runs the client and the scheduler as they are, with workers of Dask that only wait
Needs the package radvex: PYTHONPATH=build/release/python.
"""

import argparse
import os
import sys
import tempfile
from typing import Any, List

from client import Clock, run_client
from costs import Archive, Costs, Storage, load, save
from events import simulate
from formula import answer

HERE = os.path.dirname(os.path.abspath(__file__))


def numbers(text: str) -> List[float]:
    return [float(part) for part in text.split(",")]


def parsed(words: Any = None) -> argparse.Namespace:
    parser = argparse.ArgumentParser(description="Says how long an index of an archive takes on a cluster")
    parser.add_argument("--measure", action="store_true")
    parser.add_argument("--rows", type=int, default=1_000_000)
    parser.add_argument("--costs", default=os.path.join(HERE, "costs.json"))
    parser.add_argument("--files", type=numbers, default=[1e6, 1e7])
    parser.add_argument("--workers", type=numbers, default=[float(2**power) for power in range(9)])
    parser.add_argument("--latency", type=numbers, default=[0.2, 2, 10], metavar="MS")
    parser.add_argument("--folder-latency", type=float, default=None, metavar="MS", help="by default that of a file")
    parser.add_argument("--stat-latency", type=float, default=0, metavar="MS", help="of each file while it is listed")
    parser.add_argument("--bandwidth", type=float, default=1000, metavar="MB", help="of the storage, each second")
    parser.add_argument("--digests", action="store_true")
    parser.add_argument("--client", type=int, metavar="N")
    parser.add_argument("--cluster", type=int, metavar="N")
    return parser.parse_args(words)


def row(*cells: Any) -> None:
    print("|", " | ".join(str(cell) for cell in cells), "|", flush=True)


def time_of(seconds: float) -> str:
    """Seconds as people say them."""
    for unit, length in (("d", 86400), ("h", 3600), ("min", 60)):
        if seconds >= 2 * length:
            return f"{seconds / length:.3g} {unit}"
    return f"{seconds:.3g} s"


def show_costs(costs: Costs) -> None:
    print("Microseconds:")
    row("stage", "each file", "each batch")
    row("---", "---:", "---:")
    for stage, file, batch in (
        ("a worker reads", costs.read_file, costs.read_batch),
        ("the walk lists", costs.list_file, 0),
        ("the client makes batches", costs.compose_file, costs.submit_batch),
        ("the client receives", costs.receive_file, 0),
        *((f"the client parses and writes row {rows}", each, 0) for rows, each in costs.write_file),
        ("the client counts series", costs.finish_file, 0),
        ("the scheduler", costs.schedule_file, costs.schedule_batch),
    ):
        row(stage, *(f"{1e6 * each:.3g}" if each else "" for each in (file, batch)))
    print(f"{1e6 * costs.list_folder:.3g} each folder of the walk; {costs.read_bytes:.0f} bytes read of each file\n")


def show_table(costs: Costs, options: argparse.Namespace) -> float:
    """Prints a row for each archive, storage and number of workers. Returns the largest deviation of the formula."""
    largest = 0.0
    memory = (costs.client_bytes, costs.scheduler_bytes)
    head = "files,latency,workers,simulated,files a second,formula,deviation,limit"
    row(*head.split(","), "client", "scheduler", "workers", "memory of the client", "of the scheduler")
    row(*["---:"] * 7, "---", *["---:"] * 5)
    for files in options.files:
        for latency in options.latency:
            for workers in options.workers:
                archive, storage = Archive(int(files)), storage_of(options, latency)
                found = simulate(costs, archive, storage, int(workers), options.digests)
                said = answer(costs, archive, storage, int(workers), options.digests)
                deviation = said.seconds / found.seconds - 1
                largest = max(largest, abs(deviation))
                row(
                    f"{files:.0e}".replace("e+0", "e"), f"{latency:g} ms", int(workers), time_of(found.seconds),
                    f"{files / found.seconds:.0f}", time_of(said.seconds), f"{100 * deviation:+.1f} %", said.limit,
                    *(f"{100 * share:.0f} %" for share in (found.client, found.scheduler, found.workers)),
                    *(f"{found.most_files * each / 1e6:.0f} MB" for each in memory),
                )
    return largest


def storage_of(options: argparse.Namespace, latency: float) -> Storage:
    folder = latency if options.folder_latency is None else options.folder_latency
    return Storage(latency / 1e3, folder / 1e3, options.stat_latency / 1e3, options.bandwidth * 1e6)


def show_client(costs: Costs, options: argparse.Namespace) -> None:
    """The simulation beside the client as it is: without what only a scheduler does."""
    alone = costs._replace(start=0, submit_batch=0, receive_file=0, schedule_batch=0, schedule_file=0)
    print(f"\nThe client as it is, {options.client} files, no scheduler:")
    row("latency", "workers", "with the client", "simulated", "deviation")
    row(*["---:"] * 5)
    archive = Archive(options.client)
    for latency in options.latency:
        for workers in options.workers:
            storage = storage_of(options, latency)
            with tempfile.TemporaryDirectory(prefix="radvex-index-") as folder:
                real = run_client(costs, archive, storage, int(workers), os.path.join(folder, "i.sqlite"), Clock())
            found = simulate(alone, archive, storage, int(workers))
            deviation = found.seconds / real.seconds - 1
            seconds = (time_of(real.seconds), time_of(found.seconds))
            row(f"{latency:g} ms", int(workers), *seconds, f"{100 * deviation:+.1f} %")


def show_cluster(costs: Costs, options: argparse.Namespace) -> None:
    """The simulation beside a real scheduler. The folders are generated, which costs no listing."""
    from real_cluster import run_cluster

    simulated = costs._replace(list_file=0, list_folder=0, start=0)
    print(f"\nA scheduler and a client as they are, {options.cluster} files, workers that wait:")
    row("latency", "workers", "with a cluster", "simulated", "deviation")
    row(*["---:"] * 5)
    for latency in options.latency:
        for workers in options.workers:
            archive, storage = Archive(options.cluster), Storage(latency / 1e3)
            real = run_cluster(costs, archive, storage, int(workers))
            found = simulate(simulated, archive, storage, int(workers)).seconds
            row(f"{latency:g} ms", int(workers), time_of(real), time_of(found), f"{100 * (found / real - 1):+.1f} %")


def main(words: Any = None) -> int:
    options = parsed(words)
    if options.measure:
        from measure import measure  # needs a Dask that can be started

        measured = measure(options.rows, options.digests, lambda what: print("measuring:", what, file=sys.stderr))
        save(measured, options.costs)
    costs = load(options.costs)
    show_costs(costs)
    print(f"The largest deviation of the formula: {100 * show_table(costs, options):.1f} %")
    if options.client:
        show_client(costs, options)
    if options.cluster:
        show_cluster(costs, options)
    return 0


if __name__ == "__main__":
    sys.exit(main())
