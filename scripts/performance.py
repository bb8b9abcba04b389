#!/usr/bin/env python3
"""Writes the tables of docs/performance.md, each between <!-- table: NAME --> and <!-- /table -->,
from bench/results.json, bench/wire.json and bench/commands.json. With --check it fails if they are not
what it would write.

bench/before.json has the figures of the release before, from a run on the same day as
bench/results.json, and bench/wire-before.json those beside bench/wire.json. They are left out where
the days differ: machines do too.
"""

import difflib
import json
import re
import sys

from sources import ROOT

DOCUMENT = "docs/performance.md"
RESULTS = "bench/results.json"
WIRE = "bench/wire.json"
COMMANDS = "bench/commands.json"
BEFORE = "bench/before.json"
WIRE_BEFORE = "bench/wire-before.json"
BLOCK = re.compile(r"(<!-- table: (\S+) -->\n).*?(<!-- /table -->)", re.DOTALL)
# What such a figure is compared with is its own smallest case.
GROWTH = "growth: "


def readable(value, unit):
    """Times with three digits in the unit that suits them, counts as they are."""
    if unit == "x":
        return f"{value:.3f}"
    if unit == "calls/s":
        return f"{value:,.0f} {unit}"
    if unit != "s":
        return f"{value:.4g} {unit}"
    for name, size in (("s", 1), ("ms", 1e-3), ("µs", 1e-6), ("ns", 1e-9)):
        if value >= size or name == "ns":
            return f"{value / size:.3g} {name}"


def table(head, rows):
    """Lines of Markdown; a head that ends with ':' is of a column of numbers."""
    marks = "|".join("--:" if name.endswith(":") else "---" for name in head)
    lines = ["| " + " | ".join(name.rstrip(":") for name in head) + " |", f"|{marks}|"]
    return lines + ["| " + " | ".join(row) + " |" for row in rows]


def machine_lines(results, _):
    machine = results["machine"]
    return [f"{results['date']}, {machine['cores']} cores, {machine['compiler']}, "
            f"SQLite {machine['sqlite']}, Protocol Buffers {machine['protobuf']}."]


def ratio_lines(results, before):
    head = ["Work", "Arguments", "korvane:", "baseline:", "ratio:", "fastest:"]
    head += ["the release before:"] if before else []
    rows = []
    for figure in results["figures"]:
        if figure["work"].startswith(GROWTH):
            continue
        row = [figure["work"], figure["arguments"], readable(figure["korvane"], figure["unit"]),
               readable(figure["baseline"], figure["unit"]), f"{figure['ratio']:.3f}",
               f"{figure['ratio_of_fastest']:.3f}"]
        if before:
            old = before.get((figure["work"], figure["arguments"]))
            row.append(f"{old['ratio']:.3f} / {old['ratio_of_fastest']:.3f}" if old else "")
        met = {True: "yes", False: "no", None: ""}[figure.get("met")]
        rows.append(row + [str(figure.get("goal", "")), met])
    return table(head + ["goal:", "met"], rows)


def command_lines(commands):
    rows = []
    for figure in commands["figures"]:
        baseline = figure.get("baseline", "")
        ratio = f"{figure['ratio']:.2f}" if baseline else ""
        rows.append([figure["work"], readable(figure["seconds"], "s"),
                     f"{figure['kilobytes'] // 1024} MiB", ratio, baseline])
    return [f"{commands['date']}, {commands['bars']:,} bars in {commands['drawings']:,} drawings, "
            f"medians of {commands['repetitions']}.", ""] + table(
                ["Work", "Time:", "Memory:", "Ratio:", "to"], rows)


def growth_lines(results, _):
    rows = [[figure["work"].removeprefix(GROWTH), figure["arguments"],
             readable(figure["korvane"], figure["unit"]), f"{figure['ratio']:.1f}"]
            for figure in results["figures"] if figure["work"].startswith(GROWTH)]
    return table(["Work", "Arguments", "Time:", "Ratio:"], rows)


