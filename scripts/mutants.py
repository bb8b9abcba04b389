#!/usr/bin/env python3
"""Shows that the tests bite: makes one slip after the other in a private copy of the tree, builds
it, runs the programs that scripts/mutants.txt has for the file, and lists the slips that all of
them let through.

    scripts/mutants.py --count=100 --seed=1

`count` slips that can be built are taken in the random order of `seed`, or those of --only=PATTERN.
What is known stays in build/mutants/results.jsonl and is not tried again, but for a slip that
survived other tests or sources than those of today; --fresh tries all again. Survivors that nothing
could kill are explained in scripts/mutants-explained.txt. Fails if one survives unexplained.
"""

import argparse
import collections
import dataclasses
import fcntl
import fnmatch
import hashlib
import json
import os
import pathlib
import resource
import shutil
import signal
import subprocess
import sys
import time

import mutation
from sources import ROOT, files, sources

TABLE = ROOT / "scripts" / "mutants.txt"
EXPLAINED = ROOT / "scripts" / "mutants-explained.txt"
FOLDER = ROOT / "build" / "mutants"
PRESET = "mutants"
BUILD_SECONDS = 1800
MEMORY = 6 << 30
WAITING = 5  # times as long a test may take that waits while others have the processors

KILLED, SURVIVED, EQUIVALENT, NOT_BUILT = "killed", "survived", "equivalent", "not built"


@dataclasses.dataclass(frozen=True)
class Program:
    target: str
    filter: str = ""
    is_run: bool = True

    @staticmethod
    def parsed(word):
        if word.startswith("("):
            return Program(word.strip("()"), is_run=False)
        target, _, tests = word.partition("=")
        return Program(target, tests)


class Areas:
    """The table of which programs concern which files."""

    def __init__(self, text):
        self.lines = []
        for number, line in enumerate(text.splitlines(), 1):
            line = line.split("#")[0].strip()
            if not line:
                continue
            area, colon, rest = line.partition(":")
            patterns, arrow, programs = rest.partition("->")
            if not colon or not arrow or not patterns.split() or not programs.split():
                raise ValueError(f"{TABLE.name}:{number}: not a line 'AREA: FILES -> PROGRAMS'")
            self.lines.append((area, patterns.split(),
                               [Program.parsed(word) for word in programs.split()]))

    def of(self, file):
        """The area and the programs of a file; None without."""
        for area, patterns, programs in self.lines:
            if any(fnmatch.fnmatchcase(file, pattern) for pattern in patterns):
                return area, programs
        return None

    def programs(self):
        return list(dict.fromkeys(program for _, _, programs in self.lines for program in programs))


def shown(slip):
    """A slip in the form of scripts/mutants-explained.txt, without the reason."""
    place = f", place {slip.place}" if slip.place > 1 else ""
    before = "".join(f"- {line}\n" for line in slip.before.split("\n"))
    after = "".join(f"+ {line}\n" for line in slip.after.split("\n"))
    return f"{slip.file}: {slip.operator}{place}\n{before}{after}"


def read_explained(text):
    """The keys of the slips that are explained, with their reasons."""
    found = {}
    blocks = "\n".join(line for line in text.splitlines() if not line.startswith("#")).split("\n\n")
    for block in filter(None, (block.strip("\n") for block in blocks)):
        head, *lines = block.splitlines()
        file, _, operator = head.partition(": ")
        operator, _, place = operator.partition(", place ")
        before = "\n".join(line[2:] for line in lines if line.startswith("- "))
        after = "\n".join(line[2:] for line in lines if line.startswith("+ "))
        reason = " ".join(line for line in lines if line[:2] not in {"- ", "+ "})
        if not operator or not before or not reason:
            raise ValueError(f"{EXPLAINED.name}: {head}: no lines, or no reason")
        found[file, operator, before, after, int(place or 1)] = reason
    return found


class Results:
    """What is known of slips, one line of JSON each; the last line of a slip counts."""

    def __init__(self, path):
        self.path = path
        self.known = {}
        if path.exists():
            for line in path.read_text().splitlines():
                result = json.loads(line)
                self.known[tuple(result["key"])] = result

    def outcome(self, slip, tree):
        """The outcome of a slip if it need not be tried again. What survived is tried again in any
        other `tree`."""
        result = self.known.get(slip.key)
        if result is None or (result["outcome"] == SURVIVED and result["tree"] != tree):
            return None
        return result["outcome"]

    def add(self, slip, outcome, tree, by, seconds):
        result = {"key": slip.key, "outcome": outcome, "tree": tree, "by": by,
                  "seconds": round(seconds, 1)}
        self.known[slip.key] = result
        self.path.parent.mkdir(parents=True, exist_ok=True)
        with self.path.open("a") as file:
            file.write(json.dumps(result) + "\n")


