"""KXTCP64.dll for Python 3.9 and later: this module and the DLL, nothing else.

    with kxtcp64.Browser.start(profile="work") as browser:
        browser.set_variable("city", "Oslo")
        for extract in browser.play(macro).extracts:
            print(extract)

A Browser has a context of the library and the browser of it. It ends both at the end of the with statement, when it is
collected, and when the interpreter ends, unless a daemon thread then still has a call of that browser under way. What goes
wrong is raised as KxError. kxtcp64.h tells what the calls do.

A time-out is a datetime.timedelta, or seconds, above zero; it is rounded up to whole seconds. None waits without a limit;
start_runner() refuses it.
A Browser may be used by several threads; its calls wait for one another, and let the other threads of Python run.
AsyncBrowser is the same for asyncio.
"""

from __future__ import annotations

import asyncio
import copyreg
import ctypes
import math
import ntpath
import os
import threading
import weakref
from dataclasses import dataclass
from datetime import timedelta
from ctypes import POINTER, c_char_p, c_int
from typing import Callable, NoReturn, Optional, Union

__all__ = ["AsyncBrowser", "Browser", "KxError", "Library", "PlayResult"]

Duration = Union[timedelta, float, None]
Path = Union[str, "os.PathLike[str]"]

KX_OK = 0
KX_FAILED = -1
KX_NO_CONTEXT = -5
KX_ERROR_NONE = 0
KX_ERROR_SUCCESS = 1
KX_ERROR_GENERAL = -1
KX_ERROR_TIMEOUT = -3

# Result and arguments of each function.
_DECLARATIONS = {
    # made from bindings/interface.json
    "kx_ContextCreate": (c_int, []),
    "kx_ContextDestroy": (None, [c_int]),
    "kx_GetLastErrorNumber": (c_int, [c_int]),
    "kx_GetLastErrorText": (c_int, [c_int, c_char_p, c_int]),
    "kx_Init": (c_int, [c_int, c_char_p, c_char_p, c_char_p, c_int, c_int, c_int]),
    "kx_SetVar": (c_int, [c_int, c_char_p, c_char_p]),
    "kx_Play": (c_int, [c_int, c_char_p, c_int]),
    "kx_Display": (c_int, [c_int, c_char_p, c_int]),
    "kx_TakeBrowserScreenshot": (c_int, [c_int, c_char_p, c_int, c_int]),
    "kx_GetLastExtract": (c_int, [c_int, c_char_p, c_int, c_int]),
    "kx_GetPerformance": (c_int, [c_int, c_char_p, c_int]),
    "kx_GetLastPerformance": (c_int, [c_int, c_int, c_char_p, POINTER(c_int), c_char_p, POINTER(c_int)]),
    "kx_GetBrowserProcessId": (c_int, [c_int]),
    "kx_Exit": (c_int, [c_int, c_int]),
    "kxr_GetCommandLine": (c_int, [c_char_p, c_char_p, c_char_p, c_int, c_char_p]),
    "kxr_Init": (c_int, [c_int, c_char_p, c_char_p, c_int, c_int]),
    "kxr_Exit": (c_int, [c_int, c_int]),
    # end of what is made
}

_SEPARATOR = "[EXTRACT]"


class KxError(Exception):
    """The only exception of this module.

    call is the function of kxtcp64.h, or what this module was asked for. result is the function's; KX_FAILED when it was
    not called, and KX_OK when the browser answered with an error to a start, a message or a screenshot. number and text
    are the library's; number is 0 when the arguments were wrong.
    """

    def __init__(self, call: str, result: int, number: int, text: str) -> None:
        super().__init__(f"{call} failed: result {result}, error {number}: {text}")
        self.call = call
        self.result = result
        self.number = number
        self.text = text

    def __reduce__(self) -> tuple:
        """For pickle and copy, which would call the class with the message alone; a subclass may take what it likes."""
        return copyreg.__newobj__, (type(self), *self.args), self.__dict__


@dataclass(frozen=True)
class PlayResult:
    """What a play left.

    extracts has empty ones, too; one empty extract looks like none. performance has names and values. profiler_data is
    None unless the start asked for it.
    """

    extracts: list[str]
    performance: list[tuple[str, str]]
    profiler_data: Optional[str]


