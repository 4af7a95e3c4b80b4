"""The command radvex, as pip installs it."""

import os
import sys

from radvex._library import program


def main() -> None:
    """Becomes the command."""
    path = program("radvex")
    os.execv(path, [path, *sys.argv[1:]])
