#!/usr/bin/env python3
"""Checks that every link inside a site has a target.

usage: links.py FOLDER

Prints each link to a file or section that does not exist, and each resource that is loaded from another site.
"""
import os
import sys
from html.parser import HTMLParser
from urllib.parse import unquote, urlsplit


class Page(HTMLParser):
    def __init__(self, path):
        super().__init__()
        self.links, self.loaded, self.places = set(), set(), {""}
        with open(path, encoding="utf-8") as file:
            self.feed(file.read())

    def handle_starttag(self, tag, attributes):
        for name, value in attributes:
            if name in ("id", "name"):
                self.places.add(value)
            elif name in ("href", "src") and value:
                self.links.add(value)
                if tag != "a":
                    self.loaded.add(value)


def problems(site):
    pages = {os.path.join(folder, name): None for folder, _, names in os.walk(site) for name in names if name.endswith(".html")}
    if not pages:
        yield f"{site} has no pages"
    for path in pages:
        pages[path] = Page(path)
    for path, page in sorted(pages.items()):
        where = os.path.relpath(path, site)
        for link in sorted(page.links):
            parts = urlsplit(link)
            if parts.scheme or parts.netloc:
                if link in page.loaded and parts.scheme not in ("data", "javascript"):
                    yield f"{where} loads {link}"
                continue
            base = site if parts.path.startswith("/") else os.path.dirname(path)
            target = os.path.normpath(os.path.join(base, unquote(parts.path).lstrip("/"))) if parts.path else path
            if os.path.isdir(target):
                target = os.path.join(target, "index.html")
            if not os.path.exists(target):
                yield f"{where}: missing file {link}"
            elif target in pages and unquote(parts.fragment) not in pages[target].places:
                yield f"{where}: missing section {link}"


found = list(problems(sys.argv[1]))
print(*found, sep="\n", end="\n" if found else "")
sys.exit(bool(found))