class Library:
    """The functions of the DLL, by their own names. It stays loaded.

    A file's name without a folder is searched for by Windows, which does not look into the current folder.
    """

    def __init__(self, file: Path = "KXTCP64.dll") -> None:
        try:
            dll = ctypes.CDLL(os.fspath(file))
            for name, (result, arguments) in _DECLARATIONS.items():
                function = getattr(dll, name)
                function.restype = result
                function.argtypes = arguments
                setattr(self, name, function)
        except (OSError, AttributeError) as error:
            raise KxError("kxtcp64.Library", KX_FAILED, KX_ERROR_NONE, str(error)) from error


_default_library: Optional[Library] = None


def _library(library: Optional[Library]) -> Library:
    """The one that was given, or the one beside this module, or where Windows searches."""
    global _default_library
    if library is not None:
        return library
    if _default_library is None:
        beside = os.path.join(os.path.dirname(os.path.abspath(__file__)), "KXTCP64.dll")
        _default_library = Library(beside if os.path.exists(beside) else "KXTCP64.dll")
    return _default_library


def _refuse(call: str, text: str, number: int = KX_ERROR_NONE) -> NoReturn:
    raise KxError(call, KX_FAILED, number, text)


def _failing(call: str) -> Callable[[int], NoReturn]:
    """For functions that leave the error number and text alone: theirs would tell of another call."""
    def fail(result: int) -> NoReturn:
        raise KxError(call, result, KX_ERROR_NONE, "the log tells more")
    return fail


def _seconds(call: str, timeout: Duration) -> int:
    if timeout is None:
        return 0
    seconds = timeout.total_seconds() if isinstance(timeout, timedelta) else float(timeout)
    if not 0 < seconds <= 0x7FFFFFFF:
        _refuse(call, "a time-out is above zero, and below 68 years; None is no limit")
    return math.ceil(seconds)


def _utf8(call: str, what: str, text: str) -> bytes:
    if "\0" in text:
        _refuse(call, f"{what} holds a zero character")
    try:
        return text.encode("utf-8")
    except UnicodeEncodeError:
        _refuse(call, f"{what} holds half of a surrogate pair")


def _copied(copy: Callable[[Optional[ctypes.Array], int], int], fail: Callable[[int], object]) -> str:
    """Asks for the size, which counts the zero at the end, then for the text."""
    size = copy(None, 0)
    if size < 0:
        fail(size)
    if size <= 1:
        return ""
    buffer = ctypes.create_string_buffer(size)
    result = copy(buffer, size)
    if result < 0:
        fail(result)
    return buffer.raw[:size - 1].decode("utf-8", "surrogateescape")


def _option(call: str, name: str, value: str) -> str:
    if not value or value.endswith("\\") or '"' in value or any(character < " " for character in value):
        _refuse(call, f"the value of {name} is empty, ends in a backslash, or holds a double quote or a control character: "
                      + value)
    return f' {name}="{value}"'


def _options(call: str, browser: str, profile: Optional[str], user_data_dir: Optional[Path], profiler: bool,
             runner: bool) -> bytes:
    if browser not in ("fx", "cr"):
        _refuse(call, 'browser is "fx" for Firefox or "cr" for Chrome')
    if browser == "fx" and user_data_dir is not None:
        _refuse(call, "user_data_dir is for Chrome; Firefox has a profile")
    if browser == "cr" and profile is not None:
        _refuse(call, "profile is for Firefox; Chrome has a user_data_dir")
    if runner and profile is None and user_data_dir is None:
        _refuse(call, "a runner's Firefox needs a profile, its Chrome a user_data_dir")
    text = "-runner" if runner else ""
    if profiler:
        text += " -profiler"
    if profile is not None:
        text += _option(call, "-fxProfile", profile)
    if user_data_dir is not None:
        text += _option(call, "-crUserDataDir", os.fspath(user_data_dir))
    return _utf8(call, "an option", text)


def _program(call: str, program: Optional[Path], attach_only: bool) -> Optional[bytes]:
    """A whole path with backslashes; None for the usual place, and the empty one launches nothing."""
    if attach_only:
        if program is not None:
            _refuse(call, "attach_only launches no program, so program means nothing with it")
        return b""
    if program is None:
        return None
    if not os.fspath(program):
        _refuse(call, "program is no path")
    return _utf8(call, "program", ntpath.abspath(os.fspath(program)))


