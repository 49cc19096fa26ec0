"""The wrapper with the DLL and the simulator, which run under Wine: run.sh makes the bridge to them."""

import asyncio
import copy
import ctypes
import ctypes.util
import gc
import hashlib
import os
import pickle
import shlex
import shutil
import signal
import subprocess
import sys
import tempfile
import threading
import unittest
from datetime import timedelta
from pathlib import Path

import kxtcp64
from kxtcp64 import AsyncBrowser, Browser, KxError, Library

SIMULATOR = Path(os.environ["KX_SIMULATOR"])


def windows_path(path):
    return "Z:" + str(path).replace("/", "\\")


# A host that ends while its first browser is in a play without an end. The library is a stand-in, which answers every
# other call with success.
ENDING_HOST = """
import threading
import kxtcp64

class StandIn:
    def __init__(self, name):
        self.name = name
        self.playing = threading.Event()

    def kx_Play(self, *_):
        self.playing.set()
        threading.Event().wait()

    def kx_Exit(self, *_):
        print("exit of", self.name)
        return 0

    def kx_GetLastErrorNumber(self, _):
        return 1

    def __getattr__(self, _):
        return lambda *_: 0

busy, idle = [kxtcp64.Browser.start(library=StandIn(name)) for name in ("busy", "idle")]
threading.Thread(target=busy.play, args=("", None), daemon=True).start()
busy._session.dll.playing.wait()
"""


class WrapperTest(unittest.TestCase):
    count = 0

    def setUp(self):
        self.library = kxtcp64._default_library = Library(os.environ["KX_BRIDGE_LIBRARY"])
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)
        self.program = shutil.copy(SIMULATOR, self.folder / "browser.exe")
        WrapperTest.count += 1
        self.profile = f"python {os.getpid()} {WrapperTest.count}"

    def run_browser(self, *arguments):
        """Starts the simulator as a user does, and waits until hosts can connect."""
        process = subprocess.Popen([*shlex.split(os.environ["KX_RUN"]), self.program, "--verbose", *arguments],
                                   stdin=subprocess.DEVNULL, stdout=subprocess.PIPE)
        self.addCleanup(process.stdout.close)
        self.addCleanup(process.wait)
        self.addCleanup(process.kill)
        for line in process.stdout:
            if line.rstrip() == b"serving":
                return process
        return self.fail("the simulator does not serve its pipe")

    def write_script(self, *script):
        record = windows_path(self.folder / "record")
        (self.folder / "browser.script").write_text("\n".join([f"record {record}", *script]), encoding="utf-8")

    def start(self, *script, **options):
        """Attaches, which does not take the two seconds that the library gives a browser that it has launched."""
        self.write_script(*script)
        digest = hashlib.md5(self.profile.encode()).hexdigest()
        self.run_browser(f"--pipe=\\\\.\\pipe\\kx-fx-{digest}.runner")
        browser = Browser.start(profile=self.profile, attach_only=True, library=self.library, **options)
        self.addCleanup(browser.exit)
        return browser

    def run_runner_s_browser(self):
        words = shlex.shlex(Browser.runner_arguments(profile=self.profile), posix=True)
        words.whitespace_split, words.escape = True, ""
        return self.run_browser(*words)

    def launch(self):
        self.write_script()
        browser = Browser.start(profile=self.profile, program=windows_path(self.program))
        self.addCleanup(browser.exit)
        return browser

    def requests(self):
        return [path.read_bytes() for path in sorted((self.folder / "record").glob("request-1-*.bin"))]

    def assert_error(self, call, result, number, text, function, *arguments, **named):
        with self.assertRaises(KxError) as caught:
            function(*arguments, **named)
        error = caught.exception
        self.assertEqual((error.call, error.result, error.number), (call, result, number))
        self.assertRegex(error.text, text)
        return error


