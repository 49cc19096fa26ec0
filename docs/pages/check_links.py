#!/usr/bin/env python3
"""Follows every link inside a folder of HTML pages, anchors included.

    docs/pages/check_links.py FOLDER

A page that would load something from the network is refused too: the pages are read from a disk. Links that a reader
follows to the network are left alone, and nothing is fetched.
"""

import sys
from html.parser import HTMLParser
from pathlib import Path
from urllib.parse import unquote, urlsplit


class Page(HTMLParser):
    def __init__(self, text):
        super().__init__()
        self.anchors = set()
        self.links = []  # (target, whether the page loads it by itself)
        self.feed(text)

    def handle_starttag(self, tag, attrs):
        values = dict(attrs)
        for name in ("id", "name"):
            if values.get(name):
                self.anchors.add(values[name])
        if tag == "a" and values.get("href"):
            self.links.append((values["href"], False))
        elif tag == "link" and values.get("href") and values.get("rel") not in ("canonical", "license"):
            self.links.append((values["href"], True))
        elif values.get("src"):
            self.links.append((values["src"], True))


def check_site(folder):
    """How many links were followed, and what is wrong."""
    folder = Path(folder)
    pages = {path: Page(path.read_text(encoding="utf-8")) for path in sorted(folder.rglob("*.html"))}
    followed, problems = 0, []
    for path, page in pages.items():
        name = path.relative_to(folder).as_posix()
        for link, loaded in page.links:
            parts = urlsplit(link)
            if parts.scheme == "data":
                continue
            if parts.scheme or parts.netloc:
                if loaded:
                    problems.append(f"{name} loads {link} from the network")
                continue
            followed += 1
            target = (path.parent / unquote(parts.path)).resolve() if parts.path else path
            if target.is_dir():
                target /= "index.html"
            if not target.is_file():
                problems.append(f"{name} links to {link}, which is not there")
            elif folder.resolve() not in target.parents:
                problems.append(f"{name} links to {link}, which is outside of the pages")
            elif parts.fragment and target.suffix == ".html":
                known = pages[path if not parts.path else folder / target.relative_to(folder.resolve())].anchors
                if unquote(parts.fragment) not in known:
                    problems.append(f"{name} links to {link}, and the page has no such place")
    return followed, problems


def main():
    if len(sys.argv) != 2:
        print(__doc__, file=sys.stderr)
        return 2
    followed, problems = check_site(sys.argv[1])
    for problem in problems:
        print(problem, file=sys.stderr)
    print(f"check_links: {followed} links, {len(problems)} problems")
    return 1 if problems or followed == 0 else 0


if __name__ == "__main__":
    sys.exit(main())
