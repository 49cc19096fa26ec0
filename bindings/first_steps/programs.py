"""One program in each language, with and without the wrapper: it starts a browser, sets a variable, plays a macro, prints the
extracts (without the wrapper only the first one), tells an error, and closes the browser. An entry is a host as in
bindings/conversation/hosts.py, with more fields:

    {program}   the browser's program      {macro}   the macro
"""

import sys
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent.parent / "conversation"))

from hosts import HOSTS, WARNINGS, Host  # noqa: E402

KNOWN = {host.name: host for host in HOSTS}
GIVEN = ["{wprogram}", "{macro}"]
C = "x86_64-w64-mingw32-gcc-posix"
COPY_DLL = ["cp", "{tree}/bin/KXTCP64.dll", "."]
# What is absolute on Windows is not where the bridge runs.
PYTHON_EXAMPLE = ("import os.path, runpy, sys; os.path.abspath = str; sys.argv = sys.argv[1:]; "
                  "runpy.run_path(sys.argv[0], run_name='__main__')")
# The wrapper would take the DLL that lies beside it; here it is the bridge to it.
PYTHON = ("import runpy, sys, kxtcp64; kxtcp64._default_library = kxtcp64.Library(sys.argv[1]); sys.argv = sys.argv[2:]; "
          "runpy.run_path(sys.argv[0], run_name='__main__')")


def like(name, build, run, **more):
    """With what the language's host in the conversation needs."""
    host = KNOWN[name]
    return Host(name=name, build=build, run=run, bridge=host.bridge, needs=host.needs, environment=host.environment, **more)


def rust(command, run):
    return like("Rust", [["sh", "-c", command], COPY_DLL], run)


def csharp(which):
    return like("C#", [["dotnet", "publish", "--verbosity", "quiet", "--artifacts-path", "{out}/artifacts", "--output", "{out}/steps",
                        which, "{root}/bindings/first_steps/csharp.csproj"], ["cp", "{tree}/bin/KXTCP64.dll", "steps"]],
                ["{out}/steps/steps.exe", *GIVEN])


def pascal(*words):
    return like("Pascal", [["{root}/bindings/pascal/make_rtl.sh", "rtl"],
                           ["fpc", "-n", "-Twin64", "-Furtl", "-FU.", "-o{out}/steps.exe", *words], COPY_DLL],
                ["{out}/steps.exe", *GIVEN])


NODE = [["{root}/bindings/node/conversation/install.sh", "."]]

# Language: the file without a wrapper and its program, the file with it and its program.
PROGRAMS = {
    "C": (
        "examples/first_host.c",
        like("C", [[C, "-std=c99", *WARNINGS, "-I{root}/src/api", "{root}/examples/first_host.c",
                    "{tree}/src/libKXTCP64.dll.a", "-o", "raw.exe"], COPY_DLL], ["{out}/raw.exe", *GIVEN]),
        None, None,
    ),
    "C++": (
        "examples/first_host.c", None,  # the same as in C
        "bindings/cpp/first_steps.cpp",
        like("C++", [["x86_64-w64-mingw32-g++-posix", "-std=c++17", "-static", *WARNINGS, "-I{root}/src/api",
                      "-I{root}/bindings/cpp", "{root}/bindings/cpp/first_steps.cpp", "{tree}/src/libKXTCP64.dll.a",
                      "-o", "steps.exe"], COPY_DLL], ["{out}/steps.exe", *GIVEN]),
    ),
    "Python": (
        "examples/other-languages/host.py",
        like("Python", [], ["python3", "-c", PYTHON_EXAMPLE, "{root}/examples/other-languages/host.py", "{dll}", *GIVEN]),
        "bindings/python/first_steps.py",
        like("Python", [], ["python3", "-c", PYTHON, "{dll}", "{root}/bindings/python/first_steps.py", *GIVEN]),
    ),
    "Node": (
        "examples/other-languages/host.mjs",
        like("Node", [*NODE, ["cp", "{root}/examples/other-languages/host.mjs", "."]],
             ["{node}/node.exe", "{wout}/host.mjs", "{wdll}", *GIVEN]),
        "bindings/node/example.mjs",
        like("Node", [*NODE, ["cp", "{root}/bindings/node/example.mjs", "."], ["cp", "{tree}/bin/KXTCP64.dll", "node_modules/kxtcp64"]],
             ["{node}/node.exe", "{wout}/example.mjs", *GIVEN]),
    ),
    "Go": (
        "bindings/first_steps/raw.go",
        like("Go", [["go", "build", "-o", "raw.exe", "{root}/bindings/first_steps/raw.go"], COPY_DLL], ["{out}/raw.exe", *GIVEN]),
        "bindings/go/example/main.go",
        like("Go", [["sh", "-c", "cd {root}/bindings/go && go build -o {out}/steps.exe ./example"], COPY_DLL],
             ["{out}/steps.exe", *GIVEN]),
    ),
    "Rust": (
        "bindings/first_steps/raw.rs",
        rust("$RUSTC --edition 2021 --target $CARGO_BUILD_TARGET -C linker=$CARGO_TARGET_X86_64_PC_WINDOWS_GNU_LINKER "
             "-L native={tree}/src {root}/bindings/first_steps/raw.rs -o raw.exe", ["{out}/raw.exe", *GIVEN]),
        "bindings/rust/examples/first_steps.rs",
        rust("cd {root}/bindings/rust && /usr/bin/cargo build --offline --locked --example first_steps && "
             "cp $CARGO_TARGET_DIR/$CARGO_BUILD_TARGET/debug/examples/first_steps.exe {out}/steps.exe",
             ["{out}/steps.exe", *GIVEN]),
    ),
    "C#": (
        "examples/other-languages/host.cs", csharp("-p:Raw=true"),
        "bindings/csharp/first_steps.cs", csharp("-p:Raw=false"),
    ),
    "Pascal": (
        "bindings/first_steps/raw.pas", pascal("{root}/bindings/first_steps/raw.pas"),
        "bindings/pascal/first_steps.pas", pascal("-Fu{root}/bindings/pascal", "{root}/bindings/pascal/first_steps.pas"),
    ),
    # Not run here, therefore without times.
    "PowerShell": (None, None, "bindings/powershell/first_steps.ps1", None),
    "AutoIt": (None, None, "bindings/autoit/first_steps.au3", None),
}
