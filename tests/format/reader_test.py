#!/usr/bin/env python3
"""The reader that knows docs/format.md alone reads every record and every file that the tests have."""

import base64
import glob
import json
import math
import os
import pathlib
import random
import re
import shutil
import sqlite3
import struct
import subprocess
import tempfile
import time
import unittest

import reader

ROOT = pathlib.Path(__file__).resolve().parents[2]
PAGE = reader.Page(ROOT / "docs/format.md")
VECTORS = ROOT / "tests/data/encoding"
KINDS = {"bars": "rebar", "fabrics": "fabric", "bar_spacers": "barspacer",
         "mounting_parts": "mountingpart"}


def vectors(name):
    with open(VECTORS / f"{name}.jsonl", encoding="utf-8") as lines:
        return [json.loads(line) for line in lines]


def decoded(contract, data):
    return reader.Decoder(PAGE).decode(contract, data)


class Form:
    """Turns what the reader read into another form of the same values, type by type."""

    def record(self, contract, record):
        return {field.name: self.value(field.type, record[field.name])
                for field in PAGE.contracts[contract].values()
                if self.is_shown(field.type, record[field.name])}

    def value(self, kind, value):
        if value is None:
            return None
        if kind.name == "nullable":
            return self.value(kind.arguments[0], value)
        if kind.name == "list":
            return [self.value(kind.arguments[0], element) for element in value]
        if kind.name == "map":
            return self.map({key: self.value(kind.arguments[1], each) for key, each in value.items()})
        if kind.name in PAGE.contracts:
            return self.record(kind.name, value)
        if kind.name in PAGE.enumerations:
            return self.enumeration(kind.name, value)
        return getattr(self, kind.name)(value) if hasattr(self, kind.name) else value


class VectorForm(Form):
    """As tests/data/encoding/README.md tells it."""

    @staticmethod
    def is_shown(kind, value):
        return kind.name != "nullable" or value is not None

    @classmethod
    def map(cls, entries):
        return [[cls.string(key), entries[key]]
                for key in sorted(entries, key=lambda key: key.encode("utf-8", "surrogateescape"))]

    @staticmethod
    def enumeration(_, number):
        return number

    @staticmethod
    def double(value):
        if math.isfinite(value):
            return value
        return f"bits:{int.from_bytes(struct.pack('<d', value), 'little'):016x}"

    @staticmethod
    def string(value):
        try:
            value.encode("utf-8")
            return value
        except UnicodeEncodeError:
            return {"$hex": value.encode("utf-8", "surrogateescape").hex()}

    @staticmethod
    def blob(value):
        return {"$hex": value.hex()}


class ExportForm(Form):
    """As `korvane export --format json` writes them."""

    @staticmethod
    def is_shown(*_):
        return True

    @staticmethod
    def map(entries):
        return entries

    @staticmethod
    def enumeration(name, number):
        names = {value: each for each, value in PAGE.enumerations[name].items()}
        return names.get(number, number)

    @staticmethod
    def blob(value):
        return base64.b64encode(value).decode()


def vector_text(contract, record):
    """One text for each value, so that -0.0 is not 0.0."""
    return json.dumps(VectorForm().record(contract, record))


def exported(project):
    """A project as a document of `korvane export`."""
    form = ExportForm()

    def records(table, items):
        return [form.record(PAGE.tables[table].record, item) for item in items]

    def lines(table, sheet, revision, bearer):
        items = project.lines(table, bearer, revision["id"])
        # Lines that another revision bears say a sheet that need not be theirs.
        stated = {} if bearer == revision["id"] else {"sheet_id": sheet["id"]}
        return records(table, [{**item, **stated} for item in items])

    # What has no sheet stands under a sheet of defaults, with the sheet_id that its bytes have.
    none = reader.Decoder(PAGE).default_record("Sheet")
    sheets = [{"sheet": records("sheet", [sheet or none])[0], "revisions": [
        {"revision": records("revision", [revision])[0],
         **{name: lines(table, sheet or none, revision, bearer) for name, table in KINDS.items()}}
        for revision, bearer in revisions]} for sheet, revisions in project.sheets()]
    return {"format": "korvane project", "version": 1,
            "project": {"properties": form.value(reader.Type.parse("map<string, Variant>"),
                                                 project.properties())},
            "materials": records("material", project.records("material")),
            "fabric_types": records("fabric_type", project.records("fabric_type")),
            "sheets": sheets}


