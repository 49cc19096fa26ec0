"""Finds the small changes that can be made to a C++ source, from its tokens alone.

Nothing is parsed properly: the sources are formatted by clang-format, so that an operator stands between blanks and a
template's bracket does not. A change that turns out not to compile is no harm, it is counted apart.
"""

import re
from collections import Counter
from dataclasses import dataclass, replace

TOKEN = re.compile(
    r"""
    (?P<ignored>//[^\n]*|/\*.*?\*/|^[ \t]*\#(?:\\\n|[^\n])*|\s+)
  | (?P<string>(?:u8|[uUL])?R"(?P<mark>[^(\s]*)\(.*?\)(?P=mark)"|(?:u8|[uUL])?"(?:\\.|[^"\\\n])*")
  | (?P<char>(?:u8|[uUL])?'(?:\\.|[^'\\\n])+')
  | (?P<number>\.?\d(?:[eEpP][+-]|'?[\w.])*)
  | (?P<word>[A-Za-z_]\w*)
  | (?P<operator><=>|<<=|>>=|\.\.\.|::|->|\+\+|--|<<|>>|<=|>=|==|!=|&&|\|\||[-+*/%&|^]=|[^\s\w])
    """,
    re.VERBOSE | re.DOTALL | re.MULTILINE,
)
INTEGER = re.compile(r"(0[xX])?((?(1)[0-9a-fA-F']+|[0-9']+))([uUlLzZ]*)$")

# Operators that stand between blanks, each followed by what it is changed into.
PAIRS = {
    "comparison": "< <= <= < > >= >= > == != != ==",
    "and/or": "&& || || &&",
    "plus/minus": "+ - - + += -= -= +=",
    "arithmetic": "* / / * % * << >> >> <<",
    "bits": "| & & | ^ | |= &= &= |=",
}
BETWEEN_BLANKS = {old: (kind, new) for kind, pairs in PAIRS.items()
                  for old, new in zip(pairs.split()[::2], pairs.split()[1::2])}
WORDS = {"true": "false", "false": "true", "TRUE": "FALSE", "FALSE": "TRUE"}
ASSIGNMENTS = {"=", "+=", "-=", "*=", "/=", "%=", "|=", "&=", "^=", "<<=", ">>="}
CLOSING = {"(": ")", "[": "]", "{": "}"}
# What begins a statement that is no step of its own.
NO_STEP = set("alignas assert auto break case class consteval const constexpr continue default delete do else enum extern "
              "for friend goto if inline namespace new operator private protected public return static static_assert "
              "static_cast struct switch template throw try typedef typename union using virtual void while".split())
# Calls that say nothing about what the program does: checked while compiling or not at all, allocations made early.
LEFT_OUT_CALLS = {"static_assert", "assert", "__attribute__", "reserve", "va_end"}
EMPTY_VALUES = {"true", "false", "{}", "0", "nullptr", "std::nullopt", "*this"}


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
    before: str  # the lines touched, on one line; among equal ones the second has "(#2)" behind it
    after: str

    def applied_to(self, text):
        return text[: self.start] + self.new + text[self.end :]

    @property
    def key(self):
        """Stays the same as long as the line does."""
        return (self.file, self.before, self.after)


def other_letter(letter):
    if letter.isalpha() and letter.isascii():
        return chr(ord(letter) + (-1 if letter in "zZ" else 1))
    return {"0": "1", "_": "-"}.get(letter, "0" if letter.isdigit() else "_")


