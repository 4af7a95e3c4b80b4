"""Runs the commands of a page of transcripts in order, in a fresh folder, and compares what they show with the page.

Usage: run_transcripts.py RADVEX PAGE.md

A block of ```console holds commands, `$ ` and what a person types, each followed by what a terminal then shows:
standard output and standard error as they come. A status that is not 0 follows as `(exit status 3)`. `...` in a line
stands for any text, and a line of `...` alone for any number of lines. A line behind `> ` goes on with the command."""

import difflib
import os
import re
import subprocess
import sys
import tempfile

HERE = os.path.dirname(os.path.abspath(__file__))
FILES = os.path.join(HERE, "transcripts", "make_files.py")


class Step:
    """A command of a page, where it stands, and what it has to show."""

    def __init__(self, line, command):
        self.line = line  # from 1
        self.command = command
        self.expected = []


def steps_of(page):
    """The commands of a page. Lines in front of the first command of a block are an error of the page."""
    steps, is_console, is_command, is_shown = [], False, False, False
    for number, line in enumerate(page.split("\n"), 1):
        if line.startswith("```"):
            is_console, is_command, is_shown = line == "```console", False, False
        elif is_console and line.startswith("$ "):
            steps.append(Step(number, line[2:]))
            is_command = is_shown = True
        elif is_console and is_command and line.startswith("> "):
            steps[-1].command += "\n" + line[2:]
        elif is_console:
            if not is_shown:
                raise ValueError("line %d shows something before the first command" % number)
            is_command = False
            steps[-1].expected.append(line)
    return steps


def matches(expected, shown):
    """Whether the lines are those of the page."""
    lines = []
    for line in expected:
        if line == "...":
            lines.append("(?:[^\n]*\n)*")
        else:
            lines.append("[^\n]*".join(re.escape(part) for part in line.split("...")) + "\n")
    return re.fullmatch("".join(lines), "".join(line + "\n" for line in shown)) is not None


def environment(radvex, folder):
    """What a new user's terminal has, and the command on the path."""
    programs = os.path.join(folder, "bin")
    for name in ("bin", "home", "tmp"):
        os.mkdir(os.path.join(folder, name))
    os.symlink(os.path.abspath(radvex), os.path.join(programs, "radvex"))
    kept = {name: value for name, value in os.environ.items() if name.endswith("SAN_OPTIONS")}
    return {**kept, "PATH": programs + ":/usr/bin:/bin", "HOME": os.path.join(folder, "home"),
            "TMPDIR": os.path.join(folder, "tmp"), "TERM": "dumb", "LC_ALL": "C.UTF-8", "COLUMNS": "100",
            "PYTHONDONTWRITEBYTECODE": "1"}


def run(step, folder, variables):
    """The lines that the command shows, with its status."""
    done = subprocess.run(["/bin/bash", "-c", step.command], cwd=folder, env=variables, stdin=subprocess.DEVNULL,
                          stdout=subprocess.PIPE, stderr=subprocess.STDOUT, timeout=120)
    text = done.stdout.decode("utf-8", "backslashreplace")
    shown = text.split("\n")
    if shown[-1] == "":
        shown.pop()
    if done.returncode != 0:
        shown.append("(exit status %d)" % done.returncode)
    return shown


def main():
    radvex, path = sys.argv[1:]
    with open(path, encoding="utf-8") as file:
        steps = steps_of(file.read())
    if not steps:
        sys.exit(path + " holds no command")
    failures = 0
    with tempfile.TemporaryDirectory() as folder:
        files = os.path.join(folder, "files")
        subprocess.run([sys.executable, FILES, files], check=True, env={**os.environ, "PYTHONDONTWRITEBYTECODE": "1"})
        variables = environment(radvex, folder)
        for step in steps:
            shown = run(step, files, variables)
            if not matches(step.expected, shown):
                failures += 1
                print("%s:%d: $ %s" % (os.path.basename(path), step.line, step.command))
                print("\n".join(difflib.unified_diff(step.expected, shown, "expected", "shown", lineterm="", n=1)))
    print("%d of %d commands show what the page says" % (len(steps) - failures, len(steps)))
    sys.exit(1 if failures else 0)


if __name__ == "__main__":
    main()
