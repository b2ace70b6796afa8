#!/usr/bin/env python3
"""Puts deliberate faults into the sources one at a time and runs the tests that should catch them.

Each fault in scripts/mutants.txt is a block:

    [library] what the fault is
    file: path/in/repository
    from: text that occurs exactly once in the file
    to: what it becomes
    check: BUILD-FOLDER TARGET [TARGET...]   (native, native-tsan or mingw)

A fault is caught when the build fails or when a test of the named test programs fails. The file is restored
after each fault, whatever happens. Run through `./dev mutants [FILTER]` (a regex on the titles).
"""
import pathlib, re, subprocess, sys, time

repo = pathlib.Path(__file__).resolve().parent.parent


def read_mutants(path):
    mutants, current = [], None
    for line in path.read_text().splitlines():
        if line.startswith("#") or not line.strip():
            continue
        if line.startswith("["):
            current = {"title": line.strip()}
            mutants.append(current)
            continue
        key, _, value = line.partition(": ")
        if current is None or key not in ("file", "from", "to", "check"):
            sys.exit(f"mutants.txt: cannot read line: {line}")
        current[key] = value.replace("\\n", "\n")
    for mutant in mutants:
        missing = {"file", "from", "to", "check"} - mutant.keys()
        if missing:
            sys.exit(f"mutants.txt: {mutant['title']} lacks {', '.join(sorted(missing))}")
    return mutants


def run(mutant, prefix):
    source = repo / mutant["file"]
    original = source.read_text()
    if original.count(mutant["from"]) != 1:
        return "NOT APPLIED (text not found exactly once)"
    preset, *targets = mutant["check"].split()
    labels = "^(" + "|".join(targets) + ")$"
    build = repo / "build" / f"{prefix}{preset}"
    if not (build / "CMakeCache.txt").exists():
        return f"NOT RUN ({build} is not configured)"
    try:
        source.write_text(original.replace(mutant["from"], mutant["to"]))
        built = subprocess.run(["cmake", "--build", str(build), "--target", *targets],
                               stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        if built.returncode != 0:
            return "caught (does not build)"
        tests = subprocess.run(["ctest", "--test-dir", str(build), "--timeout", "240", "-j2",
                                "--no-tests=error", "-L", labels],
                               stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
        failed = re.findall(r"^\s+\d+ - (\S+)", tests.stdout.split("The following tests FAILED:")[-1],
                            re.MULTILINE) if tests.returncode else []
        if tests.returncode == 0:
            return "SURVIVED"
        return "caught by " + (", ".join(failed[:4]) if failed else "ctest")
    finally:
        source.write_text(original)
        # Put the build back the way it was so that the next fault starts from the real code.
        subprocess.run(["cmake", "--build", str(build), "--target", *targets],
                       stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)


def main():
    import os
    title_filter = re.compile(sys.argv[1] if len(sys.argv) > 1 else "")
    prefix = os.environ.get("LUMARO_BUILD_PREFIX", "")
    mutants = [m for m in read_mutants(repo / "scripts" / "mutants.txt") if title_filter.search(m["title"])]
    survivors = 0
    for mutant in mutants:
        started = time.monotonic()
        verdict = run(mutant, prefix)
        survivors += not verdict.startswith("caught")
        print(f"{mutant['title']}: {verdict} ({time.monotonic() - started:.0f} s)", flush=True)
    print(f"{len(mutants) - survivors} of {len(mutants)} faults caught")
    return 1 if survivors else 0


if __name__ == "__main__":
    sys.exit(main())
