"""orvgen MODEL [--import MODEL]... --out DIR [--folder NAME]

Writes DIR/ipmodel/<folder>/<Unit>.{h,fwd.h,cpp}. Files whose content did
not change are left untouched, so their dependents do not rebuild. On any
error nothing is written and the exit status is 1.
"""

import argparse
import os
import sys

from .emit import emit_unit
from .errors import ModelError
from .loader import load


def write_if_changed(path, text):
    try:
        with open(path, encoding="utf-8") as f:
            if f.read() == text:
                return False
    except FileNotFoundError:
        pass
    tmp = path + ".tmp"
    with open(tmp, "w", encoding="utf-8") as f:
        f.write(text)
    os.replace(tmp, path)
    return True


def main(argv=None):
    ap = argparse.ArgumentParser(prog="orvgen")
    ap.add_argument("model")
    ap.add_argument("--import", dest="imports", action="append", default=[])
    ap.add_argument("--out", required=True)
    ap.add_argument("--folder")
    args = ap.parse_args(argv)
    try:
        unit = load(args.model, args.imports, args.folder)
        files = emit_unit(unit)
    except ModelError as e:
        print(str(e), file=sys.stderr)
        return 1
    out = os.path.join(args.out, "ipmodel", unit.folder)
    os.makedirs(out, exist_ok=True)
    for name, text in sorted(files.items()):
        write_if_changed(os.path.join(out, name), text)
    return 0


if __name__ == "__main__":
    sys.exit(main())
