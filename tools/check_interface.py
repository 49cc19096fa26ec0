#!/usr/bin/env python3
"""Compares bindings/interface.json with the public header, and with what is derived from it.

    tools/check_interface.py [--fix]      --fix writes anew what is derived; the header is written by hand
"""

import argparse
import re
import sys

import interface as description
from project_files import ROOT

HEADER = "src/api/kxtcp64.h"


def header_prototypes(text):
    """Name -> the prototype on one line."""
    found = re.findall(r"^KX_API ([^;{]*);", text, re.MULTILINE)
    prototypes = [re.sub(r"\s+", " ", prototype) for prototype in found]
    return {re.search(r"(\w+)\(", prototype).group(1): prototype for prototype in prototypes}


def header_constants(text):
    found = re.findall(r"^#define (KX_\w+) \(?(-?\d+)\)?(?:\s|$)", text, re.MULTILINE)
    return {name: int(value) for name, value in found}


def header_parameters(text):
    """Name of a function -> the parameters that its comment documents."""
    found = re.findall(r"/\*\*((?:(?!\*/).)*)\*/\s*KX_API [^;{(]*?(\w+)\(", text, re.DOTALL)
    return {name: re.findall(r"@param (\w+)", comment) for comment, name in found}


def differences(what, wanted, found):
    problems = [f"{HEADER}: {what} {name} is missing in the description" for name in found if name not in wanted]
    problems += [f"{HEADER}: {what} {name} is missing here, and is described" for name in wanted if name not in found]
    problems += [f"{HEADER}: {what} {name}: {found[name]} here, described as {wanted[name]}"
                 for name in wanted if name in found and wanted[name] != found[name]]
    return problems


def check_header(interface, text):
    functions = interface["functions"]
    return (differences("function", {function["name"]: description.prototype(function) for function in functions},
                        header_prototypes(text))
            + differences("the parameter list of", {function["name"]: [argument["name"] for argument in function["arguments"]]
                                                for function in functions}, header_parameters(text))
            + differences("constant", {constant["name"]: constant["value"] for constant in interface["constants"]},
                          header_constants(text)))


def check_description(interface):
    """What a reader of the description relies on, beyond the header."""
    problems = []
    results = {constant["name"] for constant in interface["constants"] if constant["group"] == "result"}
    for function in interface["functions"]:
        name = function["name"]
        arguments = {argument["name"]: argument for argument in function["arguments"]}
        problems += [f"{name}: {failure} is no result" for failure in function["result"]["failures"] if failure not in results]
        if function["context"] != ("context" in arguments):
            problems.append(f"{name}: context does not say what the arguments say")
        for argument in arguments.values():
            where = f"{name}: {argument['name']}"
            kind = argument["type"]
            if argument["direction"] != {"buffer": "out", "int*": "inout"}.get(kind, "in"):
                problems.append(f"{where}: {argument['direction']} does not go with {kind}")
            if (kind != "int") != ("null" in argument):
                problems.append(f"{where}: a pointer, and nothing else, has a rule for null")
            if (kind in ("int", "int*")) != ("unit" in argument):
                problems.append(f"{where}: a number, and nothing else, has a unit")
            if (argument.get("unit") == "seconds") != ("zero" in argument):
                problems.append(f"{where}: a time-out, and nothing else, tells what 0 stands for")
            if kind == "buffer" and arguments.get(argument["sizedBy"], {}).get("unit") != "bytes":
                problems.append(f"{where}: no size in bytes goes with it")
    return problems


def derived(interface, root):
    """(file, the text it should have, the text it has); ValueError for marks that are missing."""
    for name, make in description.WHOLE_FILES.items():
        path = root / name
        yield path, make(interface), path.read_text(encoding="utf-8") if path.exists() else ""
    for name, make in description.BLOCKS.items():
        text = (root / name).read_text(encoding="utf-8")
        try:
            yield root / name, description.with_block(text, make(interface)), text
        except ValueError as error:
            raise ValueError(f"{name}: {error}") from error


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--fix", action="store_true")
    arguments = parser.parse_args()

    interface = description.load()
    problems = check_description(interface)
    problems += check_header(interface, (ROOT / HEADER).read_text(encoding="utf-8"))
    count = 0
    for path, wanted, found in derived(interface, ROOT):
        count += 1
        if wanted != found and arguments.fix:
            path.write_text(wanted, encoding="utf-8")
        elif wanted != found:
            problems.append(f"{path.relative_to(ROOT)}: is not what the description gives; check_interface.py --fix writes it")
    for problem in problems:
        print(problem, file=sys.stderr)
    print(f"check_interface: {len(interface['functions'])} functions, {len(interface['constants'])} constants, "
          f"{count} derived texts, {len(problems)} problems")
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