class GoldenVectors(unittest.TestCase):
    def test_every_encoded_record_has_the_value_that_it_was_made_of(self):
        for vector in vectors("golden") + vectors("typical"):
            with self.subTest(vector["name"]):
                expected = vector.get("json_decoded", vector["json"])
                record = decoded(vector["struct"], bytes.fromhex(vector["hex"]))
                self.assertEqual(vector_text(vector["struct"], record), json.dumps(expected))

    def test_every_crafted_record_has_its_value_or_is_refused(self):
        for vector in vectors("decode"):
            with self.subTest(vector["name"]):
                data = bytes.fromhex(vector["hex"])
                if vector["outcome"] == "ok":
                    record = decoded(vector["struct"], data)
                    self.assertEqual(vector_text(vector["struct"], record),
                                     json.dumps(vector["json"]))
                else:
                    self.assertRaises(reader.Damaged, decoded, vector["struct"], data)

    def test_they_are_of_every_contract_of_the_page(self):
        self.assertEqual({vector["struct"] for vector in vectors("golden")}, set(PAGE.contracts))

    def test_a_record_that_is_cut_is_refused_wherever(self):
        shapes = {}
        for vector in vectors("golden"):
            data = bytes.fromhex(vector["hex"])
            # One of each contract and length is enough.
            shapes.setdefault((vector["struct"], len(data)), data)
        for (contract, size), data in shapes.items():
            step = 1 + size // 200
            for length in range(0, size, step):
                with self.subTest(contract=contract, size=size, length=length):
                    self.assertRaises(reader.Damaged, decoded, contract, data[:length])


class DamagedBytes(unittest.TestCase):
    def test_changed_bytes_give_a_record_or_are_refused(self):
        seed = random.randrange(1 << 32)
        chance = random.Random(seed)
        samples = [vector for vector in vectors("golden") if len(vector["hex"]) > 20]
        for _ in range(3000):
            vector = chance.choice(samples)
            data = bytearray.fromhex(vector["hex"])
            for _ in range(chance.randrange(1, 4)):
                data[chance.randrange(len(data))] = chance.randrange(256)
            with self.subTest(seed=seed, vector=vector["name"], data=data.hex()):
                try:
                    decoded(vector["struct"], data)
                except reader.Damaged:
                    pass

    def test_counts_are_not_believed(self):
        absurd = "FF FF FF FF 0F"
        for contract, data in (
                ("RebarGeometry", f"4B 0A {absurd} 00 00"),
                ("RebarGeometry", f"4B 08 {absurd} 00"),
                ("ProjectData", f"0D 09 0A {absurd} 00 00 01 61 00"),
                ("ProjectData", f"0D 09 0A 01 {absurd} 61 00"),
                ("Sheet", f"29 {absurd} 61 00"),
                ("Sheet", f"CB 63 0A {absurd} 00 00"),
                ("Variant", f"6B 0B 01 0E {absurd} 61 62 00")):
            with self.subTest(contract, data=data):
                begin = time.monotonic()
                self.assertRaises(reader.Damaged, decoded, contract, bytes.fromhex(data))
                self.assertLess(time.monotonic() - begin, 1)

    def test_a_list_of_stops_is_refused(self):
        for element in ("00", "01", "13", "1F"):
            self.assertRaises(reader.Damaged, decoded, "Sheet",
                              bytes.fromhex(f"CB 63 {element} 02 00 00 00"))

    def test_what_is_nested_too_deep_is_refused(self):
        def nested(levels):
            return bytes.fromhex("CA 63" + "0A" * (levels - 2) + "00" * levels)

        decoded("Sheet", nested(64))
        self.assertRaises(reader.Damaged, decoded, "Sheet", nested(65))
        self.assertRaises(reader.Damaged, decoded, "Sheet", b"\x0b" * 100000)

    def test_the_message_names_the_field_and_the_offset(self):
        with self.assertRaisesRegex(
                reader.Damaged,
                r"^Rebar\.geometry\.objects\[1\]\.length: .*\boffset 9\b"):
            decoded("Rebar", bytes.fromhex("CA 0F 0B 0A 02 00 2B 08 01 00 00"))