def next_batch(order, count, outcome):
    """Those of the slips in `order` that are to be tried next, so that `count` of the first are
    known and can be built. `outcome` gives what is known of one, or None."""
    counted, batch = 0, []
    for slip in order:
        if counted == count:
            break
        known = outcome(slip)
        if known is None:
            batch.append(slip)
        counted += known != NOT_BUILT
    return batch


def taken(order, count, outcome):
    """The first slips of `order` of which `count` can be built, with their outcomes."""
    found, counted = [], 0
    for slip in order:
        known = outcome(slip)
        if counted == count or known is None:
            break
        found.append((slip, known))
        counted += known != NOT_BUILT
    return found


def summary(results, areas):
    """A table of outcomes by area; `results` are pairs of a slip and its outcome."""
    counts = collections.defaultdict(collections.Counter)
    for slip, outcome in results:
        for name in (areas.of(slip.file)[0], "all"):
            counts[name][outcome] += 1
    names = sorted(set(counts) - {"all"}) + ["all"]
    lines = [f"{'':12}{KILLED:>10}{SURVIVED:>10}{EQUIVALENT:>12}{NOT_BUILT:>12}"]
    for name in names:
        count = counts[name]
        lines.append(f"{name:12}{count[KILLED]:>10}{count[SURVIVED]:>10}{count[EQUIVALENT]:>12}"
                     f"{count[NOT_BUILT]:>12}")
    return "\n".join(lines)


class Copy:
    """The private copy of the tree, and its build without optimisation and warnings."""

    def __init__(self, folder, log):
        self.source = folder / "tree"
        self.build = self.source / "build" / PRESET
        self.temporary = folder / "tmp"
        self.log = log
        self.limits = {}

    def update(self):
        """Makes it the tree of now, touching what differs alone. Returns what tells it apart."""
        digest = hashlib.sha256()
        names = files()
        for name in names:
            content = (ROOT / name).read_bytes()
            digest.update(repr((name, len(content))).encode() + content)
            self.write(name, content)
        for name in sources(self.source):
            if name not in names:
                (self.source / name).unlink()
        return digest.hexdigest()

    def write(self, name, content):
        path = self.source / name
        if path.exists() and path.read_bytes() == content:
            return
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_bytes(content)

    def command(self, arguments, seconds, **options):
        """The exit status of a command; None if it took too long, and was ended."""
        with self.log.open("a") as log:
            log.write(f"$ {' '.join(map(str, arguments))}\n")
            log.flush()
            process = subprocess.Popen(arguments, stdout=log, stderr=log, stdin=subprocess.DEVNULL,
                                       start_new_session=True, **options)
            try:
                return process.wait(timeout=seconds)
            except subprocess.TimeoutExpired:
                return None
            finally:
                try:  # what it has started and left, too
                    os.killpg(process.pid, signal.SIGKILL)
                except ProcessLookupError:
                    pass
                process.wait()

    def configure(self):
        if self.command(["cmake", "--preset", PRESET], BUILD_SECONDS, cwd=self.source) != 0:
            raise RuntimeError(f"the copy cannot be configured: see {self.log}")

    def built(self, *targets):
        return self.command(["cmake", "--build", self.build, "--target", *targets],
                            BUILD_SECONDS) == 0

    def program_path(self, target):
        found = [path for path in self.build.rglob(target)
                 if path.is_file() and os.access(path, os.X_OK)]
        if len(found) != 1:
            raise RuntimeError(f"{target} is not one program of the build: edit {TABLE.name}")
        return found[0]

    def passes(self, program, seconds):
        path = self.program_path(program.target)
        arguments = [path]
        if program.target.endswith("_fuzzer"):
            arguments.append(self.source / "fuzz" / "corpora" /
                             program.target.removesuffix("_fuzzer"))
        else:
            arguments += ["--gtest_brief=1", "--gtest_fail_fast"]
            arguments += [f"--gtest_filter={program.filter}"] if program.filter else []
        shutil.rmtree(self.temporary, ignore_errors=True)
        self.temporary.mkdir(parents=True)

        def limit():
            resource.setrlimit(resource.RLIMIT_AS, (MEMORY, MEMORY))
            # What goes round in circles takes processor time, however busy the machine is.
            resource.setrlimit(resource.RLIMIT_CPU, (int(seconds), int(seconds) + 1))
            resource.setrlimit(resource.RLIMIT_CORE, (0, 0))

        return self.command(arguments, WAITING * seconds, cwd=path.parent, preexec_fn=limit,
                            env=os.environ | {"TMPDIR": str(self.temporary)}) == 0

    def check_unchanged(self, programs):
        """Builds the programs as they are and sees that they pass; what takes ten times as long
        with a slip hangs."""
        if not self.built(*dict.fromkeys(program.target for program in programs)):
            raise RuntimeError(f"the copy cannot be built: see {self.log}")
        for program in programs:
            if not program.is_run:
                continue
            start = time.monotonic()
            if not self.passes(program, BUILD_SECONDS):
                raise RuntimeError(f"{program.target} {program.filter} fails as it is:"
                                   f" see {self.log}")
            self.limits[program] = 20 + 10 * (time.monotonic() - start)

    def outcome(self, slip, programs):
        """What becomes of a slip, and which program has killed it."""
        original = (self.source / slip.file).read_bytes()
        try:
            self.write(slip.file, slip.applied(original.decode()).encode())
            for program in programs:
                if not self.built(program.target):
                    return NOT_BUILT, None
                if program.is_run and not self.passes(program, self.limits[program]):
                    return KILLED, program.target
            return SURVIVED, None
        finally:
            self.write(slip.file, original)