def wire_lines(wire, before):
    machine = wire["machine"]
    older = {}
    if before and before["date"] == wire["date"]:
        older = {(figure["work"], figure["beside"]): figure for figure in before["figures"]}
    rows = []
    for figure in wire["figures"]:
        sign = "≥" if figure["unit"] == "calls/s" else "≤"
        goal = f"{sign} {figure['goal']}" if "goal" in figure else ""
        met = {True: "yes", False: "no", None: ""}[figure.get("met")]
        row = [figure["work"], figure["beside"], readable(figure["korvane"], figure["unit"]),
               readable(figure["baseline"], figure["unit"]), f"{figure['ratio']:.3f}",
               f"{figure['ratio_of_best']:.3f}"]
        if older:
            old = older.get((figure["work"], figure["beside"]))
            row.append(f"{old['ratio']:.3f} / {old['ratio_of_best']:.3f}" if old else "")
        rows.append(row + [goal, met])
    return [f"{wire['date']}, {machine['cores']} cores, {machine['compiler']}, SQLite {machine['sqlite']}, "
            f"gRPC {machine['grpc']}, medians of {wire['rounds']} rounds, load of the machine "
            f"{machine['load_before']:.1f} before and {machine['load_after']:.1f} after.", ""] + table(
                ["Work", "Beside", "korvane:", "beside it:", "ratio:", "best:"]
                + (["the release before:"] if older else []) + ["goal:", "met"], rows)


def wire_call_lines(wire):
    """A line for each work and number of connections, a column for each server."""
    servers = list(dict.fromkeys(call["server"] for call in wire["calls"]))
    cells = {}
    for call in wire["calls"]:
        text = f"{readable(call['median'], 's')} / {readable(call['p99'], 's')}"
        if "per_second" in call:
            text += f", {call['per_second']:,.0f}/s"
        cells.setdefault((call["work"], call["connections"]), {})[call["server"]] = text
    rows = [[work, str(connections)] + [by_server.get(server, "") for server in servers]
            for (work, connections), by_server in cells.items()]
    return table(["Work", "Connections:"] + [f"{server}:" for server in servers], rows)


TABLES = {"machine": machine_lines, "ratios": ratio_lines, "growth": growth_lines,
          "wire": lambda results, _: wire_lines(results["wire"], results.get("wire_before")),
          "wire-calls": lambda results, _: wire_call_lines(results["wire"]),
          "commands": lambda results, _: command_lines(results["commands"])}


def rewritten(document, results, before):
    """The document with its tables made anew. `before` is the older run, or None."""
    older = {}
    if before and before["date"] == results["date"]:
        older = {(figure["work"], figure["arguments"]): figure for figure in before["figures"]}
    found = [match.group(2) for match in BLOCK.finditer(document)]
    if sorted(found) != sorted(TABLES):
        raise ValueError(f"{DOCUMENT} has the tables {found}, not {list(TABLES)}")
    return BLOCK.sub(
        lambda match: match.group(1) + "\n".join(TABLES[match.group(2)](results, older)) + "\n" +
        match.group(3), document)


def main():
    path = ROOT / DOCUMENT
    document = path.read_text()
    before = ROOT / BEFORE
    results = json.loads((ROOT / RESULTS).read_text())
    results["wire"] = json.loads((ROOT / WIRE).read_text())
    if (ROOT / WIRE_BEFORE).exists():
        results["wire_before"] = json.loads((ROOT / WIRE_BEFORE).read_text())
    results["commands"] = json.loads((ROOT / COMMANDS).read_text())
    new = rewritten(document, results,
                    json.loads(before.read_text()) if before.exists() else None)
    if "--check" in sys.argv:
        sys.stdout.writelines(difflib.unified_diff(
            document.splitlines(True), new.splitlines(True), DOCUMENT, RESULTS))
        return 0 if new == document else 1
    path.write_text(new)
    return 0


if __name__ == "__main__":
    sys.exit(main())
