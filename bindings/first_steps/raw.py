"""Starts Firefox with the profile "work", plays a macro, prints its extracts, and closes Firefox: without a wrapper.

    py raw.py KXTCP64.DLL BROWSER MACRO-TEXT
"""

import ctypes
import sys
from ctypes import c_char_p, c_int

library, browser, macro = sys.argv[1:]
dll = ctypes.CDLL(library)
dll.kx_Init.argtypes = [c_int, c_char_p, c_char_p, c_char_p, c_int, c_int, c_int]
dll.kx_SetVar.argtypes = [c_int, c_char_p, c_char_p]
dll.kx_Play.argtypes = [c_int, c_char_p, c_int]
dll.kx_GetLastExtract.argtypes = [c_int, c_char_p, c_int, c_int]
dll.kx_GetLastErrorText.argtypes = [c_int, c_char_p, c_int]


def text_of(copy, *rest):
    size = copy(context, None, 0, *rest)
    if size <= 1:
        return b""
    buffer = ctypes.create_string_buffer(size)
    copy(context, buffer, size, *rest)
    return buffer.raw[:size - 1]


def extracts():
    """An empty extract has the size that one beyond the last has; the size of all, joined, tells the end."""
    whole = dll.kx_GetLastExtract(context, None, 0, 0)
    found = []
    while whole > 0 and (not found or len(b"[EXTRACT]".join(found)) + 1 < whole):
        found.append(text_of(dll.kx_GetLastExtract, len(found) + 1))
    return found


def check(call, result, number=1):
    if result != 0 or number != 1:
        text = text_of(dll.kx_GetLastErrorText).decode("utf-8", "replace")
        raise RuntimeError(f"{call} failed: result {result}, error {dll.kx_GetLastErrorNumber(context)}: {text}")


context = dll.kx_ContextCreate()
started = None
try:
    started = dll.kx_Init(context, b"fx", b'-fxProfile "work"', browser.encode("utf-8"), 0, 0, 60)
    check("kx_Init", started, dll.kx_GetLastErrorNumber(context))
    check("kx_SetVar", dll.kx_SetVar(context, b"city", b"Oslo"))
    check("kx_Play", dll.kx_Play(context, macro.encode("utf-8"), 60))
    for extract in extracts():
        print(extract.decode("utf-8", "replace"))
except RuntimeError as error:
    sys.exit(str(error))
finally:
    if started == 0:
        dll.kx_Exit(context, 10)
    dll.kx_ContextDestroy(context)
