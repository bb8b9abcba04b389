"""Reads project files as their page, format.md, tells.

The page is read along with the file: its tables say which tables, contracts and enumerations there are. What it says in
sentences (the bytes of a record, which column is the truth, unfinished changes) is written out here.
"""

import json
import math
import re
import shutil
import sqlite3
import struct
import sys
import tempfile
from collections import namedtuple
from contextlib import closing
from pathlib import Path

# Codes of the types on the wire, how many bytes those of one size take, and which of them fit a type of the page.
STOP, STOP_BASE, BOOL, UINT8, FLOAT, DOUBLE, STRING = 0, 1, 2, 3, 7, 8, 9
STRUCT, LIST, SET, MAP, INT8, INT16, INT32, WSTRING = 10, 11, 12, 13, 14, 15, 16, 18
SIZES = {BOOL: 1, UINT8: 1, INT8: 1, FLOAT: 4, DOUBLE: 8}
CODES = {"bool": (BOOL,), "int8": (INT8,), "int32": (INT32, INT16, INT8), "double": (DOUBLE, FLOAT),
         "string": (STRING,), "list": (LIST,), "nullable": (LIST,), "blob": (LIST,), "map": (MAP,)}
DEEPEST = 64
SKIPPED = object()  # stands for a value that was read past, as its type does not fit

LINES = ("rebar", "fabric", "barspacer", "mountingpart")
MARK, IMPORTED = "korvane.change", "korvane.import"


class Damaged(ValueError):
    """Bytes that are not a record. The text names the field, from the contract on, and the offset."""


class NotAProject(ValueError):
    """A file that is not a project file."""


class Type(namedtuple("Type", "name arguments")):
    """A type of the page: a name, and the arguments between its angle brackets."""

    @classmethod
    def parse(cls, text):
        """The type that a text such as "map<string, Variant>" names."""
        name, bracket, inside = text.strip().partition("<")
        parts, depth = [""], 0
        for character in inside.removesuffix(">"):
            depth += (character == "<") - (character == ">")
            if character == "," and depth == 0:
                parts.append("")
            else:
                parts[-1] += character
        return cls(name, [cls.parse(part) for part in parts] if bracket else [])


# A row of a contract, and a table of the database: `record` is the contract of its `raw`, None if it has no `raw`.
Field = namedtuple("Field", "ordinal name type default unit meaning")
Table = namedtuple("Table", "name record columns")


class Page:
    """The page, and what its generated parts describe. Cells lose the backticks around the whole of them."""

    def __init__(self, path):
        self.text = Path(path).read_text(encoding="utf-8")
        self.tables = {}
        for name, body, rows in self._entries("tables"):
            holds = re.search(r"`raw` holds an? `(\w+)`", body)
            self.tables[name] = Table(name, holds and holds[1], {row[0]: row[1:] for row in rows})
        self.contracts = {
            name: {int(row[0]): Field(int(row[0]), row[1], Type.parse(row[2]), *row[3:]) for row in rows}
            for name, _, rows in self._entries("contracts")}
        self.enumerations = {
            name: {row[1]: int(row[0]) for row in rows} for name, _, rows in self._entries("enumerations")}

    def _entries(self, part):
        """Name, text and rows of each heading in a generated part."""
        made = re.search(rf"<!-- made: {part} -->(.*?)<!-- /made -->", self.text, re.DOTALL)
        if not made:
            raise ValueError(f"the page has no part {part}")
        for entry in re.split(r"^### ", made[1], flags=re.MULTILINE)[1:]:
            lines = [line.split("|")[1:-1] for line in entry.splitlines() if line.startswith("|")]
            # The first two lines are the heads of the columns and the rule under them.
            rows = [[re.sub(r"^`([^`]*)`$", r"\1", cell.strip()) for cell in cells] for cells in lines[2:]]
            yield re.match(r"`(\w+)`", entry)[1], entry, rows


class Decoder:
    """Turns the bytes of `raw` into dicts."""

    def __init__(self, page):
        self.page = page

    def decode(self, contract, data):
        """The record in `data`. Bytes after it mean nothing."""
        return _Cursor(self, bytes(data)).struct(contract, self.default_record(contract), 1, contract)

    def default_record(self, contract):
        """A record of which nothing is set."""
        return {field.name: self._default(field) for field in self.page.contracts[contract].values()}

    def _default(self, field):
        name, text = field.type.name, field.default
        if name in self.page.contracts:
            return self.default_record(name)
        if name in self.page.enumerations:
            return self.page.enumerations[name][text]
        # A container is made anew each time, as every record has to have its own.
        return {"bool": lambda: text == "true", "int32": lambda: int(text), "double": lambda: float(text),
                "string": str, "blob": bytes, "list": list, "map": dict, "nullable": lambda: None}[name]()

    def codes(self, kind):
        """The codes on the wire that fit a type."""
        return (STRUCT,) if kind.name in self.page.contracts else CODES.get(kind.name, CODES["int32"])


