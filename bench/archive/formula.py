"""How long an index takes, by a closed formula."""

import math
from typing import Dict, NamedTuple

from radvex.archive._cluster import _AHEAD

from costs import Archive, Costs, Storage, mean_write_cost, write_cost


class Answer(NamedTuple):
    """What the formula says."""

    seconds: float
    limit: str  # the stage that is the slowest
    stages: Dict[str, float]  # files a second that each stage could do alone


def batch_seconds(costs: Costs, storage: Storage, files: int) -> float:
    """What a worker needs for a batch, if it has the storage for itself."""
    return costs.read_batch + files * (costs.read_file + storage.file_latency)


def stages_of(
    costs: Costs, archive: Archive, storage: Storage, workers: int, digests: bool = False
) -> Dict[str, float]:
    """Files a second that each stage could do alone. Those of the client add up: it is one process."""
    size = archive.batch_size(digests)
    client = costs.compose_file + costs.receive_file + mean_write_cost(costs, archive.files)
    client += (costs.submit_batch + workers * costs.submit_worker) / size
    scheduler = costs.schedule_file + (costs.schedule_batch + workers * costs.schedule_worker) / size
    listing = costs.list_file + storage.stat_latency
    listing += (costs.list_folder + storage.folder_latency) / archive.files_per_folder
    seconds = {
        "workers": batch_seconds(costs, storage, size) / size / workers,
        "storage": costs.read_bytes / storage.bandwidth,
        "scheduler": scheduler,
        "client": client,
        "listing": listing,
    }
    return {stage: 1 / each if each else math.inf for stage, each in seconds.items()}


def answer(costs: Costs, archive: Archive, storage: Storage, workers: int, digests: bool = False) -> Answer:
    """The slowest stage does all files. Before it starts and after it ends, batches go through the others."""
    stages = stages_of(costs, archive, storage, workers, digests)
    limit = min(stages, key=lambda stage: stages[stage])
    size = min(archive.batch_size(digests), archive.files)
    batches = math.ceil(archive.files / size)
    reading = batch_seconds(costs, storage, size)
    listing = size / stages["listing"]
    give = size * costs.compose_file + costs.submit_batch + workers * costs.submit_worker
    take = size * (costs.receive_file + write_cost(costs, archive.files))
    pass_scheduler = size / stages["scheduler"]
    if limit == "workers":  # a last round ends at once, and its results wait for the client
        rounds = math.ceil(batches / workers)
        seconds = listing + give + pass_scheduler + rounds * reading + (batches - (rounds - 1) * workers) * take
    elif limit == "client":  # it gives out all that may be on its way, and then takes one result after the other
        first = give * min(batches, _AHEAD * workers)
        seconds = listing + max(0.0, give + pass_scheduler + reading - first) + archive.files / stages[limit]
    else:
        through = {"listing": listing, "scheduler": pass_scheduler, "storage": 0.0}
        seconds = sum(each for stage, each in through.items() if stage != limit)
        seconds += give + take + archive.files / stages[limit]
        seconds += reading if limit != "storage" else 0.0
    return Answer(costs.start + seconds + archive.files * costs.finish_file, limit, stages)
