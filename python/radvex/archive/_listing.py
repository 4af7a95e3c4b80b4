"""The files of an archive, folder by folder, as they are on the disk now."""

from __future__ import annotations

from typing import Iterator, NamedTuple, Tuple

from radvex._jobs import Job, path_text


class Folder(NamedTuple):
    """A folder of the archive. Its files are taken apart only when they are asked for: most folders have not changed."""

    path: str  # below the root; empty for the root itself
    digest: str  # of the list of its files
    number: int  # of its files
    problem: str  # why it cannot be read; empty if it can
    raw: bytes

    def files(self) -> Iterator[Tuple[str, int, int]]:
        """Name, size in bytes and time of the last change in nanoseconds of each file."""
        parts = self.raw.split(b"\0")
        for index in range(0, 3 * self.number, 3):
            yield parts[index].decode("utf-8", "surrogateescape"), int(parts[index + 1]), int(parts[index + 2])


def folders(root: str) -> Iterator[Folder]:
    """All folders below the root, and the root first. Links to folders are not followed."""
    with Job(root, {"job": "walk"}) as job:
        for described, raw in job.announced("folder"):
            yield Folder(
                path_text(described["folder"]), described["digest"], described["count"], described["problem"], raw
            )


