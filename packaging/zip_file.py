#!/usr/bin/env python3
"""Packs a folder into a zip. The same files and the same time give the same bytes.

    packaging/zip_file.py FOLDER ZIP SECONDS

The zip holds the folder under its own name, in the order of the names. SECONDS is the time of its files, since 1970.
"""

import sys
import time
import zipfile
from pathlib import Path


def write_zip(path, files, seconds):
    """files: name in the zip -> bytes, in the order in which they are packed."""
    # A zip knows no time before 1980.
    moment = max(time.gmtime(seconds)[:6], (1980, 1, 1, 0, 0, 0))
    with zipfile.ZipFile(path, "w", zipfile.ZIP_DEFLATED) as packed:
        for name, data in files.items():
            entry = zipfile.ZipInfo(name, date_time=moment)
            entry.compress_type = zipfile.ZIP_DEFLATED
            entry.external_attr = 0o644 << 16
            packed.writestr(entry, data)


def main():
    if len(sys.argv) != 4:
        print(__doc__, file=sys.stderr)
        return 2
    folder = Path(sys.argv[1])
    found = sorted(path for path in folder.rglob("*") if path.is_file())
    write_zip(sys.argv[2], {path.relative_to(folder.parent).as_posix(): path.read_bytes() for path in found}, int(sys.argv[3]))
    return 0 if found else 1


if __name__ == "__main__":
    sys.exit(main())
