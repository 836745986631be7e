"""Prints each function, branch and condition that the tests did not reach, and the reason.

Usage: coverage_report.py COVERAGE FUNCTIONS REASONS

COVERAGE is the JSON export of llvm-cov. FUNCTIONS is llvm-profdata's list of all functions.
Functions that are not in that list are left out: they run only at compile time. A branch counts
once for true and once for false. A condition counts when two runs show that it alone decides (modified
condition/decision coverage). REASONS has a line "file name | part of the source line | reason" for
each source line that can't be reached completely. Anything else that is not reached is a failure. A
reason is a failure when its line is reached or does not exist.
"""
import collections
import json
import pathlib
import re
import sys


def read_branches(files):
    """How often each place was true and false. All instances of a template are one place."""
    runs = collections.defaultdict(lambda: [0, 0])
    for file in files:
        for line, column, last_line, last_column, true, false, *_ in file["branches"]:
            count = runs[file["filename"], line, column, last_line, last_column]
            count[0] += true
            count[1] += false
    return runs


def read_conditions(files):
    """Whether two runs show that it decides alone, for each condition of each decision."""
    shown = {}
    for file in files:
        for line, column, last_line, last_column, *_, conditions in file["mcdc_records"]:
            place = file["filename"], line, column, last_line, last_column
            before = shown.get(place, [False] * len(conditions))
            shown[place] = [a or b for a, b in zip(before, conditions)]
    return shown


def missing(data, compiled):
    """Yields (file, line, what) for each thing that the tests did not reach."""
    sources = {file["filename"] for file in data["files"]}
    run_lines = collections.Counter()
    for function in data["functions"]:
        if function["filenames"][0] in sources and function["name"] in compiled:
            run_lines[function["filenames"][0], function["regions"][0][0]] += function["count"]
    for (source, line), count in run_lines.items():
        if count == 0:
            yield source, line, "function never run"
    for (source, line, *_), counts in read_branches(data["files"]).items():
        for value, count in zip(("true", "false"), counts):
            if count == 0:
                yield source, line, f"never {value}"
    for (source, line, *_), conditions in read_conditions(data["files"]).items():
        for number, is_shown in enumerate(conditions, 1):
            if not is_shown:
                yield source, line, f"condition {number} never decides alone"


def share(reached, total):
    return f"{reached} of {total} ({100 * reached / total:.1f} %)"


def main():
    data = json.loads(pathlib.Path(sys.argv[1]).read_text())["data"][0]
    compiled = set(re.findall(r"^  (\S+):$", pathlib.Path(sys.argv[2]).read_text(), re.MULTILINE))
    rows = pathlib.Path(sys.argv[3]).read_text().splitlines()
    reasons = [row.split(" | ") for row in rows if row]
    used, unexplained = [], 0
    for source, line, what in sorted(set(missing(data, compiled))):
        path = pathlib.Path(source)
        text = path.read_text().splitlines()[line - 1].strip()
        reason = next((r for r in reasons if r[0] == path.name and r[1] in text), None)
        used.append(reason)
        unexplained += reason is None
        print(f"{path.name}:{line}: {text}\n    {what}: {reason[2] if reason else 'NO REASON'}")
    idle = [reason for reason in reasons if reason not in used]
    for reason in idle:
        print(f"has a reason, but is reached or does not exist: {' | '.join(reason)}")
    sides = [count > 0 for counts in read_branches(data["files"]).values() for count in counts]
    conditions = [c for row in read_conditions(data["files"]).values() for c in row]
    print(f"branches {share(sum(sides), len(sides))}, "
          f"conditions {share(sum(conditions), len(conditions))}")
    return 1 if unexplained or idle else 0


sys.exit(main())
