"""The comparison sees what it is there for. A right host is played here: what it would leave is made of the description."""

import contextlib
import io
import json
import struct
import sys
import tempfile
import unittest
import unittest.mock
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parent.parent))

import conversation  # noqa: E402
import hosts  # noqa: E402
import run  # noqa: E402

GOLDEN = conversation.load()
# The long text is shorter here, for the tests' sake.
LONG = 200_000
for each in GOLDEN["steps"]:
    for extract in each.get("gives", {}).get("extracts", []):
        if isinstance(extract, dict):
            extract["letters"] = LONG


class Played:
    """The folder that a conversation leaves, and what the host has printed."""

    def __init__(self, folder, wrapper=True):
        self.folder = Path(folder)
        self.wrapper = wrapper
        self.values = conversation.fields(run.windows_path(folder), "some profile")
        self.record = self.folder / "record"
        self.record.mkdir()
        steps = conversation.steps_for(GOLDEN, wrapper)
        self.lines = []
        requests = 0
        for number, step in enumerate(steps, 1):
            self.lines.append(conversation.filled(
                {"step": number, **{name: step[name] for name in ("gives", "fails", "left") if name in step}}, self.values))
            if "sends" in step:
                requests += 1
                self.path(f"request-1-{requests}.bin").write_bytes(conversation.filled_request(step["sends"], self.values))
                self.path(f"reply-1-{requests}.bin").write_bytes(b"whatever the simulator said")
            if "picture" in step:
                size = struct.pack(">II", step["picture"]["width"], step["picture"]["height"])
                self.picture(step).write_bytes(b"\x89PNG\r\n\x1a\n\0\0\0\rIHDR" + size)
        known = {**self.values, "number": "36", "startPage": r"C:\users\ada\Temp\0123.html"}
        self.path("command-line.txt").write_bytes(conversation.filled(GOLDEN["commandLine"], known).encode())
        self.path("name-line-1.bin").write_bytes(conversation.filled(GOLDEN["nameLine"], known).encode())

    def path(self, name):
        return self.record / name

    def picture(self, step):
        return run.linux_path(conversation.filled(step["picture"]["file"], self.values))

    def step(self, name):
        """What was printed for the first step of that name which gave something."""
        return next(line for line, step in zip(self.lines, conversation.steps_for(GOLDEN, self.wrapper))
                    if step["do"][0] == name and "gives" in step)

    def problems(self):
        printed = "".join(json.dumps(line, ensure_ascii=False) + "\n" for line in self.lines).encode()
        return conversation.compare(GOLDEN, self.wrapper, self.values, self.record, printed, run.linux_path)


