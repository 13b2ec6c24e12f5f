#!/usr/bin/env bash
# Makes the documents a site, build/docs/site/index.html: guide, tool, Python, how it works, and the reference of the C++
# interface. A link that leads nowhere, and what Doxygen warns of, fail it. Installs mkdocs and Doxygen if they are missing.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

missing=()
for package in mkdocs doxygen; do
    command -v "$package" >/dev/null || missing+=("$package")
done
if ((${#missing[@]})); then
    if ((EUID == 0)); then as_root=(); else as_root=(sudo); fi
    "${as_root[@]}" apt-get update -q
    "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -q -y --no-install-recommends "${missing[@]}"
fi

pages=build/docs/pages
rm -rf build/docs
mkdir -p "$pages"
cp docs/*.md docs/*.json "$pages"
cp -r docs/pictures "$pages"
mkdir "$pages/figures" && cp docs/figures/*.svg "$pages/figures"
cp -r docs/decisions "$pages"
# The two pages of the root, with links from where they now lie.
sed -E 's|\(docs/|(|g; s|\[([^]]*)\]\((include/zef\|examples\|LICENSE\|CONTRIBUTING.md\|packaging)\)|\1|g; s|\(CHANGELOG.md\)|(changelog.md)|g' \
    README.md >"$pages/index.md"
sed -E 's|\(docs/|(|g' CHANGELOG.md >"$pages/changelog.md"
sed -i -E 's|\[([^]]*)\]\(\.\./[^)]*\)|\1|g' "$pages"/*.md "$pages"/decisions/*.md
# From the docstrings, which the built module completes with the options.
python=$(sed -n 's/^Python_EXECUTABLE:[^=]*=//p' build/release/CMakeCache.txt 2>/dev/null || true)
if PYTHONPATH=build/release/python "${python:-/usr/bin/python3}" - >"$pages/python_reference.md" <<'PYTHON'
import inspect, zef

def show(name, thing, level):
    try:
        signature = str(inspect.signature(thing))
    except (TypeError, ValueError):
        signature = ""
    print("%s %s\n\n```\n%s%s\n```\n\n```\n%s\n```\n" % ("#" * level, name, name, signature, inspect.getdoc(thing) or "-"))

print("# Python reference\n\nAs `help(zef)` tells it.\n")
for name in sorted(n for n in dir(zef) if not n.startswith("_")):
    thing = getattr(zef, name)
    if not callable(thing):
        continue
    show(name, thing, 2)
    if inspect.isclass(thing) and not issubclass(thing, BaseException):
        for member, value in sorted(vars(thing).items()):
            if not member.startswith("_") and callable(value):
                show("%s.%s" % (name, member), value, 3)
for name in zef.tiles.__all__:
    show("tiles.%s" % name, getattr(zef.tiles, name), 2)
PYTHON
then :; else
    echo "docs: the Python module is not built in build/release, so that its reference is empty" >&2
    echo "Not built." >"$pages/python_reference.md"
fi
echo '<p><a href="api/index.html">Reference of the C++ interface</a></p>' >>"$pages/index.md"
mkdocs build --strict --quiet
doxygen docs/Doxyfile

# mkdocs looks at links among its pages; here are those of all files.
python3 - build/docs/site <<'PYTHON'
import html.parser, pathlib, sys, urllib.parse
root = pathlib.Path(sys.argv[1]).resolve()

class Links(html.parser.HTMLParser):
    def __init__(self):
        super().__init__()
        self.found, self.names = [], set()
    def handle_starttag(self, tag, attributes):
        for name, value in attributes:
            if name in ("href", "src") and value:
                self.found.append(value)
            if name in ("id", "name") and value:
                self.names.add(value)

pages = {}
for path in root.rglob("*.html"):
    pages[path] = Links()
    pages[path].feed(path.read_text(encoding="utf-8", errors="replace"))
bad = []
for path, links in pages.items():
    for link in links.found:
        parts = urllib.parse.urlsplit(link)
        if parts.scheme or parts.netloc or link.startswith(("javascript:", "#")):
            continue
        target = (root / parts.path[1:] if parts.path.startswith("/") else path.parent / urllib.parse.unquote(parts.path)).resolve()
        if target.is_dir():
            target /= "index.html"
        if not target.exists():
            bad.append("%s: %s leads nowhere" % (path.relative_to(root), link))
        elif parts.fragment and target in pages and "api" not in target.parts and urllib.parse.unquote(parts.fragment) not in pages[target].names:
            bad.append("%s: %s has no such place" % (path.relative_to(root), link))
print("\n".join(sorted(set(bad))) or "docs: %d pages, all links lead somewhere" % len(pages))
sys.exit(bool(bad))
PYTHON
echo "docs: build/docs/site/index.html"
