#!/usr/bin/env python3
"""Adds to an installed package what the zip has more: START_HERE.txt, the pages, the bill of materials, the
vcpkg port, the checksums. Then compares its files with the list packaging/files/zip.txt.

    packaging/finish_package.py BUILD-TREE PREFIX [--pages FOLDER]

FOLDER has the pages that docs/pages/build.py has made; without it the package has none.

The bill of materials (SPDX 2.3) names what is inside the DLL and the programs of the package. The linker's maps tell which
archives were linked in, and dpkg tells which package and version each archive is of.
"""

import argparse
import hashlib
import json
import os
import re
import shutil
import subprocess
import sys
from pathlib import Path

import check_files

HERE = Path(__file__).resolve().parent
DOCUMENTS = Path("share/doc/kxtcp64")
PAGES = DOCUMENTS / "html"
PROGRAMS = ("KXTCP64.dll", "kx.exe", "kxsim.exe", "first_host.exe")

# What the linker's maps do not show.
HEADER_LIBRARIES = {
    "kx.exe": ("/usr/include/nlohmann/json.hpp", "/usr/include/CLI/CLI.hpp"),
    "kxsim.exe": ("/usr/include/nlohmann/json.hpp",),
}

# Lock files of npm, whose packages are part of a program's page.
LOCK_FILES = {"kx.exe": HERE.parent / "cli/report/package-lock.json"}

# The licences as NOTICES.md explains them.
LICENCES = {
    "gcc-mingw-w64": "GPL-3.0-or-later WITH GCC-exception-3.1",
    "mingw-w64": "ZPL-2.1 AND MIT AND BSD-3-Clause AND LicenseRef-public-domain",
    "nlohmann-json3": "MIT",
    "cli11": "BSD-3-Clause",
}

# Whose style sheets and scripts the pages carry: name of the package -> licence.
PARTS_OF_THE_PAGES = {"furo": "MIT", "sphinx-common": "BSD-2-Clause", "libjs-jquery": "MIT", "libjs-underscore": "MIT",
                      "python3-pygments": "BSD-2-Clause"}
PUBLIC_DOMAIN = {
    "licenseId": "LicenseRef-public-domain",
    "name": "Public domain",
    "extractedText": "This software has been placed in the public domain by its authors.",
}


def archives_of_map(text):
    """The archives, members of which the linker took: the first part of its map."""
    found = set()
    part = text.split("Archive member included", 1)
    if len(part) == 2:
        for line in re.split(r"^(?:Allocating common symbols|Discarded input sections|Memory Configuration)",
                             part[1], maxsplit=1, flags=re.MULTILINE)[0].splitlines():
            match = re.match(r"(/\S+\.a)\(", line)
            if match:
                found.add(os.path.normpath(match.group(1)))
    return sorted(found)


