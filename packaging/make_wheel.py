#!/usr/bin/env python3
"""Packs the wheel for Python: the wrapper and the DLL, for 64-bit Windows. The last line printed is its path.

    packaging/make_wheel.py PREFIX VERSION TARGET-FOLDER

PREFIX is an installed package, as cmake --install or ./dev sdk leaves it. The same PREFIX gives the same bytes.
"""

import base64
import hashlib
import sys
from pathlib import Path

from zip_file import write_zip

DOCUMENTS = Path("share/doc/kxtcp64")
TAG = "py3-none-win_amd64"
LICENCES = ("LICENSE", "NOTICES.md", "gcc-mingw-w64-base.txt", "mingw-w64-common.txt")

METADATA = """Metadata-Version: 2.1
Name: kxtcp64
Version: {version}
Summary: Drives Firefox or Chrome carrying the Korvex extension, through KXTCP64.dll
License: MIT
Requires-Python: >=3.9
Classifier: Operating System :: Microsoft :: Windows
Classifier: License :: OSI Approved :: MIT License
Classifier: Typing :: Typed
Description-Content-Type: text/markdown
{licences}
{description}"""

WHEEL = """Wheel-Version: 1.0
Generator: make_wheel.py
Root-Is-Purelib: false
Tag: {tag}
"""


def contents(prefix, version):
    """Name in the wheel -> bytes, in the order in which they are packed; RECORD comes last."""
    info = f"kxtcp64-{version}.dist-info"
    description = (prefix / DOCUMENTS / "python.md").read_text(encoding="utf-8")
    licences = "".join(f"License-File: {name}\n" for name in LICENCES)
    files = {
        "kxtcp64/__init__.py": (prefix / "share/kxtcp64/python/kxtcp64.py").read_bytes(),
        "kxtcp64/KXTCP64.dll": (prefix / "bin/KXTCP64.dll").read_bytes(),
        # Tells type checkers that the module is typed.
        "kxtcp64/py.typed": b"",
        f"{info}/METADATA": METADATA.format(version=version, licences=licences, description=description).encode(),
        f"{info}/WHEEL": WHEEL.format(tag=TAG).encode(),
    }
    files.update({f"{info}/{name}": (prefix / DOCUMENTS / name).read_bytes() for name in LICENCES})
    lines = []
    for name, data in files.items():
        digest = base64.urlsafe_b64encode(hashlib.sha256(data).digest()).rstrip(b"=").decode()
        lines.append(f"{name},sha256={digest},{len(data)}\n")
    files[f"{info}/RECORD"] = ("".join(lines) + f"{info}/RECORD,,\n").encode()
    return files


def write_wheel(prefix, version, target):
    path = target / f"kxtcp64-{version}-{TAG}.whl"
    target.mkdir(parents=True, exist_ok=True)
    write_zip(path, contents(prefix, version), 0)
    return path


def main():
    if len(sys.argv) != 4:
        print(__doc__, file=sys.stderr)
        return 2
    print(write_wheel(Path(sys.argv[1]), sys.argv[2], Path(sys.argv[3])))
    return 0


if __name__ == "__main__":
    sys.exit(main())
