"""The results as text, as Markdown and as JSON."""

import datetime
import functools
import json
import math
import os
import platform

MARKS = ("<!-- table: begin -->\n", "<!-- table: end -->\n")
COLUMNS = ("seconds", "x bare", "x plain", "cpu s", "MiB", "x bare", "")


def _ratio(value, base):
    return value / base if value is not None and base else None


class Figures:
    """The numbers of a row; what cannot be told is None."""

    def __init__(self, job, result):
        reference, plain = job.find(result.row.reference), job.plain()
        self.name, self.result = result.row.name, result
        self.seconds = result.median(result.seconds)
        self.processor = result.median(result.processor)
        self.mebibytes = result.median(result.mebibytes)
        is_plain = plain is result
        self.to_bare = None if is_plain or not reference else _ratio(self.seconds, reference.median(reference.seconds))
        self.to_plain = _ratio(self.seconds, plain.median(plain.seconds)) if plain else None
        self.memory_to_bare = (None if is_plain or not reference
                               else _ratio(self.mebibytes, reference.median(reference.mebibytes)))

    def remark(self):
        row, words = self.result.row, [self.result.state] if self.result.state else []
        if row.limit and self.seconds is not None:
            words.append("wanted < %g ms: %s" % (1000 * row.limit, "yes" if self.seconds < row.limit else "NO"))
        if row.times and self.to_bare is not None:
            words.append("wanted < %.2f times: %s" % (row.times, "yes" if self.to_bare < row.times else "NO"))
        if row.most and self.mebibytes is not None:
            words.append("wanted < %g MiB: %s" % (row.most, "yes" if self.mebibytes < row.most else "NO"))
        if row.divides:
            words.append("a process by core")
        if row.reference != "bare DCMTK":
            words.append("beside " + row.reference)
        return "; ".join(words)

    def cells(self):
        return [_seconds(self.seconds), _plainly(self.to_bare, "%.2f"), _plainly(self.to_plain, "%.1f"),
                _seconds(self.processor), _plainly(self.mebibytes, "%.1f"), _plainly(self.memory_to_bare, "%.2f"),
                self.remark()]


def _plainly(value, form):
    return "" if value is None else form % value


def _seconds(value):
    """Four digits that count, at any size."""
    if value is None:
        return ""
    return "%.7f" % value if value < 0.001 else "%.4f" % value if value < 1 else "%.3f" % value


def job_text(job):
    lines = ["", job.title, ("%-32s" + " %10s" * 6) % ("", *COLUMNS[:-1])]
    for result in job.rows:
        cells = Figures(job, result).cells()
        lines.append((("%-32s" + " %10s" * 6) % (result.row.name, *cells[:-1]) + "  " + cells[-1]).rstrip())
    return "\n".join(lines)


def job_markdown(job):
    lines = ["", "### " + job.title, "", "| | " + " | ".join(COLUMNS) + " |", "| --- |" + " ---: |" * 6 + " --- |"]
    lines += ["| %s | %s |" % (result.row.name, " | ".join(Figures(job, result).cells())) for result in job.rows]
    return "\n".join(lines)