class Finder:
    def __init__(self, file, text, enumerations):
        self.file = file
        self.text = text
        self.enumerations = enumerations
        self.tokens = [Token(match.lastgroup, match.group(), match.start(), match.end())
                       for match in TOKEN.finditer(text) if match.lastgroup != "ignored"]
        self.partners = self._matching_brackets()
        self.found = {}

    def find(self):
        skipped = self._skipped()
        for index, token in enumerate(self.tokens):
            if index not in skipped:
                getattr(self, "_change_" + token.kind)(index, token)
        self._change_steps(skipped)
        seen = Counter()
        changes = []
        for change in sorted(self.found.values(), key=lambda change: (change.start, change.end, change.new)):
            seen[change.key] += 1
            number = seen[change.key]
            changes.append(change if number == 1 else replace(change, before=f"{change.before} (#{number})"))
        return changes

    def _matching_brackets(self):
        partners, opened = {}, []
        for index, token in enumerate(self.tokens):
            if token.text in CLOSING:
                opened.append(index)
            elif opened and token.text == CLOSING[self.tokens[opened[-1]].text]:
                partners[index] = opened[-1]
                partners[opened.pop()] = index
        return partners

    def _skipped(self):
        skipped = set()
        for index, (token, following) in enumerate(zip(self.tokens, self.tokens[1:])):
            if token.text in LEFT_OUT_CALLS and following.text == "(":
                skipped.update(range(index, self.partners.get(index + 1, index) + 1))
            if token.text == "[" and following.text == "[" and following.start == token.end:
                skipped.update(range(index, self.partners.get(index, index) + 1))
            if token.text == "extern" and following.kind == "string":
                skipped.add(index + 1)
        return skipped

    def _at(self, index):
        return self.tokens[index].text if 0 <= index < len(self.tokens) else ""

    def _add(self, kind, start, end, new):
        first = self.text.rfind("\n", 0, start) + 1
        last = self.text.find("\n", end) % (len(self.text) + 1)
        before = " ".join(self.text[first:last].split())
        after = " ".join((self.text[first:start] + new + self.text[end:last]).split())
        if before != after:
            line = self.text.count("\n", 0, start) + 1
            self.found.setdefault((start, end, new), Change(self.file, kind, start, end, new, line, before, after))

    def _stands_between_blanks(self, token):
        return self.text[token.start - 1 : token.start].isspace() and self.text[token.end : token.end + 1].isspace()

    # ---- single tokens

    def _change_number(self, index, token):
        if match := INTEGER.match(token.text):
            prefix, digits, suffix = match.groups(default="")
            value = int(digits.replace("'", ""), 16 if prefix else 10)
            for other in (value + 1, value - 1):
                if other >= 0:
                    self._add("constant", token.start, token.end, (f"{prefix}{other:X}" if prefix else str(other)) + suffix)

    def _change_word(self, index, token):
        if token.text in WORDS and self._at(index - 1) not in ("==", "!="):
            self._add("truth value", token.start, token.end, WORDS[token.text])
        elif token.text == "return":
            self._change_return(index)
        elif token.text == "continue":
            self._add("jump", token.start, token.end, "break")
        elif token.text == "break" and not self._ends_a_switch(index + 2):
            self._add("jump", token.start, token.end, "")
        elif token.text == "if":
            self._negate_condition(index)
        elif token.text in self.enumerations and self._at(index + 1) == "::":
            names = self.enumerations[token.text]
            if self._at(index + 2) in names and len(names) > 1:
                name = self.tokens[index + 2]
                self._add("constant", name.start, name.end, names[(names.index(name.text) + 1) % len(names)])

    def _ends_a_switch(self, index):
        condition = self.partners.get(self.partners.get(index, 0) - 1, 0)
        return self._at(index) == "}" and self._at(condition - 1) == "switch"

    def _change_return(self, index):
        end = self._end_of_statement(index)
        if end == index + 1:
            self._add("dropped step", self.tokens[index].start, self.tokens[index].end, "")
        elif end is not None:
            start, stop = self.tokens[index + 1].start, self.tokens[end - 1].end
            is_enumerator = end == index + 4 and self._at(index + 1) in self.enumerations
            if not is_enumerator and self.text[start:stop] not in EMPTY_VALUES:
                self._add("returned value", start, stop, "{}")

    def _negate_condition(self, index):
        """A plain condition is turned round; one with an operator is changed there."""
        opening = index + 1 if self._at(index + 1) == "(" else index + 2
        inner = self.tokens[opening + 1 : self.partners.get(opening, 0)]
        has_operator = any(token.text in ("!", ";") or (token.text == "=" or token.text in BETWEEN_BLANKS)
                           and self._stands_between_blanks(token) for token in inner)
        if inner and not has_operator:
            self._add("negation", inner[0].start, inner[-1].end, f"!({self.text[inner[0].start:inner[-1].end]})")

    def _change_operator(self, index, token):
        if self._at(index - 1) == "operator":
            return
        if token.text in BETWEEN_BLANKS and self._stands_between_blanks(token):
            kind, other = BETWEEN_BLANKS[token.text]
            if kind != "plus/minus" or "string" not in (self.tokens[index - 1].kind, self.tokens[index + 1].kind):
                self._add(kind, token.start, token.end, other)
        elif token.text == "!":
            self._add("negation", token.start, token.end, "")
        elif token.text in ("++", "--"):
            self._add("plus/minus", token.start, token.end, "--" if token.text == "++" else "++")
        elif token.text == "{" and self._at(index - 1) in ("{", ","):
            self._drop_row(index)

    def _drop_row(self, index):
        """An element of a list that is a list itself: a row of a table."""
        end = self.partners.get(index)
        if end in (None, index + 1) or self._end_of_statement(index + 1) is not None:
            return
        first, last = index, end
        if self._at(end + 1) == ",":
            last = end + 1
        elif self._at(end + 1) == "}" and self._at(index - 1) == ",":
            first = index - 1
        elif self._at(end + 1) != "}":
            return
        self._add("table row", self.tokens[first].start, self.tokens[last].end, "")

    def _change_string(self, index, token):
        # Letters that belong to an escape or to a place holder are no letters of the message.
        hidden = re.sub(r"\\(x[0-9a-fA-F]+|[0-7]+|.)|%[-+ #0-9.*lhzjt]*[a-zA-Z%]",
                        lambda match: "\0" * len(match.group()), token.text)
        places = [place for place in range(hidden.index('"') + 1, len(hidden) - 1) if hidden[place] != "\0"]
        places = [place for place in places if token.text[place].isalpha()] or places
        if places:
            place = places[len(places) * 2 // 3]
            start = token.start + place
            self._add("letter", start, start + 1, other_letter(token.text[place]))

    def _change_char(self, index, token):
        body = token.text[token.text.index("'") + 1 : -1]
        other = other_letter(body) if len(body) == 1 else "/" if body == "\\\\" else "\\v"
        self._add("letter", token.end - 1 - len(body), token.end - 1, other)

    # ---- steps

    def _end_of_statement(self, index):
        while index < len(self.tokens):
            if self._at(index) == ";":
                return index if self._at(index + 1) != ")" else None
            if self._at(index) in CLOSING.values():
                return None
            index = self.partners.get(index, index) + 1
        return None

    def _is_step(self, first, last):
        """A call, an assignment or a count, or a guard that works by its end; no other declaration."""
        index = first
        if self._at(first) == "const" and self._at(first + 1).endswith("Guard") and last == first + 3:
            return True
        while self._at(index) in ("*", "::"):
            index += 1
        if self._at(index) in ("++", "--", "("):
            return True
        is_constructor = self._at(first)[0].isupper() and self.partners.get(first + 1) == last - 1
        if self.tokens[index].kind != "word" or self._at(index) in NO_STEP or is_constructor:
            return False
        if any(self._at(at) in LEFT_OUT_CALLS for at in range(first, last)):
            return False
        index += 1
        while index < last:
            if self._at(index) in ("::", ".", "->"):
                index += 2
            elif self._at(index) in ("(", "["):
                index = self.partners.get(index, last) + 1
            elif self._at(index) == "<" and self.tokens[index].start == self.tokens[index - 1].end:
                depth = 0
                while index < last and (depth := depth + {"<": 1, ">": -1, ">>": -2}.get(self._at(index), 0)) > 0:
                    index += 1
                index += 1
            else:
                return self._at(index) in ASSIGNMENTS or self._at(index) in ("++", "--")
        return self._at(last - 1) == ")"

    def _ends_a_label(self, index):
        while self._at(index) not in ("case", "default") and (self.tokens[index].kind != "operator" or self._at(index) == "::"):
            index -= 1
        return self._at(index) in ("case", "default")

    def _change_steps(self, skipped):
        without_order = set()  # functions that fill tables while compiling: the rows hardly ever have an order
        for index, token in enumerate(self.tokens):
            if token.text == "consteval":
                body = next((at for at in range(index, len(self.tokens)) if self._at(at) == "{"), index)
                without_order.update(range(body, self.partners.get(body, body)))
        steps = {}  # by the index of the last token
        for first in range(1, len(self.tokens)):
            begins = self._at(first - 1) in (";", "{", "}") or self._at(first - 1) == ":" and self._ends_a_label(first - 2)
            last = self._end_of_statement(first) if begins and first not in skipped else None
            if last is None or not self._is_step(first, last) or self._at(last - 1) in ("delete", "default"):
                continue
            start, end = self.tokens[first].start, self.tokens[last].end
            step = self.text[start:end]
            self._add("dropped step", start, end, ";")
            is_call = self._at(last - 1) == ")" and " = " not in step
            steps[last] = (start, end, is_call)
            # The order of two assignments hardly ever matters.
            before = steps.get(first - 1)
            if before and first not in without_order and (is_call or before[2]) and self.text[before[0] : before[1]] != step:
                swapped = step + self.text[before[1] : start] + self.text[before[0] : before[1]]
                self._add("swapped steps", before[0], end, swapped)


def enumerations_in(text):
    """The enumerators of every enumeration that a source defines."""
    without_comments = re.sub(r"//[^\n]*|/\*.*?\*/", "", text, flags=re.DOTALL)
    return {match.group(1): [re.split(r"[\s=]", entry.strip())[0] for entry in match.group(2).split(",") if entry.strip()]
            for match in re.finditer(r"\benum\s+(?:class\s+|struct\s+)?(\w+)[^{;]*\{([^}]*)\}", without_comments)}


def all_changes(texts):
    """texts: file name to text. A file knows its own enumerations, its header's and those of all other headers."""
    of_headers = {}
    for name, text in texts.items():
        if name.endswith(".h"):
            of_headers |= enumerations_in(text)
    changes = []
    for name, text in sorted(texts.items()):
        header = texts.get(name.removesuffix(".cpp") + ".h", "")
        changes += Finder(name, text, of_headers | enumerations_in(header) | enumerations_in(text)).find()
    return changes
