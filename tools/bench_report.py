#!/usr/bin/env python3
"""Adds the results of the benchmarks up: one table with what was measured, the goal, and whether it is met.

Reads what kx_bench_host (one JSON object per line) and kx_bench_core (Google Benchmark's JSON) have left, and writes both
as one JSON file. With --write-docs the table goes into the docs, with --plot the picture of time against size.
"""

import argparse
import json
import statistics
import subprocess
import sys
from pathlib import Path

from project_files import ROOT

# Rows of the host: name, what is measured, against what, the largest ratio that is wanted.
PIPE = "the bare pipe"
HOST_GOALS = [
    ("round_trip", "`kx_Display`, a round trip", PIPE, 1.05),
    ("play_small", "`kx_Play`, a small answer", PIPE, 1.05),
    ("handshake", "`kxr_Init` and `kxr_Exit`", "the bare handshake", 1.1),
    ("handshake_pipes_only", "`kxr_Init` and `kxr_Exit`", "its pipes alone, without lock and events", None),
    ("play_10_kb", "play, 10 kB", PIPE, 1.1),
    ("play_one_string_1_mb", "play, 1 MB in one string", PIPE, 1.6),
    ("play_one_string_16_mb", "play, 16 MB in one string", PIPE, 1.6),
    ("play_one_string_64_mb", "play, 64 MB in one string", PIPE, 1.6),
    ("play_one_extract_8_mb", "play, 8 MB in one extract", PIPE, 1.7),
    ("play_escapes_16_mb", "play, 16 MB full of escapes", PIPE, 2.0),
    ("play_short_items_1_mb", "play, 1 MB of short extracts and performance entries", PIPE, 3),
    ("play_short_items_16_mb", "play, 16 MB of short extracts and performance entries", PIPE, 3),
    ("play_members_10000", "play, 10,000 unknown members", PIPE, 3),
    ("play_members_100000", "play, 100,000 unknown members", PIPE, 6),
    ("growth_one_string", "time per byte, 64 MB in one string", "1 MB", 1.2),
    ("growth_members", "time per member, 100,000 unknown members", "10,000", 2.5),
    ("memory_one_string", "peak memory, 16 MB in one string", "its size", 2.3),
    ("memory_second_one_string", "peak memory, the second such answer", "its size", 3.2),
    ("memory_short_items", "peak memory, 16 MB of short items", "its size", 5),
    ("memory_held_one_string", "memory held when a small play has followed 16 MB in one string", "its size", 0.1),
    ("memory_held_short_items", "memory held when a small play has followed 16 MB of short items", "its size", 0.1),
    ("play_variables_1000", "play with 1,000 variables", PIPE, 4),
    ("play_variables_100000", "play with 100,000 variables", PIPE, 11),
    ("set_variable", "`kx_SetVar`", "`std::map`", 1.1),
    ("read_one_extract", "`kx_GetLastExtract`, one extract of 8 MB", "`memcpy`", 1.2),
    ("read_profiler_data", "`kx_GetPerformance`, 8 MB", "`memcpy`", 1.2),
    ("read_all_extracts_joined", "`kx_GetLastExtract`, all of 16 MB joined", "joining by hand", 1.5),
    ("size_of_one_extract", "asking for the size of an extract of 8 MB", "of 1 kB", 1.5),
    ("size_of_all_extracts", "asking for the size of all extracts, 16 MB", "of 1 kB", 1.5),
    ("size_of_profiler_data", "asking for the size of profiler data, 8 MB", "of 1 kB", 1.5),
    ("log_entry_on", "a log entry that is written", "open, append and close", 1.2),
    ("log_entry_on_and_debugger", "a log entry that is written", "the same, and telling the debugger", None),
    ("log_entries_off", "five log entries that are off", "a round trip", 0.02),
    ("contexts_created", "creating a context, of 10,000", "of the first 1,000", 1.5),
    ("contexts_looked_up", "looking a context up, of 10,000", "of the first 1,000", 1.5),
    ("contexts_destroyed", "destroying a context, of 10,000", "of the first 1,000", 1.5),
    ("contexts_64_in_turn", "64 contexts used in turn", "one context", 1.1),
    ("threads_16_at_once", "16 threads at once, a context each", "16 bare pipes", 1.1),
]

