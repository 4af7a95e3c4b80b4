"""The memory of a command that divides its work among processes.

What the system tells of a process that ended is the peak of the largest among it and its children, not of all together.
"""

import os
import subprocess
import time

INTERVAL = 0.01  # seconds between two looks


def peak_together(command):
    """The most MiB that the processes of a run were seen to have at one time; None when it failed.

    What processes share is divided among them. The run is not measured otherwise: looking takes time.
    """
    process = subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    peak = 0
    while process.poll() is None:
        peak = max(peak, sum(_proportional(pid) for pid in _family(process.pid)))
        time.sleep(INTERVAL)
    return peak / 1024 if process.returncode == 0 else None


def _family(pid):
    """A process and all below it."""
    found = [pid]
    for parent in found:  # grows while it is walked
        for thread in _threads(parent):  # each has the children that it started
            found += [int(word) for word in _read("/proc/%d/task/%s/children" % (parent, thread)).split()]
    return found


def _threads(pid):
    try:
        return os.listdir("/proc/%d/task" % pid)
    except OSError:  # it has ended
        return []


def _proportional(pid):
    """KiB of a process, what it shares with others divided among them."""
    for line in _read("/proc/%d/smaps_rollup" % pid).splitlines():
        if line.startswith("Pss:"):
            return int(line.split()[1])
    return 0


def _read(path):
    try:
        with open(path, encoding="ascii") as file:
            return file.read()
    except OSError:  # it has ended
        return ""