def all_slips(areas, root):
    return [slip for file in sources(root) if areas.of(file)
            for slip in mutation.slips(file, (root / file).read_text())]


def parsed_arguments():
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("--count", type=int, default=100, help="slips that can be built")
    parser.add_argument("--seed", default="1", help="of their random order")
    parser.add_argument("--only", default="*", metavar="PATTERN", help="files to slip into")
    parser.add_argument("--minutes", type=float, help="begin no other slip after that long")
    parser.add_argument("--fresh", action="store_true", help="forget what is known")
    parser.add_argument("--list", action="store_true", help="print the slips, try none")
    return parser.parse_args()


def try_slips(order, arguments, areas, copy, tree, results, outcome):
    """Tries those of the slips of which `outcome` does not know what becomes of them, until `count`
    of the first are known or the time is over."""
    begin = time.monotonic()
    copy_is_ready = False
    while batch := next_batch(order, arguments.count, outcome):
        if not copy_is_ready:
            print(f"== mutants: building {copy.source}", flush=True)
            copy.configure()
            copy.check_unchanged(list(dict.fromkeys(
                program for slip in batch for program in areas.of(slip.file)[1])))
            copy_is_ready = True
        # Those of a file together, so that no other is compiled again in between.
        for number, slip in enumerate(sorted(batch, key=lambda slip: slip.file), 1):
            if arguments.minutes and time.monotonic() - begin > arguments.minutes * 60:
                print("== mutants: the time is over; again, to go on")
                return
            programs = areas.of(slip.file)[1]
            if any(program.is_run and program not in copy.limits for program in programs):
                copy.check_unchanged(programs)
            start = time.monotonic()
            result, by = copy.outcome(slip, programs)
            seconds = time.monotonic() - start
            results.add(slip, result, tree, by, seconds)
            print(f"{number}/{len(batch)} {result}{f' by {by}' if by else ''} in {seconds:.0f} s: "
                  f"{slip.file}: {slip.operator}", flush=True)


def main():
    arguments = parsed_arguments()
    areas = Areas(TABLE.read_text())
    explained = read_explained(EXPLAINED.read_text())

    def in_order(every):
        return sorted((slip for slip in every if fnmatch.fnmatchcase(slip.file, arguments.only)),
                      key=lambda slip: slip.order(arguments.seed))

    if arguments.list:
        for slip in in_order(all_slips(areas, ROOT))[:arguments.count]:
            print(shown(slip))
        return 0
    FOLDER.mkdir(parents=True, exist_ok=True)
    lock = (FOLDER / "lock").open("w")
    try:
        fcntl.flock(lock, fcntl.LOCK_EX | fcntl.LOCK_NB)
    except BlockingIOError:
        print(f"another campaign runs in {FOLDER}", file=sys.stderr)
        return 2
    # What is edited from now on belongs to the next campaign.
    copy = Copy(FOLDER, FOLDER / "log.txt")
    tree = copy.update()
    every = all_slips(areas, copy.source)
    order = in_order(every)
    for name in ["log.txt"] + (["results.jsonl"] if arguments.fresh else []):
        (FOLDER / name).unlink(missing_ok=True)
    results = Results(FOLDER / "results.jsonl")

    def outcome(slip):
        return EQUIVALENT if slip.key in explained else results.outcome(slip, tree)

    signal.signal(signal.SIGTERM, lambda *_: sys.exit(1))  # so that what it has started ends too
    try_slips(order, arguments, areas, copy, tree, results, outcome)
    # Where the time was over first, those that are known.
    found = taken([slip for slip in order if outcome(slip)], arguments.count, outcome)

    survivors = [slip for slip, what in found if what == SURVIVED]
    text = "".join(f"{shown(slip)}\n" for slip in survivors)
    (FOLDER / "survivors.txt").write_text(text)
    if survivors:
        print(f"\nSurvivors, also in {FOLDER.relative_to(ROOT)}/survivors.txt:\n\n{text}", end="")
    gone = set(explained) - {slip.key for slip in every}
    for key in sorted(gone):
        print(f"{EXPLAINED.name} explains what is not there any more: {key[0]}: {key[2]}")
    print(f"\n{summary(found, areas)}")
    return 1 if survivors or gone else 0


if __name__ == "__main__":
    sys.exit(main())