# Native rows: the name of ours, what is measured, of what, and the least that is wanted in speeds of the other.
LONG_STRINGS = ("one_string", "one_extract")
SHAPES = LONG_STRINGS + ("escapes", "short_items", "members", "layout", "numbers")
FRAMING_GOALS = {"one_string": 10, "one_extract": 10, "escapes": 2, "short_items": 3, "members": 3, "layout": 3,
                 "numbers": None}
OTHER_LIBRARIES = ("rapidjson_document", "nlohmann", "jsoncpp", "boost_json")
OPTION_SHAPES = ("usual", "short_options", "equal_signs", "quoted_values", "one_name", "one_value", "one_quoted_value",
                 "no_option", "blanks", "hyphens", "noise")

TABLE_BEGIN = "<!-- The table is written by ./dev bench --write-docs. -->"
TABLE_END = "<!-- The end of the table. -->"


class Line:
    """One line of the table. `best` tells whether a ratio has to be small or large."""

    def __init__(self, name, measured, against, goal, ratio, is_void=False, wants_more=False):
        self.name = name
        self.measured = measured
        self.against = against
        self.goal = goal
        self.ratio = ratio
        self.is_void = is_void
        self.wants_more = wants_more

    @property
    def verdict(self):
        if self.ratio is None:
            return "not measured"
        if self.is_void:
            return "void"
        if self.goal is None:
            return ""
        return "met" if (self.ratio >= self.goal if self.wants_more else self.ratio <= self.goal) else "not met"

    def cells(self):
        sign = "at least " if self.wants_more else ""
        return [self.measured, self.against, "" if self.goal is None else f"{sign}{self.goal:g}",
                "" if self.ratio is None else f"{self.ratio:.3g}" if self.ratio < 100 else f"{self.ratio:.0f}",
                self.verdict]

    def as_json(self):
        return {"row": self.name, "measured": self.measured, "against": self.against, "goal": self.goal,
                "ratio": self.ratio, "verdict": self.verdict}


def read_host(path):
    rows, points = {}, []
    if path.exists():
        for text in path.read_text(encoding="utf-8").splitlines():
            entry = json.loads(text)
            if "row" in entry:
                rows[entry["row"]] = entry
            else:
                points.append(entry)
    return rows, points


def read_native(path):
    """Bytes per second by name: the median of the repetitions."""
    text = path.read_text(encoding="utf-8") if path.exists() else ""
    speeds = {}
    for entry in json.loads(text or '{"benchmarks": []}')["benchmarks"]:
        if entry.get("error_occurred"):
            sys.exit(f"bench_report: {entry['name']}: {entry['error_message']}")
        if entry.get("run_type") == "iteration":
            speeds.setdefault(entry["run_name"], []).append(entry["bytes_per_second"])
    return {name: statistics.median(values) for name, values in speeds.items()}


def host_lines(rows):
    for name, measured, against, goal in HOST_GOALS:
        entry = rows.get(name, {})
        yield Line(name, measured, against, goal, entry.get("ratio"), entry.get("void", False))


def speed_ratio(speeds, one, other):
    return speeds[one] / speeds[other] if one in speeds and other in speeds else None


def native_lines(speeds):
    for shape in SHAPES:
        ratio = speed_ratio(speeds, f"framing/{shape}/ours", f"framing/{shape}/byte_by_byte")
        yield Line(f"framing/{shape}", f"native framing, {words(shape)}", "a table step and `push_back` per byte",
                   FRAMING_GOALS[shape], ratio, wants_more=True)
    for shape in SHAPES:
        ours = f"reading/{shape}/ours"
        yield Line(f"reading/{shape}/rapidjson_sax", f"native framing and reading, {words(shape)}",
                   "RapidJSON's events", 0.7, speed_ratio(speeds, ours, f"reading/{shape}/rapidjson_sax"),
                   wants_more=True)
        for other in OTHER_LIBRARIES:
            yield Line(f"reading/{shape}/{other}", f"native framing and reading, {words(shape)}", words(other),
                       None if other == "rapidjson_document" else 1,
                       speed_ratio(speeds, ours, f"reading/{shape}/{other}"), wants_more=True)
    for shape in OPTION_SHAPES:
        # As times, not speeds.
        yield Line(f"options/{shape}", f"options string, {words(shape)}", "a scan by hand", 2,
                   speed_ratio(speeds, f"options/{shape}/by_hand", f"options/{shape}/ours"))


