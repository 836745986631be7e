#!/usr/bin/env python3
"""Measures in rounds, prints one table, and writes docs/performance.md and its plots."""
import argparse
import math
import os
import pathlib
import subprocess
import sys
from dataclasses import dataclass

from rounds import HONEST_KINDS, HOSTILE_KINDS, OPENINGS, Plan, measure, median, quartiles

STREAM_NAMES = {"16-44": "16/44.1 stereo", "24-96": "24/96 stereo", "24-192x6": "24/192, 6 channels"}
READ_NAMES = {
    "copies": "two copies",
    "memchr": "two copies, memchr",
    "pairs": "two copies, pair search",
    "searched": "demuxer, searched",
    "plugin": "plug-in, searched",
    "fixed": "demuxer, fixed-size",
    "peer": "libavformat",
}
READ_LIMITS = {"searched": ["memchr", "pairs"], "plugin": ["searched"], "fixed": ["copies"]}
TIMED_NAMES = {"demuxer": "demuxer", "copy": "copy", "peer": "libavformat"}
CLOSE = 1.1  # within a tenth of a target counts as met
FAR_OFF = 2.0  # beyond it something is broken, unless the machine is very busy
EXIT_FAR_OFF = 3


@dataclass
class Row:
    section: str
    case: str
    what: str
    value: str
    spread: str
    limit: str = ""
    peer: str = ""


@dataclass
class Target:
    what: str
    values: list
    bound: float
    at_least: bool  # else at most

    def shortfall(self):
        """1 at the bound, below it when the target is more than met."""
        value = median(self.values)
        return self.bound / value if self.at_least else value / self.bound

    def verdict(self):
        if self.shortfall() <= 1:
            return "met"
        return "within 10 %" if self.shortfall() <= CLOSE else "**missed**"


def gigabytes(record):
    return record["bytes_per_second"] / 1e9


def microseconds_per_seek(record):
    return 1e6 / record["items_per_second"]


def microseconds(record):
    return record["cpu_time"] / 1e3  # the program reports nanoseconds


def milliseconds(record):
    return record["cpu_time"]  # and for hostile streams milliseconds


def figure(value):
    """Three digits that mean something."""
    return f"{value:.{max(0, 2 - math.floor(math.log10(value)))}f}"


def spread(values):
    return " - ".join(map(figure, quartiles(values)))


def ratio(results, above, below, read):
    return median(results.ratios(above, below, read))


def read_rows(results, plan):
    for stream in plan.streams:
        for variant, what in READ_NAMES.items():
            name = f"read/{stream}/{variant}"
            if not results.has(name):
                continue
            values = results.values(name, gigabytes)
            row = Row("reading, GB/s", STREAM_NAMES[stream], what, figure(median(values)),
                      spread(values))
            limits = [(limit, ratio(results, name, f"read/{stream}/{limit}", gigabytes))
                      for limit in READ_LIMITS.get(variant, [])]
            row.limit = ", ".join(f"{value:.2f} of {limit}" for limit, value in limits)
            peer = f"read/{stream}/peer"
            if results.has(peer) and variant in READ_LIMITS:
                row.peer = f"{ratio(results, name, peer, gigabytes):.1f} x"
            yield row


def timed_rows(results, section, group, cases, read):
    """Openings and seeks: a time, beside that of the copy and the peer's."""
    for case, case_name in cases.items():
        for variant, what in TIMED_NAMES.items():
            name = f"{group}/{case}/{variant}"
            if not results.has(name):
                continue
            values = results.values(name, read)
            row = Row(section, case_name, what, figure(median(values)), spread(values))
            if variant == "demuxer":
                copy, peer = f"{group}/{case}/copy", f"{group}/{case}/peer"
                row.limit = f"{ratio(results, name, copy, read):.2f} x copy"
                if results.has(peer):
                    row.peer = f"{ratio(results, peer, name, read):.1f} x"
            yield row


def hostile_medians(results, plan, kind_and_ring):
    return [median(results.values(f"hostile/{kind_and_ring}/{mib}", milliseconds))
            for mib in plan.sizes]


def growth_exponent(sizes, times):
    """The slope of a straight line through the points, both axes logarithmic."""
    xs, ys = [math.log(size) for size in sizes], [math.log(time) for time in times]
    mean_x, mean_y = sum(xs) / len(xs), sum(ys) / len(ys)
    over = sum((x - mean_x) * (y - mean_y) for x, y in zip(xs, ys))
    return over / sum((x - mean_x) ** 2 for x in xs)


