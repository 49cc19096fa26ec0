"""What runs the suite cannot be green by accident: `./dev` and `.ci/run`, with stand-ins for all that they start."""

import os
import shutil
import subprocess
import tempfile
import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent.parent
PASSED = '<testcase name="header" status="run"></testcase>'
# Wine's server is ready when its socket is there.
SERVER = """rm -f socket; echo $$ >server.pid
exec python3 -c "import signal, socket; socket.socket(socket.AF_UNIX).bind('socket'); signal.pause()"
"""
# Programs of the machine that ./dev starts. ctest leaves the report that a test wants, and notes its environment.
PROGRAMS = {
    "dpkg-query": "echo '=installed '",
    "cmake": 'mkdir -p build/native build/windows-release build/native-sanitize; touch "build/$2/build.ninja" || :',
    "wineserver": f'case $1 in -f) {SERVER};; -k) kill "$(cat server.pid)";; esac',
    "ctest": 'env >environment; cp ctest-report.xml "build/$2/ctest.xml"; exit "$(cat ctest-status)"',
}


class Checkout:
    """A folder with the two scripts and what they need, as far as it is not played."""

    def __init__(self, files):
        self.folder = tempfile.TemporaryDirectory()
        self.root = Path(self.folder.name)
        for name in ["dev", ".ci/run", "tools/clean_environment.sh", "tools/sum_tests.py", "CMakePresets.json"]:
            self.path(name)
            shutil.copy(ROOT / name, self.root / name)
        for name, line in PROGRAMS.items():
            self.script(f"programs/{name}", line)
        self.script("cmake/toolchains/run_with_wine", "mkdir -p build/windows-release/wineprefix")
        self.script("peers/browsers/setup.sh", ":")
        self.path("ctest-status").write_text("0")
        self.path("ctest-report.xml").write_text(f"<testsuite>{PASSED}</testsuite>")
        for name, text in files.items():
            self.path(name).write_text(text)

    def path(self, name):
        path = self.root / name
        path.parent.mkdir(parents=True, exist_ok=True)
        return path

    def script(self, name, line):
        path = self.path(name)
        path.write_text(f"#!/usr/bin/env bash\n{line}\n")
        path.chmod(0o755)

    def run(self, *command, environment=()):
        surroundings = dict(os.environ, PATH=f"{self.root}/programs:{os.environ['PATH']}", **dict(environment))
        ended = subprocess.run(
            command, cwd=self.root, env=surroundings, capture_output=True, encoding="utf-8", stdin=subprocess.DEVNULL
        )
        return ended.returncode, ended.stdout.splitlines(), ended.stderr

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.folder.cleanup()