class PageOfTheFormat(unittest.TestCase):
    def test_its_example_is_a_record(self):
        table = PAGE.text.split("| Bytes | Are |")[1].split("\n\n")[0]
        rows = re.findall(r"^\| `([0-9A-F ]+)` \| ", table, re.MULTILINE)
        record = decoded("Rebar", bytes.fromhex(" ".join(rows)))
        default = reader.Decoder(PAGE).default_record("Rebar")
        changed = {name: value for name, value in record.items() if value != default[name]}
        self.assertEqual(changed, {
            "rev_id": 1, "mark": "4", "material_id": 2, "total_bars": 12, "total_length": 12000.0,
            "bar_diameter": 12.0, "bar_type_mass_per_length": 0.888,
            "diff_state": PAGE.enumerations["DiffState"]["kAdded"],
            "geometry": {"polyline": [], "objects": [
                {"type": 0, "length": 400.0, "angle": 90.0, "radius": None, "display_length": None,
                 "labels": []},
                {"type": 0, "length": 600.0, "angle": None, "radius": None, "display_length": None,
                 "labels": []}]},
            "properties": {"layer": {**decoded("Variant", b"\x00"), "value_string": "T1"}}})

    def test_it_has_the_ten_tables(self):
        self.assertEqual(len(PAGE.tables), 10)


