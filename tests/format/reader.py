#!/usr/bin/env python3
"""Reads a project file as docs/format.md tells it, with Python's standard library and nothing else.

    reader.py PAGE FILE      prints the project as JSON

What tables, contracts and enumerations there are is taken from the page itself when it runs. This
file is written from the page, not from the program: where the two disagree, the page is wrong.
"""

import json
import os
import re
import shutil
import sqlite3
import struct
import sys
import tempfile
import urllib.parse

APPLICATION_ID = 0x4B52564E
MOST_NESTED = 64

(STOP, STOP_BASE, BOOL, UINT8, UINT16, UINT32, UINT64, FLOAT, DOUBLE, STRING, STRUCT, LIST, SET, MAP,
 INT8, INT16, INT32, INT64, WSTRING) = range(19)
VARINTS = {UINT16, UINT32, UINT64, INT16, INT32, INT64}


class Damaged(ValueError):
    """Bytes that are no record. The text names the field and the offset."""


class NotAProject(ValueError):
    pass


# The page


class Type:
    """A type of a field: `nullable<double>` has the name "nullable" and one argument."""

    def __init__(self, name, arguments=()):
        self.name = name
        self.arguments = arguments

    @classmethod
    def parse(cls, text):
        name, _, rest = text.partition("<")
        if not rest:
            return cls(name)
        return cls(name, [cls.parse(each.strip()) for each in rest[:-1].split(",", name == "map")])


class Field:
    def __init__(self, ordinal, name, kind, default, unit, meaning):
        self.ordinal = int(ordinal)
        self.name = name
        self.type = Type.parse(kind)
        self.default = default
        self.unit = unit
        self.meaning = meaning


class Table:
    def __init__(self, name, record, columns):
        self.name = name
        self.record = record  # None where the page says that there is no `raw`
        self.columns = columns  # of name to the declaration, the source, …


class Page:
    """The tables, contracts and enumerations of docs/format.md."""

    def __init__(self, path):
        with open(path, encoding="utf-8") as file:
            self.text = file.read()
        self.contracts = {}
        for name, _, rows in self._sections("contracts"):
            fields = [Field(*row) for row in rows]
            self.contracts[name] = {field.ordinal: field for field in fields}
        self.enumerations = {name: {row[1]: int(row[0]) for row in rows}
                             for name, _, rows in self._sections("enumerations")}
        self.tables = {}
        for name, text, rows in self._sections("tables"):
            record = re.search(r"`raw` holds an? `(\w+)`", text)
            columns = {row[0]: dict(zip(("declared", "null", "source", "unit", "meaning"), row[1:]))
                       for row in rows}
            self.tables[name] = Table(name, record and record.group(1), columns)

    def _sections(self, part):
        """Of each section of a generated part its name, its text and the rows of its table."""
        text = re.search(rf"<!-- made: {part} -->(.*?)<!-- /made -->", self.text, re.DOTALL).group(1)
        for section in re.split(r"^### ", text, flags=re.MULTILINE)[1:]:
            rows = [[cell.strip().strip("`") for cell in line.strip("|").split("|")]
                    for line in section.splitlines() if line.startswith("|")]
            yield re.match(r"`(\w+)`", section).group(1), section, rows[2:]


# The bytes of `raw`


