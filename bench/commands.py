#!/usr/bin/env python3
"""Times the commands of an office over 100,000 bars beside programs that do the least of the same
work on the same file: the sqlite3 shell, and GDAL's ogr2ogr, which writes a table as CSV.

    bench/commands.py --program=build/release/bin/korvane --results=bench/commands.json

All are run in turns, `--repetitions` times; the results have the medians, and the greatest memory
of each. What they print goes to a file.
"""

import argparse
import datetime
import json
import os
import pathlib
import shutil
import statistics
import subprocess
import sys
import tempfile
import time

BARS = 100_000
DRAWINGS = 2_000
# Of a bending list. 5 seconds and 200 MB are the goal.
MARKS = 2_000
DIAMETERS = (8, 10, 12, 14, 16, 20, 25, 28)


def record(drawing, mark):
    """A line of a bar schedule with its checksum: 96 less the sum of its bytes modulo 32."""
    diameter = DIAMETERS[mark % len(DIAMETERS)]
    legs = (400 + mark % 50 * 10, 600 + drawing % 40 * 25)
    weight = sum(legs) / 1000 * diameter * diameter * 0.006165
    text = (f"BF2D@HjBench@r{drawing}@ia@p{mark}@l{sum(legs)}@n{1 + mark % 20}@e{weight:.3f}"
            f"@d{diameter}@gB500B@s{4 * diameter}@v@Gl{legs[0]}@w90@l{legs[1]}@w0@C")
    return text + f"{96 - sum(text.encode()) % 32}@\r\n"


def write_schedule(path, drawings, bars):
    with path.open("w", newline="") as file:
        for drawing in range(drawings):
            for mark in range(bars // drawings):
                file.write(record(drawing, mark))


class Work:
    def __init__(self, name, baseline, arguments, before=None):
        self.name, self.baseline, self.arguments, self.before = name, baseline, arguments, before
        self.seconds, self.kilobytes = [], 0

    def run(self, output):
        if self.before:
            self.before()
        with output.open("wb") as file:
            start = time.monotonic()
            process = subprocess.Popen(self.arguments, stdout=file, stderr=subprocess.PIPE)
            errors = process.stderr.read()
            _, status, used = os.wait4(process.pid, 0)
            self.seconds.append(time.monotonic() - start)
        if status != 0:
            sys.exit(f"{' '.join(map(str, self.arguments))}: {errors.decode(errors='replace')}")
        self.kilobytes = max(self.kilobytes, used.ru_maxrss)


def works(program, folder):
    many, one = folder / "many.abs", folder / "one.abs"
    write_schedule(many, DRAWINGS, BARS)
    write_schedule(one, 1, BARS)
    marks = folder / "marks.abs"
    write_schedule(marks, 1, MARKS)
    project, list_project = folder / "bench.db", folder / "marks.db"
    subprocess.run([program, "import", many, "--project", project, "--quiet"], check=True)
    subprocess.run([program, "import", marks, "--project", list_project, "--quiet"], check=True)
    sheet = str(DRAWINGS // 2)

    def fresh(path):
        return lambda: path.unlink(missing_ok=True)

    imported, single, copy = folder / "imported.db", folder / "single.db", folder / "copy.csv"
    sums = ("select rev_id, count(*), sum(total_bars), sum(total_length * bartype_mass_per_length)"
            " from rebar group by rev_id")
    lines = f"select * from rebar where rev_id = (select rev_id from rebar where id = {BARS // 2})"
    all_columns = "select * from rebar"
    export = [program, "export", project, "--format"]
    return [
        Work("sqlite3: all columns of all bars", None, ["sqlite3", "-csv", project, all_columns]),
        Work("sqlite3: sums by revision", None, ["sqlite3", project, sums]),
        Work("sqlite3: bars of a revision", None, ["sqlite3", project, lines]),
        Work("ogr2ogr: all columns as CSV", None,
             ["ogr2ogr", "-f", "CSV", copy, project, "-sql", all_columns.replace(
                 "*", "id, mark, total_bars, total_length, bar_diameter, comment, member, submark,"
                 " material_id, shape_code, A, B, C, D, E, F, R, bartype_mass_per_length")],
             fresh(copy)),
        Work("import, one drawing", None,
             [program, "import", one, "--project", single, "--quiet"], fresh(single)),
        Work("import, 2,000 drawings", "import, one drawing",
             [program, "import", many, "--project", imported, "--quiet"], fresh(imported)),
        Work("list", "sqlite3: sums by revision", [program, "list", project]),
        Work("show", "sqlite3: all columns of all bars", [program, "show", project]),
        Work("show --sheet", "sqlite3: bars of a revision",
             [program, "show", project, "--sheet", sheet]),
        Work("export --format csv", "ogr2ogr: all columns as CSV", export + ["csv"]),
        Work("export --format ndjson", "sqlite3: all columns of all bars", export + ["ndjson"]),
        Work("export --format json", "sqlite3: all columns of all bars", export + ["json"]),
        Work("export --format bvbs", "sqlite3: all columns of all bars", export + ["bvbs"]),
        Work("export --format xlsx", "sqlite3: all columns of all bars",
             export + ["xlsx", "--output", folder / "bench.xlsx"]),
    ] + [
        Work(f"bending-list, 2,000 marks, {format}", None,
             [program, "bending-list", list_project, "--output", folder / f"bench.{format}"])
        for format in ("pdf", "svg", "html")
    ]


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("--program", type=pathlib.Path, required=True)
    parser.add_argument("--results", type=pathlib.Path, required=True)
    parser.add_argument("--repetitions", type=int, default=5)
    options = parser.parse_args()
    folder = pathlib.Path(tempfile.mkdtemp(prefix="korvane-commands-"))
    try:
        all_works = works(options.program.resolve(), folder)
        for _ in range(options.repetitions):
            for work in all_works:
                work.run(folder / "output")
    finally:
        shutil.rmtree(folder)
    median = {work.name: statistics.median(work.seconds) for work in all_works}
    figures = []
    for work in all_works:
        figure = {"work": work.name, "seconds": median[work.name], "kilobytes": work.kilobytes}
        if work.baseline:
            figure |= {"baseline": work.baseline, "ratio": median[work.name] / median[work.baseline]}
        figures.append(figure)
        print(f"{work.name:36}{median[work.name]:8.3f} s {work.kilobytes // 1024:6} MiB"
              + (f"{figure['ratio']:8.2f} of {work.baseline}" if work.baseline else ""))
    options.results.write_text(json.dumps(
        {"date": datetime.date.today().isoformat(), "bars": BARS, "drawings": DRAWINGS,
         "repetitions": options.repetitions, "figures": figures}, indent=1) + "\n")


if __name__ == "__main__":
    main()
