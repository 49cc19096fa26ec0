#!/usr/bin/env python3
"""Makes the bridge: a Linux library with the functions of KXTCP64.dll, and a Windows program that calls the DLL for it.

    bindings/bridge/make_bridge.py FOLDER

A wrapper in a language that has no run-time for Windows here is run with it: each call, buffers and all, goes to the real
DLL in a process under Wine. libkxbridge.so starts the command that the environment variable KX_BRIDGE names, and speaks
with it over its standard input and output; one call is made at a time. bridge.exe takes the DLL's path.

FOLDER gets both sources and both programs. The functions are those of bindings/interface.json.
"""

import subprocess
import sys
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent.parent
sys.path.insert(0, str(ROOT / "tools"))

import interface  # noqa: E402

# Numbers have the same bytes on both sides.
STREAM = """
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

static FILE *from, *to;
static void broken(void) { fputs("bridge: the other side has gone\\n", stderr); exit(70); }
static void putBytes(const void *bytes, size_t size) { if (size != 0 && fwrite(bytes, size, 1, to) != 1) broken(); }
static void getBytes(void *bytes, size_t size) { if (size != 0 && fread(bytes, size, 1, from) != 1) broken(); }
static void putInt(int value) { putBytes(&value, sizeof value); }
static int getInt(void) { int value; getBytes(&value, sizeof value); return value; }
"""

CLIENT = STREAM + """
#include <pthread.h>
#include <unistd.h>

static pthread_mutex_t one = PTHREAD_MUTEX_INITIALIZER;
static void begin(int function) {
  pthread_mutex_lock(&one);
  if (to == NULL) {
    int out[2], in[2];
    if (pipe(out) != 0 || pipe(in) != 0) broken();
    if (fork() == 0) {
      dup2(out[0], 0);
      dup2(in[1], 1);
      close(out[0]); close(out[1]); close(in[0]); close(in[1]);
      execl("/bin/sh", "sh", "-c", getenv("KX_BRIDGE"), (char *)NULL);
      _exit(127);
    }
    close(out[0]); close(in[1]);
    to = fdopen(out[1], "wb");
    from = fdopen(in[0], "rb");
  }
  putInt(function);
}
static void putText(const char *text) {
  putInt(text == NULL ? -1 : (int)strlen(text));
  if (text != NULL) putBytes(text, strlen(text));
}
static void putBuffer(const char *buffer, int size) {
  if (size < 0) { fputs("bridge: a negative size\\n", stderr); abort(); }
  putInt(buffer == NULL ? -1 : size);
  if (buffer != NULL) putBytes(buffer, (size_t)size);
}
"""

SERVER = STREAM + """
#include <fcntl.h>
#include <io.h>
#include <windows.h>

static char *getBlock(int *size) {
  char *block;
  *size = getInt();
  if (*size < 0) return NULL;
  block = malloc((size_t)*size + 1);
  if (block == NULL) broken();
  getBytes(block, (size_t)*size);
  block[*size] = 0;
  return block;
}
"""


def client_function(number, function):
    before, after = [], []
    for argument in function["arguments"]:
        name, kind = argument["name"], argument["type"]
        if kind == "int":
            before.append(f"putInt({name});")
        elif kind == "text":
            before.append(f"putText({name});")
        elif kind == "int*":
            before.append(f"putInt({name} != NULL); if ({name} != NULL) putInt(*{name});")
            after.append(f"if ({name} != NULL) *{name} = getInt();")
        else:
            sizes = {other["name"]: other for other in function["arguments"]}
            size = argument["sizedBy"] if sizes[argument["sizedBy"]]["type"] == "int" else "*" + argument["sizedBy"]
            before.append(f"putBuffer({name}, {name} == NULL ? 0 : {size});")
            # Before the size is changed: arguments are read back in their order.
            after.append(f"if ({name} != NULL) getBytes({name}, (size_t){size});")
    result = "" if function["returns"] == "void" else "return result;"
    return (f"{interface.prototype(function)} {{\n  int result;\n  begin({number});\n  " + "\n  ".join(before)
            + "\n  fflush(to);\n  result = getInt();\n  " + "\n  ".join(after)
            + f"\n  (void)result;\n  pthread_mutex_unlock(&one);\n  {result}\n}}\n")


def server_case(number, function):
    before, after, names, types = [], [], [], []
    for argument in function["arguments"]:
        name, kind = argument["name"], argument["type"]
        types.append(interface.C_TYPES[kind].strip())
        names.append(name)
        if kind == "int":
            before.append(f"int {name} = getInt();")
        elif kind == "int*":
            names[-1] = f"{name}Given ? &{name} : NULL"
            before.append(f"int {name}Given = getInt(); int {name} = {name}Given ? getInt() : 0;")
            after.append(f"if ({name}Given) putInt({name});")
        else:
            before.append(f"int {name}Length; char *{name} = getBlock(&{name}Length);")
            if kind == "buffer":
                after.append(f"if ({name} != NULL) putBytes({name}, (size_t){name}Length);")
            after.append(f"free({name});")
    kind = function["returns"]
    call = f"(({kind} (*)({', '.join(types) or 'void'}))functions[{number}])({', '.join(names)});"
    made = f"{call} putInt(0);" if kind == "void" else f"int result = {call} putInt(result);"
    return f"    case {number}: {{\n      " + "\n      ".join([*before, made, *after]) + "\n      break;\n    }\n"


def main():
    folder = Path(sys.argv[1])
    functions = list(enumerate(interface.load()["functions"]))
    (folder / "client.c").write_text(CLIENT + "".join(client_function(*each) for each in functions), encoding="utf-8")
    names = ", ".join(f'"{function["name"]}"' for _, function in functions)
    cases = "".join(server_case(*each) for each in functions)
    (folder / "server.c").write_text(SERVER + f"""
static const char *const names[] = {{{names}}};
static void *functions[sizeof names / sizeof *names];

int main(int count, char **arguments) {{
  HMODULE dll = count == 2 ? LoadLibraryA(arguments[1]) : NULL;
  int function;
  size_t index;
  for (index = 0; index < sizeof names / sizeof *names; ++index) {{
    functions[index] = dll == NULL ? NULL : (void *)GetProcAddress(dll, names[index]);
    if (functions[index] == NULL) {{ fprintf(stderr, "bridge: no %s\\n", names[index]); return 1; }}
  }}
  _setmode(0, _O_BINARY);
  _setmode(1, _O_BINARY);
  from = stdin;
  to = stdout;
  while (fread(&function, sizeof function, 1, from) == 1) {{
    switch (function) {{
{cases}    default: broken();
    }}
    fflush(to);
  }}
  return 0;
}}
""", encoding="utf-8")
    flags = ["-O1", "-Wall", "-Wextra", "-Werror"]
    for command in (["cc", *flags, "-shared", "-fPIC", "-pthread", "client.c", "-o", "libkxbridge.so"],
                    ["x86_64-w64-mingw32-gcc-posix", *flags, "server.c", "-o", "bridge.exe"]):
        subprocess.run(command, cwd=folder, check=True)


if __name__ == "__main__":
    main()
