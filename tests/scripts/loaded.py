"""The programs of scripts/ as modules, and small repositories for them to work on."""

import importlib.util
import pathlib
import subprocess
import sys

SCRIPTS = pathlib.Path(__file__).resolve().parent.parent.parent / "scripts"
sys.path.insert(0, str(SCRIPTS))
sys.dont_write_bytecode = True


def script(name):
    """The program scripts/NAME.py, which is not run."""
    spec = importlib.util.spec_from_file_location(name.replace("-", "_"), SCRIPTS / f"{name}.py")
    module = importlib.util.module_from_spec(spec)
    spec.loader.exec_module(module)
    return module


class Tree:
    """A folder of files; a repository once `commit` was called."""

    def __init__(self, root, files=None):
        self.root = pathlib.Path(root)
        for name, text in (files or {}).items():
            self.write(name, text)

    def write(self, name, text):
        path = self.root / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(text)

    def git(self, *arguments):
        return subprocess.run(
            ["git", "-c", "user.name=a", "-c", "user.email=a@example.org", *arguments],
            cwd=self.root, check=True, capture_output=True, text=True).stdout.strip()

    def commit(self, subject="Change something"):
        """Commits all there is. Returns the commit."""
        if not (self.root / ".git").exists():
            self.git("init", "--quiet")
        self.git("add", "--all")
        self.git("commit", "--quiet", "--allow-empty", "-m", subject)
        return self.git("rev-parse", "HEAD")