class Noticed(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.played = Played(folder.name)

    def assert_one(self, words):
        problems = self.played.problems()
        self.assertEqual(len(problems), 1, problems)
        self.assertRegex(problems[0], words)

    def test_nothing_when_all_is_right(self):
        self.assertEqual(self.played.problems(), [])

    def test_every_changed_byte_of_every_request(self):
        for path in sorted(self.played.record.glob("request-*.bin")):
            right = path.read_bytes()
            for at in range(len(right)):
                path.write_bytes(right[:at] + bytes([right[at] ^ 1]) + right[at + 1:])
                problems = conversation.compare_requests(GOLDEN["steps"], self.played.values, self.played.record)
                self.assertEqual(len(problems), 1, (path.name, at))
                self.assertIn(f"differs at {at}:", problems[0])
            path.write_bytes(right)

    def test_a_byte_more_or_less(self):
        path = self.played.path("request-1-3.bin")
        right = path.read_bytes()
        path.write_bytes(right + b"\n")
        self.assert_one("^request 3: differs at")
        path.write_bytes(right[:-1])
        self.assert_one("^request 3: differs at")

    def test_a_request_that_was_not_sent_or_is_too_much(self):
        last = max(int(path.stem.split("-")[2]) for path in self.played.record.glob("request-*.bin"))
        self.played.path(f"request-1-{last}.bin").rename(self.played.path(f"request-1-{last + 1}.bin"))
        self.assertEqual([problem[:21] for problem in self.played.problems()],
                         [f"request {last} was not sent"[:21], f"request-1-{last + 1}.bin: more"[:21]])

    def test_bytes_that_belong_to_no_request(self):
        for name in ("rest-1.bin", "torn-1-1.bin", "request-2-1.bin", "name-line-2.bin"):
            self.played.path(name).write_bytes(b"{")
            self.assert_one(f"^{name}: more than was to be sent")
            self.played.path(name).unlink()

    def test_another_command_line_or_name_line(self):
        for name, changed, words in (
                ("command-line.txt", (b"-no-remote ", b""), "^the browser's command line"),
                ("command-line.txt", (b"some profile", b"other profile"), "^the browser's command line"),
                ("command-line.txt", (b"?pipe=", b"?p="), "^the browser's command line"),
                ("name-line-1.bin", (b"\n", b"\r\n"), "^the name line"),
                ("name-line-1.bin", (b".36", b".x"), "^the name line")):
            path = self.played.path(name)
            right = path.read_bytes()
            self.assertIn(changed[0], right)
            path.write_bytes(right.replace(*changed))
            self.assert_one(words)
            path.write_bytes(right)

    def test_a_step_that_is_missing(self):
        del self.played.lines[-1]
        self.assert_one(r"^step 2\d \(play\): nothing was printed")

    def test_a_step_that_was_left_out_in_between(self):
        del self.played.lines[3]
        self.assertGreater(len(self.played.problems()), 1)

    def test_a_line_too_many(self):
        self.played.lines.append({"step": 99, "gives": {}})
        self.assert_one("^more was printed than there are steps")

    def test_a_line_that_is_no_json(self):
        self.played.lines[2] = "text"
        self.assert_one(r"^step 3 \(variable\): 'text', wanted")

    def test_an_extract_that_is_missing_more_or_changed(self):
        extracts = self.played.step("play")["gives"]["extracts"]
        right = list(extracts)
        for wrong in (right[:-1], [*right, ""], right[1:], [right[0], right[1] + "!", *right[2:]],
                      [right[0], None, *right[2:]]):
            extracts[:] = wrong
            self.assert_one(r"^step 6 \(play\), gives, extracts")

    def test_a_letter_within_a_long_text(self):
        extracts = next(line["gives"]["extracts"] for line in self.played.lines
                        if any(len(text) == LONG for text in line.get("gives", {}).get("extracts", [])))
        right = extracts[1]
        for at, wrong in ((90_000, right[:90_000] + "!" + right[90_001:]), (LONG - 1, right[:-1]), (LONG, right + "a")):
            extracts[1] = wrong
            self.assert_one(rf"extracts 2: differs at {at}: .{{1,80}}, wanted .{{1,80}}$")

    def test_another_performance_entry_or_other_profiler_data(self):
        gives = self.played.step("play")["gives"]
        gives["performance"][1][1] = None
        self.assert_one("performance 2 2: 'None', wanted ''")
        gives["performance"][1][1] = ""
        gives["profilerData"] += "line 9: x\n"
        self.assert_one("profilerData: differs at")

    def test_another_error(self):
        line = next(line for line in self.played.lines if "left" in line)
        right = dict(line["fails"])
        for name, wrong in (("call", "kx_Display"), ("result", 0), ("number", "-50"), ("text", "There is no such Button")):
            line["fails"] = {**right, name: wrong}
            self.assert_one(f"fails, {name}: ")
        line["fails"] = right
        del line["left"]
        self.assert_one("left: is missing")

    def test_success_in_place_of_an_error(self):
        line = self.played.lines[0]
        line["gives"] = line.pop("fails")
        self.assertEqual(len(self.played.problems()), 2)

    def test_true_is_not_1(self):
        self.played.step("start")["gives"]["launched"] = 1
        self.assert_one("launched: '1', wanted 'True'")

    def test_a_picture_that_is_not_there_or_is_another(self):
        step = next(step for step in GOLDEN["steps"] if "picture" in step)
        path = self.played.picture(step)
        path.write_bytes(path.read_bytes().replace(b"\0\0\1\x40", b"\0\0\1\x41"))
        self.assert_one("is no picture of 320 x 240")
        path.unlink()
        self.assert_one("is no picture of 320 x 240")


class Description(unittest.TestCase):
    def test_every_request_is_of_a_step_and_each_of_its_own(self):
        described = json.loads((conversation.HERE / "conversation.json").read_text(encoding="utf-8"))
        sent = [step["sends"] for step in described["steps"] if "sends" in step]
        self.assertEqual(sent, sorted(path.name for path in (conversation.HERE / "requests").iterdir()))

    def test_requests_are_json_and_hold_what_the_steps_say(self):
        variables = {}
        for step in GOLDEN["steps"]:
            name, *given = step["do"]
            if name == "variable":
                variables[given[0]] = given[1]
            elif name == "play" and "sends" in step:
                arguments = json.loads(step["sends"])["args"]
                self.assertEqual((arguments["source"], arguments["vars"]), (given[0], variables))
                variables = {}
            elif name == "show":
                self.assertEqual(json.loads(step["sends"])["args"]["message"], given[0])

    def test_a_host_without_a_wrapper_is_not_asked_for_what_wrappers_do(self):
        with tempfile.TemporaryDirectory() as folder:
            played = Played(folder, wrapper=False)
            self.assertEqual(played.problems(), [])
            self.assertLess(len(played.lines), len(GOLDEN["steps"]))

    def test_fields_of_steps_are_escaped(self):
        steps = [{"do": ["variable", "a", "back\\slash\ttab\nline\r<<profile>>"]}]
        self.assertEqual(conversation.steps_text(steps, {"profile": "p"}), "variable\ta\tback\\\\slash\\ttab\\nline\\rp\n")


class Runner(unittest.TestCase):
    def converse(self, **entry):
        host = hosts.Host(name="Some C++", **{"build": [], "run": [], **entry})
        no_bridge = unittest.mock.patch("run.Run.make_bridge")
        with tempfile.TemporaryDirectory() as folder, no_bridge:
            (Path(folder) / "bin").mkdir()
            (Path(folder) / "bin" / "kxsim.exe").touch()
            return run.run_host(host, Path(folder), Path(folder), GOLDEN)

    def test_a_host_whose_tool_is_not_there_is_not_run(self):
        line, right = self.converse(needs={"no-such-compiler": "apt install it"})
        self.assertEqual((line, right), ("not run: no-such-compiler is not here: apt install it", None))

    def test_a_host_that_cannot_be_built_is_a_failure(self):
        line, right = self.converse(build=[["sh", "-c", "echo there is an error; exit 1"]])
        self.assertIs(right, False)
        self.assertIn("there is an error", line)

    def test_a_host_that_says_and_sends_nothing_is_a_failure(self):
        line, right = self.converse(run=["true"], bridge=True)
        self.assertIs(right, False)
        self.assertIn("step 1 (start): nothing was printed", line)

    def test_how_a_host_has_ended_counts(self):
        with unittest.mock.patch("conversation.compare", lambda *_: []):
            self.assertTrue(self.converse(run=["sh", "-c", "exit 0"], bridge=True)[1])
            line, right = self.converse(run=["sh", "-c", "echo its last words >&2; exit 3"], bridge=True)
        self.assertIs(right, False)
        self.assertRegex(line, r"^1 difference\n    has ended with 3: .*its last words$")

    def test_a_wrapper_s_own_tests_count(self):
        with unittest.mock.patch("conversation.compare", lambda *_: []):
            for script, right, words in (("echo 3 tests passed", True, "; 3 tests passed$"),
                                         ("echo one is wrong; exit 1", False, "own tests fail: .*one is wrong$")):
                line, found = self.converse(run=["true"], bridge=True, tests=["sh", "-c", script])
                self.assertIs(found, right)
                self.assertRegex(line, words)

    def test_what_does_not_end_is_a_failure(self):
        hanging = ["sh", "-c", "echo it hangs; exec sleep 600"]
        with unittest.mock.patch("conversation.compare", lambda *_: []), unittest.mock.patch("run.TIME_LIMIT", 0.5):
            for entry in ({"build": [hanging]}, {"run": ["true"], "bridge": True, "tests": hanging}):
                line, right = self.converse(**entry)
                self.assertIs(right, False)
                self.assertRegex(line, "^has not ended after .*it hangs$")

    def test_what_counts_as_a_failure(self):
        native, over_bridge, never = hosts.Host("a"), hosts.Host("b", bridge=True), hosts.Host("c", never="why")
        for results, usual, complete in (
                ([(native, True), (over_bridge, True)], 0, 0),
                ([(native, True), (never, None)], 0, 0),
                ([(native, True), (over_bridge, None)], 0, 1),
                ([(native, True), (over_bridge, False)], 1, 1),
                ([(native, None), (never, None)], 1, 1)):
            with contextlib.redirect_stdout(io.StringIO()) as printed:
                self.assertEqual((run.summary(results, False), run.summary(results, True)), (usual, complete))
            same = sum(right is True for _, right in results)
            self.assertRegex(printed.getvalue(), f"^{same} the same, 1 of" if same else "^0 the same, 0 of")

    def test_a_language_that_no_machine_runs_says_why(self):
        self.assertEqual(run.run_host(hosts.Host("a", never="it is so"), Path(), Path(), GOLDEN), ("not run: it is so", None))

    def test_names_are_known_and_each_is_one_folder(self):
        names = [run.folder_name(host.name) for host in hosts.HOSTS]
        self.assertEqual(len(names), len(set(names)))


if __name__ == "__main__":
    unittest.main()