class _Session:
    """A context, and how it is ended. Its calls are made one at a time."""

    def __init__(self, dll: Library, runner: bool, exit_seconds: int) -> None:
        self.dll = dll
        self.runner = runner
        self.exit_seconds = exit_seconds
        self.lock = threading.RLock()
        self.out_of_step: Optional[str] = None
        self.out_of_step_number = KX_ERROR_NONE
        self.context = dll.kx_ContextCreate()
        if self.context < 0:
            raise KxError("kx_ContextCreate", self.context, KX_ERROR_NONE, "no memory for a context")

    def open(self, call: str, request: bool = True) -> None:
        """With the lock held: is there a browser that can be asked?"""
        if self.context < 0:
            raise KxError(call, KX_NO_CONTEXT, KX_ERROR_NONE, "the browser was closed")
        if request and self.out_of_step is not None:
            _refuse(call, f"{self.out_of_step}; close this browser and start another", self.out_of_step_number)

    def error_text(self) -> str:
        return _copied(lambda buffer, size: self.dll.kx_GetLastErrorText(self.context, buffer, size), lambda result: None)

    def check(self, call: str, result: int) -> None:
        """Raises what a call and the browser's answer to it come to, unless both tell of success."""
        number = self.dll.kx_GetLastErrorNumber(self.context)
        if result == KX_OK and number == KX_ERROR_SUCCESS:
            return
        text = self.error_text()
        if number == KX_ERROR_TIMEOUT and text in ("Error while sending request", "Error while receiving response"):
            self.out_of_step = "an earlier request has timed out, and its late answer would count as the next one's"
        elif number == KX_ERROR_GENERAL and text == "Error in response processing":
            self.out_of_step = "an earlier answer was not valid, and what is left of it would spoil the next one"
        self.out_of_step_number = number
        raise KxError(call, result, number, text)

    def check_start(self, call: str, result: int, attach_only: bool) -> None:
        """The same for a start. One that was answered leaves a browser to be closed, any other leaves none."""
        if result == KX_OK:
            return self.check(call, result)
        nobody = attach_only and result > KX_OK  # the launch that had to fail was tried
        text = ("no running browser serves the extension's pipe, and attach_only launches none" if nobody
                else self.error_text())
        error = KxError(call, result, self.dll.kx_GetLastErrorNumber(self.context), text)
        self.destroy()
        raise error

    def destroy(self) -> None:
        context, self.context = self.context, KX_NO_CONTEXT
        self.dll.kx_ContextDestroy(context)

    def _call_exit(self, seconds: int) -> int:
        return (self.dll.kxr_Exit if self.runner else self.dll.kx_Exit)(self.context, seconds)

    def exit(self, seconds: int) -> None:
        with self.lock:
            if self.context < 0:
                return
            result = self._call_exit(seconds)
            if result != KX_OK:
                raise KxError("kxr_Exit" if self.runner else "kx_Exit", result,
                              self.dll.kx_GetLastErrorNumber(self.context), self.error_text())
            self.destroy()

    def end(self) -> None:
        """Closes the browser, if there is one; a failure of that is in the library's log."""
        with self.lock:
            if self.context >= 0:
                self._call_exit(self.exit_seconds)
                self.destroy()

    def end_unless_busy(self) -> None:
        """The same when nobody waits for it. At the interpreter's end a call in a daemon thread may never come back."""
        if self.lock.acquire(blocking=False):
            try:
                self.end()
            finally:
                self.lock.release()

    def read_back(self) -> PlayResult:
        data = _copied(lambda buffer, size: self.dll.kx_GetPerformance(self.context, buffer, size),
                       _failing("kx_GetPerformance"))
        return PlayResult(self._extracts(), self._performance(), data or None)

    def _extracts(self) -> list[str]:
        """An empty extract has the size that one beyond the last has. The size of all, joined, tells the end."""
        fail = _failing("kx_GetLastExtract")
        whole = self.dll.kx_GetLastExtract(self.context, None, 0, 0)
        if whole < 0:
            fail(whole)
        found: list[str] = []
        length = 0
        while whole > 0 and (not found or length + 1 < whole):
            index = len(found) + 1
            found.append(_copied(
                lambda buffer, size: self.dll.kx_GetLastExtract(self.context, buffer, size, index), fail))
            length += len(found[-1].encode("utf-8", "surrogateescape")) + (len(_SEPARATOR) if index > 1 else 0)
        return found

    def _performance(self) -> list[tuple[str, str]]:
        found: list[tuple[str, str]] = []
        name_size, value_size = c_int(), c_int()
        while self.dll.kx_GetLastPerformance(self.context, len(found) + 1, None, name_size, None, value_size) == KX_OK:
            name = ctypes.create_string_buffer(name_size.value)
            value = ctypes.create_string_buffer(value_size.value)
            result = self.dll.kx_GetLastPerformance(self.context, len(found) + 1, name, name_size, value, value_size)
            if result != KX_OK:
                _failing("kx_GetLastPerformance")(result)
            found.append((name.raw[:-1].decode("utf-8", "surrogateescape"), value.raw[:-1].decode("utf-8", "surrogateescape")))
        return found


