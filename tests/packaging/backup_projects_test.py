"""The script that the backup timer runs, over real projects."""

import os
import pathlib
import shutil
import sqlite3
import subprocess
import tempfile
import unittest

REPOSITORY = pathlib.Path(__file__).resolve().parent.parent.parent
SCRIPT = REPOSITORY / "packaging/backup-projects"
PROGRAM = os.environ["KORVANE_PROGRAM"]


class BackupOfAllProjects(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.projects = pathlib.Path(folder.name) / "all projects"
        self.backups = pathlib.Path(folder.name) / "backups"
        self.backups.mkdir()
        (self.projects / "north").mkdir(parents=True)
        self.project = self.projects / "tower.db"
        subprocess.run([PROGRAM, "import", REPOSITORY / "examples/guideline.abs", "--project",
                        self.project], check=True, capture_output=True)
        shutil.copy(self.project, self.projects / "north/bridge deck.db")

    def run_script(self, days="14"):
        return subprocess.run([SCRIPT, self.projects, self.backups, days], text=True,
                              capture_output=True, check=False,
                              env=dict(os.environ, KORVANE_PROGRAM=PROGRAM))

    def names(self):
        """The folders of copies, from the oldest on."""
        return sorted(path.name for path in self.backups.iterdir())

    def bars(self, file):
        connection = sqlite3.connect(file)
        self.addCleanup(connection.close)
        return connection.execute("select raw from rebar order by id").fetchall()

    def copies(self):
        newest = self.backups / self.names()[-1]
        return sorted(str(path.relative_to(newest)) for path in newest.rglob("*") if path.is_file())

    def test_every_project_is_copied_with_the_folder_it_is_in(self):
        done = self.run_script()
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        self.assertEqual(self.copies(), ["north/bridge deck.db", "tower.db"])
        bars = self.bars(self.backups / self.names()[0] / "tower.db")
        self.assertEqual(bars, self.bars(self.project))
        self.assertGreater(len(bars), 0)

    def test_other_files_and_parts_of_copies_are_skipped(self):
        (self.projects / "readme.txt").write_text("no project")
        shutil.copy(self.project, self.projects / ".tower.db.part")
        self.run_script()
        self.assertEqual(self.copies(), ["north/bridge deck.db", "tower.db"])

    def test_copies_older_than_the_days_are_removed_and_no_others(self):
        for name in ("2020-01-01T000000Z", "2099-01-01T000000Z", "by hand"):
            (self.backups / name).mkdir()
        self.assertEqual(self.run_script().returncode, 0)
        names = self.names()
        self.assertNotIn("2020-01-01T000000Z", names)
        self.assertIn("2099-01-01T000000Z", names)
        self.assertIn("by hand", names)
        self.assertEqual(len(names), 3)

    def test_a_project_that_cannot_be_copied_is_named_and_nothing_is_removed(self):
        (self.backups / "2020-01-01T000000Z").mkdir()
        (self.projects / "broken.db").write_bytes(b"SQLite format 3\0 and nothing else")
        done = self.run_script()
        self.assertEqual(done.returncode, 1)
        self.assertIn("broken.db could not be backed up", done.stderr)
        self.assertEqual(self.copies(), ["north/bridge deck.db", "tower.db"])
        self.assertIn("2020-01-01T000000Z", self.names())

    def test_what_a_killed_one_has_left_is_removed(self):
        (self.backups / ".2020-01-01T000000Z.part").mkdir()
        self.assertEqual(self.run_script().returncode, 0)
        self.assertEqual(len(self.names()), 1)

    def test_days_that_are_not_a_number_are_refused(self):
        for days in ("", "0", "-1", "many"):
            self.assertEqual(self.run_script(days).returncode, 2, days)
        self.assertEqual(self.names(), [])


if __name__ == "__main__":
    unittest.main()
