"""The layer checker accepts the arrow and refuses each way of breaking it."""

import unittest

from support import Tree

import check_layers


def problems(files):
    with Tree(files) as root:
        return check_layers.check_tree(root)[0]


class CheckLayers(unittest.TestCase):
    def test_accepts_includes_along_the_arrow(self):
        self.assertEqual(problems({
            "src/api/win32/exports.cpp": '#include "kxtcp64.h"\n#include "pipe/win32/pipe.h"\n#include <windows.h>\n',
            "src/browser/response.cpp": '#include "browser/response.h"\n#include "json/reader.h"\n#include <string>\n',
        }), [])

    def test_refuses_an_upward_include_with_file_and_line(self):
        self.assertEqual(problems({"src/common/md5.cpp": '\n#include "log/log.h"\n'}),
                         ["src/common/md5.cpp:2: common includes log, against the arrow"])

    def test_refuses_an_include_between_siblings(self):
        self.assertEqual(len(problems({"src/json/reader.cpp": '#include "log/log.h"\n'})), 1)

    def test_refuses_an_include_that_does_not_name_its_component(self):
        self.assertEqual(len(problems({"src/json/reader.cpp": '#include "reader.h"\n'})), 1)

    def test_refuses_windows_headers_outside_win32(self):
        self.assertEqual(len(problems({"src/log/log.cpp": "#include <windows.h>\n"})), 1)
        self.assertEqual(len(problems({"src/log/log.cpp": "#include <Windows.h>\n"})), 1)
        self.assertEqual(problems({"src/log/win32/log.cpp": "#include <windows.h>\n"}), [])

    def test_refuses_a_windows_component_in_portable_code(self):
        self.assertEqual(len(problems({"src/pipe/start_page.cpp": '#include "common/win32/utf16.h"\n'})), 1)

    def test_refuses_the_public_header_below_api(self):
        self.assertEqual(len(problems({"src/pipe/win32/pipe.cpp": '#include "api/kxtcp64.h"\n'})), 1)

    def test_refuses_tests_for_the_system(self):
        for line in ("#ifdef _WIN32", "#if defined(_WIN64)", "# ifndef __linux__"):
            self.assertEqual(len(problems({"src/log/log.cpp": line + "\n#endif\n"})), 1, line)

    def test_accepts_tests_for_the_compiler_and_the_public_header(self):
        self.assertEqual(problems({"src/log/log.h": "#if defined(__GNUC__)\n#endif\n"}), [])
        self.assertEqual(problems({"src/api/kxtcp64.h": "#if defined(_WIN32)\n#endif\n"}), [])

    def test_refuses_an_unknown_component(self):
        self.assertEqual(len(problems({"src/misc/misc.cpp": "\n"})), 1)

    def test_refuses_the_library_in_the_peers(self):
        for main in ("peers/simulator/main.cpp", "peers/browsers/win32/main.cpp"):
            files = {"src/json/reader.h": "\n", main: '#include "json/reader.h"\n'}
            self.assertEqual(len(problems(files)), 1, main)
            self.assertEqual(len(problems({main: '#include "kxtcp64.h"\n'})), 1, main)

    def test_refuses_a_source_that_no_list_names(self):
        files = {"src/CMakeLists.txt": "add_library(x json/reader.cpp)", "src/json/reader.cpp": "", "src/json/writer.cpp": ""}
        self.assertEqual(problems(files), ["src/json/writer.cpp:1: no CMakeLists.txt names this file"])

    def test_lets_examples_use_the_public_header_only(self):
        files = {"src/common/md5.h": "\n", "examples/a.c": '#include "kxtcp64.h"\n#include <windows.h>\n'}
        self.assertEqual(problems(files), [])
        files["examples/a.c"] += '#include "common/md5.h"\n'
        self.assertEqual(len(problems(files)), 1)


if __name__ == "__main__":
    unittest.main()
