"""Reads coverage in lcov's format, prints what is not covered and why.

Usage: coverage_report.py COVERAGE REASONS

REASONS has a line "file name | part of the source line | reason" for each source line that the
tests can't cover whole. A reason whose line is covered, or is gone, is named too.
"""
import pathlib
import sys

MIN_LINES, MIN_BRANCHES = 98.0, 95.0


def read_coverage(path):
    """Yields (source path, line number, runs, branches, branches taken) for each line of code."""
    source, lines = None, {}
    for record in pathlib.Path(path).read_text().splitlines():
        kind, _, rest = record.partition(":")
        if kind == "SF":
            source, lines = pathlib.Path(rest), {}
        elif kind == "DA":
            number, runs = rest.split(",")[:2]
            lines.setdefault(int(number), [0, 0, 0])[0] = int(runs)
        elif kind == "BRDA":
            number, _, _, taken = rest.split(",")
            line = lines.setdefault(int(number), [0, 0, 0])
            line[1] += 1
            line[2] += taken not in ("-", "0")
        elif record == "end_of_record":
            yield from ((source, number, *counts) for number, counts in sorted(lines.items()))


def read_reasons(path):
    rows = [row.split(" | ") for row in pathlib.Path(path).read_text().splitlines() if row]
    return [tuple(row) for row in rows]


def percent(part, whole):
    return 100.0 * part / whole


def uncovered(rows):
    """Groups neighbouring lines of a file that never ran; yields (source, first, last, what)."""
    group = None
    for source, number, runs, branches, taken in rows:
        if group and (runs > 0 or group[0] != source or group[2] + 1 < number):
            yield *group, "not run"
            group = None
        if runs == 0:
            group = (source, group[1] if group else number, number)
        elif taken < branches:
            yield source, number, number, f"{branches - taken} of {branches} branches not taken"
    if group:
        yield *group, "not run"


def main():
    rows = list(read_coverage(sys.argv[1]))
    reasons = read_reasons(sys.argv[2])
    used = set()
    for source, first, last, what in uncovered(rows):
        text = source.read_text().splitlines()[first - 1].strip()
        reason = next((r for r in reasons if r[0] == source.name and r[1] in text), None)
        used.add(reason)
        where = f"{source.name}:{first}" + (f"-{last}" if last > first else "")
        print(f"{where}: {text}\n    {what}: {reason[2] if reason else 'NO REASON'}")
    for reason in reasons:
        if reason not in used:
            print(f"covered, or gone, but has a reason: {' | '.join(reason)}")
    lines = percent(sum(row[2] > 0 for row in rows), len(rows))
    taken = percent(sum(row[4] for row in rows), sum(row[3] for row in rows))
    print(f"lines {lines:.2f} %, branches {taken:.2f} %")
    sound = lines >= MIN_LINES and taken >= MIN_BRANCHES
    return 0 if sound else 1


sys.exit(main())
