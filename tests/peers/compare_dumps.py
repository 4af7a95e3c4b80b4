"""Compares the lines of `radvex tags --numbers` with those of DCMTK's dcmdump: every attribute of a dataset that is no
sequence has to have the same line. Usage: compare_dumps.py RADVEX
"""

import re
import subprocess
import sys

from samples import sample_files

LINE = re.compile(r"^\(([0-9a-f]{4}),([0-9a-f]{4})\) (\S\S) ")


def lines_of(*words):
    """Lines of attributes that are not within a sequence, by tag; None when the file cannot be read."""
    done = subprocess.run(words, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, check=False)
    if done.returncode != 0:
        return None
    found = {}
    for line in done.stdout.decode("utf-8", "replace").split("\n"):
        match = LINE.match(line)
        # Lengths of groups are not listed; texts that are not ASCII are shown in other ways.
        if match and match[3] not in ("SQ", "na", "pi") and match[2] != "0000" and line.isascii():
            found[match[1] + match[2]] = line
    return found


def main(command):
    files = lines = failures = 0
    for name, path in sample_files():
        ours = lines_of(command, "tags", "--numbers", path)
        theirs = lines_of("dcmdump", "-q", path)
        if ours is None or theirs is None:
            continue
        files += 1
        for tag in sorted(set(ours) | set(theirs)):
            lines += 1
            one, other = ours.get(tag, "(none)"), theirs.get(tag, "(none)")
            is_escaped = "\\u00" in one  # controls, and ends of lines within a value
            if one != other and not is_escaped:
                failures += 1
                print("%s: %s\n  dcmdump: %s" % (name, one, other))
    print("%d lines of %d files compared" % (lines, files))
    return 1 if failures or lines < 2000 else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1]))