class Browser:
    """A browser that was started or attached to. Made by start() and start_runner()."""

    def __init__(self, session: _Session) -> None:
        self._session = session
        weakref.finalize(self, session.end_unless_busy)

    @classmethod
    def _of(cls, session: _Session, attach_only: bool, call: str, *arguments: object) -> Browser:
        """Makes the call that starts. Ctrl+C is raised when that has come back: the browser is there, and has to go."""
        started = cls(session)
        try:
            session.check_start(call, getattr(session.dll, call)(session.context, *arguments), attach_only)
        except BaseException:
            session.end()
            raise
        return started

    @classmethod
    def start(cls, browser: str = "fx", *, profile: Optional[str] = None, user_data_dir: Optional[Path] = None,
              program: Optional[Path] = None, profiler: bool = False, open_new_browser: bool = False,
              attach_only: bool = False, timeout: Duration = 60, exit_timeout: Duration = 10,
              library: Optional[Library] = None) -> Browser:
        """Attaches to the running browser of that profile, or launches it.

        browser is "fx" with a profile, or "cr" with a user_data_dir; without them the browser chooses. program is the
        browser's, without it the one in the usual place. exit_timeout is for a Browser that goes without exit().
        """
        call = "kx_Init"
        options = _options(call, browser, profile, user_data_dir, profiler, False)
        path = _program(call, program, attach_only)
        seconds = _seconds(call, timeout)
        session = _Session(_library(library), False, _seconds(call, exit_timeout))
        return cls._of(session, attach_only, call, browser.encode(), options, path, 0, int(open_new_browser), seconds)

    @staticmethod
    def runner_arguments(browser: str = "fx", *, profile: Optional[str] = None, user_data_dir: Optional[Path] = None,
                         profiler: bool = False, page: Optional[Path] = None, library: Optional[Library] = None) -> str:
        """The arguments with which a host starts the browser's program itself; page is Chrome's start page."""
        call = "kxr_GetCommandLine"
        options = _options(call, browser, profile, user_data_dir, profiler, True)
        text = None if page is None else _utf8(call, "page", os.fspath(page))
        dll = _library(library)
        return _copied(lambda buffer, size: dll.kxr_GetCommandLine(browser.encode(), options, buffer, size, text),
                       _failing(call))

    @classmethod
    def start_runner(cls, browser: str = "fx", *, profile: Optional[str] = None, user_data_dir: Optional[Path] = None,
                     profiler: bool = False, open_new_browser: bool = False, timeout: Duration = 60,
                     exit_timeout: Duration = 10, library: Optional[Library] = None) -> Browser:
        """Attaches to it. Closing asks that browser to exit, and does not wait for its process."""
        call = "kxr_Init"
        options = _options(call, browser, profile, user_data_dir, profiler, True)
        if timeout is None:  # the library would make one attempt, which may fail at once
            _refuse(call, "a runner's timeout has an end, for it sets the number of attempts")
        seconds = _seconds(call, timeout)
        session = _Session(_library(library), True, _seconds(call, exit_timeout))
        return cls._of(session, False, call, browser.encode(), options, int(open_new_browser), seconds)

    def set_variable(self, name: str, value: str) -> None:
        """A variable for the next play."""
        call = "kx_SetVar"
        if "\\" in name or '"' in name or any(character < " " for character in name):
            _refuse(call, "the variable's name holds a double quote, a backslash or a control character")
        texts = _utf8(call, "the variable's name", name), _utf8(call, "the variable's value", value)
        with self._session.lock:
            self._session.open(call)
            result = self._session.dll.kx_SetVar(self._session.context, *texts)
            if result != KX_OK:
                _failing(call)(result)

    def play(self, macro: str, timeout: Duration = 60) -> PlayResult:
        """Plays a macro, and gives all that it left."""
        with self._session.lock:
            self._request("kx_Play", _utf8("kx_Play", "the macro", macro), timeout)
            return self._session.read_back()

    def last_play(self) -> PlayResult:
        """The same once more; after a play that has failed, what it had left by then."""
        with self._session.lock:
            self._session.open("kx_GetLastExtract", request=False)
            return self._session.read_back()

    def show(self, message: str, timeout: Duration = 60) -> None:
        """Shows a message to the user, in the browser."""
        self._request("kx_Display", _utf8("kx_Display", "the message", message), timeout)

    def screenshot(self, file: Path, *, whole_browser: bool = False, timeout: Duration = 60) -> None:
        """Has the browser save a picture of the page, or of the whole browser, to a file on its own machine."""
        call = "kx_TakeBrowserScreenshot"
        self._request(call, _utf8(call, "the path", os.fspath(file)), timeout, 0 if whole_browser else 1)

    @property
    def process_id(self) -> Optional[int]:
        """Of the process that was launched; None for a browser that was running."""
        with self._session.lock:
            self._session.open("kx_GetBrowserProcessId", request=False)
            return (self._session.dll.kx_GetBrowserProcessId(self._session.context) & 0xFFFFFFFF) or None

    def exit(self, timeout: Duration = 10) -> None:
        """Closes the browser, also one that was attached to. When this raises, it is still there."""
        self._session.exit(_seconds("kx_Exit", timeout))

    def _request(self, call: str, text: bytes, timeout: Duration, *between: int) -> None:
        seconds = _seconds(call, timeout)
        with self._session.lock:
            self._session.open(call)
            function = getattr(self._session.dll, call)
            self._session.check(call, function(self._session.context, text, *between, seconds))

    def __enter__(self) -> Browser:
        return self

    def __exit__(self, *_: object) -> None:
        self._session.end()


