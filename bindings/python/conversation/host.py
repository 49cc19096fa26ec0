"""Has a conversation with the wrapper for Python: bindings/conversation/README.md tells how.

    python3 host.py STEPS LIBRARY
"""

import json
import sys

import kxtcp64

ESCAPES = {"t": "\t", "n": "\n", "r": "\r", "\\": "\\"}


def field(text):
    result, rest = "", iter(text)
    for letter in rest:
        result += ESCAPES[next(rest)] if letter == "\\" else letter
    return result


def left(play):
    return {"extracts": play.extracts, "performance": play.performance, "profilerData": play.profiler_data or ""}


class Host:
    def __init__(self, library):
        self.library = library
        self.browser = None

    def start(self, program, profile, seconds):
        self.browser = kxtcp64.Browser.start(profile=profile, program=program, profiler=True, open_new_browser=True,
                                             timeout=int(seconds), library=self.library)
        return {"launched": self.browser.process_id is not None}

    def variable(self, name, value):
        self.browser.set_variable(name, value)
        return {}

    def play(self, macro, seconds):
        return left(self.browser.play(macro, int(seconds)))

    def show(self, message, seconds):
        self.browser.show(message, int(seconds))
        return {}

    def screenshot(self, area, path, seconds):
        self.browser.screenshot(path, whole_browser=area == "browser", timeout=int(seconds))
        return {}

    def exit(self, seconds):
        self.browser.exit(int(seconds))
        return {}

    def left_by_a_failed_play(self):
        try:
            return {"left": left(self.browser.last_play())}
        except kxtcp64.KxError:
            return {}

    def do(self, step, fields):
        try:
            return {"gives": getattr(self, step)(*fields)}
        except kxtcp64.KxError as error:
            fails = {"call": error.call, "result": error.result, "number": error.number, "text": error.text}
            return {"fails": fails, **(self.left_by_a_failed_play() if step == "play" else {})}


def main():
    sys.stdout.reconfigure(encoding="utf-8", newline="\n")
    host = Host(kxtcp64.Library(sys.argv[2]))
    with open(sys.argv[1], encoding="utf-8", newline="\n") as steps:
        for number, line in enumerate(steps, 1):
            step, *fields = line.rstrip("\n").split("\t")
            print(json.dumps({"step": number, **host.do(step, map(field, fields))}, ensure_ascii=False), flush=True)


main()