def peer_hostile(results, plan, kind):
    """The peer's time, or how far it came in the time that it was given; empty without it."""
    name = f"hostile/{kind}/peer/{plan.peer_size}"
    if not results.has(name):
        return ""
    time = figure(median(results.values(name, milliseconds)))
    stopped = [record for record in results.records[name] if record["was_stopped"]]
    if not stopped:
        return time
    reached = median([record["source_bytes"] for record in stopped]) / 2**20
    return f"stopped after {reached:.1f} MiB: {time}"


def hostile_lines(results, plan):
    """Kind, ring, a time for each size, growth exponent, the peer's time."""
    def line(kind, ring, times, peer):
        exponent = f"{growth_exponent(plan.sizes, times):.2f}"
        return [kind, ring, *map(figure, times), exponent, peer]

    yield line("random bytes", "two copies, pair search", hostile_medians(results, plan, "limit"),
               "")
    for kind in HOSTILE_KINDS:
        for ring in plan.rings:
            times = hostile_medians(results, plan, f"{kind}/{ring}")
            peer = peer_hostile(results, plan, kind) if ring == plan.rings[0] else ""
            yield line(kind, ring, times, peer)


def hostile_titles(plan):
    return ["bytes", "", *(f"{mib} MiB" for mib in plan.sizes), "exponent",
            f"libavformat, {plan.peer_size} MiB"]


def hostile_rows(results, plan):
    """The same for the one table: the spread is that of the largest size."""
    for kind, ring, *times, exponent, peer in hostile_lines(results, plan):
        name = f"{kind}/{ring}" if ring in plan.rings else "limit"
        last = results.values(f"hostile/{name}/{plan.sizes[-1]}", milliseconds)
        yield Row(f"hostile, ms at {', '.join(map(str, plan.sizes))} MiB", kind, ring,
                  ", ".join(times), spread(last), f"exponent {exponent}", peer)


def hostile_seek_lines(results, plan):
    """Kind, and for each ring the time and its ratio to each honest stream's."""
    def time(kind, ring):
        return median(results.values(f"hostile-seek/{kind}/{ring}", milliseconds))

    for kind in [*HONEST_KINDS, *HOSTILE_KINDS]:
        cells = []
        for ring in plan.rings:
            cells.append(figure(time(kind, ring)))
            cells += [figure(time(kind, ring) / time(honest, ring)) for honest in HONEST_KINDS]
        yield [kind, *cells]


def hostile_seek_titles(plan):
    return ["bytes", *(title for ring in plan.rings
                       for title in (f"{ring}, ms", *(f"times {kind}" for kind in HONEST_KINDS)))]


def named_streams(plan):
    return {stream: STREAM_NAMES[stream] for stream in plan.streams}


def all_rows(results, plan):
    openings = {case: case for case in OPENINGS}
    return [*read_rows(results, plan),
            *timed_rows(results, "opening, us", "open", openings, microseconds),
            *timed_rows(results, "seek and read, us", "seek", named_streams(plan),
                        microseconds_per_seek),
            *hostile_rows(results, plan)]


def stream_targets(results, stream):
    def reading(above, below):
        return results.ratios(f"read/{stream}/{above}", f"read/{stream}/{below}", gigabytes)

    def seeking(above, below):
        return results.ratios(f"seek/{stream}/{above}", f"seek/{stream}/{below}",
                              microseconds_per_seek)

    name = STREAM_NAMES[stream]
    yield Target(f"searched, of memchr, {name}", reading("searched", "memchr"), 0.7, True)
    yield Target(f"plug-in, of searched, {name}", reading("plugin", "searched"), 0.8, True)
    yield Target(f"fixed-size, of two copies, {name}", reading("fixed", "copies"), 0.85, True)
    yield Target(f"seek, times its copy, {name}", seeking("demuxer", "copy"), 1.5, False)
    if results.has(f"read/{stream}/peer"):
        yield Target(f"searched, times libavformat, {name}", reading("searched", "peer"), 3.5, True)
        yield Target(f"seek, times faster than libavformat, {name}", seeking("peer", "demuxer"), 6,
                     True)


