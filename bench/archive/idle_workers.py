"""Many workers of Dask in one process, which have nothing to do. Usage: idle_workers.py ADDRESS NUMBER FOLDER"""

import asyncio
import sys

import distributed


async def main(address: str, number: int, folder: str) -> None:
    """Waits until it is ended."""
    options = {"nthreads": 1, "dashboard": False, "local_directory": folder}
    workers = [await distributed.Worker(address, **options) for _ in range(number)]
    await asyncio.gather(*(worker.finished() for worker in workers))


if __name__ == "__main__":
    asyncio.run(main(sys.argv[1], int(sys.argv[2]), sys.argv[3]))
