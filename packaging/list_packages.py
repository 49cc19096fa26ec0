#!/usr/bin/env python3
"""Lists finished packages: their bill of materials, and their checksums.

    packaging/list_packages.py FOLDER PREFIX

FOLDER holds the packages, and gets sbom.spdx.json and SHA256SUMS. PREFIX is what the zip was made of, with the bill of the
DLL and the programs.
"""

import json
import sys
from pathlib import Path

from finish_package import DOCUMENTS, identifier, sha256

WITHOUT_THE_DLL = ("kx-cluster-",)


def with_packages(bill, checksums):
    """The bill with the finished packages. checksums: name of a package -> its checksum."""
    bill = json.loads(json.dumps(bill))
    library = identifier("File-KXTCP64.dll")
    for name, checksum in checksums.items():
        bill["files"].append({"SPDXID": identifier(f"File-{name}"), "fileName": f"./{name}", "fileTypes": ["ARCHIVE"],
                              "checksums": [{"algorithm": "SHA256", "checksumValue": checksum}],
                              "licenseConcluded": "NOASSERTION", "copyrightText": "NOASSERTION"})
        if not name.startswith(WITHOUT_THE_DLL):
            bill["relationships"].append({"spdxElementId": identifier(f"File-{name}"), "relationshipType": "CONTAINS",
                                          "relatedSpdxElement": library})
        bill["relationships"].append({"spdxElementId": "SPDXRef-DOCUMENT", "relationshipType": "DESCRIBES",
                                      "relatedSpdxElement": identifier(f"File-{name}")})
    return bill


def main():
    if len(sys.argv) != 3:
        print(__doc__, file=sys.stderr)
        return 2
    folder, prefix = map(Path, sys.argv[1:])
    packages = {path.name: sha256(path) for path in sorted(folder.iterdir())}
    bill = json.loads((prefix / DOCUMENTS / "sbom.spdx.json").read_text(encoding="utf-8"))
    (folder / "sbom.spdx.json").write_text(json.dumps(with_packages(bill, packages), indent=2) + "\n", encoding="utf-8")
    lines = [f"{sha256(path)}  {path.name}\n" for path in sorted(folder.iterdir())]
    (folder / "SHA256SUMS").write_text("".join(lines), encoding="utf-8")
    print(f"list_packages: {len(packages)} packages")
    return 0 if packages else 1


if __name__ == "__main__":
    sys.exit(main())
