#!/usr/bin/env python3
"""Checks that the tree says what is so.

- Every folder named in the first column of README.md's layout table exists.
- The umbrella header <ipmodel/ipmodel.h> reaches every public header: the
  hand-written headers of the installed folders and every generated header.

Usage: check-tree.py --root SRC --cxx COMPILER --include DIR --gen DIR
"""
import argparse
import os
import re
import subprocess
import sys


def readme_folders(root):
    folders = []
    in_table = False
    with open(os.path.join(root, "README.md"), encoding="utf-8") as f:
        for line in f:
            if line.startswith("| Folder |"):
                in_table = True
                continue
            if in_table:
                if not line.startswith("|"):
                    break
                m = re.match(r"\|\s*`([^`]+)`", line)
                if m:
                    folders.append(m.group(1))
    return folders


def public_headers(include_dir, gen_dir):
    """Real paths of every header a user can include."""
    found = set()
    for top in (os.path.join(include_dir, "ipmodel"), os.path.join(gen_dir, "ipmodel")):
        for dirpath, dirnames, filenames in os.walk(top, followlinks=True):
            dirnames[:] = [d for d in dirnames if d not in ("tests", "internal", "test")]
            for name in filenames:
                if name.endswith(".h"):
                    found.add(os.path.realpath(os.path.join(dirpath, name)))
    return found


def reached_headers(cxx, include_dir, gen_dir):
    umbrella = os.path.join(include_dir, "ipmodel", "ipmodel.h")
    out = subprocess.run(
        [cxx, "-std=c++20", "-x", "c++", "-M", "-I", include_dir, "-I", gen_dir, umbrella],
        check=True, capture_output=True, text=True).stdout
    paths = out.replace("\\\n", " ").split(":", 1)[1].split()
    return {os.path.realpath(p) for p in paths}


def main():
    ap = argparse.ArgumentParser()
    ap.add_argument("--root", required=True)
    ap.add_argument("--cxx", required=True)
    ap.add_argument("--include", required=True)
    ap.add_argument("--gen", required=True)
    a = ap.parse_args()

    errors = []
    for folder in readme_folders(a.root):
        if not os.path.isdir(os.path.join(a.root, folder)):
            errors.append(f"README.md names {folder}, which does not exist")
    if not readme_folders(a.root):
        errors.append("README.md: no layout table found")

    reached = reached_headers(a.cxx, a.include, a.gen)
    umbrella = os.path.realpath(os.path.join(a.include, "ipmodel", "ipmodel.h"))
    for header in sorted(public_headers(a.include, a.gen) - reached - {umbrella}):
        errors.append(f"<ipmodel/ipmodel.h> does not reach {header}")

    for e in errors:
        print(e, file=sys.stderr)
    return 1 if errors else 0


if __name__ == "__main__":
    sys.exit(main())