class Bytes:
    """Bytes that are being read, with the place that messages name."""

    def __init__(self, data):
        self.data = data
        self.at = 0
        self.place = []
        self.depth = 0

    def damaged(self, reason):
        place = "".join(self.place) or "the record"
        raise Damaged(f"{place}: {reason}, at offset {self.at} of {len(self.data)}")

    def take(self, count):
        if count > len(self.data) - self.at:
            self.damaged(f"{count} bytes are asked for and {len(self.data) - self.at} are left")
        self.at += count
        return self.data[self.at - count:self.at]

    def byte(self):
        return self.take(1)[0]

    def varint(self, width):
        value = 0
        for shift in range(0, 7 * (width // 7 + 1), 7):
            byte = self.byte()
            value |= (byte & 0x7F) << shift
            if not byte & 0x80:
                break
        return value & ((1 << width) - 1)

    def zigzag(self, width):
        value = self.varint(width)
        return ~(value >> 1) if value & 1 else value >> 1

    def count(self):
        return self.varint(32)

    def count_of_elements(self):
        """A number of elements, each of which takes a byte at least."""
        count = self.count()
        if count > len(self.data) - self.at:
            self.damaged(f"{count} elements are claimed and {len(self.data) - self.at} bytes are left")
        return count

    def field_header(self):
        first = self.byte()
        ordinal = first >> 5
        if ordinal == 6:
            ordinal = self.byte()
        elif ordinal == 7:
            ordinal = int.from_bytes(self.take(2), "little")
        return first & 0x1F, ordinal

    def nested(self, name):
        return _Nested(self, name)


class _Nested:
    """One level of structs and containers, named in messages."""

    def __init__(self, source, name):
        self.source = source
        self.name = name

    def __enter__(self):
        if self.source.depth == MOST_NESTED:
            self.source.damaged(f"nested deeper than {MOST_NESTED} levels")
        self.source.depth += 1
        self.source.place.append(self.name)

    def __exit__(self, failure, *_):
        if failure is None:
            self.source.depth -= 1
            self.source.place.pop()


def skip(source, code):
    if code in (BOOL, UINT8, INT8):
        source.take(1)
    elif code in VARINTS:
        source.varint(64)
    elif code == FLOAT:
        source.take(4)
    elif code == DOUBLE:
        source.take(8)
    elif code == STRING:
        source.take(source.count())
    elif code == WSTRING:
        source.take(2 * source.count())
    elif code == STRUCT:
        with source.nested(""):
            skip_fields(source)
    elif code in (LIST, SET):
        with source.nested(""):
            element = source.byte() & 0x1F
            for _ in range(source.count_of_elements()):
                skip(source, element)
    elif code == MAP:
        with source.nested(""):
            key = source.byte() & 0x1F
            value = source.byte() & 0x1F
            for _ in range(source.count_of_elements()):
                skip(source, key)
                skip(source, value)
    else:
        source.damaged(f"{code} is no code of a value")


def skip_fields(source):
    while True:
        code, _ = source.field_header()
        if code == STOP:
            return
        if code != STOP_BASE:
            skip(source, code)


def text_of(data):
    """A text. Bytes that are not UTF-8 come as surrogates, from which they can be had back."""
    return data.decode("utf-8", "surrogateescape")


class Decoder:
    """Turns the bytes of a record into a dictionary of field name to value.

    A nullable that is not set is None, a list a list, a map a dictionary, a blob bytes, an
    enumeration its number.
    """

    WIRE = {"bool": {BOOL}, "int32": {INT32, INT16, INT8}, "double": {DOUBLE, FLOAT},
            "string": {STRING}, "list": {LIST}, "nullable": {LIST}, "blob": {LIST}, "map": {MAP}}

    def __init__(self, page):
        self.page = page

    def decode(self, contract, data):
        """Raises Damaged."""
        source = Bytes(bytes(data))
        record = self.default_record(contract)
        with source.nested(contract):
            self._fields(source, contract, record)
        return record

    def default_record(self, contract):
        return {field.name: self._default(field) for field in self.page.contracts[contract].values()}

    def _default(self, field):
        name = field.type.name
        if name == "nullable":
            return None
        if name in ("list", "map", "string"):
            return {"list": list, "map": dict, "string": str}[name]()
        if name in self.page.contracts:
            return self.default_record(name)
        if name in self.page.enumerations:
            return self.page.enumerations[name][field.default]
        return {"bool": lambda text: text == "true", "int32": int, "double": float}[name](field.default)

    def _fits(self, kind, code):
        if kind.name in self.page.contracts:
            return code == STRUCT
        return code in self.WIRE["int32" if kind.name in self.page.enumerations else kind.name]

    def _fields(self, source, contract, record):
        fields = self.page.contracts[contract]
        while True:
            code, ordinal = source.field_header()
            if code == STOP:
                return
            if code == STOP_BASE:
                return skip_fields(source)
            field = fields.get(ordinal)
            if field is None or not self._fits(field.type, code):
                source.place.append(f", ordinal {ordinal}")
                skip(source, code)
            else:
                source.place.append("." + field.name)
                record[field.name] = self._value(source, field.type, code, record[field.name])
            source.place.pop()

    def _value(self, source, kind, code, before=None):
        """The value. `before` is what holds where the bytes have none that fits."""
        name = kind.name
        if name in self.page.contracts:
            record = self.default_record(name) if before is None else before
            with source.nested(""):
                self._fields(source, name, record)
            return record
        if name == "bool":
            return source.byte() != 0
        if name == "double":
            return struct.unpack("<f", source.take(4))[0] if code == FLOAT else struct.unpack(
                "<d", source.take(8))[0]
        if name == "string":
            return text_of(source.take(source.count()))
        if name == "map":
            return self._map(source, kind, before)
        if name in ("list", "nullable", "blob"):
            with source.nested(""):
                return self._list(source, kind, before)
        if code == INT8:
            return int.from_bytes(source.take(1), "little", signed=True)
        return source.zigzag(16 if code == INT16 else 32)

    def _list(self, source, kind, before):
        element = source.byte() & 0x1F
        if kind.name == "blob":
            if element == INT8:
                return source.take(source.count())
        elif self._fits(kind.arguments[0], element):
            values = []
            count = source.count_of_elements()
            for index in range(count):
                source.place.append(f"[{index}]" if kind.name == "list" else "")
                if kind.name == "nullable" and index > 0:
                    skip(source, element)
                else:
                    values.append(self._value(source, kind.arguments[0], element))
                source.place.pop()
            return values if kind.name == "list" else values[0] if values else None
        for _ in range(source.count_of_elements()):
            skip(source, element)
        return before

    def _map(self, source, kind, before):
        with source.nested(""):
            key_code = source.byte() & 0x1F
            value_code = source.byte() & 0x1F
            count = source.count_of_elements()
            key_kind, value_kind = kind.arguments
            if not self._fits(key_kind, key_code) or not self._fits(value_kind, value_code):
                for _ in range(count):
                    skip(source, key_code)
                    skip(source, value_code)
                return before
            values = {}
            for _ in range(count):
                key = self._value(source, key_kind, key_code)
                source.place.append(f"[{key!r}]")
                values[key] = self._value(source, value_kind, value_code, values.get(key))
                source.place.pop()
            return values


# The file


def open_database(path):
    """A connection that reads the file, or a copy of it if SQLite may have to put it in order."""
    with open(path, "rb") as file:
        if file.read(16) != b"SQLite format 3\0":
            raise NotAProject(f"{path}: not an SQLite database")
    beside = [suffix for suffix in ("-journal", "-wal") if os.path.exists(path + suffix)]
    if not beside:
        return sqlite3.connect(f"file:{urllib.parse.quote(os.path.abspath(path))}?mode=ro", uri=True)
    with tempfile.TemporaryDirectory() as folder:
        copy = os.path.join(folder, os.path.basename(path))
        for suffix in ["", *beside]:
            shutil.copyfile(path + suffix, copy + suffix)
        connection = sqlite3.connect(copy)
        memory = sqlite3.connect(":memory:")
        connection.backup(memory)
        connection.close()
        return memory


class Project:
    """All rows of a project file: `rows[table]` is a list of (columns, record), by id."""

    def __init__(self, page, path):
        self.page = page
        decoder = Decoder(page)
        database = open_database(path)
        database.text_factory = text_of
        self.application_id = database.execute("PRAGMA application_id").fetchone()[0]
        there = {row[0] for row in database.execute("SELECT name FROM sqlite_schema")}
        lacking = sorted(set(page.tables) - there)
        if lacking:
            raise NotAProject(f"{path}: no table {', '.join(lacking)}")
        self.rows = {}
        for table in page.tables.values():
            names = ",".join(f'"{name}"' for name in table.columns)
            self.rows[table.name] = []
            for row in database.execute(f"SELECT {names} FROM {table.name} ORDER BY id"):
                columns = dict(zip(table.columns, row))
                record = None
                if table.record:
                    try:
                        record = decoder.decode(table.record, columns["raw"])
                    except Damaged as failure:
                        raise Damaged(f"{table.name} {columns['id']}: {failure}") from None
                self.rows[table.name].append((columns, record))
        database.close()
        for table in ("material", "fabric_type", "sheet", "revision"):
            for columns, record in self.rows[table]:
                record["id"] = columns["id"]
                record["uid"] = columns["uid"]
        for columns, record in self.rows["revision"]:
            record["sheet_id"] = columns["sheet_id"]

    def records(self, table):
        return [record for _, record in self.rows[table]]

    def properties(self):
        """Of the project as a whole."""
        records = self.records("project")
        return records[0]["properties"] if records else {}

    def lines(self, table, revision):
        return [record for columns, record in self.rows[table] if columns["rev_id"] == revision]

    def sheets(self):
        """The sheets that are part of the project: (sheet, [(revision, id whose lines are its own)]).
        Last, under None, the revisions of no sheet."""
        marks = [(mark, record) for record in self.records("revision")
                 if (mark := mark_of(record)) and mark[0] != "importing"]
        marked = {record["id"] for _, record in marks}
        removed = {changed for (step, changed), _ in marks if step == "removing"}
        replaced = {changed: record["id"] for (step, changed), record in marks if step == "whole"}
        imports = [record for record in self.records("sheet")
                   if (mark_of(record) or ("",))[0] == "importing"]
        importing = {record["id"] for record in imports}
        made = {uid for record in imports for uid in made_uids(record)}
        by_sheet = {}
        for record in self.records("revision"):
            if record["id"] in marked | removed or record["uid"] in made:
                continue
            by_sheet.setdefault(record["sheet_id"], []).append(
                (record, replaced.get(record["id"], record["id"])))
        sheets = []
        for record in self.records("sheet"):
            if record["id"] in importing:
                continue
            revisions = by_sheet.pop(record["id"], [])
            if revisions or record["uid"] not in made:
                sheets.append((record, revisions))
        rest = [revision for revisions in by_sheet.values() for revision in revisions]
        return sheets + ([(None, rest)] if rest else [])


def mark_of(record):
    """The step of an unfinished change, and the revision that it changes."""
    mark = record["properties"].get("korvane.change")
    words = (mark["value_string"] or "").split() if mark else []
    if not words or words[0] not in ("filling", "whole", "placed", "removing", "importing"):
        return None
    return words[0], mark["value_int32"]


def made_uids(record):
    made = record["properties"].get("korvane.import")
    return (made["value_string"] or "").split("\n") if made else []


def as_json(project):
    """All of the project that is not ignored."""
    kinds = ("rebar", "fabric", "barspacer", "mountingpart")
    return {
        "project": project.properties(),
        "materials": project.records("material"),
        "fabric_types": project.records("fabric_type"),
        "sheets": [{"sheet": sheet, "revisions": [
            {"revision": revision, **{kind: project.lines(kind, content) for kind in kinds}}
            for revision, content in revisions]} for sheet, revisions in project.sheets()],
    }


def main():
    if len(sys.argv) != 3:
        sys.exit("usage: reader.py PAGE FILE")
    try:
        project = Project(Page(sys.argv[1]), sys.argv[2])
    except (NotAProject, Damaged, OSError, sqlite3.Error) as failure:
        sys.exit(str(failure))
    json.dump(as_json(project), sys.stdout, indent=1, default=bytes.hex)
    print()


if __name__ == "__main__":
    main()
