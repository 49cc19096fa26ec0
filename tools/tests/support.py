"""Puts the checkers on the import path and makes small trees for them."""

import sys
import tempfile
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent.parent))


class Tree:
    """A folder with the given files, gone at the end of the with statement."""

    def __init__(self, files):
        self.files = files

    def __enter__(self):
        self.folder = tempfile.TemporaryDirectory()
        for name, text in self.files.items():
            path = Path(self.folder.name) / name
            path.parent.mkdir(parents=True, exist_ok=True)
            path.write_text(text, encoding="utf-8")
        return self.folder.name

    def __exit__(self, *_):
        self.folder.cleanup()
