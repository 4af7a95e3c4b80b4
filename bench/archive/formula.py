"""How long an index takes, by a closed formula."""

import math
from typing import Dict, NamedTuple

from radvex.archive._cluster import _AHEAD
from radvex.archive._index import _MOST, _SECONDS

from costs import Archive, Costs, Storage, batch_seconds, mean_write_cost, walk_seconds, write_cost


class Answer(NamedTuple):
    """What the formula says."""

    seconds: float
    limit: str  # the stage that is the slowest
    stages: Dict[str, float]  # files a second that each stage could do alone


def batch_size(costs: Costs, storage: Storage) -> int:
    """Files in a batch when the client knows the pace of the workers: as many as they read in the time that a batch
    should take. The client does not believe in a pace of ten times what it expects; here that does not occur."""
    each = costs.read_file + storage.file_latency
    return max(1, min(_MOST, math.ceil((_SECONDS - costs.read_batch) / each))) if each else _MOST


def stages_of(costs: Costs, archive: Archive, storage: Storage, workers: int) -> Dict[str, float]:
    """Files a second that each stage could do alone. Those of the client add up: it is one process."""
    size = batch_size(costs, storage)
    client = costs.compose_file + costs.receive_file + mean_write_cost(costs, archive.files)
    seconds = {
        "workers": batch_seconds(costs, storage, size) / size / workers,
        "storage": costs.read_bytes / storage.bandwidth,
        "scheduler": costs.schedule_file + costs.schedule_batch / size,
        "client": client + costs.submit_batch / size,
        "listing": walk_seconds(costs, storage, archive.files_per_folder) / archive.files_per_folder,
    }
    return {stage: 1 / each if each else math.inf for stage, each in seconds.items()}


def answer(costs: Costs, archive: Archive, storage: Storage, workers: int, digests: bool = False) -> Answer:
    """The slowest stage does all files. Before it starts and after it ends, batches go through the others. The early
    batches, which the client gives out before it knows the pace, have another size than the late ones."""
    stages = stages_of(costs, archive, storage, workers)
    limit = min(stages, key=lambda stage: stages[stage])
    first, size = min(archive.batch_size(digests), archive.files), batch_size(costs, storage)
    early = min(math.ceil(archive.files / first), _AHEAD * workers)
    late = math.ceil(max(0, archive.files - early * first) / size)
    reading = batch_seconds(costs, storage, first)
    listing, pass_scheduler = first / stages["listing"], first / stages["scheduler"]
    give = first * costs.compose_file + costs.submit_batch
    take = costs.receive_file + write_cost(costs, archive.files)
    if limit == "workers":  # a last round ends at once, and its results wait for the client
        seconds = listing + give + pass_scheduler + math.ceil(early / workers) * reading
        seconds += math.ceil(late / workers) * batch_seconds(costs, storage, size)
        last, of_last = (late, size) if late else (early, first)
        seconds += ((last - 1) % workers + 1) * of_last * take
    elif limit == "client":  # it gives out all that may be on its way, and then takes one result after the other
        seconds = listing + max(0.0, give + pass_scheduler + reading - early * give) + archive.files / stages[limit]
    else:
        through = {"listing": listing, "scheduler": pass_scheduler, "storage": 0.0}
        seconds = sum(each for stage, each in through.items() if stage != limit)
        seconds += give + first * take + archive.files / stages[limit]
        seconds += reading if limit != "storage" else 0.0
    return Answer(costs.start + seconds + archive.files * costs.finish_file, limit, stages)