class Conversation(WrapperTest):
    def test_a_play_gives_everything_that_it_left(self):
        browser = self.start(profiler=True)
        browser.set_variable("who", "Grüße, 世界")

        left = browser.play("extract Hello $(who)\nextract \nextract a[EXTRACT]b\nextract \nperformance load 0.25\n"
                            "performance none \n")

        self.assertEqual(left.extracts, ["Hello Grüße, 世界", "", "a[EXTRACT]b", ""])
        self.assertEqual(left.performance, [("load", "0.25"), ("none", "")])
        self.assertIn("line 1: extract", left.profiler_data)

        extracts = browser.play("fill 16000000\nextract end").extracts
        self.assertEqual([len(extract) for extract in extracts], [16000000, 3])

        self.assertEqual(browser.play("").extracts, [])
        self.assertEqual(browser.play("", timeout=None).performance, [])

    def test_errors_have_call_result_number_and_text(self):
        browser = self.start("on show result -8 There is no window")

        error = self.assert_error("kx_Play", -1, -50, "^There is no such button$",
                                  browser.play, "extract first\nfail -50 There is no such button")
        self.assertEqual(str(error), "kx_Play failed: result -1, error -50: There is no such button")
        self.assertEqual(browser.last_play().extracts, ["first"])
        self.assertIsNone(browser.last_play().profiler_data)
        self.assert_error("kx_Display", 0, -8, "^There is no window$", browser.show, "Hello")
        self.assert_error("kx_TakeBrowserScreenshot", 0, -930, ".", browser.screenshot, "Q:\\none\\page.png")
        self.assert_error("kx_Play", -1, -3, "^The page took too long$", browser.play, "fail -3 The page took too long")
        self.assertEqual(browser.play("extract next").extracts, ["next"], "which was no time-out of the library's")

    def test_a_start_whose_answer_is_an_error_is_closed(self):
        self.assert_error("kx_Init", 0, -7, "^Too old$", self.start, "on init result -7 Too old")

        self.assertIn(b"exit", self.requests()[-1])

    def test_a_launch_that_fails_leaves_no_context(self):
        self.assert_error("kx_Init", 2, -2, "none.exe doesn't exists$", Browser.start, profile=self.profile,
                          program=windows_path(self.folder / "none.exe"))

        context = self.library.kx_ContextCreate()
        self.library.kx_ContextDestroy(context)
        self.assertEqual(context, 0)

    def test_after_a_time_out_requests_are_refused_with_the_remedy(self):
        browser = self.start("on play 1 no-reply")
        self.assert_error("kx_Play", -1, -3, "receiving", browser.play, "extract late", timedelta(milliseconds=1))

        for call, function, arguments in (("kx_Play", browser.play, ("",)), ("kx_Display", browser.show, ("",)),
                                          ("kx_SetVar", browser.set_variable, ("a", "b")),
                                          ("kx_TakeBrowserScreenshot", browser.screenshot, ("a.png",))):
            self.assert_error(call, -1, -3, "timed out.*close this browser and start another$", function, *arguments)
        self.assertEqual(len(self.requests()), 2, "start and play")

    def test_after_an_answer_that_is_not_valid_requests_are_refused(self):
        browser = self.start("on play 1 reply {]")
        self.assert_error("kx_Play", -1, -1, "^Error in response processing$", browser.play, "")

        self.assert_error("kx_Play", -1, -1, "^an earlier answer was not valid", browser.play, "")

    def test_a_browser_is_closed_by_with_by_exit_and_when_it_is_collected(self):
        with self.start() as browser:
            browser.screenshot(windows_path(self.folder / "страница.png"))
            browser.screenshot(windows_path(self.folder / "whole.png"), whole_browser=True)
        self.assertIn(b"exit", self.requests()[-1])
        self.assertTrue((self.folder / "страница.png").exists() and (self.folder / "whole.png").exists())
        self.assert_error("kx_Play", -5, 0, "^the browser was closed$", browser.play, "")

        launched = self.launch()
        attached = Browser.start(profile=self.profile, attach_only=True)
        self.assertGreater(launched.process_id, 0)
        self.assertIsNone(attached.process_id)
        del attached
        gc.collect()
        self.assert_error("kx_Play", -1, -1, ".", launched.play, "")

    def test_ctrl_c_during_a_start_closes_the_browser(self):
        # Where a test runs in the background Python may have left the signal alone.
        self.addCleanup(signal.signal, signal.SIGINT, signal.signal(signal.SIGINT, signal.default_int_handler))
        init = self.library.kx_Init

        def interrupted_init(*arguments):
            result = init(*arguments)
            signal.raise_signal(signal.SIGINT)
            return result

        self.library.kx_Init = interrupted_init
        self.assertRaises(KeyboardInterrupt, self.launch)

        self.assertIn(b"exit", self.requests()[-1])

    def test_the_interpreter_s_end_closes_browsers_and_skips_one_that_is_busy(self):
        host = subprocess.run([sys.executable, "-c", ENDING_HOST], stdout=subprocess.PIPE, timeout=60, check=True)

        self.assertEqual(host.stdout.decode().split(), ["exit", "of", "idle"])

    def test_an_attach_launches_nothing(self):
        self.assert_error("kx_Init", 3, -3, "^no running browser serves", Browser.start, profile=self.profile,
                          attach_only=True, timeout=1)

    def test_calls_of_several_threads_wait_for_one_another(self):
        browser = self.start("on play between 1", "on play chunk 20")
        wrong = []

        def play_ten(name):
            for _ in range(10):
                extracts = browser.play(f"extract {name}").extracts
                if extracts != [name]:
                    wrong.append(extracts)

        other = threading.Thread(target=play_ten, args=("other",))
        other.start()
        play_ten("this")
        other.join()
        self.assertEqual(wrong, [])

    def test_asyncio(self):
        async def conversation():
            async with await AsyncBrowser.start(profile=self.profile, program=windows_path(self.program)) as browser:
                self.assertGreater(await browser.process_id(), 0)
                await browser.set_variable("city", "Oslo")
                await browser.show("Hello")
                await browser.screenshot(windows_path(self.folder / "page.png"))
                played = await browser.play("extract Hello $(city)")
                self.assertEqual(played, await browser.last_play())
                await browser.exit()
                return played.extracts

        self.assertEqual(asyncio.run(conversation()), ["Hello Oslo"])

    def test_asyncio_with_a_runner_s_browser(self):
        async def conversation():
            async with await AsyncBrowser.start_runner(profile=self.profile) as browser:
                self.assertIsNone(await browser.process_id())
                return (await browser.play("extract here")).extracts

        self.assertEqual(AsyncBrowser.runner_arguments(profile=self.profile), Browser.runner_arguments(profile=self.profile))
        self.run_runner_s_browser()
        self.assertEqual(asyncio.run(conversation()), ["here"])

    def test_a_runner_s_browser(self):
        self.assertEqual(Browser.runner_arguments(profile=self.profile).count(f'"{self.profile}"'), 1)
        page = Browser.runner_arguments("cr", user_data_dir="C:\\my data", page="C:\\page.html")
        self.assertIn("C:\\page.html", page)
        self.assert_error("kxr_Init", -1, -3, "^Connection timed out$", Browser.start_runner, profile=self.profile, timeout=1)

        process = self.run_runner_s_browser()
        with Browser.start_runner(profile=self.profile) as browser:
            self.assertEqual(browser.play("extract here").extracts, ["here"])
        self.assertEqual(process.wait(), 0, "it was asked to exit")


    def test_bytes_that_are_no_utf_8_are_kept(self):
        browser = self.start("on play extract \\xff", "on play extract next")

        extracts = browser.play("").extracts

        self.assertEqual([extract.encode("utf-8", "surrogateescape") for extract in extracts], [b"\xff", b"next"])


    def test_an_exit_that_is_not_confirmed_keeps_a_runner_s_browser(self):
        self.write_script("on exit 1 no-reply")
        self.run_runner_s_browser()
        browser = Browser.start_runner(profile=self.profile)

        self.assert_error("kxr_Exit", -3, -3, "receiving", browser.exit, timeout=1)

        self.assertIsNone(browser.process_id, "which a closed one refuses to tell")
        browser.exit()
        self.assert_error("kx_GetBrowserProcessId", -5, 0, "closed", lambda: browser.process_id)


