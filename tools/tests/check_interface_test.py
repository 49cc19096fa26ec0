"""The checker of the interface is shown a header and a description that differ in one way each."""

import copy
import unittest

import support  # noqa: F401  (sets the import path)

import check_interface
import interface

HEADER = """
#define KX_OK 0     /* done */
#define KX_TOO_SMALL (-2)
/**
 * Copies.
 *
 * @param context  a context
 * @param text     a text
 */
KX_API int kx_Copy(int context, char* text,
                   int size);
/** Ends. */
KX_API void kx_End(void);
"""
DESCRIPTION = {
    "library": "A.dll",
    "constants": [{"name": "KX_OK", "value": 0, "group": "result"}, {"name": "KX_TOO_SMALL", "value": -2, "group": "result"}],
    "functions": [
        {"name": "kx_End", "returns": "void", "context": False, "result": {"kind": "nothing", "meaning": "", "failures": []},
         "arguments": []},
        {"name": "kx_Copy", "returns": "int", "context": True,
         "result": {"kind": "size", "meaning": "1 for none", "failures": ["KX_TOO_SMALL"]},
         "arguments": [
             {"name": "context", "type": "int", "direction": "in", "unit": "context"},
             {"name": "text", "type": "buffer", "direction": "out", "sizedBy": "size", "null": "asks for the size"},
             {"name": "size", "type": "int", "direction": "in", "unit": "bytes"}]},
    ],
}
DOCUMENTED = HEADER.replace("a text\n", "a text\n * @param size     bytes\n")


def header_problems(header):
    return [problem.split(": ", 1)[1] for problem in check_interface.check_header(DESCRIPTION, header)]


class Header(unittest.TestCase):
    def test_a_header_that_says_the_same_is_accepted(self):
        self.assertEqual(header_problems(DOCUMENTED), [])

    def test_a_parameter_without_documentation_is_found(self):
        self.assertEqual(header_problems(HEADER), ["the parameter list of kx_Copy: ['context', 'text'] here, "
                                                   "described as ['context', 'text', 'size']"])

    def test_another_type_is_found(self):
        self.assertEqual(header_problems(DOCUMENTED.replace("char* text", "const char* text")),
                         ["function kx_Copy: int kx_Copy(int context, const char* text, int size) here, "
                          "described as int kx_Copy(int context, char* text, int size)"])

    def test_functions_and_constants_that_one_side_lacks_are_found(self):
        header = DOCUMENTED.replace("kx_End", "kx_Stop").replace("(-2)", "(-4)").replace("KX_OK 0", "KX_DONE 0")
        self.assertEqual(header_problems(header), [
            "function kx_Stop is missing in the description", "function kx_End is missing here, and is described",
            "the parameter list of kx_Stop is missing in the description", "the parameter list of kx_End is missing here, and is described",
            "constant KX_DONE is missing in the description", "constant KX_OK is missing here, and is described",
            "constant KX_TOO_SMALL: -4 here, described as -2"])


class Description(unittest.TestCase):
    def problems(self, change):
        described = copy.deepcopy(DESCRIPTION)
        change(described["functions"][1])
        return check_interface.check_description(described)

    def test_one_that_agrees_with_itself_is_accepted(self):
        self.assertEqual(self.problems(lambda function: None), [])

    def test_what_does_not_go_together_is_found(self):
        for change, problem in (
                (lambda f: f["result"].update(failures=["KX_LOST"]), "kx_Copy: KX_LOST is no result"),
                (lambda f: f.update(context=False), "kx_Copy: context does not say what the arguments say"),
                (lambda f: f["arguments"][1].update(direction="in"), "kx_Copy: text: in does not go with buffer"),
                (lambda f: f["arguments"][1].pop("null"), "kx_Copy: text: a pointer, and nothing else, has a rule for null"),
                (lambda f: f["arguments"][0].pop("unit"), "kx_Copy: context: a number, and nothing else, has a unit"),
                (lambda f: f["arguments"][0].update(unit="seconds"),
                 "kx_Copy: context: a time-out, and nothing else, tells what 0 stands for"),
                (lambda f: f["arguments"][1].update(sizedBy="context"), "kx_Copy: text: no size in bytes goes with it")):
            self.assertEqual(self.problems(change), [problem])


class Derived(unittest.TestCase):
    def test_the_definition_file_names_the_exports_in_order(self):
        self.assertEqual(interface.definition_file(DESCRIPTION), "LIBRARY A\nEXPORTS\n    kx_Copy\n    kx_End\n")

    def test_the_declarations_of_a_language_have_its_types_in_the_order_of_the_arguments(self):
        for make, lines in (
                (interface.csharp_declarations, ["  internal static extern void kx_End();",
                                                 "  internal static extern int kx_Copy(int context, [In, Out] byte[]? text, int size);"]),
                (interface.csharp_constants, ["  public const int KX_OK = 0;", "  public const int KX_TOO_SMALL = -2;"]),
                (interface.pascal_declarations, [
                    "  KX_TOO_SMALL = -2;", "procedure kx_End; cdecl; external KxLibrary;",
                    "function kx_Copy(AContext: Integer; AText: PAnsiChar; ASize: Integer): Integer; cdecl; external KxLibrary;"]),
                (interface.autoit_declarations, [
                    "Global Const $KX_TOO_SMALL = -2", "Func __Dll_kx_Copy($context, $text, $size)",
                    '    Local $aCall = DllCall($__hKxLibrary, "none:cdecl", "kx_End")',
                    '    Local $aCall = DllCall($__hKxLibrary, "int:cdecl", "kx_Copy", "int", $context, "ptr", $text, "int", $size)'])):
            made = make(DESCRIPTION).splitlines()
            for line in lines:
                self.assertIn(line, made)

    def test_a_block_is_replaced_between_its_marks(self):
        text = "a\n# made from bindings/interface.json\nold\n# end of what is made\nz\n"
        self.assertEqual(interface.with_block(text, "new\n"), text.replace("old", "new"))

    def test_a_file_without_its_marks_is_refused(self):
        for text in ("", "# end of what is made\n# made from bindings/interface.json\n"):
            self.assertRaises(ValueError, interface.with_block, text, "new\n")


if __name__ == "__main__":
    unittest.main()
