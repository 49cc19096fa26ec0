"""The description of the library's interface, bindings/interface.json, and what is derived from it."""

import json

from project_files import ROOT

DESCRIPTION = ROOT / "bindings" / "interface.json"

C_TYPES = {"int": "int ", "void": "void ", "text": "const char* ", "buffer": "char* ", "int*": "int* "}
TABLE_TYPES = {"int": "int", "void": "-", "text": "text", "buffer": "buffer", "int*": "int*"}


def load():
    return json.loads(DESCRIPTION.read_text(encoding="utf-8"))


def export_names(interface):
    return sorted(function["name"] for function in interface["functions"])


def definition_file(interface):
    """What tells a linker which functions the library exports."""
    library = interface["library"].removesuffix(".dll")
    return "".join([f"LIBRARY {library}\nEXPORTS\n", *(f"    {name}\n" for name in export_names(interface))])


def cpp_list(interface):
    return "".join(f"KX_FUNCTION({function['name']})\n" for function in interface["functions"])


def cpp_macro(interface):
    """The same for a header that stands alone."""
    lines = ["#define KXTCP64_FUNCTIONS(apply)", *(f"  apply({function['name']})" for function in interface["functions"])]
    return " \\\n".join(lines) + "\n"


def python_declarations(interface):
    names = {"int": "c_int", "void": "None", "text": "c_char_p", "buffer": "c_char_p", "int*": "POINTER(c_int)"}
    lines = []
    for function in interface["functions"]:
        arguments = ", ".join(names[argument["type"]] for argument in function["arguments"])
        lines.append(f'    "{function["name"]}": ({names[function["returns"]]}, [{arguments}]),\n')
    return "".join(lines)


CONSTANT_PREFIXES = {"result": "KX_", "number": "KX_ERROR_", "screenshot": "KX_SCREENSHOT_"}
GO_KEYWORDS = {"type": "kind"}
GO_TYPES = {"int": "int32", "text": "*byte", "buffer": "*byte", "int*": "*int32"}


def go_file(interface):
    """Declarations as gofmt lays them out."""
    lines = ["// Code generated from bindings/interface.json by tools/check_interface.py --fix; DO NOT EDIT.", "",
             "package kxtcp64", "", 'import "unsafe"', "", "const ("]
    types = {"screenshot": " ScreenshotArea"}
    for group, prefix in CONSTANT_PREFIXES.items():
        lines.append({"result": "\t// What a call gives.", "number": "\t// Numbers of the library's own.",
                      "screenshot": "\t// What a picture shows."}[group])
        members = [constant for constant in interface["constants"] if constant["group"] == group]
        names = [group.capitalize() + camel(constant["name"].removeprefix(prefix)) for constant in members]
        width = max(map(len, names))
        lines += [f"\t{name:{width}}{types.get(group, '')} = {constant['value']}" for name, constant in zip(names, members)]
    lines += [")", "", "var functionNames = [...]string{"]
    lines += [f'\t"{function["name"]}",' for function in interface["functions"]]
    lines.append("}")
    for index, function in enumerate(interface["functions"]):
        arguments = [{**argument, "name": GO_KEYWORDS.get(argument["name"], argument["name"])}
                     for argument in function["arguments"]]
        given = ", ".join(f"{argument['name']} {GO_TYPES[argument['type']]}" for argument in arguments)
        words = ", ".join(f"uintptr({argument['name']})" if argument["type"] == "int" else
                          f"uintptr(unsafe.Pointer({argument['name']}))" for argument in arguments)
        call = f"l.procs[{index}].Call({words})"
        body = [f"\t{call}"] if function["returns"] == "void" else [f"\tresult, _, _ := {call}", "\treturn int32(result)"]
        returns = "" if function["returns"] == "void" else " int32"
        lines += ["", f"func (l *Library) {function['name']}({given}){returns} {{", *body, "}"]
    return "\n".join(lines) + "\n"


RUST_TYPES = {"int": "c_int", "void": "()", "text": "*const c_char", "buffer": "*mut c_char", "int*": "*mut c_int"}


def rust_file(interface):
    """Declarations as rustfmt lays them out, but for the length of lines."""
    lines = ["// Made from bindings/interface.json by tools/check_interface.py --fix.",
             "//! The constants of `kxtcp64.h`, and its functions under their own names.", "",
             "use std::os::raw::{c_char, c_int};", ""]
    for constant in interface["constants"]:
        lines += [f"/// {constant['meaning']}", f"pub const {constant['name']}: i32 = {constant['value']};"]
    lines += ["", "#[rustfmt::skip]", "pub(crate) struct Functions {"]
    for function in interface["functions"]:
        types = ", ".join(RUST_TYPES[argument["type"]] for argument in function["arguments"])
        returns = "" if function["returns"] == "void" else f" -> {RUST_TYPES[function['returns']]}"
        lines.append(f"    pub {function['name']}: unsafe extern \"system\" fn({types}){returns},")
    lines += ["}", "", "#[rustfmt::skip]", "impl Functions {",
              "    /// Each address has to be that of the function of that name.",
              "    pub unsafe fn find<E>(mut address: impl FnMut(&'static str) -> Result<*const (), E>) -> Result<Self, E> {",
              "        Ok(Self {"]
    lines += [f'            {function["name"]}: std::mem::transmute(address("{function["name"]}\\0")?),'
              for function in interface["functions"]]
    lines += ["        })", "    }", "}"]
    return "\n".join(lines) + "\n"


