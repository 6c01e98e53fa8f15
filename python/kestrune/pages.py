"""The self-contained HTML pages: a template of this package with the shared
style and the page's data put in, written as one file that needs nothing
else to open."""
import json
import os

_HERE = os.path.dirname(__file__)


def _read(name):
    with open(os.path.join(_HERE, name)) as f:
        return f.read()


def escape(text):
    return str(text).replace("&", "&amp;").replace("<", "&lt;").replace(">", "&gt;")


def write_page(template, path, title, data):
    """Fill `template` (a file beside this module) and write it to `path`:
    its title, the shared style, and `data` as JSON for its script."""
    payload = json.dumps(data).replace("</", "<\\/")  # keep the data from closing its script tag
    page = _read(template).replace("/*BASE*/", _read("page_base.css"))
    page = page.replace("/*DATA*/null", payload).replace("{{TITLE}}", escape(title))
    with open(path, "w") as f:
        f.write(page)
