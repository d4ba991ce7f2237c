#!/usr/bin/env python3
"""Every link and picture of the built pages leads to a file of theirs and to a place in it, and the navigation holds what a
reader looks for.

    tests/site_links.py HTML_FOLDER
"""
import html.parser
import pathlib
import sys
import urllib.parse

# A page of each kind, and names that were once missing: free functions, enumerations, values of one.
WANTED = ["SetNumThreads", "Mode", "ModeMaskedPhase", "CreateFileSegLm", "AddPointCloud", "Advise", "PropagateTo", "LargeAsmProp", "SavePicture"]


class Page(html.parser.HTMLParser):
    def __init__(self, path):
        super().__init__()
        self.links, self.places = [], set()
        self.feed(path.read_text(encoding="utf-8"))

    def handle_starttag(self, tag, attributes):
        for name, value in attributes:
            if name in ("href", "src") and value:
                self.links.append(value)
            elif name == "id" or (name == "name" and tag == "a"):
                self.places.add(value)


def main():
    folder = pathlib.Path(sys.argv[1]).resolve()
    pages = {path: Page(path) for path in sorted(folder.glob("*.html"))}
    broken = []
    for path, page in pages.items():
        for link in page.links:
            parts = urllib.parse.urlsplit(link)
            if parts.scheme or link.startswith("//"):
                continue
            target = folder / urllib.parse.unquote(parts.path) if parts.path else path
            if not target.exists():
                broken.append("%s: no such file: %s" % (path.name, link))
            elif parts.fragment and target in pages and urllib.parse.unquote(parts.fragment) not in pages[target].places:
                broken.append("%s: no such place: %s" % (path.name, link))
    index = "".join(p.read_text(encoding="utf-8") for p in (folder / "search").glob("all_*.js"))
    broken += ["not to be found: %s" % name for name in WANTED if "'%s'" % name not in index]
    links = sum(len(page.links) for page in pages.values())
    if broken or len(pages) < 50 or links < 1000:
        sys.exit("%s\n%d pages, %d links" % ("\n".join(broken[:50]), len(pages), links))
    print("%d pages, %d links" % (len(pages), links))


if __name__ == "__main__":
    main()