class Projects(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.addCleanup(self.folder.cleanup)

    def file(self, name):
        return os.path.join(self.folder.name, name)

    def run_korvane(self, *arguments):
        done = subprocess.run([os.environ["KORVANE_PROGRAM"], *arguments], check=False,
                              stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        self.assertEqual(done.returncode, 0, done.stderr)
        return done.stdout

    def imported(self, *examples):
        path = self.file("project.db")
        for example in examples:
            self.run_korvane("import", str(ROOT / "examples" / example), "--project", path)
        return path

    def export(self, path):
        return json.loads(self.run_korvane("export", path, "--format", "json"))

    def assert_columns_repeat_records(self, project):
        for table in PAGE.tables.values():
            for columns, record in project.rows[table.name]:
                for name, column in table.columns.items():
                    self.assert_column(table.name, name, column, columns[name], record)

    def assert_column(self, table, name, column, value, record):
        declared, null, source = column[:3]
        if value is None:
            self.assertEqual(null, "yes", f"{table}.{name}")
        # Where the column is the truth, the bytes may be from before it was known.
        is_truth = name == "uid" or (table, name) == ("revision", "sheet_id")
        if record is None or is_truth or source in ("SQLite", "the store"):
            return
        expected = record
        for part in source.split("."):
            expected = expected[part]
        if declared == "REAL" and isinstance(expected, str) and value != expected:
            expected = float(expected)
        self.assertEqual(value, expected, f"{table}.{name}")


class ProjectFiles(Projects):
    OPERATIONS = {"get_project": "project", "list_materials": "material",
                  "list_fabric_type": "fabric_type", "list_sheets": "sheet",
                  "list_revisions": "revision", "get_rebars": "rebar",
                  "get_all_fabrics_for_revision": "fabric",
                  "get_all_barspacers_for_revision": "barspacer",
                  "get_all_mountingparts_for_revision": "mountingpart"}

    def test_the_files_of_earlier_versions_hold_what_was_stored(self):
        paths = sorted(glob.glob(str(ROOT / "tests/data/project_files/*.db")))
        self.assertTrue(paths)
        for path in paths:
            project = reader.Project(PAGE, path)
            self.assert_columns_repeat_records(project)
            found = {}
            for operation, table in self.OPERATIONS.items():
                found[operation] = [vector_text(PAGE.tables[table].record, record)
                                    for record in project.records(table)]
            expected = {operation: [] for operation in self.OPERATIONS}
            with open(path.removesuffix(".db") + ".txt", encoding="utf-8") as lines:
                for line in lines:
                    operation, _, text = line.partition(" ")
                    expected[operation].append(json.dumps(json.loads(text)))
            self.assertEqual(found, expected)

    def test_an_imported_project_is_what_the_program_exports(self):
        for examples in (["guideline.abs"], ["shapes.abs"], ["guideline.abs", "shapes.abs"]):
            with self.subTest(examples):
                path = self.imported(*examples)
                project = reader.Project(PAGE, path)
                self.assert_columns_repeat_records(project)
                self.assertEqual(exported(project), self.export(path))
                os.remove(path)

    def test_the_page_has_every_property_that_an_import_writes(self):
        project = reader.Project(PAGE, self.imported("guideline.abs", "shapes.abs"))
        names = {"project": "project", "sheet": "sheet", "rebar": "bar", "fabric": "fabric",
                 "barspacer": "bar spacer"}
        told = {(of, key) for owners, key in
                re.findall(r"^\| ([a-z, ]+) \| `([a-z_.]+)` \| ", PAGE.text, re.MULTILINE)
                for of in owners.split(", ")}
        for table, name in names.items():
            for record in project.records(table):
                for key, value in record["properties"].items():
                    self.assertIn((name, key), told)
                    self.assertEqual({each for each in value if value[each] is not None},
                                     {"value_string"})

    def test_what_the_page_says_of_odd_bytes_is_what_the_program_makes_of_them(self):
        path = self.imported("guideline.abs")
        database = sqlite3.connect(path)
        for name, data in {
                "a struct twice": "4A 09 01 61 00 4A 29 01 62 00 00",
                "a text twice": "4A 09 01 61 09 01 62 00 00",
                "a text, then a number": "4A 09 01 61 10 02 00 00",
                "bytes after the end": "00 10 02"}.items():
            database.execute("INSERT INTO material (uid, raw) VALUES (?, ?)",
                             (name, bytes.fromhex(data)))
        for name, data in {
                "equal keys, the later not set": "0B 10 01 02 00 01 6B 0B 10 00 00",
                "equal keys, the later of another type": "0B 10 01 02 00 01 6B 0B 09 01 01 61 00",
                "a blob of texts": "6B 0B 01 09 01 01 61 00 01 6B 00",
                "two blobs": "6B 0B 02 0E 01 61 0E 01 62 00 01 6B 00"}.items():
            database.execute("INSERT INTO sheet (uid, raw) VALUES (?, ?)", (
                name, bytes.fromhex("8D 09 0A 02 01 6B" + data + "00")))
        database.execute("INSERT INTO sheet (raw) VALUES (CAST(X'290161490162' || X'00' AS TEXT))")
        # Geometry twice: two pieces with a type, then one with a length.
        twice = "CA0F 0B0A02 100200 100400 00 CA0F 0B0A01 2B08010000000000000840 00 00 00"
        database.execute(
            "UPDATE rebar SET raw = CAST(substr(raw, 1, length(raw) - 1) || ? AS BLOB) WHERE id = 1",
            (bytes.fromhex(twice),))
        database.commit()
        database.close()
        project = reader.Project(PAGE, path)
        self.assertEqual(exported(project), self.export(path))
        (piece,) = project.records("rebar")[0]["geometry"]["objects"]
        self.assertEqual((piece["type"], piece["length"]), (1, 3.0))

    def test_other_files_are_refused(self):
        self.assertRaises(reader.NotAProject, reader.Project, PAGE, str(ROOT / "README.md"))
        path = self.file("other.db")
        sqlite3.connect(path).execute("CREATE TABLE rebar (id)").connection.close()
        self.assertRaisesRegex(reader.NotAProject, "no table barspacer, end_treatment,",
                               reader.Project, PAGE, path)

    def test_a_damaged_record_is_named(self):
        path = self.imported("guideline.abs")
        database = sqlite3.connect(path)
        database.execute("UPDATE rebar SET raw = substr(raw, 1, 30) WHERE id = 3")
        database.commit()
        database.close()
        self.assertRaisesRegex(reader.Damaged, "^rebar 3: Rebar", reader.Project, PAGE, path)


class DamagedFiles(Projects):
    def test_what_the_page_says_takes_from_a_file_what_can_be_read(self):
        path = self.imported("guideline.abs")
        every = reader.Project(PAGE, path).records("rebar")
        data = pathlib.Path(path).read_bytes()
        # The last page has bars.
        pathlib.Path(self.file("damaged.db")).write_bytes(data[:-4096])
        command = re.search(r"^ *(sqlite3 damaged\.db \.dump .*)$", PAGE.text, re.MULTILINE).group(1)
        subprocess.run(command, shell=True, cwd=self.folder.name, check=True,
                       stderr=subprocess.DEVNULL)
        rescued = reader.Project(PAGE, self.file("rescued.db")).records("rebar")
        self.assertTrue(rescued)
        self.assertLess(len(rescued), len(every))
        for record in rescued:
            self.assertIn(record, every)


class FilesBesideTheProject(Projects):
    def copy_at_work(self, path):
        """A copy of the project as it is while somebody writes, with what lies beside it."""
        for suffix in ("", "-journal", "-wal"):
            if os.path.exists(path + suffix):
                shutil.copyfile(path + suffix, self.file("copy.db") + suffix)
        return self.file("copy.db")

    def test_a_journal_takes_back_what_was_cut_off(self):
        path = self.imported("guideline.abs")
        expected = exported(reader.Project(PAGE, path))
        database = sqlite3.connect(path, isolation_level=None)
        database.execute("PRAGMA cache_size = 1")
        database.execute("BEGIN")
        database.execute("UPDATE rebar SET mark = mark || 'x', rev_id = 2")
        database.execute("DELETE FROM sheet")
        database.execute("PRAGMA cache_spill")
        database.execute("CREATE TABLE filler AS SELECT randomblob(100000)")
        copy = self.copy_at_work(path)
        database.close()
        self.assertTrue(os.path.exists(copy + "-journal"))
        os.rename(copy + "-journal", copy + "-aside")
        with self.assertRaises((AssertionError, sqlite3.Error, reader.NotAProject)):
            self.assertEqual(exported(reader.Project(PAGE, copy)), expected)
        os.rename(copy + "-aside", copy + "-journal")
        before = pathlib.Path(copy).read_bytes()
        self.assertEqual(exported(reader.Project(PAGE, copy)), expected)
        self.assertEqual(pathlib.Path(copy).read_bytes(), before)

    def test_a_log_adds_what_was_stored_last(self):
        path = self.imported("guideline.abs")
        database = sqlite3.connect(path, isolation_level=None)
        database.execute("PRAGMA journal_mode = wal")
        database.execute("DELETE FROM rebar")
        copy = self.copy_at_work(path)
        self.assertTrue(os.path.exists(copy + "-wal"))
        self.assertEqual(reader.Project(PAGE, copy).records("rebar"), [])
        database.close()

    def test_a_file_that_may_have_a_log_is_read_and_left_alone(self):
        path = self.imported("guideline.abs")
        sqlite3.connect(path).execute("PRAGMA journal_mode = wal").connection.close()
        self.assertEqual(pathlib.Path(path).read_bytes()[18:20], b"\2\2")
        before = os.listdir(self.folder.name)
        self.assertTrue(reader.Project(PAGE, path).records("rebar"))
        self.assertEqual(os.listdir(self.folder.name), before)


class UnfinishedChanges(Projects):
    """Projects with marks, beside what the program makes of them."""

    def setUp(self):
        super().setUp()
        self.path = self.imported("guideline.abs", "shapes.abs")
        self.database = sqlite3.connect(self.path, isolation_level=None)
        self.addCleanup(self.database.close)

    @staticmethod
    def text(value):
        data = value.encode()
        return bytes([len(data) & 0x7F | 0x80, len(data) >> 7]) + data

    def properties(self, ordinal, properties):
        """The bytes of the name "new", ordinal 2, and of properties."""
        data = b"\x49" + self.text("new") + bytes([13 + 32 * ordinal, 9, 10, len(properties)])
        for key, (number, text) in sorted(properties.items()):
            data += self.text(key)
            if number is not None:
                data += b"\x0b\x10\x01" + bytes([2 * number])
            if text is not None:
                data += b"\x4b\x09\x01" + self.text(text)
            data += b"\x00"
        return data

    def mark(self, step, changed):
        return {"korvane.change": (changed, f"{step} nobody:1:1 1000000000")}

    def add_revision(self, uid, properties, sheet=None):
        sheet = sheet or self.database.execute("SELECT min(sheet_id) FROM revision").fetchone()[0]
        return self.database.execute("INSERT INTO revision (uid, sheet_id, raw) VALUES (?, ?, ?)", (
            uid, sheet, self.properties(3, properties) + bytes([0x90, 2 * sheet, 0]))).lastrowid

    def add_sheet(self, uid, properties):
        return self.database.execute("INSERT INTO sheet (uid, raw) VALUES (?, ?)", (
            uid, self.properties(4, properties) + b"\x00")).lastrowid

    def move_bars(self, to, which, value):
        """Gives bars to another revision, in the column and in the bytes, where it comes first."""
        for row, raw in self.database.execute(
                f"SELECT id, raw FROM rebar WHERE {which}", (value,)).fetchall():
            self.assertEqual(raw[0], 16 + 32)
            self.assertLess(max(raw[1], 2 * to), 0x80)
            self.database.execute("UPDATE rebar SET rev_id = ?, raw = ? WHERE id = ?",
                                  (to, raw[:1] + bytes([2 * to]) + raw[2:], row))

    def move_first_bars(self, to, count):
        self.move_bars(to, "id IN (SELECT id FROM rebar LIMIT ?)", count)

    def changed(self):
        return self.database.execute("SELECT min(id) FROM revision").fetchone()[0]

    def assert_read_as_the_program_does(self):
        found = exported(reader.Project(PAGE, self.path))
        self.assertEqual(found, self.export(self.path))
        return found

    def bars(self, document):
        return sum(len(revision["bars"]) for sheet in document["sheets"]
                   for revision in sheet["revisions"])

    def test_each_step_is_read_as_the_program_reads_it(self):
        every = self.bars(self.assert_read_as_the_program_does())
        for step, shown in (("filling", every - 4), ("whole", None), ("placed", every - 4),
                            ("removing", None), ("unheard-of", every), ("importing", every)):
            with self.subTest(step):
                self.database.execute("BEGIN")
                marked = self.add_revision("u-1", self.mark(step, self.changed()))
                self.move_first_bars(marked, 4)
                self.database.execute("COMMIT")
                document = self.assert_read_as_the_program_does()
                if shown is not None:
                    self.assertEqual(self.bars(document), shown)
                if step == "whole":
                    self.assertEqual(len(document["sheets"][0]["revisions"][0]["bars"]), 4)
                self.move_bars(self.changed(), "rev_id = ?", marked)
                self.database.execute("DELETE FROM revision WHERE id = ?", (marked,))

    def test_of_two_whole_ones_the_higher_holds(self):
        for uid in ("u-1", "u-2"):
            self.move_first_bars(self.add_revision(uid, self.mark("whole", self.changed())), 3)
        self.assert_read_as_the_program_does()

    def test_of_several_marks_each_is_taken_on_its_own(self):
        first = self.changed()
        whole = self.add_revision("u-whole", self.mark("whole", first))
        self.move_first_bars(whole, 3)
        for step in ("whole", "removing"):
            self.add_revision(f"u-{step}-bearer", self.mark(step, whole))
        document = self.assert_read_as_the_program_does()
        self.assertEqual(len(document["sheets"][0]["revisions"][0]["bars"]), 3)
        self.add_revision("u-removing", self.mark("removing", first))
        document = self.assert_read_as_the_program_does()
        self.assertNotIn(first, [revision["revision"]["id"] for sheet in document["sheets"]
                                 for revision in sheet["revisions"]])

    def test_a_revision_on_the_sheet_of_a_mark_has_no_sheet(self):
        sheet = self.add_sheet("s-mark", self.mark("importing", 0))
        self.add_revision("r-there", {}, sheet)
        document = self.assert_read_as_the_program_does()
        self.assertEqual(document["sheets"][-1]["revisions"][0]["revision"]["uid"], "r-there")

    def test_a_change_of_a_revision_that_is_gone_shows_nothing(self):
        for step in ("whole", "removing"):
            self.move_first_bars(self.add_revision(step, self.mark(step, 60)), 2)
        self.assert_read_as_the_program_does()

    def test_an_import_that_was_cut_off_is_not_there(self):
        sheet = self.add_sheet("s-new", {})
        self.move_first_bars(self.add_revision("r-new", {}, sheet), 5)
        kept = self.add_sheet("s-kept", {})
        self.add_revision("r-kept", {}, kept)
        complete = self.assert_read_as_the_program_does()
        self.add_sheet("s-mark", {**self.mark("importing", 0),
                                  "korvane.import": (None, "r-new\ns-kept\ns-new\n")})
        document = self.assert_read_as_the_program_does()
        self.assertEqual(len(document["sheets"]), len(complete["sheets"]) - 1)
        self.assertEqual(self.bars(document), self.bars(complete) - 5)

    def test_marks_of_other_kinds_and_forms_are_none(self):
        self.add_sheet("s-1", self.mark("whole", self.changed()))
        self.add_revision("r-1", {"korvane.change": (self.changed(), None)})
        self.add_revision("r-2", {"korvane.change": (self.changed(), "")})
        self.add_revision("r-3", {"korvane.change": (None, "filling")})
        self.add_revision("r-4", {"korvane.change": (None, "  placed\tx")})
        document = self.assert_read_as_the_program_does()
        uids = {revision["revision"]["uid"] for sheet in document["sheets"]
                for revision in sheet["revisions"]}
        self.assertTrue({"r-1", "r-2"} <= uids)
        self.assertFalse({"r-3", "r-4"} & uids)

    def test_what_belongs_to_nothing_is_read_as_the_program_reads_it(self):
        self.database.execute("INSERT INTO revision (uid, sheet_id, raw) VALUES ('lost', 77, ?)",
                              (self.properties(3, {}) + bytes([0x90, 2 * 77 - 128 | 128, 1, 0]),))
        self.assert_read_as_the_program_does()


if __name__ == "__main__":
    unittest.main()