class Refused(WrapperTest):
    def test_options_that_cannot_be_meant(self):
        for text, options in (("double quote", {"profile": 'a"b'}), ("control character", {"profile": "a\nb"}),
                              ("is empty", {"profile": ""}), ("ends in a backslash", {"profile": "a\\"}),
                              ("is for Chrome", {"user_data_dir": "C:\\a"}), ("surrogate", {"profile": "\ud800"}),
                              ("is for Firefox", {"browser": "cr", "profile": "a"}), ('"fx"', {"browser": "FX"}),
                              ("means nothing", {"program": "a.exe", "attach_only": True}), ("no path", {"program": ""}),
                              ("above zero", {"timeout": 0}), ("above zero", {"timeout": timedelta(0)}),
                              ("above zero", {"timeout": 0x80000000})):
            self.assert_error("kx_Init", -1, 0, text, Browser.start, **options)
        self.assertRaises(TypeError, Browser.start, fxProfile="a")
        self.assert_error("kxr_Init", -1, 0, "needs a profile", Browser.start_runner)
        self.assert_error("kxr_Init", -1, 0, "^a runner's timeout has an end, for it sets the number of attempts$",
                          Browser.start_runner, profile="a", timeout=None)

    def test_texts_that_would_arrive_cut_or_spoil_the_request(self):
        browser = self.start()
        for name in ('a"b', "a\\b", "a\tb", "a\0b"):
            self.assert_error("kx_SetVar", -1, 0, "name holds", browser.set_variable, name, "")
        self.assert_error("kx_SetVar", -1, 0, "value holds a zero", browser.set_variable, "a", "a\0b")
        self.assert_error("kx_Play", -1, 0, "zero character", browser.play, "a\0b")
        self.assertEqual(len(self.requests()), 1, "the start alone")

    def test_a_file_that_is_not_the_library(self):
        self.assert_error("kxtcp64.Library", -1, 0, "none", Library, "none.dll")
        self.assert_error("kxtcp64.Library", -1, 0, "kx_ContextCreate", Library, ctypes.util.find_library("c"))

    def test_a_library_in_the_current_folder_that_nobody_has_named(self):
        shutil.copy(os.environ["KX_BRIDGE_LIBRARY"], self.folder / "KXTCP64.dll")
        self.addCleanup(os.chdir, os.getcwd())
        os.chdir(self.folder)
        kxtcp64._default_library = None

        self.assert_error("kxtcp64.Library", -1, 0, "KXTCP64.dll", Browser.start)

        self.assertEqual(Library("./KXTCP64.dll").kx_GetLastErrorNumber(7), -5, "the same file, named by its path")


class NoSuchRow(KxError):
    """A host's own, with an argument of its own."""

    def __init__(self, row):
        super().__init__("kx_Play", -1, -50, f"There is no row {row}")
        self.row = row


class Errors(unittest.TestCase):
    def test_can_be_pickled_and_copied(self):
        for error in (KxError("kx_Play", -1, -3, "Error while receiving response"), NoSuchRow(7)):
            pickled = [pickle.loads(pickle.dumps(error, protocol)) for protocol in range(pickle.HIGHEST_PROTOCOL + 1)]
            for same in (*pickled, copy.copy(error), copy.deepcopy(error)):
                self.assertIs(type(same), type(error))
                self.assertEqual((str(same), same.args, vars(same)), (str(error), error.args, vars(error)))


class Options(WrapperTest):
    def test_values_reach_the_browser_as_they_are(self):
        self.profile = "-my a=b -runner python"
        self.launch()

        self.assertIn('-P "-my a=b -runner python"', (self.folder / "record" / "command-line.txt").read_text(encoding="utf-8"))


if __name__ == "__main__":
    unittest.main()