def query(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout.strip()


def debian_package(path):
    """Name, version, source package and its version of the package that a file is of."""
    name = query("dpkg", "-S", path).split(":")[0]
    fields = query("dpkg-query", "-W", "-f", "${Package}\t${Version}\t${source:Package}\t${source:Version}", name)
    return fields.split("\t")


def sha256(path):
    return hashlib.sha256(path.read_bytes()).hexdigest()


def identifier(text):
    return "SPDXRef-" + re.sub(r"[^A-Za-z0-9.-]", "-", text)


def licence_of(source):
    if source not in LICENCES:
        raise SystemExit(f"finish_package: no licence is noted for {source}; add it here and to NOTICES.md")
    return LICENCES[source]


def package_entry(name, version, licence, **more):
    return {"SPDXID": identifier(f"Package-{name}"), "name": name, "versionInfo": version,
            "downloadLocation": "NOASSERTION", "filesAnalyzed": False, "licenseConcluded": licence,
            "licenseDeclared": licence, "copyrightText": "NOASSERTION", **more}


def packages_of_lock(text):
    """Name, version and licence of each package that a lock file of npm names."""
    packages = json.loads(text)["packages"]
    return [(path.rpartition("node_modules/")[2], entry["version"], entry["license"])
            for path, entry in sorted(packages.items()) if path]


def bill_of_materials(version, compiler, programs, created, npm_packages=None):
    """programs: name -> (checksum, [(package, version, source, source version)]); npm_packages: name -> [(package,
    version, licence)]."""
    main = package_entry("KXTCP64", version, "MIT", primaryPackagePurpose="LIBRARY",
                         sourceInfo=f"compiled with {compiler}")
    packages = {main["SPDXID"]: main}
    files = []
    relations = [("SPDXRef-DOCUMENT", "DESCRIBES", main["SPDXID"])]
    for name, (checksum, parts) in programs.items():
        file_id = identifier(f"File-{name}")
        files.append({"SPDXID": file_id, "fileName": f"./bin/{name}", "fileTypes": ["BINARY"],
                      "checksums": [{"algorithm": "SHA256", "checksumValue": checksum}],
                      "licenseConcluded": "NOASSERTION", "copyrightText": "NOASSERTION"})
        relations.append((main["SPDXID"], "CONTAINS", file_id))
        for package, package_version, source, source_version in parts:
            licence = licence_of(source)
            entry = package_entry(
                package, package_version, licence, supplier="Organization: Debian",
                sourceInfo=f"built from the Debian source package {source} {source_version}",
                externalRefs=[{"referenceCategory": "PACKAGE-MANAGER", "referenceType": "purl",
                               "referenceLocator": f"pkg:deb/debian/{package}@{package_version.replace('+', '%2B')}"}])
            packages[entry["SPDXID"]] = entry
            relations.append((file_id, "STATIC_LINK", entry["SPDXID"]))
        for package, package_version, licence in (npm_packages or {}).get(name, ()):
            entry = package_entry(
                package, package_version, licence, sourceInfo="from npm",
                externalRefs=[{"referenceCategory": "PACKAGE-MANAGER", "referenceType": "purl",
                               "referenceLocator": f"pkg:npm/{package}@{package_version}"}])
            packages[entry["SPDXID"]] = entry
            relations.append((file_id, "CONTAINS", entry["SPDXID"]))
    return {
        "spdxVersion": "SPDX-2.3", "dataLicense": "CC0-1.0", "SPDXID": "SPDXRef-DOCUMENT",
        "name": f"KXTCP64-{version}",
        "documentNamespace": f"https://spdx.org/spdxdocs/KXTCP64-{version}-{programs['KXTCP64.dll'][0]}",
        "creationInfo": {"created": created, "creators": ["Tool: finish_package.py"]},
        "packages": list(packages.values()), "files": files,
        "hasExtractedLicensingInfos": [PUBLIC_DOMAIN],
        "relationships": [{"spdxElementId": a, "relationshipType": kind, "relatedSpdxElement": b}
                          for a, kind, b in relations],
    }


def parts_of(tree, name):
    linker_map = tree / "maps" / f"{name}.map"
    archives = archives_of_map(linker_map.read_text(encoding="utf-8", errors="replace"))
    # The build tree's own archives are the project's.
    foreign = [path for path in archives if not path.startswith(str(tree))]
    parts = {tuple(debian_package(path)) for path in foreign}
    for header in HEADER_LIBRARIES.get(name, ()):
        parts.add(tuple(debian_package(header)))
    if not parts:
        raise SystemExit(f"finish_package: {linker_map} names no archive of the run-time")
    return sorted(parts)


def write_first_files(prefix, version):
    """What a Windows user reads and types first; with Windows' line ends."""
    for name in ("START_HERE.txt", "try_it.cmd"):
        text = (HERE / name).read_text(encoding="utf-8").replace("@VERSION@", version)
        (prefix / name).write_text(text, encoding="utf-8", newline="\r\n")


def write_vcpkg_port(prefix, version, description):
    folder = prefix / "vcpkg/kxtcp64"
    folder.mkdir(parents=True, exist_ok=True)
    for name in ("portfile.cmake", "KXTCP64Config.cmake", "usage"):
        shutil.copyfile(HERE / "vcpkg" / name, folder / name)
    text = (HERE / "vcpkg/vcpkg.json.in").read_text(encoding="utf-8")
    (folder / "vcpkg.json").write_text(text.replace("@VERSION@", version).replace("@DESCRIPTION@", description),
                                       encoding="utf-8")


def write_pages(prefix, pages):
    """Copies the pages, with the licences of what their generator has put into them. Gives the packages it is of."""
    shutil.copytree(pages, prefix / PAGES)
    licences = prefix / PAGES / "licences"
    licences.mkdir()
    parts = []
    for name, licence in PARTS_OF_THE_PAGES.items():
        text = Path("/usr/share/doc") / name / "copyright"
        if text.is_file():
            shutil.copyfile(text, licences / f"{name}.txt")
            parts.append((licence, query("dpkg-query", "-W", "-f", "${Package}\t${Version}", name).split("\t")))
    return parts


def add_pages_to_bill(bill, parts):
    main = bill["packages"][0]["SPDXID"]
    for licence, (name, version) in parts:
        entry = package_entry(name, version, licence, supplier="Organization: Debian",
                              sourceInfo="its style sheets and scripts are in the pages")
        bill["packages"].append(entry)
        bill["relationships"].append({"spdxElementId": main, "relationshipType": "CONTAINS", "relatedSpdxElement": entry["SPDXID"]})


LINK = re.compile(r"(?<!!)\[([^\]]*)\]\((?![a-z]+:|#)([^)#\s]+)(#[^)\s]*)?\)")


def mend_links(prefix):
    """Pages lie elsewhere than in the sources. A link to another page leads to its place here, one to anything else that is not
    here becomes its words."""
    for page in prefix.rglob("*.md"):
        def mended(match, folder=page.parent):
            words, path, anchor = match.groups()
            if (folder / path).exists():
                return match.group(0)
            name = path.replace("../", "")
            for place in (DOCUMENTS / name, DOCUMENTS / "docs" / name):
                if (prefix / place).exists():
                    return f"[{words}]({os.path.relpath(prefix / place, folder)}{anchor or ''})"
            return words

        text = page.read_text(encoding="utf-8")
        if LINK.sub(mended, text) != text:
            page.write_text(LINK.sub(mended, text), encoding="utf-8")


def write_checksums(prefix):
    target = prefix / "SHA256SUMS"
    files = sorted(path for path in prefix.rglob("*") if path.is_file() and path != target)
    target.write_text("".join(f"{sha256(path)}  {path.relative_to(prefix).as_posix()}\n" for path in files),
                      encoding="utf-8")
    return len(files)


def cache_value(tree, name):
    match = re.search(rf"^{name}:\w+=(.*)$", (tree / "CMakeCache.txt").read_text(encoding="utf-8"), re.MULTILINE)
    return match.group(1) if match else ""


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("tree", type=Path)
    parser.add_argument("prefix", type=Path)
    parser.add_argument("--pages", type=Path)
    arguments = parser.parse_args()
    tree, prefix = arguments.tree.resolve(), arguments.prefix.resolve()

    version = cache_value(tree, "CMAKE_PROJECT_VERSION")
    programs = {name: (sha256(prefix / "bin" / name), parts_of(tree, name)) for name in PROGRAMS}
    compiler = query(Path(cache_value(tree, "CMAKE_CXX_COMPILER")).name or "x86_64-w64-mingw32-g++-posix",
                     "--version").splitlines()[0]
    # The same package gets the same bill: its date is that of the last change.
    created = query("git", "-C", str(HERE), "log", "-1", "--date=format-local:%Y-%m-%dT%H:%M:%SZ", "--format=%cd")
    npm_packages = {name: packages_of_lock(path.read_text(encoding="utf-8")) for name, path in LOCK_FILES.items()}
    bill = bill_of_materials(version, compiler, programs, created, npm_packages)
    if arguments.pages is not None:
        add_pages_to_bill(bill, write_pages(prefix, arguments.pages))
    (prefix / DOCUMENTS / "sbom.spdx.json").write_text(json.dumps(bill, indent=2) + "\n", encoding="utf-8")
    mend_links(prefix)
    write_first_files(prefix, version)
    description = cache_value(tree, "CMAKE_PROJECT_DESCRIPTION")
    write_vcpkg_port(prefix, version, description)
    count = write_checksums(prefix)
    wanted = check_files.wanted_lines((HERE / "files/zip.txt").read_text(encoding="utf-8"), version)
    without = [] if arguments.pages else [PAGES.as_posix()]
    if cache_value(tree, "CMAKE_BUILD_TYPE") != "Release":
        without.append("bin/KXTCP64.pdb")
    problems = check_files.compare(wanted, check_files.files_of(prefix), without)
    for problem in problems:
        print(f"finish_package: {problem}; packaging/files/zip.txt is the list", file=sys.stderr)
    if problems:
        return 1
    print(f"finish_package: {len(bill['packages']) - 1} packages linked in, {count} files listed")
    return 0


if __name__ == "__main__":
    sys.exit(main())