class GrowthTable:
    """Medians of every step of a growth, and the exponents between the steps: 1 is in proportion, 2 is the square."""

    def __init__(self, growth, jobs):
        self.title = growth.title
        self.items = growth.items
        self.amounts = [amount for amount, _ in growth.steps]
        self.rows = []
        for name in [result.row.name for result in jobs[0].rows]:
            found = [job.find(name) for job in jobs]
            for unit, values in self._units(found):
                self.rows.append((name, unit, values, self._exponents(values)))

    def _units(self, found):
        """The medians of a program for each amount, by what they count."""
        seconds = [result and result.median(result.seconds) for result in found]
        yield "seconds", seconds
        if self.items:
            yield self.items + "/s", [_ratio(amount, value) for amount, value in zip(self.amounts, seconds)]
        if any(result and result.row.divides for result in found):
            yield "MiB of the largest", [result and result.median(result.largest) for result in found]
        yield "MiB", [result and result.median(result.mebibytes) for result in found]

    def _exponents(self, values):
        exponents = []
        for step in range(1, len(values)):
            before, after = values[step - 1], values[step]
            grown = math.log(self.amounts[step] / self.amounts[step - 1])
            exponents.append(math.log(after / before) / grown if before and after else None)
        return exponents

    def cells(self):
        for name, unit, values, exponents in self.rows:
            form = _seconds
            if unit != "seconds":
                form = functools.partial(_plainly, form="%.0f" if unit.endswith("/s") else "%.1f")
            yield [name, unit, *map(form, values), ", ".join(_plainly(value, "%.2f") or "-" for value in exponents)]

    def text(self):
        widths = "%-32s %-18s" + " %11s" * len(self.amounts) + "  %s"
        lines = ["", self.title, widths % ("", "", *self.amounts, "exponents")]
        return "\n".join(lines + [widths % tuple(cells) for cells in self.cells()])

    def markdown(self):
        lines = ["", "### Growth: " + self.title, "",
                 "| | | " + " | ".join(map(str, self.amounts)) + " | exponents |",
                 "| --- | --- |" + " ---: |" * (len(self.amounts) + 1)]
        return "\n".join(lines + ["| " + " | ".join(cells) + " |" for cells in self.cells()])

    def data(self):
        return {"title": self.title, "amounts": self.amounts,
                "rows": [{"name": name, "unit": unit, "medians": values, "exponents": exponents}
                         for name, unit, values, exponents in self.rows]}


def surroundings(rounds, small):
    """What a table has to say about where its numbers come from."""
    model = ""
    with open("/proc/cpuinfo", encoding="utf-8") as file:
        model = next((line.partition(":")[2].strip() for line in file if line.startswith("model name")), "")
    return {"date": datetime.date.today().isoformat(), "processor": model or platform.machine(),
            "processors": os.cpu_count(), "system": platform.platform(), "load_before": round(os.getloadavg()[0], 2),
            "rounds": rounds, "small": small, "left_out": []}


def heading(where):
    lines = ["%(date)s, %(processors)s x %(processor)s, %(system)s, load %(load_before).2f before" % where +
             (" and %(load_after).2f after" % where if "load_after" in where else "") +
             ", medians of %(rounds)d rounds." % where]
    if where["small"]:
        lines.append("Small data, to try the benchmark itself: the times say nothing.")
    if where["load_before"] > 0.5:
        lines.append("Other programs were running: the times are worth little.")
    return "\n".join(lines + where["left_out"])


def write_markdown(path, where, jobs, tables):
    """Puts the tables between the marks of a document that has them; else they are the whole file."""
    text = "\n".join([heading(where), *map(job_markdown, jobs), *(table.markdown() for table in tables), ""])
    if os.path.exists(path):
        with open(path, encoding="utf-8") as file:
            before, begin, rest = file.read().partition(MARKS[0])
        _, end, after = rest.partition(MARKS[1])
        if begin and end:
            text = before + begin + text + end + after
    with open(path, "w", encoding="utf-8") as file:
        file.write(text)


def _row_data(job, result):
    figures = Figures(job, result)
    return {"name": figures.name, "command": result.row.command, "state": result.state, "seconds": result.seconds,
            "processor": result.processor, "mebibytes": result.mebibytes, "median_seconds": figures.seconds,
            "median_mebibytes": figures.mebibytes, "to_bare": figures.to_bare, "to_plain": figures.to_plain,
            "memory_to_bare": figures.memory_to_bare, "reference": result.row.reference}


def write_json(path, where, jobs, tables):
    with open(path, "w", encoding="utf-8") as file:
        json.dump({"surroundings": where,
                   "jobs": [{"title": job.title, "rows": [_row_data(job, result) for result in job.rows]}
                            for job in jobs],
                   "growth": [table.data() for table in tables]}, file, indent=1)
        file.write("\n")