class _Cursor:
    """The bytes of one record and how far they are read.

    The methods take the path of what they read, which is for the text of an error, and how deep structs and containers
    are nested there, which bounds their recursion.
    """

    def __init__(self, decoder, data):
        self.decoder, self.data, self.at = decoder, data, 0

    def damaged(self, path, what, at=None):
        return Damaged(f"{path}: {what} (offset {self.at if at is None else at})")

    def take(self, size, path):
        if size > len(self.data) - self.at:
            raise self.damaged(path, f"{size} bytes reach beyond the end of the record")
        self.at += size
        return self.data[self.at - size:self.at]

    def varint(self, bits, path):
        """An unsigned number. The last byte that a width allows ends it whatever its highest bit, as the page says."""
        number = 0
        for shift in range(0, bits, 7):
            (byte,) = self.take(1, path)
            number |= (byte & 0x7F) << shift
            if byte < 0x80:
                break
        return number % (1 << bits)

    def count(self, path):
        """A number of elements. Each takes a byte or more, so that more than are left cannot be there."""
        start, count = self.at, self.varint(32, path)
        if count > len(self.data) - self.at:
            raise self.damaged(path, f"{count} elements reach beyond the end of the record", start)
        return count

    def element_code(self, path, mask=0x1F):
        code = self.take(1, path)[0] & mask
        if code > WSTRING or code in (STOP, STOP_BASE):
            raise self.damaged(path, f"code {code} for an element", self.at - 1)
        return code

    def entry_codes(self, path):
        """The codes of a map's key and value: of these the whole byte counts."""
        return [self.element_code(path, 0xFF), self.element_code(path, 0xFF)]

    def deeper(self, depth, path):
        if depth >= DEEPEST:
            raise self.damaged(path, f"is nested more than {DEEPEST} deep")
        return depth + 1

    def struct(self, contract, record, depth, path):
        """Reads the fields of a struct over those that `record` has already. No field of the contract None is known."""
        fields = self.decoder.page.contracts.get(contract, {})
        while True:
            start, (first,) = self.at, self.take(1, path)
            code, ordinal = first & 0x1F, first >> 5
            if ordinal > 5:
                ordinal = int.from_bytes(self.take(ordinal - 5, path), "little")
            if code == STOP:
                return record
            if code == STOP_BASE:
                fields = {}  # what follows belongs to a struct that is not known, with ordinals of its own
                continue
            field = fields.get(ordinal)
            inside = f"{path}.{field.name if field else ordinal}" if contract else path
            if code > WSTRING:
                raise self.damaged(inside, f"code {code}", start)
            value = self.value(field and field.type, code, depth, inside, field and record[field.name])
            if value is not SKIPPED:
                record[field.name] = value

    def value(self, kind, code, depth, path, before=None):
        """A value that is read over the one before it, if there is one.

        SKIPPED if it or what is in it does not fit the type, as nothing fits the type None.
        """
        if kind is None or code not in self.decoder.codes(kind):
            self.skip(code, depth, path)
            return SKIPPED
        if code == STRUCT:
            record = self.decoder.default_record(kind.name) if before is None else before
            return self.struct(kind.name, record, self.deeper(depth, path), path)
        if code == LIST:
            return self.elements(kind, self.deeper(depth, path), path, before)
        if code == MAP:
            return self.map(kind, self.deeper(depth, path), path)
        if code == STRING:
            return self.take(self.varint(32, path), path).decode("utf-8", "surrogateescape")
        if code == BOOL:
            return self.take(1, path) != b"\0"
        if code == INT8:
            return int.from_bytes(self.take(1, path), "little", signed=True)
        if code in (FLOAT, DOUBLE):
            return struct.unpack("<f" if code == FLOAT else "<d", self.take(SIZES[code], path))[0]
        number = self.varint(16 if code == INT16 else 32, path)
        return (number >> 1) ^ -(number & 1)

    def elements(self, kind, depth, path, before):
        """A list, blob or nullable: all are lists on the wire."""
        element = kind.arguments[0] if kind.arguments else Type("int8", [])
        code, count = self.element_code(path), self.count(path)
        if code not in self.decoder.codes(element):
            self.skip_elements([code], count, depth, path)
            return SKIPPED
        if kind.name == "blob":
            return self.take(count, path)
        if kind.name == "nullable":
            value = self.value(element, code, depth, path, before) if count else None
            self.skip_elements([code], count - 1, depth, path)
            # Only a blob can hold what does not fit.
            return (before or b"") if value is SKIPPED else value
        before = [*(before or []), *[None] * count]
        return [self.value(element, code, depth, f"{path}[{index}]", before[index]) for index in range(count)]

    def map(self, kind, depth, path):
        """A map of strings to structs, as all are."""
        _, contract = kind.arguments
        codes, count = self.entry_codes(path), self.count(path)
        if codes != [STRING, STRUCT]:
            self.skip_elements(codes, count, depth, path)
            return SKIPPED
        entries = {}
        for index in range(count):
            key = self.value(Type("string", []), STRING, depth, f"{path}[{index}]")
            # A hostile key must not make the text of an error long, nor break its line.
            inside = f"{path}[{json.dumps(key[:40])}]"
            entries[key] = self.value(contract, STRUCT, depth, inside, entries.get(key))
        return entries

    def skip(self, code, depth, path):
        """Reads past a value by its code alone."""
        if code in SIZES:
            self.take(SIZES[code], path)
        elif code in (STRING, WSTRING):
            self.take(self.varint(32, path) * (2 if code == WSTRING else 1), path)
        elif code == STRUCT:
            self.struct(None, {}, self.deeper(depth, path), path)
        elif code in (LIST, SET, MAP):
            depth = self.deeper(depth, path)
            codes = self.entry_codes(path) if code == MAP else [self.element_code(path)]
            self.skip_elements(codes, self.count(path), depth, path)
        else:
            self.varint(64, path)

    def skip_elements(self, codes, count, depth, path):
        """Reads past elements, or past entries of two codes each."""
        for _ in range(count):
            for code in codes:
                self.skip(code, depth, path)


