"""The files that belong to the project, for the checkers in this folder."""

import os
import subprocess
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent

# Left out even where git is not there to say what is ignored.
IGNORED_FOLDERS = {".git", "build", "__pycache__", "node_modules"}


def _from_git(root):
    command = ["git", "-C", str(root), "ls-files", "-z", "--cached", "--others", "--exclude-standard"]
    result = subprocess.run(command, capture_output=True, check=False)
    if result.returncode != 0:
        return None
    return [name for name in result.stdout.decode().split("\0") if name]


def _from_walk(root):
    names = []
    for folder, subfolders, files in os.walk(root):
        subfolders[:] = [name for name in subfolders if name not in IGNORED_FOLDERS]
        names += [os.path.relpath(os.path.join(folder, name), root) for name in files]
    return names


def project_files(root=ROOT, suffixes=None, under=None):
    """Relative paths with forward slashes, sorted. What git ignores and what was deleted is left out."""
    root = Path(root)
    names = _from_git(root) if (root / ".git").exists() else None
    if names is None:
        names = _from_walk(root)
    names = sorted(name.replace(os.sep, "/") for name in names)
    if suffixes is not None:
        names = [name for name in names if name.endswith(tuple(suffixes))]
    if under is not None:
        names = [name for name in names if name.startswith(tuple(under))]
    return [name for name in names if (root / name).is_file()]