class AsyncBrowser:
    """A Browser for asyncio: each call waits in a thread, and the loop goes on. process_id is a call, too."""

    def __init__(self, browser: Browser) -> None:
        self._browser = browser

    @classmethod
    async def start(cls, *arguments, **named) -> AsyncBrowser:
        return cls(await asyncio.to_thread(Browser.start, *arguments, **named))

    runner_arguments = staticmethod(Browser.runner_arguments)

    @classmethod
    async def start_runner(cls, *arguments, **named) -> AsyncBrowser:
        return cls(await asyncio.to_thread(Browser.start_runner, *arguments, **named))

    async def set_variable(self, name: str, value: str) -> None:
        await asyncio.to_thread(self._browser.set_variable, name, value)

    async def play(self, macro: str, timeout: Duration = 60) -> PlayResult:
        return await asyncio.to_thread(self._browser.play, macro, timeout)

    async def last_play(self) -> PlayResult:
        return await asyncio.to_thread(self._browser.last_play)

    async def show(self, message: str, timeout: Duration = 60) -> None:
        await asyncio.to_thread(self._browser.show, message, timeout)

    async def screenshot(self, file: Path, *, whole_browser: bool = False, timeout: Duration = 60) -> None:
        await asyncio.to_thread(self._browser.screenshot, file, whole_browser=whole_browser, timeout=timeout)

    async def process_id(self) -> Optional[int]:
        return await asyncio.to_thread(lambda: self._browser.process_id)

    async def exit(self, timeout: Duration = 10) -> None:
        await asyncio.to_thread(self._browser.exit, timeout)

    async def __aenter__(self) -> AsyncBrowser:
        return self

    async def __aexit__(self, *_: object) -> None:
        await asyncio.to_thread(self._browser.__exit__)