class DevTests(unittest.TestCase):
    def run_dev(self, files, *arguments):
        with Checkout(files) as checkout:
            status, lines, errors = checkout.run("./dev", *arguments)
            return status, lines[-1] if lines else errors

    def test_the_environment_chooses_no_tests_and_switches_no_check_off(self):
        names = ["GTEST_FILTER", "GTEST_TOTAL_SHARDS", "GTEST_SHARD_INDEX", "GTEST_REPEAT", "GTEST_ALSO_RUN_DISABLED_TESTS"]
        names += ["TESTBRIDGE_TEST_ONLY", "KX_GOLDEN_UPDATE", "KX_SOAK", "KX_E2E_RESULTS", "KORVEX_LOG", "ASAN_OPTIONS"]
        with Checkout({}) as checkout:
            checkout.run("./dev", "test-native", environment={name: "1" for name in [*names, "KX_FIREFOX"]})
            seen = {line.split("=")[0] for line in checkout.path("environment").read_text().splitlines()}
            self.assertEqual(seen.intersection(names), set())
            self.assertIn("KX_FIREFOX", seen)
            checkout.run("./dev", "test-native", "Word", environment={"GTEST_FILTER": "Other"})
            self.assertIn("\nGTEST_FILTER=*Word*\n", checkout.path("environment").read_text())

    def test_a_run_that_failed_without_a_failed_test_fails(self):
        self.assertEqual(self.run_dev({}, "test-native"), (0, "1 passed, 0 failed, 0 skipped"))
        self.assertEqual(self.run_dev({"ctest-status": "8"}, "test-native"), (1, "1 passed, 1 failed, 0 skipped"))

    def test_a_crash_of_the_server_of_wine_is_told(self):
        for crash, told in [("", False), ('kill -KILL "$(cat server.pid)"\n', True)]:
            with Checkout({}) as checkout:
                checkout.script("programs/ctest", crash + PROGRAMS["ctest"])
                self.assertIs("Wine's server has crashed" in checkout.run("./dev", "test")[2], told)

    def test_a_browser_that_is_not_there_is_skipped_unless_everything_has_to_run(self):
        report = '<testsuite><testcase name="e2e_firefox" status="disabled"><system-out>why</system-out></testcase></testsuite>'
        with Checkout({"e2e-report.xml": report}) as checkout:
            checkout.script("tests/e2e/run_e2e.sh", 'mkdir -p "$1/e2e-results"; cp e2e-report.xml "$1/e2e-results/ctest.xml"')
            status, lines, _ = checkout.run("./dev", "test")
            self.assertEqual((status, lines[-1]), (0, "2 passed, 0 failed, 1 skipped"))
            self.assertIn("LEFT OUT e2e-results/e2e_firefox: why", lines)
            status, lines, _ = checkout.run("./dev", "test", "--complete")
            self.assertEqual((status, lines[-1]), (1, "2 passed, 1 failed, 0 skipped"))
            self.assertIn("FAILED e2e-results/e2e_firefox: did not run: why", lines)

    def test_tests_with_browsers_that_break_down_are_a_failure_whatever_an_earlier_run_has_left(self):
        files = {"build/windows-release/e2e-results/ctest.xml": f"<testsuite>{PASSED}</testsuite>"}
        self.assertEqual(self.run_dev(files, "test"), (1, "2 passed, 1 failed, 0 skipped"))

    def test_packages_are_installed_by_the_names_that_the_release_has(self):
        with Checkout({}) as checkout:
            checkout.script("programs/dpkg-query", '[[ $* != *libboost* ]] || exit 1; echo "=installed "')
            checkout.script("programs/apt-cache", "[[ $2 == libboost-json1.81-dev ]]")
            checkout.script("programs/apt-get", 'echo "$*" >>asked')
            checkout.script("programs/sudo", '"$@"')
            self.assertEqual(checkout.run("./dev", "setup")[0], 0)
            asked = checkout.path("asked").read_text().splitlines()
            self.assertEqual(asked, ["update", "install -y --no-install-recommends libboost-json1.81-dev"])

    def test_another_version_of_a_tool_checks_nothing_and_changes_nothing(self):
        with Checkout({}) as checkout:
            checkout.script("programs/clang-format", "echo Debian clang-format version 19.1.7")
            checkout.script("programs/python3", 'echo "$*" >>asked')
            status, lines, _ = checkout.run("./dev", "check", "--fast")
            self.assertEqual((status, lines[-1].split(", ")[1:]), (0, ["0 failed", "1 skipped"]))
            self.assertIn("==> check: format: skipped, for it is bound to clang-format 14, and this is 19", lines)
            self.assertEqual(checkout.run("./dev", "format")[0], 1)
            self.assertNotIn("check_format", checkout.path("asked").read_text())


class ContinuousRun(unittest.TestCase):
    def run_ci(self, tests="5 0 2", failing="none", **environment):
        with Checkout({}) as checkout:
            lines = [
                f'if [[ $1 == test && -n "{tests}" ]]; then echo "{tests}" >build/summary-tests.txt; fi',
                'if [[ $1 == check ]]; then echo "3 0" >build/summary-check.txt; fi',
                'echo "$*" >>verbs; [[ -z ${GTEST_FILTER:-} ]] || exit 1',
                f"[[ $1 != {failing} ]]",
            ]
            checkout.path("build/x")
            checkout.script("dev", "\n".join(lines))
            status, lines, _ = checkout.run(".ci/run", environment=environment)
            self.assertIn("test --complete\n", checkout.path("verbs").read_text())
            return status, lines

    def test_the_last_line_adds_up_tests_and_checks(self):
        self.assertEqual(self.run_ci(GTEST_FILTER="x"), (0, ["9 passed, 0 failed, 2 skipped"]))

    def test_what_was_not_counted_has_failed(self):
        self.assertEqual(
            self.run_ci(tests=""), (1, ["FAILED ./dev test: it has counted nothing", "4 passed, 1 failed, 0 skipped"])
        )
        self.assertEqual(self.run_ci(tests="0 0 9"), (1, ["FAILED ./dev test: nothing ran", "4 passed, 1 failed, 9 skipped"]))

    def test_a_verb_that_fails_is_named_and_counted(self):
        self.assertEqual(self.run_ci(failing="bench"), (1, ["FAILED ./dev bench --quick", "9 passed, 1 failed, 2 skipped"]))
        self.assertEqual(self.run_ci(tests="5 4 2", failing="test")[1][-1], "9 passed, 4 failed, 2 skipped")
        self.assertEqual(self.run_ci(failing="tidy"), (1, ["FAILED ./dev tidy", "8 passed, 1 failed, 2 skipped"]))


if __name__ == "__main__":
    unittest.main()
