#!/usr/bin/env python3
"""Counts non-blank, non-comment lines of the tests against those of the code.

Usage: scripts/count-lines.py   (from the repository root)
Code is sdk/, src/, tools/ and include/; tests are tests/. C++ sources and headers and Python
scripts count; data files (reference documents, STL files) do not.
"""
import pathlib
import re

SUFFIXES = {".cpp", ".h", ".py"}


def count(path):
    text = path.read_text(encoding="utf-8", errors="replace")
    if path.suffix == ".py":
        return sum(1 for line in text.splitlines()
                   if line.strip() and not line.strip().startswith("#"))
    text = re.sub(r"/\*.*?\*/", "", text, flags=re.S)
    return sum(1 for line in text.splitlines()
               if line.strip() and not line.strip().startswith("//"))


def total(folders):
    return sum(count(p) for folder in folders for p in pathlib.Path(folder).rglob("*")
               if p.suffix in SUFFIXES and p.is_file())


code = total(["sdk", "src", "tools", "include"])
tests = total(["tests"])
print(f"tests {tests}, code {code}: {100.0 * tests / code:.1f} %")