def opening_targets(results):
    def opening(case, above, below):
        return results.ratios(f"open/{case}/{above}", f"open/{case}/{below}", microseconds)

    if results.has("open/bare/peer"):
        yield Target("open, bare, times faster than libavformat", opening("bare", "peer", "demuxer"),
                     10, True)
    yield Target("open, tagged, times its copy", opening("tagged", "demuxer", "copy"), 1.5, False)
    yield Target("open, tagged, fresh pages, times its copy",
                 opening("tagged-fresh", "demuxer", "copy"), 1.5, False)


def hostile_targets(results, plan):
    per_16_mib, exponents = [], []
    for kind in HOSTILE_KINDS:
        for ring in plan.rings:
            times = hostile_medians(results, plan, f"{kind}/{ring}")
            per_16_mib += [time * 16 / mib for time, mib in zip(times, plan.sizes)]
            exponents.append(growth_exponent(plan.sizes, times))
    yield Target("hostile, worst ms per 16 MiB", [max(per_16_mib)], 150, False)
    yield Target("hostile, worst growth exponent", [max(exponents)], 1.1, False)


def all_targets(results, plan):
    targets = []
    for stream in plan.streams:
        targets += stream_targets(results, stream)
    return [*targets, *opening_targets(results), *hostile_targets(results, plan)]


ROW_TITLES = ["case", "what", "median", "quartiles", "against the limit", "against libavformat"]
TARGET_TITLES = ["target", "wanted", "measured", "quartiles", ""]


def row_cells(row):
    return [row.case, row.what, row.value, row.spread, row.limit, row.peer]


def target_cells(target):
    wanted = f"{'at least' if target.at_least else 'at most'} {target.bound:g}"
    several = spread(target.values) if len(target.values) > 1 else ""
    return [target.what, wanted, figure(median(target.values)), several, target.verdict()]


def print_table(lines):
    widths = [max(map(len, column)) for column in zip(*lines)]
    for line in lines:
        print("  ".join(cell.ljust(width) for cell, width in zip(line, widths)).rstrip())


def markdown_table(titles, lines):
    out = ["| " + " | ".join(titles) + " |", "|" + "---|" * len(titles)]
    return "\n".join(out + ["| " + " | ".join(line) + " |" for line in lines])


def probes_table(results, plan):
    """How many of the seeks took how many probes."""
    records = {stream: results.records[f"seek/{stream}/demuxer"][0] for stream in plan.streams}
    counts = sorted({int(key.removeprefix("probes_")) for record in records.values()
                     for key in record if key.startswith("probes_")})
    lines = []
    for stream, record in records.items():
        seen = [f"{record.get(f'probes_{count}', 0):.0f}" for count in counts]
        lines.append([STREAM_NAMES[stream], f"{record['source_bytes']:,.0f}",
                      f"{record['source_calls']:.1f}", *seen])
    titles = ["", "source bytes", "source calls", *(f"{count}" for count in counts)]
    return markdown_table(titles, lines)


def first_match(path, key):
    """The value of the first `key : value` or `key=value` line of a file, or nothing."""
    try:
        text = pathlib.Path(path).read_text()
    except OSError:
        return ""
    for line in text.splitlines():
        name, _, value = line.replace("=", ":", 1).partition(":")
        if name.strip() == key:
            return value.strip().strip('"')
    return ""


def machine(results):
    flags = first_match("/proc/cpuinfo", "flags").split()
    memory = int(first_match("/proc/meminfo", "MemTotal").split()[0]) / 2**20
    uname = os.uname()
    peer = results.context.get("peer", "not installed (libavformat-dev): its figures are left out")
    return markdown_table(["", ""], [
        ["processor", first_match("/proc/cpuinfo", "model name") or uname.machine],
        ["cores", f"{os.cpu_count()}{' of a virtual machine' if 'hypervisor' in flags else ''}"],
        ["memory", f"{memory:.0f} GiB"],
        ["system", f"{first_match('/etc/os-release', 'PRETTY_NAME')}, Linux "
                   f"{'.'.join(uname.release.split('.')[:2])}, {uname.machine}"],
        ["compiler", results.context["compiler"]],
        ["peer", peer],
    ])


def gnuplot(script):
    subprocess.run(["gnuplot"], input=script, text=True, check=True)


SVG = "set terminal svg size 760,400 font 'sans-serif,12' background 'white'\nset output '{}'\n"


