"""Starts a browser with the profile "work", plays a macro in it, prints its first extract, and ends it.

    py host.py KXTCP64.DLL BROWSER MACRO-TEXT
"""

import ctypes
import os
import sys
from ctypes import c_char_p, c_int


class Kx:
    """The functions that this host uses. A call lets the other threads of Python run."""

    def __init__(self, path):
        dll = ctypes.CDLL(os.path.abspath(path))
        self.create = self.function(dll.kx_ContextCreate)
        self.init = self.function(dll.kx_Init, c_int, c_char_p, c_char_p, c_char_p, c_int, c_int, c_int)
        self.set_variable = self.function(dll.kx_SetVar, c_int, c_char_p, c_char_p)
        self.play = self.function(dll.kx_Play, c_int, c_char_p, c_int)
        self.last_extract = self.function(dll.kx_GetLastExtract, c_int, c_char_p, c_int, c_int)
        self.error_number = self.function(dll.kx_GetLastErrorNumber, c_int)
        self.error_text = self.function(dll.kx_GetLastErrorText, c_int, c_char_p, c_int)
        self.exit = self.function(dll.kx_Exit, c_int, c_int)
        self.destroy = self.function(dll.kx_ContextDestroy, c_int)
        self.destroy.restype = None

    @staticmethod
    def function(entry, *arguments):
        entry.argtypes = arguments
        entry.restype = c_int
        return entry


def text_of(copy, context, *rest):
    """Asks for the size, which counts a zero at the end, then for the text."""
    size = copy(context, None, 0, *rest)
    if size <= 0:
        return ""
    buffer = ctypes.create_string_buffer(size)
    copy(context, buffer, size, *rest)
    return buffer.raw[:size - 1].decode("utf-8", "replace")


def check(kx, context, call, result):
    """KX_OK alone does not do: the browser may have answered with an error."""
    number = kx.error_number(context)
    if result != 0 or number != 1:
        raise RuntimeError(f"{call} failed: result {result}, error {number}: {text_of(kx.error_text, context)}")


def run(kx, context, browser, macro):
    result = kx.init(context, b"fx", b"-fxProfile work", os.path.abspath(browser).encode("utf-8"), 0, 0, 60)
    try:
        check(kx, context, "kx_Init", result)
        kx.set_variable(context, b"city", "Tromsø".encode("utf-8"))
        check(kx, context, "kx_Play", kx.play(context, macro.encode("utf-8"), 30))
        return text_of(kx.last_extract, context, 1)
    finally:
        if result == 0:
            kx.exit(context, 10)


def main(arguments):
    if len(arguments) != 3:
        sys.exit("usage: host.py KXTCP64.DLL BROWSER MACRO-TEXT")
    kx = Kx(arguments[0])
    context = kx.create()
    try:
        print("the first extract:", run(kx, context, arguments[1], arguments[2]))
    except RuntimeError as error:
        sys.exit(str(error))
    finally:
        kx.destroy(context)


main(sys.argv[1:])
