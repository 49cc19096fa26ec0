"""The golden conversation: what a host is to do, what it has to send and to get, and whether it has."""

import hashlib
import json
import re
from pathlib import Path

HERE = Path(__file__).resolve().parent

# A field that no run knows beforehand, as a pattern.
OPEN_FIELDS = {"number": rb"\d+", "startPage": rb"[^\"?]+\.html"}

# Of what differs, bytes to show.
SHOWN = 60


def load(folder=HERE):
    """The description; the bytes of the requests are put in for the names of their files."""
    golden = json.loads((folder / "conversation.json").read_text(encoding="utf-8"))
    for step in golden["steps"]:
        if "sends" in step:
            step["sends"] = (folder / "requests" / step["sends"]).read_bytes()
    return golden


def fields(folder, profile):
    """The fields of one run. The folder is a path of Windows."""
    digest = hashlib.md5(profile.encode("utf-8")).hexdigest()
    return {
        "profile": profile,
        "pipe": rf"\\.\pipe\kx-fx-{digest}.runner",
        "program": folder + r"\the browser.exe",
        "missing": folder + r"\none.exe",
        "page": folder + r"\страница.png",
        "window": folder + r"\window.png",
        "nowhere": folder + r"\no such folder\page.png",
    }


def filled(value, values):
    """The value with its fields filled in, and long texts written out."""
    if isinstance(value, str):
        return re.sub(r"<<(\w+)>>", lambda match: values[match.group(1)], value)
    if isinstance(value, list):
        return [filled(each, values) for each in value]
    if isinstance(value, dict) and list(value) == ["letters"]:
        letters = "abcdefghijklmnopqrstuvwxyz"
        return (letters * (value["letters"] // len(letters) + 1))[:value["letters"]]
    if isinstance(value, dict):
        return {name: filled(each, values) for name, each in value.items()}
    return value


def filled_request(request, values):
    """Bytes of a request: a field stands there as JSON writes it."""
    def in_json(match):
        return json.dumps(values[match.group(1).decode()], ensure_ascii=False)[1:-1].encode("utf-8")
    return re.sub(rb"<<(\w+)>>", in_json, request)


def steps_for(golden, wrapper):
    return [step for step in golden["steps"] if wrapper or not step.get("wrapper")]


def steps_text(steps, values):
    """The file that a host reads: a step on each line, its fields parted by tabs."""
    escapes = str.maketrans({"\\": r"\\", "\t": r"\t", "\n": r"\n", "\r": r"\r"})
    return "".join("\t".join(field.translate(escapes) for field in filled(step["do"], values)) + "\n" for step in steps)


def _shown(data, at):
    begin = max(at - SHOWN // 2, 0)
    return ("..." if begin > 0 else "") + repr(data[begin:begin + SHOWN]) + ("..." if begin + SHOWN < len(data) else "")


def _difference(what, wanted, found):
    at, step = 0, 1 << 16
    while wanted[at:at + step] == found[at:at + step]:
        at += step
    while wanted[at:at + 1] == found[at:at + 1]:
        at += 1
    return f"{what}: differs at {at}: {_shown(found, at)}, wanted {_shown(wanted, at)}"


def compare_pattern(what, golden, values, found):
    """A text with fields that no run knows."""
    pattern = b""
    for part in re.split(r"(<<\w+>>)", golden):
        name = part[2:-2] if part.startswith("<<") else None
        known = part if name is None else values.get(name, "")
        pattern += OPEN_FIELDS.get(name) or re.escape(known.encode("utf-8"))
    if re.fullmatch(pattern, found):
        return []
    return [f"{what}: {_shown(found, 0)}, wanted {golden}"]


def compare_requests(steps, values, record):
    """The recorded folder of the simulator against the requests of these steps."""
    wanted = [filled_request(step["sends"], values) for step in steps if "sends" in step]
    found = {path.name: path.read_bytes() for path in record.glob("*.bin") if not path.name.startswith("reply-")}
    problems = []
    for number, request in enumerate(wanted, 1):
        name = f"request-1-{number}.bin"
        if name not in found:
            problems.append(f"request {number} was not sent")
        elif found[name] != request:
            problems.append(_difference(f"request {number}", request, found[name]))
    known = {f"request-1-{number}.bin" for number in range(1, len(wanted) + 1)} | {"name-line-1.bin"}
    problems += [f"{name}: more than was to be sent: {_shown(found[name], 0)}" for name in sorted(set(found) - known)]
    return problems


def _value_difference(what, wanted, found):
    if isinstance(wanted, dict) and isinstance(found, dict):
        problems = []
        for name in [*wanted, *(name for name in found if name not in wanted)]:
            here = f"{what}, {name}"
            if name not in found:
                problems.append(f"{here}: is missing")
            elif name not in wanted:
                problems.append(f"{here}: {str(found[name])[:SHOWN]!r} is more than was wanted")
            else:
                problems += _value_difference(here, wanted[name], found[name])
        return problems
    if type(wanted) is not type(found):
        return [f"{what}: {str(found)[:SHOWN]!r}, wanted {str(wanted)[:SHOWN]!r}"]
    if wanted == found:
        return []
    if isinstance(wanted, list) and len(wanted) == len(found):
        return [problem for index, (one, other) in enumerate(zip(wanted, found), 1)
                for problem in _value_difference(f"{what} {index}", one, other)]
    if isinstance(wanted, str):
        return [_difference(what, wanted, found)]
    return [f"{what}: {str(found)[:SHOWN]}, wanted {str(wanted)[:SHOWN]}"]


def compare_results(steps, values, printed):
    """What the host has printed, as bytes, against what these steps have to give."""
    problems = []
    lines = printed.replace(b"\r\n", b"\n").splitlines()
    for number, step in enumerate(steps, 1):
        what = f"step {number} ({step['do'][0]})"
        if number > len(lines):
            problems.append(f"{what}: nothing was printed")
            continue
        try:
            found = json.loads(lines[number - 1].decode("utf-8"))
        except ValueError as error:
            problems.append(f"{what}: the line is no JSON: {error}: {_shown(lines[number - 1], 0)}")
            continue
        if step.get("wrapper") and isinstance(found, dict):
            found.pop("left", None)  # the play was not made
        wanted = {"step": number, **{name: step[name] for name in ("gives", "fails", "left") if name in step}}
        problems += _value_difference(what, filled(wanted, values), found)
    if len(lines) > len(steps):
        problems.append(f"more was printed than there are steps: {_shown(lines[len(steps)], 0)}")
    return problems


def compare_pictures(steps, values, linux_path):
    """The files that the steps have made: pictures of the right size."""
    problems = []
    for step in steps:
        if "picture" in step:
            picture = step["picture"]
            path = linux_path(filled(picture["file"], values))
            header = path.read_bytes()[:24] if path.exists() else b""
            size = header[16:20] + header[20:24]
            wanted = picture["width"].to_bytes(4, "big") + picture["height"].to_bytes(4, "big")
            if not header.startswith(b"\x89PNG") or size != wanted:
                problems.append(f"{path.name}: is no picture of {picture['width']} x {picture['height']}")
    return problems


def _bytes_of(path):
    return path.read_bytes() if path.exists() else b""


def compare(golden, wrapper, values, record, printed, linux_path):
    """All that differs from the golden conversation, as lines; none when nothing does."""
    steps = steps_for(golden, wrapper)
    return [
        *compare_results(steps, values, printed),
        *compare_pattern("the browser's command line", golden["commandLine"], values, _bytes_of(record / "command-line.txt")),
        *compare_pattern("the name line", golden["nameLine"], values, _bytes_of(record / "name-line-1.bin")),
        *compare_requests(steps, values, record),
        *compare_pictures(steps, values, linux_path),
    ]
