"""Draws time against size as an SVG: both axes logarithmic, one pair of lines per shape of answer."""

import math

WIDTH, HEIGHT = 790, 480
LEFT, RIGHT, TOP, BOTTOM = 78, 206, 46, 62
COLOURS = {"one_string": "#1b6ca8", "short_items": "#c4511a"}
NAMES = {"one_string": "one string", "short_items": "short items"}


def size_label(size):
    for unit, name in ((1 << 20, "MB"), (1 << 10, "kB")):
        if size >= unit:
            return f"{size // unit} {name}"
    return f"{size} B"


def time_label(microseconds):
    for unit, name in ((1e6, "s"), (1e3, "ms")):
        if microseconds >= unit:
            return f"{microseconds / unit:g} {name}"
    return f"{microseconds:g} µs"


class Axis:
    """A logarithmic axis from one place on the page to another."""

    def __init__(self, low, high, start, end):
        self.low, self.high, self.start, self.end = low, high, start, end

    def place(self, value):
        part = math.log(value / self.low) / math.log(self.high / self.low)
        return round(self.start + part * (self.end - self.start), 1)


def text(x, y, words, **attributes):
    extra = "".join(f' {name.replace("_", "-")}="{value}"' for name, value in attributes.items())
    return f'<text x="{x}" y="{y}"{extra}>{words}</text>'


def line(points, colour, is_dashed=False):
    path = " ".join(f"{x},{y}" for x, y in points)
    dashes = ' stroke-dasharray="6 4"' if is_dashed else ""
    return f'<polyline points="{path}" fill="none" stroke="{colour}" stroke-width="2"{dashes}/>'


def plot(points):
    sizes = [point["bytes"] for point in points]
    times = [point[key] for point in points for key in ("microseconds", "base_microseconds")]
    across = Axis(min(sizes), max(sizes), LEFT, WIDTH - RIGHT)
    up = Axis(10 ** math.floor(math.log10(min(times))), 10 ** math.ceil(math.log10(max(times))), HEIGHT - BOTTOM, TOP)

    parts = [f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {WIDTH} {HEIGHT}" font-family="sans-serif" '
             f'font-size="13" fill="#222">', f'<rect width="{WIDTH}" height="{HEIGHT}" fill="#fff"/>',
             text(LEFT, 26, "Time of a play against the size of its answer", font_size=16)]

    tick = up.low
    while tick <= up.high * 1.001:
        y = up.place(tick)
        parts.append(f'<line x1="{LEFT}" y1="{y}" x2="{WIDTH - RIGHT}" y2="{y}" stroke="#ddd"/>')
        parts.append(text(LEFT - 8, y + 4, time_label(tick), text_anchor="end"))
        tick *= 10
    tick = 1024
    while tick <= across.high * 1.01:
        x = across.place(max(tick, across.low))
        parts.append(f'<line x1="{x}" y1="{TOP}" x2="{x}" y2="{HEIGHT - BOTTOM}" stroke="#ddd"/>')
        parts.append(text(x, HEIGHT - BOTTOM + 20, size_label(tick), text_anchor="middle", font_size=12))
        tick *= 4
    parts.append(f'<rect x="{LEFT}" y="{TOP}" width="{WIDTH - RIGHT - LEFT}" height="{HEIGHT - BOTTOM - TOP}" '
                 f'fill="none" stroke="#888"/>')
    parts.append(text((LEFT + WIDTH - RIGHT) / 2, HEIGHT - 14, "bytes of the answer", text_anchor="middle"))
    middle = (TOP + HEIGHT - BOTTOM) / 2
    parts.append(text(18, middle, "time", text_anchor="middle", transform=f"rotate(-90 18 {middle})"))

    legend_y = TOP + 14
    for shape, colour in COLOURS.items():
        of_shape = sorted((point for point in points if point["plot"] == shape), key=lambda point: point["bytes"])
        for key, words, is_dashed in (("microseconds", "the library", False), ("base_microseconds", "bare pipe", True)):
            places = [(across.place(point["bytes"]), up.place(point[key])) for point in of_shape]
            if places:
                parts.append(line(places, colour, is_dashed))
                x = WIDTH - RIGHT + 12
                parts.append(line([(x, legend_y - 4), (x + 28, legend_y - 4)], colour, is_dashed))
                parts.append(text(x + 34, legend_y, f"{NAMES[shape]}, {words}", font_size=11))
                legend_y += 20
    parts.append("</svg>")
    return "\n".join(parts) + "\n"
