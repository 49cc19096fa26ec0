"""The hosts that have the golden conversation, one entry for each language. README.md tells what a host has to do.

Words of a command may hold fields:

    {root}      the folder of the project              {out}     a folder of the host's own, for what is built
    {tree}      the build tree, with the DLL in bin    {dll}     what the host has to load: the DLL, or the bridge to it
    {steps}     the file with the steps                {node}    Node for Windows

With w in front ({wroot}, {wout} and so on) they are paths of Windows.
"""

from dataclasses import dataclass, field


@dataclass(frozen=True)
class Host:
    name: str
    # Commands of this system, one after the other, in the folder {out}.
    build: list = field(default_factory=list)
    # The host's own command. Its first word is a Windows program, or with bridge one of this system.
    run: list = field(default_factory=list)
    # Why no machine runs it, for a language that has a wrapper but no host.
    never: str = ""
    # A command with the wrapper's own tests, if `./dev test` does not run them.
    tests: list = field(default_factory=list)
    # Its calls go over bindings/bridge/ to the DLL under Wine; the host itself runs on Linux.
    bridge: bool = False
    # False: it calls the functions of the header, and the steps for wrappers are left out.
    wrapper: bool = True
    # What has to be there, programs by name or files by path, and how it comes there.
    needs: dict = field(default_factory=dict)
    # Debian's packages that `./dev hosts` installs for it.
    packages: tuple = ()
    # More of the environment, for both.
    environment: dict = field(default_factory=dict)


ARGUMENTS = ["{wsteps}", "{wdll}"]
# With MinGW's headers; Microsoft's are not to be had here.
CLANG = "--target=x86_64-w64-windows-gnu"
LLD = {"clang++": "./dev setup", "lld-link": "./dev setup", "{tree}/microsoft/KXTCP64.lib": "./dev setup, for llvm-dlltool"}
WARNINGS = ["-O1", "-Wall", "-Wextra", "-Werror"]

