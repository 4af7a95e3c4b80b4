"""The table of exit statuses names every command."""

import os
import re
import subprocess
import sys

from pages import rows


def commands_of_the_table():
    return {word for cells in rows("exit-status.md", 5) for word in re.findall(r"`([^`]+)`", cells[0])}


def test_every_subcommand_has_a_row():
    text = subprocess.run([os.environ["RADVEX"], "--help"], capture_output=True, text=True, check=True).stdout
    listed = re.findall(r"^  ([a-z]+) {2,}\S", text.partition("Subcommands:")[2], re.MULTILINE)
    assert len(listed) > 15
    assert set(listed) <= commands_of_the_table()


def test_every_command_of_the_archive_has_a_row():
    text = subprocess.run([sys.executable, "-m", "radvex.archive", "--help"], capture_output=True, text=True, check=True).stdout
    listed = re.findall(r"^    ([a-z]+)(?: {2,}\S|$)", text, re.MULTILINE)
    assert len(listed) >= 6
    assert {"radvex-archive " + name for name in listed} <= commands_of_the_table()
