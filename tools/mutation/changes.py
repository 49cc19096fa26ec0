"""Finds the small changes that can be made to a C++ source, from its tokens alone.

Nothing is parsed properly: the sources are formatted by clang-format, so that an operator stands between blanks and a
template's bracket does not. A change that turns out not to compile is no harm, it is counted apart.
"""

import re
from collections import Counter
from dataclasses import dataclass, replace

TOKEN = re.compile(
    r"""
    (?P<comment>//[^\n]*|/\*.*?\*/)
  | (?P<directive>^[ \t]*\#(?:\\\n|[^\n])*)
  | (?P<raw>(?:u8|[uUL])?R"(?P<mark>[^(\s]*)\(.*?\)(?P=mark)")
  | (?P<string>(?:u8|[uUL])?"(?:\\.|[^"\\\n])*")
  | (?P<char>(?:u8|[uUL])?'(?:\\.|[^'\\\n])+')
  | (?P<number>\.?\d(?:[eEpP][+-]|'?[\w.])*)
  | (?P<word>[A-Za-z_]\w*)
  | (?P<operator><=>|<<=|>>=|\.\.\.|::|->|\+\+|--|<<|>>|<=|>=|==|!=|&&|\|\||[-+*/%&|^]=|[^\s\w])
  | (?P<space>\s+)
    """,
    re.VERBOSE | re.DOTALL | re.MULTILINE,
)

INTEGER = re.compile(r"(0[xX])?([0-9a-fA-F']+?)([uUlLzZ]*)$")

# Operators that stand between blanks, and what each is changed into.
BETWEEN_BLANKS = {
    "<": ("comparison", "<="),
    "<=": ("comparison", "<"),
    ">": ("comparison", ">="),
    ">=": ("comparison", ">"),
    "==": ("comparison", "!="),
    "!=": ("comparison", "=="),
    "&&": ("and/or", "||"),
    "||": ("and/or", "&&"),
    "+": ("plus/minus", "-"),
    "-": ("plus/minus", "+"),
    "+=": ("plus/minus", "-="),
    "-=": ("plus/minus", "+="),
    "*": ("arithmetic", "/"),
    "/": ("arithmetic", "*"),
    "%": ("arithmetic", "*"),
    "<<": ("arithmetic", ">>"),
    ">>": ("arithmetic", "<<"),
    "|": ("bits", "&"),
    "&": ("bits", "|"),
    "^": ("bits", "|"),
    "|=": ("bits", "&="),
    "&=": ("bits", "|="),
}

WORDS = {"true": "false", "false": "true", "TRUE": "FALSE", "FALSE": "TRUE"}

# What begins a statement that is no step of its own.
NO_STEP = {
    "alignas", "auto", "break", "case", "class", "consteval", "constexpr", "const", "continue", "default", "delete",
    "do", "else", "enum", "extern", "for", "friend", "goto", "if", "inline", "namespace", "new", "operator", "private",
    "protected", "public", "return", "static", "static_assert", "static_cast", "struct", "switch", "template", "throw",
    "try", "typedef", "typename", "union", "using", "virtual", "void", "while", "assert",
}

# Calls whose arguments say nothing about what the program does: checked while compiling, or not at all.
LEFT_OUT_CALLS = {"static_assert", "assert", "__attribute__"}

ASSIGNMENTS = {"=", "+=", "-=", "*=", "/=", "%=", "|=", "&=", "^=", "<<=", ">>="}

CLOSING = {"(": ")", "[": "]", "{": "}"}


@dataclass(frozen=True)
class Token:
    kind: str
    text: str
    start: int
    end: int


@dataclass(frozen=True)
class Change:
    """The text between start and end of a file becomes another one."""

    file: str
    kind: str
    start: int
    end: int
    new: str
    line: int
    before: str  # the lines touched, on one line
    after: str
    occurrence: int = 1  # among the changes of this file that look the same

    def applied_to(self, text):
        return text[: self.start] + self.new + text[self.end :]

    @property
    def key(self):
        """Stays the same as long as the line does: lists use it."""
        return (self.file, self.shown_before, self.after)

    @property
    def shown_before(self):
        return self.before if self.occurrence == 1 else f"{self.before} (#{self.occurrence})"

    @property
    def place(self):
        return (self.file, self.start, self.before, self.after)


def on_one_line(text):
    return " ".join(text.split())


def tokens_of(text):
    """The tokens that mean something. Comments, blanks and preprocessor lines are left out."""
    found = []
    for match in TOKEN.finditer(text):
        kind = match.lastgroup if match.lastgroup != "mark" else "raw"
        if kind not in ("comment", "directive", "space"):
            found.append(Token(kind, match.group(), match.start(), match.end()))
    return found