def words(name):
    return {"rapidjson_document": "RapidJSON's document", "nlohmann": "nlohmann", "jsoncpp": "JsonCpp",
            "boost_json": "Boost.JSON"}.get(name, name.replace("_", " "))


def text_table(lines):
    cells = [["measured", "against", "goal", "ratio", ""]] + [line.cells() for line in lines]
    widths = [max(len(row[column]) for row in cells) for column in range(5)]
    return "\n".join("  ".join(cell.ljust(width) for cell, width in zip(row, widths)).rstrip() for row in cells)


def markdown_table(lines):
    rows = [["Measured", "Against", "Goal", "Ratio", ""], ["---", "---", "--:", "--:", "---"]]
    # The figure of a void row means nothing, so the page has none.
    rows += [line.cells()[:3] + ["", "void"] if line.is_void else line.cells() for line in lines]
    return "\n".join("| " + " | ".join(row) + " |" for row in rows)


def put_into_page(page, table):
    begin, end = page.index(TABLE_BEGIN) + len(TABLE_BEGIN), page.index(TABLE_END)
    return f"{page[:begin]}\n\n{table}\n\n{page[end:]}"


def plot(points, path):
    """The time of plays against the size of their answers, as an SVG, by gnuplot."""
    data, lines = "", []
    for shape, colour in (("one_string", "#1b6ca8"), ("short_items", "#c4511a")):
        rows = sorted((p["bytes"], p["microseconds"] / 1e6, p["base_microseconds"] / 1e6) for p in points if p["plot"] == shape)
        data += f"${shape} << END\n" + "".join("%d %g %g\n" % row for row in rows) + "END\n"
        for column, who, dash in ((2, "the library", 1), (3, "bare pipe", 2)):
            lines.append(f"${shape} using 1:{column} with lines lw 2 dt {dash} lc rgb '{colour}' title '{words(shape)}, {who}'")
    commands = f"""set terminal svg size 790,480 background '#ffffff'
set output '{path}'
set title 'Time of a play against the size of its answer'
set xlabel 'bytes of the answer'; set ylabel 'time'
set logscale x 2; set logscale y; set grid; set key left Left reverse
set xtics 4; set format x '%.0b %BB'; set format y '%.0s %cs'
plot {", ".join(lines)}
"""
    subprocess.run(["gnuplot"], input=data + commands, text=True, check=True)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("folder", type=Path, help="holds host.jsonl and native.json; the results are left there")
    parser.add_argument("--write-docs", action="store_true", help="also write the table of docs/performance.md")
    parser.add_argument("--plot", action="store_true", help="write the picture of docs/performance.md, and nothing else")
    arguments = parser.parse_args()

    rows, points = read_host(arguments.folder / "host.jsonl")
    page = Path(ROOT) / "docs" / "performance.md"
    if arguments.plot:
        plot(points, page.parent / "time_against_size.svg")
        return
    lines = list(host_lines(rows)) + list(native_lines(read_native(arguments.folder / "native.json")))
    measured = [line for line in lines if line.ratio is not None]
    if not measured:
        sys.exit("bench_report: nothing was measured; no row has such a name")

    results = {"lines": [line.as_json() for line in measured], "rows": list(rows.values()), "plot": points}
    (arguments.folder / "results.json").write_text(json.dumps(results, indent=1) + "\n", encoding="utf-8")

    print(text_table(measured))
    counts = {verdict: sum(line.verdict == verdict for line in measured) for verdict in ("met", "not met", "void")}
    print(", ".join(f"{count} {verdict}" for verdict, count in counts.items()))

    if arguments.write_docs:
        if len(measured) != len(lines):
            missing = ", ".join(line.name for line in lines if line.ratio is None)
            sys.exit(f"bench_report: the docs get whole runs only; missing: {missing}")
        page.write_text(put_into_page(page.read_text(encoding="utf-8"), markdown_table(lines)), encoding="utf-8")


if __name__ == "__main__":
    main()