class Project:
    """What a project file holds. All of it is read at once, and the file closed again."""

    def __init__(self, page, path):
        self.page = page
        # SQLite names the files beside a database after the file itself, not after a link to it.
        path = Path(path).resolve()
        with open(path, "rb") as file:
            head = file.read(20)
        names = [path.name + end for end in ("-journal", "-wal", "-shm")]
        beside = [path.with_name(name) for name in names if path.with_name(name).exists()]
        if not beside and not head.startswith(b"SQLite format 3\0"):
            raise NotAProject("does not begin as a database of SQLite 3 does")
        # To put a file in order SQLite writes, and to read one with a write-ahead log (2 in the bytes 18 and 19) it
        # makes files beside it. A copy lets it, and leaves the original alone.
        if beside or 2 in head[18:20]:
            with tempfile.TemporaryDirectory() as folder:
                for file in (path, *beside):
                    shutil.copyfile(file, Path(folder, file.name))
                self.rows = self._read(Path(folder, path.name).as_uri() + "?mode=rw")
        else:
            self.rows = self._read(path.as_uri() + "?mode=ro")

    def _read(self, uri):
        with closing(sqlite3.connect(uri, uri=True, isolation_level=None)) as database:
            database.text_factory = lambda text: text.decode("utf-8", "surrogateescape")
            try:
                # One transaction, so that no other program changes the file between two tables.
                database.execute("BEGIN")
                there = {name for (name,) in database.execute("SELECT name FROM sqlite_master WHERE type = 'table'")}
                missing = sorted(self.page.tables.keys() - there)
                if missing:
                    raise NotAProject("no table " + ", ".join(missing))
                return {table.name: self._table(database, table) for table in self.page.tables.values()}
            except sqlite3.DatabaseError as error:
                # Other errors, such as that the file is locked, say nothing about what it is.
                told = {sqlite3.SQLITE_NOTADB: NotAProject, sqlite3.SQLITE_CORRUPT: Damaged}
                raise told.get(getattr(error, "sqlite_errorcode", 0) & 0xFF, type(error))(str(error)) from error

    def _table(self, database, table):
        there = {row[1] for row in database.execute(f"PRAGMA table_info([{table.name}])")}
        missing = sorted(table.columns.keys() - there)
        if missing:
            raise NotAProject(f"no column {', '.join(missing)} in table {table.name}")
        # Whatever stands in place of a run of bytes is taken as one, so that it is refused as one.
        names = ", ".join(f"CAST([{name}] AS BLOB)" if name == "raw" else f"[{name}]" for name in table.columns)
        decoder, rows = Decoder(self.page), []
        for row in database.execute(f"SELECT {names} FROM [{table.name}] ORDER BY id"):
            row = dict(zip(table.columns, row))
            try:
                rows.append((row, table.record and decoder.decode(table.record, row["raw"] or b"")))
            except Damaged as error:
                raise Damaged(f"{table.name} {row['id']}: {error}") from None
        return rows

    def records(self, table):
        """The records of a table, with what columns know better put over them; of a table without `raw` its columns."""
        truth = ("rev_id",) if table in LINES else ("id", "uid", "sheet_id")
        return [dict(columns) if record is None else
                {**record, **{name: "" if name == "uid" and columns[name] is None else columns[name]
                              for name in truth if name in columns and name in record}}
                for columns, record in self.rows[table]]

    def properties(self):
        """The properties of the project as a whole."""
        return next((record["properties"] for record in self.records("project")), {})

    def lines(self, table, bearer, revision):
        """The lines of a revision in a table, in their order. They say the id `bearer`, which may be another's."""
        return [{**record, "rev_id": revision} for record in self.records(table) if record["rev_id"] == bearer]

    def sheets(self):
        """What is part of the project: [(sheet, [(revision, id of the revision whose lines are its own)])].

        Changes that were not finished count as finished or as not begun. Revisions of no sheet come last, under None.
        """
        sheets, revisions = self.records("sheet"), self.records("revision")
        steps = ("filling", "whole", "placed", "removing")
        marks = [(revision["id"], *self._mark(revision)) for revision in revisions if self._mark(revision)[0] in steps]
        gone = {bearer for bearer, _, _ in marks} | {changed for _, step, changed in marks if step == "removing"}
        # The highest id of those that name one revision comes last and holds.
        lines_of = {changed: bearer for bearer, step, changed in marks if step == "whole"}
        bearers = [sheet for sheet in sheets if self._mark(sheet)[0] == "importing"]
        named = "\n".join((sheet["properties"].get(IMPORTED) or {}).get("value_string") or "" for sheet in bearers)
        imported = {uid for uid in named.split("\n") if uid}
        gone.update(revision["id"] for revision in revisions if revision["uid"] in imported)
        kept = {}
        for revision in revisions:
            if revision["id"] not in gone:
                pair = revision, lines_of.get(revision["id"], revision["id"])
                kept.setdefault(revision["sheet_id"], []).append(pair)
        hidden = {sheet["id"] for sheet in bearers}
        hidden.update(sheet["id"] for sheet in sheets if sheet["uid"] in imported and sheet["id"] not in kept)
        found = [(sheet, kept.pop(sheet["id"], [])) for sheet in sheets if sheet["id"] not in hidden]
        # Whose sheet is hidden or not there has none: what nobody says to ignore must not be lost.
        lone = sorted((pair for pairs in kept.values() for pair in pairs), key=lambda pair: pair[0]["id"])
        return [*found, (None, lone)] if lone else found

    @staticmethod
    def _mark(record):
        """Step and changed id of the mark that a record may bear; an empty step is none."""
        value = record["properties"].get(MARK) or {}
        # Python takes more characters for white space than the page does.
        words = re.split("[\t-\r ]+", " " + (value.get("value_string") or ""))
        return words[1], value.get("value_int32")


def plain(value):
    """A value without numbers that JSON does not have: none and infinite ones become texts."""
    if isinstance(value, dict):
        return {name: plain(inner) for name, inner in value.items()}
    if isinstance(value, list):
        return [plain(inner) for inner in value]
    if isinstance(value, float) and not math.isfinite(value):
        return str(value)
    return value


def main(arguments):
    """Prints a project as JSON."""
    if len(arguments) != 2:
        sys.exit("usage: reader.py PAGE FILE")
    try:
        project = Project(Page(arguments[0]), arguments[1])
    except (OSError, sqlite3.Error, ValueError) as error:
        sys.exit(f"{arguments[1]}: {error}")
    shown = [{"sheet": sheet, "revisions": [
        {"revision": revision, **{table: project.lines(table, bearer, revision["id"]) for table in LINES}}
        for revision, bearer in revisions]} for sheet, revisions in project.sheets()]
    catalogues = {table: project.records(table) for table in ("material", "fabric_type", "end_treatment")}
    whole = {"properties": project.properties(), **catalogues, "sheets": shown}
    print(json.dumps(plain(whole), indent=1, default=bytes.hex))


if __name__ == "__main__":
    main(sys.argv[1:])
