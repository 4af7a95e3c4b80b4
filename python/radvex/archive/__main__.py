"""The command radvex-archive."""

from __future__ import annotations

import argparse
import csv
import json
import os
import signal
import sys
from typing import Any, Dict, List, Optional

from radvex._errors import Error, UsageError
from radvex.archive._check import check
from radvex.archive._deidentify import deidentify, verify
from radvex.archive._find import find
from radvex.archive._index import index
from radvex.archive._report_text import lines, number_of
from radvex.archive._volumes import volumes


_WIDTH = 79


def _say(text: str) -> None:
    """Shows progress in the last line of a terminal."""
    if sys.stderr.isatty():
        sys.stderr.write("\r" + text.ljust(_WIDTH) + ("" if text else "\r"))
        sys.stderr.flush()


def _left(state: Dict[str, Any]) -> str:
    """How long it still takes, as the end of a line."""
    seconds = state["secondsLeft"]
    if seconds is None:
        return ""
    minutes = int(seconds) // 60
    return f", {minutes // 60} h {minutes % 60} min left" if minutes >= 60 else f", {minutes}:{int(seconds) % 60:02} left"


def _crew(options: argparse.Namespace, text: str) -> Dict[str, Any]:
    """Who does the work of a command, and what it shows while it is done: the text with what is in the state."""

    def show(state: Dict[str, Any]) -> None:
        _say(text.format(**state) + _left(state))

    return {"workers": options.workers, "cluster": options.cluster, "progress": None if options.quiet else show}


def _index(options: argparse.Namespace) -> int:
    counts = index(
        options.archive,
        options.index,
        digests=options.digests,
        verdicts=options.verdicts,
        **_crew(options, "{read} files read, {unchanged} unchanged, {failed} failed, {perSecond:.0f} a second"),
    )
    _say("")
    if options.json:
        print(json.dumps(counts))
    elif not options.quiet:
        print(
            "{read} files read ({perSecond:.0f} a second), {unchanged} unchanged: {dicom} DICOM, {notDicom} other, "
            "{broken} broken, {vanished} vanished".format(**counts)
        )
    closed = counts["closedFolders"]
    if closed:
        names = ", ".join(path or options.archive for path in closed[:3]) + (", ..." if len(closed) > 3 else "")
        sentence = f"radvex-archive: {number_of(len(closed), 'folder')} cannot be read: {names}\n"
        sys.stderr.buffer.write(os.fsencode(sentence))
    return 3 if closed else 0


def _find(options: argparse.Namespace) -> None:
    found = find(options.index, options.where, sql=options.sql)
    if options.paths:
        if "path" not in found.columns:
            raise UsageError("The query has no column 'path'.")
        place = found.columns.index("path")
        for row in found.rows:
            sys.stdout.buffer.write(os.fsencode(row[place]) + (b"\0" if options.null else b"\n"))
    elif options.json:
        for row in found.rows:
            values = {name: value for name, value in zip(found.columns, row) if value is not None}
            print(json.dumps(values, default=lambda value: value.decode("utf-8", "replace")))
    else:
        writer = csv.writer(sys.stdout, lineterminator="\n")
        writer.writerow(found.columns)
        writer.writerows(found.rows)


def _volumes(options: argparse.Namespace) -> None:
    counts = volumes(
        options.index,
        options.output,
        options.where,
        format=options.format,
        **_crew(options, "{done} of {total} series done"),
    )
    if not options.quiet:
        _say("")
        print("{written} volumes written, {refused} refused, {unchanged} series unchanged".format(**counts))


def _check(options: argparse.Namespace) -> int:
    found = check(
        options.index,
        options.where,
        histograms=options.histograms,
        **_crew(options, "{done} of {total} files checked, {failed} with a problem"),
    )
    _say("")
    run = found["run"]
    text = json.dumps(found) if options.json else "\n".join(lines(found))
    sys.stdout.buffer.write(os.fsencode(text) + b"\n")
    if run["different"]:
        names = ", ".join(run["examples"]) + (", ..." if run["different"] > len(run["examples"]) else "")
        sentence = f"not judged: changed since they were indexed, or gone: {names}. Index the archive again."
        sys.stderr.buffer.write(os.fsencode(f"radvex-archive: {number_of(run['different'], 'file')} {sentence}\n"))
    return 3 if run["different"] else 0


def _deidentify(options: argparse.Namespace) -> int:
    counts = deidentify(
        options.index,
        options.output,
        key=options.key,
        where=options.where,
        new_values=dict(word.split("=", 1) for word in options.set),
        keep=options.keep,
        shift_dates=options.shift_dates,
        clean=options.clean,
        keep_private=options.keep_private,
        accept_pixels=options.accept_pixels,
        mask=options.mask,
        strict=options.strict,
        **_crew(options, "{done} of {total} patients done"),
    )
    if not options.quiet:
        _say("")
        print(
            "{written} files written, {failed} failed, {skipped} skipped; {done} patients done, {unchanged} unchanged, "
            "{gone} gone".format(**counts)
        )
    if counts["failed"]:
        print(
            f"radvex-archive: {number_of(counts['failed'], 'file')} not written; the table deidentified_files names them",
            file=sys.stderr,
        )
    return 3 if counts["failed"] else 0


def _verify(options: argparse.Namespace) -> int:
    counts = verify(
        options.index,
        options.output,
        **_crew(options, "{done} of {total} patients checked"),
    )
    if not options.quiet:
        _say("")
        print("{clean} patients clean, {findings} with findings, {unreadable} unreadable".format(**counts))
    return 1 if counts["findings"] or counts["unreadable"] else 0


