"""The units of systemd and the lists beside them, as far as they can be judged without installing."""

import pathlib
import re
import shutil
import subprocess
import tempfile
import unittest

PACKAGING = pathlib.Path(__file__).resolve().parent.parent.parent / "packaging"
UNITS = sorted((PACKAGING / "systemd").glob("korvane*.service"))
LARGEST_EXPOSURE = 2.0


class Units(unittest.TestCase):
    def systemd_analyze(self, *arguments):
        if not shutil.which("systemd-analyze"):
            self.skipTest("systemd-analyze is not installed")
        return subprocess.run(["systemd-analyze", *map(str, arguments)], text=True,
                              capture_output=True, check=False)

    def test_there_are_units(self):
        self.assertEqual([unit.name for unit in UNITS], 
                         ["korvane-backup.service", "korvane-replicate.service", "korvane.service"])

    def test_services_are_exposed_to_little(self):
        for unit in UNITS:
            done = self.systemd_analyze("security", "--offline=yes", unit)
            exposure = re.search(r"Overall exposure level for \S+: ([0-9.]+)", done.stdout)
            self.assertIsNotNone(exposure, done.stdout + done.stderr)
            self.assertLess(float(exposure[1]), LARGEST_EXPOSURE, unit.name)

    def test_every_calendar_can_be_read(self):
        for timer in (PACKAGING / "systemd").glob("*.timer"):
            for calendar in re.findall(r"^OnCalendar=(.+)$", timer.read_text(), re.MULTILINE):
                done = self.systemd_analyze("calendar", calendar)
                self.assertEqual(done.returncode, 0, done.stderr)

    def test_scripts_of_the_packages_can_be_read_by_the_shell(self):
        for name in ("postinst", "prerm", "postrm"):
            subprocess.run(["sh", "-n", PACKAGING / "debian" / name], check=True)
        subprocess.run(["bash", "-n", PACKAGING / "backup-projects"], check=True)

    def test_server_reads_the_file_that_is_a_conffile(self):
        conffiles = (PACKAGING / "debian/conffiles").read_text().split()
        service = (PACKAGING / "systemd/korvane.service").read_text()
        config = re.search(r"--config (\S+)", service)[1]
        self.assertIn(config, conffiles)


if __name__ == "__main__":
    unittest.main()
