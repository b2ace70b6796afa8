#!/usr/bin/env python3
"""Renames data members to the project's one style, mName: `name_` and `m_name` become `mName`.

Runs over the C++ sources (and the deliberate faults, which quote code) given on the command line,
or over every tracked .h and .cpp file and scripts/mutants.txt. String and character literals are
left alone; comments are renamed with the code they describe. Running it twice changes nothing.
`./dev lint` checks the style with clang-tidy afterwards.
"""
import pathlib
import re
import subprocess
import sys

repo = pathlib.Path(__file__).resolve().parent.parent
trailing = re.compile(r"\b([a-z][A-Za-z0-9]*)_\b")
prefixed = re.compile(r"\bm_([A-Za-z][A-Za-z0-9]*)\b")
literal = re.compile(r'"(?:\\.|[^"\\\n])*"|\'(?:\\.|[^\'\\\n])*\'')


def member(name):
    return "m" + name[0].upper() + name[1:]


def rename_code(code):
    code = trailing.sub(lambda m: member(m.group(1)), code)
    return prefixed.sub(lambda m: member(m.group(1)), code)


def rename(text):
    out, last = [], 0
    for match in literal.finditer(text):
        out.append(rename_code(text[last:match.start()]))
        out.append(match.group(0))
        last = match.end()
    out.append(rename_code(text[last:]))
    return "".join(out)


def main():
    if len(sys.argv) > 1:
        paths = [pathlib.Path(p) for p in sys.argv[1:]]
    else:
        listed = subprocess.run(["git", "ls-files", "*.h", "*.cpp"], cwd=repo, capture_output=True, text=True,
                                check=True).stdout.split()
        paths = [repo / p for p in listed if not p.startswith("testdata/")] + [repo / "scripts/mutants.txt"]
    changed = 0
    for path in paths:
        text = path.read_text()
        renamed = rename(text)
        if renamed != text:
            path.write_text(renamed)
            changed += 1
    print(f"member-names: {changed} files changed")


if __name__ == "__main__":
    main()