def _word_of_set(word: str) -> str:
    if "=" not in word:
        raise argparse.ArgumentTypeError(f"'{word}' is no KEYWORD=VALUE")
    return word


def _add_crew(command: argparse.ArgumentParser) -> None:
    """Who does the work."""
    command.add_argument("--workers", type=int, metavar="N", help="processes of this machine; 0: this one alone")
    command.add_argument("--cluster", metavar="ADDRESS", help="Dask scheduler, such as tcp://host:8786")
    command.add_argument("-q", "--quiet", action="store_true", help="print errors only")


def _parser() -> argparse.ArgumentParser:
    parser = argparse.ArgumentParser(prog="radvex-archive", description="Works on whole archives of DICOM files")
    commands = parser.add_subparsers(dest="command", metavar="COMMAND", required=True)

    command = commands.add_parser("index", help="index the files of an archive, or what changed in it")
    command.add_argument("archive", metavar="ARCHIVE", help="folder, which every worker sees under this path")
    command.add_argument("index", metavar="INDEX", help="SQLite file, made if it is not there")
    _add_crew(command)
    command.add_argument("--digests", action="store_true", help="read the pixels too, and keep their SHA-256")
    command.add_argument("--verdicts", action="store_true", help="say of each series whether it would be volumes")
    command.add_argument("--json", action="store_true", help="print the counts as JSON")
    command.set_defaults(run=_index)

    command = commands.add_parser("volumes", help="make volumes of the series of an archive")
    command.add_argument("index", metavar="INDEX")
    command.add_argument("output", metavar="OUT", help="folder, which every worker sees under this path")
    command.add_argument("--where", metavar="SQL", help="series that have a file for which this holds")
    command.add_argument("--format", choices=["nifti", "zarr"], default="nifti")
    _add_crew(command)
    command.set_defaults(run=_volumes)

    command = commands.add_parser("check", help="read every pixel, and report what is broken and by whom it was made")
    command.add_argument("index", metavar="INDEX")
    command.add_argument("--where", metavar="SQL", help="only the files for which this holds")
    command.add_argument("--histograms", metavar="FOLDER", help="draw pictures of the report; needs matplotlib")
    command.add_argument("--json", action="store_true", help="print the report as JSON")
    _add_crew(command)
    command.set_defaults(run=_check)

    command = commands.add_parser("deidentify", help="de-identify an archive, patient by patient")
    command.add_argument("index", metavar="INDEX")
    command.add_argument("output", metavar="OUT", help="empty folder, which every worker sees under this path")
    command.add_argument("--key", metavar="FILE", required=True, help="16 or more secret bytes; the key of all identifiers")
    command.add_argument("--where", metavar="SQL", help="files for which this holds")
    command.add_argument("--set", metavar="KEYWORD=VALUE", action="append", default=[], type=_word_of_set)
    command.add_argument("--keep", metavar="LIST", action="append", default=[], help="see radvex help anonymize")
    command.add_argument("--shift-dates", action="store_true")
    command.add_argument("--clean", metavar="LIST", action="append", default=[])
    command.add_argument("--keep-private", metavar="FILE")
    command.add_argument("--accept-pixels", metavar="LIST", action="append", default=[])
    command.add_argument("--mask", metavar="FILE")
    command.add_argument("--strict", action="store_true")
    _add_crew(command)
    command.set_defaults(run=_deidentify)

    command = commands.add_parser("verify", help="check what of the originals is left in what deidentify wrote")
    command.add_argument("index", metavar="INDEX")
    command.add_argument("output", metavar="OUT")
    _add_crew(command)
    command.set_defaults(run=_verify)

    command = commands.add_parser("find", help="ask an index, also while it is written")
    command.add_argument("index", metavar="INDEX")
    command.add_argument("--where", metavar="SQL", help="condition on the files: \"Modality = 'CT' AND Rows >= 512\"")
    command.add_argument("--sql", metavar="QUERY", help="whole query, on files, paths, series, studies, folders")
    command.add_argument("--paths", action="store_true", help="print the paths only, below the archive")
    command.add_argument("-0", "--null", action="store_true", help="a null behind each path, not a line feed")
    command.add_argument("--json", action="store_true", help="one JSON object a line, not CSV")
    command.set_defaults(run=_find)
    return parser


def _interrupt(number: int, _: Any) -> None:
    """Ends a run as Ctrl-C does, so that its workers and its files in the making go with it."""
    signal.signal(number, signal.SIG_IGN)
    raise KeyboardInterrupt(number)


def main(words: Optional[List[str]] = None) -> int:
    """Runs the command. Returns its exit status: 0 done, 1 cannot be done, 2 wrong usage, 3 done but for
    files that are named or counted on standard error, 130 and 143 ended by Ctrl-C and SIGTERM."""
    options = _parser().parse_args(words)
    if words is None:  # the process is ours
        signal.signal(signal.SIGTERM, _interrupt)
    try:
        status: Optional[int] = options.run(options)
        sys.stdout.flush()
        return status or 0
    except BrokenPipeError:  # who reads has enough
        os.dup2(os.open(os.devnull, os.O_WRONLY), sys.stdout.fileno())
        return 0
    except KeyboardInterrupt as error:
        print("radvex-archive: interrupted; run it again to go on", file=sys.stderr)
        return 128 + int(error.args[0] if error.args else signal.SIGINT)
    except UsageError as error:
        print(f"radvex-archive: {error}", file=sys.stderr)
        return 2
    except (Error, OSError, ImportError) as error:
        print(f"radvex-archive: {error}", file=sys.stderr)
        return 1


if __name__ == "__main__":
    sys.exit(main())