HOSTS = [
    Host(
        name="C",
        build=[["x86_64-w64-mingw32-gcc-posix", "-std=c99", *WARNINGS, "-I{root}/src/api",
                "{root}/bindings/conversation/host.c", "{tree}/src/libKXTCP64.dll.a", "-o", "host.exe"],
               ["cp", "{tree}/bin/KXTCP64.dll", "."]],
        run=["{out}/host.exe", *ARGUMENTS],
        wrapper=False,
        needs={"x86_64-w64-mingw32-gcc-posix": "./dev setup"},
    ),
    Host(
        name="C++",
        build=[["x86_64-w64-mingw32-g++-posix", "-std=c++17", "-static", *WARNINGS, "-I{root}/src/api", "-I{root}/bindings/cpp",
                "{root}/bindings/cpp/conversation/host.cpp", "{tree}/src/libKXTCP64.dll.a", "-o", "host.exe"],
               ["cp", "{tree}/bin/KXTCP64.dll", "."]],
        run=["{out}/host.exe", *ARGUMENTS],
        needs={"x86_64-w64-mingw32-g++-posix": "./dev setup"},
    ),
    Host(
        name="C, lld-link",
        build=[["clang", CLANG, "-std=c99", *WARNINGS, "-I{root}/src/api", "-c", "{root}/bindings/conversation/host.c",
                "-o", "host.obj"],
               ["{root}/bindings/conversation/lld_link.sh", "{tree}/microsoft/KXTCP64.lib", "host.exe", "host.obj"],
               ["cp", "{tree}/bin/KXTCP64.dll", "."]],
        run=["{out}/host.exe", *ARGUMENTS],
        wrapper=False,
        needs=LLD,
    ),
    Host(
        name="C++, lld-link",
        build=[["sh", "-c", "headers=$(dirname $(x86_64-w64-mingw32-g++-posix -print-libgcc-file-name))/include/c++; "
                f"clang++ {CLANG} -std=c++17 {' '.join(WARNINGS)} -isystem $headers -isystem $headers/x86_64-w64-mingw32 "
                "-I{root}/src/api -I{root}/bindings/cpp -c {root}/bindings/cpp/conversation/host.cpp -o host.obj"],
               ["{root}/bindings/conversation/lld_link.sh", "{tree}/microsoft/KXTCP64.lib", "host.exe", "host.obj"],
               ["cp", "{tree}/bin/KXTCP64.dll", "."]],
        run=["{out}/host.exe", "{wsteps}", "linked"],
        needs=LLD,
    ),
    Host(
        name="Node",
        build=[["{root}/bindings/node/conversation/install.sh", "."]],
        run=["{node}/node.exe", "{wout}/host.mjs", *ARGUMENTS],
        needs={"{node}/node.exe": "./dev setup --browsers",
               "{root}/examples/other-languages/node_modules/koffi": "./dev setup --browsers"},
        environment={"NODE_SKIP_PLATFORM_CHECK": "1"},  # Node would refuse Wine's version of Windows
    ),
    Host(
        name="Python",
        build=[],
        run=["python3", "{root}/bindings/python/conversation/host.py", "{steps}", "{dll}"],
        bridge=True,
        needs={"cc": "./dev setup"},
        environment={"PYTHONPATH": "{root}/bindings/python", "PYTHONDONTWRITEBYTECODE": "1"},
    ),
    Host(
        name="Go",
        build=[["sh", "-c", "cd {root}/bindings/go && go build -o {out}/host.exe ./conversation"]],
        run=["{out}/host.exe", *ARGUMENTS],
        tests=["{root}/bindings/go/tests/run.sh", "{tree}", "{out}"],
        needs={"go": "./dev hosts installs Debian's golang-go"},
        packages=("golang-go",),
        environment={"GOOS": "windows", "GOARCH": "amd64", "CGO_ENABLED": "0", "GOFLAGS": "-trimpath"},
    ),
    Host(
        name="Rust",
        build=[["sh", "-c", "cd {root}/bindings/rust && /usr/bin/cargo build --offline --locked --release --example conversation"]],
        run=["{out}/target/x86_64-pc-windows-gnu/release/examples/conversation.exe", *ARGUMENTS],
        tests=["{root}/bindings/rust/tests/run.sh", "{tree}", "{out}"],
        # Not the compiler that a rustup of the user has: that one may lack the library for Windows.
        needs={"/usr/bin/cargo": "./dev hosts installs Debian's cargo",
               "/usr/lib/rustlib/x86_64-pc-windows-gnu": "./dev hosts installs Debian's libstd-rust-dev-windows"},
        packages=("cargo", "rustc", "libstd-rust-dev-windows", "rustfmt"),
        environment={"RUSTC": "/usr/bin/rustc", "CARGO_HOME": "{out}/cargo", "CARGO_TARGET_DIR": "{out}/target",
                     "CARGO_BUILD_TARGET": "x86_64-pc-windows-gnu",
                     "CARGO_TARGET_X86_64_PC_WINDOWS_GNU_LINKER": "x86_64-w64-mingw32-gcc-posix"},
    ),
    Host(
        name="Lua",
        build=[],
        run=["luajit", "{root}/bindings/lua/conversation/host.lua", "{steps}", "{dll}"],
        bridge=True,
        wrapper=False,
        needs={"luajit": "./dev hosts installs Debian's luajit", "cc": "./dev setup"},
        packages=("luajit",),
        environment={"LUA_PATH": "{root}/bindings/lua/?.lua"},
    ),
    Host(
        name="Ruby",
        build=[],
        run=["ruby", "{root}/bindings/ruby/conversation/host.rb", "{steps}", "{dll}"],
        bridge=True,
        wrapper=False,
        needs={"ruby": "./dev hosts installs Debian's ruby", "cc": "./dev setup"},
        packages=("ruby",),
    ),
    Host(
        name="C#",
        build=[["dotnet", "publish", "--verbosity", "quiet", "--artifacts-path", "{out}/artifacts", "--output", "{out}/host",
                "{root}/bindings/csharp/conversation"]],
        run=["{out}/host/host.exe", *ARGUMENTS],
        tests=["{root}/bindings/csharp/tests/run.sh", "{tree}", "{out}"],
        needs={"dotnet": "it is no package of Debian's; the .NET SDK, 8 or later, comes from its makers"},
        # Wine loads the files of .NET only where mscoree is not switched off.
        environment={"WINEDLLOVERRIDES": "mshtml=;winemenubuilder.exe=d", "DOTNET_CLI_TELEMETRY_OPTOUT": "1"},
    ),
    Host(
        name="Pascal",
        build=[["{root}/bindings/pascal/make_rtl.sh", "rtl"],
               ["fpc", "-n", "-Twin64", "-Furtl", "-Fu{root}/bindings/pascal", "-FU.", "-o{out}/host.exe",
                "{root}/bindings/pascal/conversation/host.pas"],
               ["cp", "{tree}/bin/KXTCP64.dll", "."]],
        run=["{out}/host.exe", *ARGUMENTS],
        tests=["{root}/bindings/pascal/tests/run.sh", "{tree}", "{out}"],
        needs={"fpc": "./dev hosts installs Debian's fp-compiler and fpc-source"},
        packages=("fp-compiler", "fpc-source"),
    ),
    Host(name="PowerShell", never="there is no PowerShell; what the module calls of the wrapper for C# is checked by its tests"),
    Host(name="AutoIt", never="there is no AutoIt; its declarations are checked against the description"),
]