def plot_reading(results, plan, path):
    variants = [v for v in READ_NAMES if results.has(f"read/{plan.streams[0]}/{v}")]
    lines = ["stream " + " ".join(f'"{READ_NAMES[v]}"' for v in variants)]
    for stream in plan.streams:
        values = [median(results.values(f"read/{stream}/{v}", gigabytes)) for v in variants]
        lines.append(f'"{STREAM_NAMES[stream]}" ' + " ".join(map(figure, values)))
    gnuplot(SVG.format(path) + "$data << END\n" + "\n".join(lines) + "\nEND\n" + f"""
set style data histogram
set style histogram clustered gap 1
set style fill solid 0.8
set ylabel 'GB/s'
set yrange [0:*]
set grid ytics
set key below maxrows 2
plot for [i=2:{len(variants) + 1}] $data using i:xtic(1) title columnheader(i)
""")


def plot_hostile(results, plan, path):
    lines = []
    for kind in HOSTILE_KINDS:
        by_ring = [hostile_medians(results, plan, f"{kind}/{ring}") for ring in plan.rings]
        lines += [f"{mib} {max(times)}" for mib, *times in zip(plan.sizes, *by_ring)] + ["", ""]
    titles = " ".join(f"'{kind}'" for kind in HOSTILE_KINDS)
    ticks = ", ".join(map(str, plan.sizes))
    gnuplot(SVG.format(path) + "$data << END\n" + "\n".join(lines) + "\nEND\n" + f"""
titles = "{titles}"
set logscale xy
set xlabel 'hostile bytes, MiB'
set ylabel 'open and full read, ms'
set xtics ({ticks})
set xrange [{plan.sizes[0] * 0.9}:{plan.sizes[-1] * 1.1}]
set grid
set key outside right top
plot for [i=0:{len(HOSTILE_KINDS) - 1}] $data index i with linespoints title word(titles, i + 1), \\
    x * 150.0 / 16 with lines dashtype 2 linecolor 'gray' title 'at most'
""")


def write_document(results, plan, rows, targets, folder):
    def section(start):
        return markdown_table(ROW_TITLES, [row_cells(r) for r in rows if r.section.startswith(start)])

    template = pathlib.Path(__file__).with_name("performance.md.in").read_text()
    parts = {
        "rounds": str(plan.rounds),
        "machine": machine(results),
        "targets": markdown_table(TARGET_TITLES, [target_cells(target) for target in targets]),
        "reading": section("reading"),
        "opening": section("opening"),
        "seeking": section("seek"),
        "probes": probes_table(results, plan),
        "hostile-seek": markdown_table(hostile_seek_titles(plan),
                                       list(hostile_seek_lines(results, plan))),
        "hostile": markdown_table(hostile_titles(plan), list(hostile_lines(results, plan))),
    }
    for name, text in parts.items():
        template = template.replace(f"@{name}@", text)
    folder.mkdir(exist_ok=True)
    (folder / "performance.md").write_text(template)
    plot_reading(results, plan, folder / "reading.svg")
    plot_hostile(results, plan, folder / "hostile.svg")


def count(text):
    if int(text) < 1:
        raise ValueError
    return int(text)


def arguments():
    parser = argparse.ArgumentParser(prog="script/bench", description=__doc__)
    parser.add_argument("program", help=argparse.SUPPRESS)
    parser.add_argument("docs", type=pathlib.Path, help=argparse.SUPPRESS)
    parser.add_argument("--rounds", type=count, metavar="N", help="how often to measure (9; with --quick 3)")
    parser.add_argument("--quick", action="store_true",
                        help="one stream and small sizes, in less than a minute; writes nothing")
    return parser.parse_args()


def main():
    options = arguments()
    plan = Plan(options.rounds or (3 if options.quick else 9), options.quick)
    results = measure(options.program, plan)
    rows, targets = all_rows(results, plan), all_targets(results, plan)
    print_table([["", *ROW_TITLES], *([row.section, *row_cells(row)] for row in rows)])
    print("\n100 seeks")
    print_table([hostile_seek_titles(plan), *hostile_seek_lines(results, plan)])
    print()
    print_table([TARGET_TITLES, *map(target_cells, targets)])
    if "peer" not in results.context:
        print("\nlibavformat is not there (libavformat-dev): nothing is set beside it")
    if not options.quick:
        write_document(results, plan, rows, targets, options.docs)
    return EXIT_FAR_OFF if any(target.shortfall() > FAR_OFF for target in targets) else 0


if __name__ == "__main__":
    sys.exit(main())
