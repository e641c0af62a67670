"""orvgen MODEL [--import MODEL]... [--root DIR]... --out DIR [--folder NAME]
       [--depfile FILE]

Writes DIR/ipmodel/<folder>/<Unit>.{h,fwd.h,cpp}. Files whose content did
not change are left untouched, so their dependents do not rebuild. An
imported unit's model file is found in the unit folders beside the model's
own folder or below a --root. --depfile writes a make-style dependency file
naming the outputs and every model file read, so the build reruns the
generator when an imported model changes without listing the imports. On any
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
    ap.add_argument("--root", dest="roots", action="append", default=[])
    ap.add_argument("--depfile")
    args = ap.parse_args(argv)
    read = []
    try:
        unit = load(args.model, args.imports, args.folder, roots=args.roots, read=read)
        files = emit_unit(unit)
    except ModelError as e:
        print(str(e), file=sys.stderr)
        return 1
    out = os.path.join(args.out, "ipmodel", unit.folder)
    os.makedirs(out, exist_ok=True)
    for name, text in sorted(files.items()):
        write_if_changed(os.path.join(out, name), text)
    if args.depfile:
        # Header first: the build declares the outputs as .h, .fwd.h, .cpp
        # and expects the depfile to name them in that order.
        order = [f"{unit.name}.h", f"{unit.name}.fwd.h", f"{unit.name}.cpp"]
        targets = " ".join(_dep_escape(os.path.join(out, n)) for n in order + sorted(set(files) - set(order)))
        deps = " ".join(_dep_escape(p) for p in dict.fromkeys(read))
        write_if_changed(args.depfile, f"{targets}: {deps}\n")
    return 0


def _dep_escape(path):
    return os.path.abspath(path).replace(" ", "\\ ")


if __name__ == "__main__":
    sys.exit(main())