def camel(name):
    """BUFFER_TOO_SMALL as BufferTooSmall; OK stays what it is."""
    return name if name == "OK" else "".join(word.capitalize() for word in name.split("_"))


def csharp_declarations(interface):
    types = {"int": "int ", "void": "void ", "text": "byte[]? ", "buffer": "[In, Out] byte[]? ", "int*": "ref int "}
    blocks = []
    for function in interface["functions"]:
        arguments = ", ".join(types[argument["type"]] + argument["name"] for argument in function["arguments"])
        blocks.append("  [DllImport(Library, ExactSpelling = true)]\n"
                      f"  internal static extern {types[function['returns']]}{function['name']}({arguments});\n")
    return "\n".join(blocks)


def csharp_constants(interface):
    return "".join(f"  public const int {constant['name']} = {constant['value']};\n" for constant in interface["constants"])


def pascal_declarations(interface):
    types = {"int": "Integer", "text": "PAnsiChar", "buffer": "PAnsiChar", "int*": "PInteger"}
    # The letter in front keeps names apart from keywords.
    lines = ["const\n", *(f"  {constant['name']} = {constant['value']};\n" for constant in interface["constants"]), "\n"]
    for function in interface["functions"]:
        arguments = "; ".join(f"A{argument['name'][0].upper()}{argument['name'][1:]}: {types[argument['type']]}"
                              for argument in function["arguments"])
        arguments = f"({arguments})" if arguments else ""
        head = "procedure" if function["returns"] == "void" else "function"
        result = "" if function["returns"] == "void" else ": Integer"
        lines.append(f"{head} {function['name']}{arguments}{result}; cdecl; external KxLibrary;\n")
    return "".join(lines)


def autoit_declarations(interface):
    """A function for each of the library's. A text is a structure of bytes or its pointer; null is 0."""
    types = {"int": "int", "text": "ptr", "buffer": "ptr", "int*": "ptr"}
    lines = [f"Global Const ${constant['name']} = {constant['value']}\n" for constant in interface["constants"]]
    for function in interface["functions"]:
        names = [f"${argument['name']}" for argument in function["arguments"]]
        pairs = "".join(f', "{types[argument["type"]]}", ${argument["name"]}' for argument in function["arguments"])
        result = "none" if function["returns"] == "void" else "int"
        lines.append(f"\nFunc __Dll_{function['name']}({', '.join(names)})\n"
                     f'    Local $aCall = DllCall($__hKxLibrary, "{result}:cdecl", "{function["name"]}"{pairs})\n'
                     "    If @error Then Return SetError(@error, 0, $KX_FAILED)\n"
                     "    Return $aCall[0]\nEndFunc\n")
    return "".join(lines)


def prototype(function):
    """As C writes it, on one line."""
    arguments = ", ".join(C_TYPES[argument["type"]] + argument["name"] for argument in function["arguments"])
    return f"{C_TYPES[function['returns']]}{function['name']}({arguments or 'void'})"


def ruby_prototypes(interface):
    return "".join(f'    "{prototype(function)}",\n' for function in interface["functions"]).replace("(void)", "()")


def c_prototypes(interface):
    return "".join(f"{prototype(function)};\n" for function in interface["functions"])


def argument_cell(argument):
    unit = argument.get("unit", argument["type"])
    words = {"int": f"{argument['name']}: {unit}"}.get(argument["type"], f"{argument['name']}: {TABLE_TYPES[argument['type']]}")
    if argument["type"] == "text" and argument["null"] != "refused":
        words += f" (null: {argument['null']})"
    return words


def reference_table(interface):
    rows = ["| Function | Arguments | Its number is | |\n|---|---|---|---|\n"]
    for function in interface["functions"]:
        arguments = "; ".join(argument_cell(argument) for argument in function["arguments"]) or "none"
        result = function["result"]
        rows.append(f"| `{function['name']}` | {arguments} | {result['kind']} | {result['meaning']} |\n")
    return "".join(rows)


# What is derived: whole files, and blocks of files between two marks, each on a line of its own.
WHOLE_FILES = {
    "src/api/kxtcp64.def": definition_file,
    "bindings/functions.inc": lambda interface:
        "// Made from interface.json by tools/check_interface.py --fix. The includer defines KX_FUNCTION(name).\n"
        + cpp_list(interface),
    "bindings/go/declarations_windows.go": go_file,
    "bindings/rust/src/declarations.rs": rust_file,
}
BLOCKS = {
    "docs/other-languages.md": reference_table,
    "bindings/cpp/kxtcp64.hpp": cpp_macro,
    "bindings/lua/kxtcp64.lua": c_prototypes,
    "bindings/python/kxtcp64.py": python_declarations,
    "bindings/ruby/kxtcp64.rb": ruby_prototypes,
    "bindings/csharp/src/Native.cs": csharp_declarations,
    "bindings/csharp/src/KxConstants.cs": csharp_constants,
    "bindings/pascal/kxtcp64.pas": pascal_declarations,
    "bindings/autoit/KXTCP64.au3": autoit_declarations,
}
BEGIN = "made from bindings/interface.json"
END = "end of what is made"


def with_block(text, block):
    """The text with what stands between the marks replaced; ValueError when the marks are not there once."""
    lines = text.splitlines(keepends=True)
    begin = [index for index, line in enumerate(lines) if BEGIN in line]
    end = [index for index, line in enumerate(lines) if END in line]
    if len(begin) != 1 or len(end) != 1 or end[0] < begin[0]:
        raise ValueError(f'has no block from "{BEGIN}" to "{END}"')
    return "".join(lines[:begin[0] + 1]) + block + "".join(lines[end[0]:])