def matching_brackets(tokens):
    """For each bracket's index that of its partner."""
    partners = {}
    open_ones = []
    for index, token in enumerate(tokens):
        if token.text in CLOSING and token.kind == "operator":
            open_ones.append(index)
        elif token.text in CLOSING.values() and token.kind == "operator" and open_ones:
            if CLOSING[tokens[open_ones[-1]].text] == token.text:
                partners[open_ones[-1]] = index
                partners[index] = open_ones.pop()
    return partners


class Finder:
    def __init__(self, file, text, enumerations):
        self.file = file
        self.text = text
        self.enumerations = enumerations
        self.tokens = tokens_of(text)
        self.partners = matching_brackets(self.tokens)
        self.skipped = self._skipped_tokens()
        self.changes = []
        self.seen = set()

    def find(self):
        for index, token in enumerate(self.tokens):
            if index in self.skipped:
                continue
            getattr(self, "_change_" + token.kind, lambda *_: None)(index, token)
        for index, token in enumerate(self.tokens):
            if token.text == "{" and index not in self.skipped and self._is_block(index):
                self._change_steps(index)
        ordered = sorted(self.changes, key=lambda change: (change.start, change.end, change.new))
        seen = Counter()
        for index, change in enumerate(ordered):
            seen[change.key] += 1
            ordered[index] = replace(change, occurrence=seen[change.key])
        return ordered

    # ---- what is left alone

    def _skipped_tokens(self):
        skipped = set()
        for index, token in enumerate(self.tokens[:-1]):
            following = self.tokens[index + 1]
            if token.text in LEFT_OUT_CALLS and following.text == "(":
                skipped.update(range(index, self.partners.get(index + 1, index) + 1))
            if token.text == "[" and following.text == "[" and following.start == token.end:
                skipped.update(range(index, self.partners.get(index, index) + 1))
            if token.text == "extern" and following.kind == "string":
                skipped.update((index, index + 1))
        return skipped

    # ---- single tokens

    def _add(self, kind, start, end, new):
        first = self.text.rfind("\n", 0, start) + 1
        last = self.text.find("\n", end)
        last = len(self.text) if last < 0 else last
        before = on_one_line(self.text[first:last])
        after = on_one_line(self.text[first:start] + new + self.text[end:last])
        key = (start, end, new)
        if before != after and key not in self.seen:
            self.seen.add(key)
            line = self.text.count("\n", 0, start) + 1
            self.changes.append(Change(self.file, kind, start, end, new, line, before, after))

    def _stands_between_blanks(self, token):
        return (token.start > 0 and self.text[token.start - 1].isspace()
                and token.end < len(self.text) and self.text[token.end].isspace())

    def _change_number(self, index, token):
        match = INTEGER.match(token.text)
        if not match:
            return
        prefix, digits, suffix = match.group(1) or "", match.group(2).replace("'", ""), match.group(3)
        if not prefix and not digits.isdigit():
            return
        value = int(digits, 16 if prefix else 10)
        for other in (value + 1, value - 1):
            if other >= 0:
                written = f"{prefix}{other:X}" if prefix else str(other)
                self._add("constant", token.start, token.end, written + suffix)

    def _change_word(self, index, token):
        if token.text in WORDS and self._text_at(index - 1) not in ("==", "!="):
            self._add("truth value", token.start, token.end, WORDS[token.text])
        elif token.text == "return":
            self._change_return(index)
        elif token.text == "continue":
            self._add("jump", token.start, token.end, "break")
        elif token.text == "break" and not self._is_last_of_a_switch(index):
            self._add("jump", token.start, token.end, "")
        elif token.text == "if":
            self._negate_condition(index)
        elif token.text in self.enumerations and self._text_at(index + 1) == "::":
            self._change_enumerator(token.text, index + 2)

    def _is_last_of_a_switch(self, index):
        """Nothing stands behind it that it could jump over."""
        opening = self.partners.get(index + 2, 0)
        condition = self.partners.get(opening - 1, 0)
        return self._text_at(index + 2) == "}" and self._text_at(condition - 1) == "switch"

    def _text_at(self, index):
        return self.tokens[index].text if 0 <= index < len(self.tokens) else ""

    def _change_enumerator(self, enumeration, index):
        names = self.enumerations[enumeration]
        name = self._text_at(index)
        if name in names and len(names) > 1:
            other = names[(names.index(name) + 1) % len(names)]
            self._add("constant", self.tokens[index].start, self.tokens[index].end, other)

    def _change_return(self, index):
        end = self._end_of_statement(index)
        if end is None:
            return
        if end == index + 1:
            self._add("dropped step", self.tokens[index].start, self.tokens[index].end, "")
            return
        value = self.text[self.tokens[index + 1].start : self.tokens[end - 1].end]
        is_enumerator = end == index + 4 and self._text_at(index + 1) in self.enumerations
        if not is_enumerator and value not in ("true", "false", "{}", "0", "nullptr", "std::nullopt", "*this"):
            self._add("returned value", self.tokens[index + 1].start, self.tokens[end - 1].end, "{}")

    def _negate_condition(self, index):
        """A plain condition is turned round; one with an operator is changed there."""
        opening = index + 1 if self._text_at(index + 1) == "(" else index + 2
        closing = self.partners.get(opening)
        if self._text_at(opening) != "(" or closing is None or self._text_at(opening - 1) not in ("if", "constexpr"):
            return
        inner = self.tokens[opening + 1 : closing]
        if any(token.kind == "operator" and token.text in ("!", ";", "=", *BETWEEN_BLANKS)
               and (token.text in ("!", ";") or self._stands_between_blanks(token)) for token in inner):
            return
        start, end = inner[0].start, inner[-1].end
        self._add("negation", start, end, f"!({self.text[start:end]})")

    def _change_operator(self, index, token):
        if token.text in BETWEEN_BLANKS and self._stands_between_blanks(token):
            kind, other = BETWEEN_BLANKS[token.text]
            beside_a_text = "string" in (self.tokens[index - 1].kind, self.tokens[index + 1].kind)
            if not (beside_a_text and kind == "plus/minus") and self._text_at(index - 1) != "operator":
                self._add(kind, token.start, token.end, other)
        elif token.text == "!" and index + 1 < len(self.tokens):
            self._add("negation", token.start, token.end, "")
        elif token.text in ("++", "--") and self._text_at(index - 1) != "operator":
            self._add("plus/minus", token.start, token.end, "--" if token.text == "++" else "++")
        elif token.text == "{" and self._text_at(index - 1) in ("{", ","):
            self._drop_row(index)

    def _drop_row(self, index):
        """An element of a list that is a list itself: a row of a table."""
        end = self.partners.get(index)
        if end is None or end == index + 1 or self._is_block(index):
            return
        if self._text_at(end + 1) == ",":
            self._add("table row", self.tokens[index].start, self.tokens[end + 1].end, "")
        elif self._text_at(end + 1) == "}" and self._text_at(index - 1) == ",":
            self._add("table row", self.tokens[index - 1].start, self.tokens[end].end, "")
        elif self._text_at(end + 1) == "}" and self._text_at(index - 1) == "{":
            self._add("table row", self.tokens[index].start, self.tokens[end].end, "")

    def _change_string(self, index, token):
        first = token.text.index('"') + 1
        # Letters that belong to an escape or to a place holder are no letters of the message.
        hidden = re.sub(r"\\(x[0-9a-fA-F]+|[0-7]+|.)|%[-+ #0-9.*lhzjt]*[a-zA-Z%]",
                        lambda match: "\0" * len(match.group()), token.text)
        places = [place for place in range(first, len(token.text) - 1) if hidden[place] != "\0"]
        if not places:
            return
        letters = [place for place in places if token.text[place].isalpha()] or places
        place = letters[len(letters) * 2 // 3]
        old = token.text[place]
        self._add("letter", token.start + place, token.start + place + 1, other_letter(old))

    def _change_char(self, index, token):
        body = token.text[token.text.index("'") + 1 : -1]
        if len(body) == 1:
            self._add("letter", token.end - 2, token.end - 1, other_letter(body))
        else:
            self._add("letter", token.start, token.end, "'/'" if body == "\\\\" else "'\\v'")

    # ---- steps

    def _is_block(self, index):
        """Whether a brace opens the body of a function or of a statement."""
        before = self._text_at(index - 1)
        if before in (")", "else", "do", "try", "noexcept", "override", "mutable", "]"):
            return True
        if before in (";", "}", ":") or (before == "{" and index and self._is_block(index - 1)):
            return self._text_at(index + 1) != "}" and not self._head_has(index, {"class", "struct", "enum"})
        if before == "const":
            return True
        # A lambda or function with its return type: ") -> int {" or ") const -> std::string {".
        head = index - 1
        while head >= 0 and (self.tokens[head].kind == "word" or self._text_at(head) in ("::", "<", ">", "&", "*")):
            head -= 1
        return self._text_at(head) == "->" and self._text_at(head - 1) in (")", "const", "mutable", "noexcept")

    def _head_has(self, index, words):
        head = index - 1
        while head >= 0 and self._text_at(head) not in (";", "{", "}"):
            if self._text_at(head) in words:
                return True
            head -= 1
        return False

    def _end_of_statement(self, index):
        while index < len(self.tokens):
            text = self.tokens[index].text
            if text == ";":
                return index
            if text in CLOSING and self.tokens[index].kind == "operator":
                if index not in self.partners:
                    return None
                index = self.partners[index]
            elif text in CLOSING.values() and self.tokens[index].kind == "operator":
                return None
            index += 1
        return None

    def _statements(self, opening):
        """(first, last) of each statement that ends in a semicolon, between a block's braces; None between others."""
        closing = self.partners.get(opening)
        if closing is None:
            return
        first = index = opening + 1
        while index < closing:
            token = self.tokens[index]
            if token.text == ";":
                yield first, index
                first = index + 1
            elif token.text == ":" and self._text_at(first) in ("case", "default"):
                first = index + 1
            elif token.text in CLOSING and token.kind == "operator":
                partner = self.partners.get(index)
                if partner is None:
                    return
                ends = token.text == "{" and self._text_at(partner + 1) not in (";", ",", ")", "(", ".", "]")
                index = partner
                if ends:
                    yield None
                    first = index + 1
            index += 1

    def _is_step(self, first, last):
        """A call, an assignment or a count, not a declaration."""
        index = first
        while self._text_at(index) in ("*", "++", "--", "::", "("):
            if self._text_at(index) in ("++", "--"):
                return True
            if self._text_at(index) == "(":
                return True
            index += 1
        if self.tokens[index].kind != "word" or self._text_at(index) in NO_STEP:
            return False
        index += 1
        while index < last:
            text = self._text_at(index)
            if text in ("::", ".", "->"):
                index += 2
            elif text in ("(", "["):
                index = self.partners.get(index, last) + 1
            elif text == "<" and self.tokens[index].start == self.tokens[index - 1].end:
                depth = 0
                while index < last:
                    depth += {"<": 1, ">": -1, ">>": -2}.get(self._text_at(index), 0)
                    index += 1
                    if depth <= 0:
                        break
            else:
                break
        if index == last:
            return self._text_at(last - 1) == ")"
        return self._text_at(index) in ASSIGNMENTS or self._text_at(index) in ("++", "--")

    def _is_run_by_the_compiler(self, opening):
        index = opening
        while index > 0 and self._text_at(index - 1) not in (";", "{", "}"):
            index -= 1
            if self._text_at(index) == "consteval":
                return True
        return False

    def _change_steps(self, opening):
        previous = None
        # Such functions fill tables, whose rows hardly ever have an order.
        has_order = not self._is_run_by_the_compiler(opening)
        for statement in self._statements(opening):
            if statement is None or statement[0] in self.skipped or not self._is_step(*statement):
                previous = None
                continue
            start, end = self.tokens[statement[0]].start, self.tokens[statement[1]].end
            step = self.text[start:end]
            self._add("dropped step", start, end, ";")
            is_call = self._text_at(statement[1] - 1) == ")" and " = " not in step
            # The order of two assignments hardly ever matters.
            if has_order and previous is not None and previous[2] != step and (is_call or previous[3]):
                between = self.text[previous[1] : start]
                self._add("swapped steps", previous[0], end, step + between + previous[2])
            previous = (start, end, step, is_call)


def other_letter(letter):
    if letter.isalpha() and letter.isascii():
        return chr(ord(letter) + 1) if letter not in "zZ" else chr(ord(letter) - 1)
    if letter.isdigit():
        return "1" if letter == "0" else "0"
    return "_" if letter != "_" else "-"


def enumerations_in(text):
    """The enumerators of every enumeration that a source defines."""
    without_comments = re.sub(r"//[^\n]*|/\*.*?\*/", "", text, flags=re.DOTALL)
    found = {}
    for match in re.finditer(r"\benum\s+(?:class\s+|struct\s+)?(\w+)[^{;]*\{([^}]*)\}", without_comments):
        names = [re.split(r"[\s=]", entry.strip())[0] for entry in match.group(2).split(",") if entry.strip()]
        found[match.group(1)] = names
    return found


def changes_in(file, text, enumerations=None):
    """Every change that can be made to the file's text, in its order. The same text always gives the same list."""
    if enumerations is None:
        enumerations = enumerations_in(text)
    return Finder(file, text, enumerations).find()
