"""Measures in rounds and prints tables. Writes docs/performance.md, unless quick."""
import argparse
import itertools
import json
import math
import os
import pathlib
import platform
import random
import re
import statistics
import subprocess
import sys
from collections import defaultdict
from dataclasses import dataclass

ROOT = pathlib.Path(__file__).resolve().parent.parent
BUILD, DOCUMENT = ROOT / "build/bench", ROOT / "docs/performance.md"
MIN_SECONDS = 0.05  # for each figure
FAR_OFF, EXIT_FAR_OFF = 2.0, 3  # above FAR_OFF something is broken, or the machine is busy
# With USED_PAGES malloc keeps large blocks. With FRESH_PAGES each is new from the system.
USED_PAGES = {"MALLOC_MMAP_MAX_": "0", "MALLOC_TRIM_THRESHOLD_": str(1 << 30)}
FRESH_PAGES = {"MALLOC_MMAP_THRESHOLD_": str(128 << 10)}


@dataclass
class Check:
    """A comparison of two costs of the same stream, for each stream that the pattern matches. The
    ratio is of speeds where `wanted` is "at least" a number, else of costs."""
    names: str  # a pattern of group/stream/what
    over: str
    wanted: str = ""
    growth: bool = False  # `wanted` bounds the exponent of growth
    column: str = ""  # the title in the table of compilers; empty: not there

    def pairs(self, names):
        for name in names:
            group, stream, what, *size = name.split("/")
            over = "/".join([group, stream, self.over, *size])
            if over in names and over != name:
                if re.fullmatch(self.names, f"{group}/{stream}/{what}"):
                    yield name, over

    def shortfall(self, ratio):
        """1 at the bound, above 1 when the target is missed, 0 without a target."""
        bound = float(self.wanted.split()[-1]) if self.wanted else math.inf
        return bound / ratio if "least" in self.wanted else ratio / bound


CHECKS = [
    Check("music/.*/searched reads", "two copies and a look", "at least 0.85", column="searched"),
    Check("music/.*/searched reads", "libavformat's reads", "at least 4", column="of libavformat"),
    Check("music/.*/plug-in's reads", "searched reads", "at least 0.8"),
    Check("music/.*/fixed-size reads", "two copies", "at least 0.85", column="fixed-size"),
    Check("music/.*/seeks", "copies of seeks", "at most 1.5", column="seek"),
    Check("music/.*/seeks", "fastest build's seeks", "at most 1.3", column="of the fastest"),
    Check("music/.*/seeks", "libavformat's seeks", "at least 6"),
    Check("open/tagged.*/open", "copy", "at most 1.5", column="open"),
    Check("open/(bare|untimed)/open", "copy"),
    Check("open/bare/open", "libavformat", "at least 10"),
    Check("dense/.*/searched reads", "copies and calls", "at most 6", column="hostile"),
    Check("hostile/.*/searched reads", "copies and calls"),
    Check("(dense|hostile)/.*", "copies and calls", "at most 1.25", growth=True),
    Check("seek/.*", "music"),
    Check("arm/aarch64 .*/search", "an instruction a byte", "at most 0.8"),
    Check("arm/.*/search", "memchr"),
]


def call(command, **variables):
    return subprocess.run(command, cwd=BUILD, env={**os.environ, **variables}, check=True,
                          capture_output=True, text=True).stdout


def run(program, names, rounds, times, pages):
    """Seconds a byte or item by name, one a round: the median of `times` runs in random order."""
    pattern = "|".join(re.sub(r"([.+()])", r"[\1]", name) for name in names)
    done = call([program, f"--benchmark_filter=^({pattern})$", "--benchmark_format=json",
                 f"--benchmark_min_time={MIN_SECONDS}", f"--benchmark_repetitions={rounds * times}",
                 "--benchmark_enable_random_interleaving=true"], **pages)
    costs = defaultdict(list)
    for record in json.loads(done)["benchmarks"]:
        if record["run_type"] == "iteration":
            rate = record.get("bytes_per_second") or record["items_per_second"]
            costs[record["run_name"]].append(1 / rate)
    return {name: [sorted(costs[name][at:at + times])[times // 2]
                   for at in range(0, rounds * times, times)] for name in names}


def measure(programs, checks, rounds):
    """Costs by program and name, one for each round; streams of "seek" have three. Each stream has
    a process of its own. A stream that takes long to make has one process for all rounds, unless
    several programs are compared."""
    results = {program: defaultdict(list) for program in programs}
    for number in range(rounds):
        print(f"round {number + 1} of {rounds}", file=sys.stderr)
        for program in random.sample(programs, len(programs)):
            names = call([program, "--benchmark_list_tests"]).splitlines()
            wanted = {name for check in checks for pair in check.pairs(names) for name in pair}
            streams = defaultdict(list)
            for name in filter(wanted.__contains__, names):
                streams["/".join(name.split("/")[:2])].append(name)
            for stream, here in streams.items():
                found = fresh = {}
                if stream.startswith(("music/", "open/")) or len(programs) > 1:
                    found = run(program, here, 1, 3, USED_PAGES)
                elif number == 0:
                    of_all = 3 if stream.startswith("seek/") else rounds
                    found = run(program, here, of_all, 1, USED_PAGES)
                if stream == "open/tagged" and len(programs) == 1:
                    fresh = run(program, here, 1, 3, FRESH_PAGES)
                for name, costs in found.items():
                    results[program][name] += costs
                for name, costs in fresh.items():
                    results[program][name.replace("tagged", "tagged, fresh pages")] += costs
    return results


def count_steps():
    """Instructions for a byte of zeros, by name. An emulator writes a line for each one. The counts
    of two sizes give the cost of a byte."""
    costs, size, log = {}, 1 << 16, BUILD / "steps.log"
    for arch, build, what in itertools.product(("aarch64", "armhf"), ("plain", "device"),
                                               ("search", "memchr")):
        steps = []
        for count in (size, 2 * size):
            call([f"qemu-{arch.removesuffix('hf')}-static", "-singlestep", "-d", "exec,nochain",
                  "-D", log, BUILD / arch / f"bin/kelflac_steps_{build}", what, str(count)])
            steps.append(log.read_bytes().count(b"\n"))
        costs[f"arm/{arch} {build}/{what}"] = [(steps[1] - steps[0]) / size]
        costs[f"arm/{arch} {build}/an instruction a byte"] = [1]
    return costs


def figure(value):
    return f"{value:.{min(3, max(0, 2 - math.floor(math.log10(value))))}f}"


def reading(name, cost):
    if name.startswith("arm/"):
        return figure(cost)
    timed = "seek" in name or name.startswith("open/")
    return f"{figure(cost * 1e6)} us" if timed else f"{figure(1e-9 / cost)} GB/s"


def rows_of(check, costs):
    """For each stream the shortfall, the ratio as short text, and its row. Readings, if any, are
    from the round with the median ratio. Of several sizes the row shows the worst."""
    streams = defaultdict(list)
    for name, over in check.pairs(costs):
        stream, what, *size = name.split("/")[1:]
        ratios = [a / b for a, b in zip(costs[name], costs[over])]
        if "least" in check.wanted:
            ratios = [1 / ratio for ratio in ratios]
        streams[stream, what].append((statistics.median_low(ratios), ratios, name, over, *size))
    for (stream, what), sizes in streams.items():
        ratio, ratios, name, over, *size = max(sizes)
        readings = [reading(of, costs[of][ratios.index(ratio)]) for of in (name, over)]
        kind = "speed" if "least" in check.wanted else "cost"
        if check.growth:
            # From the smallest size to the largest: 1 where the cost grows as `over`, 2
            # where it grows as `over` times the size.
            span = math.log(int(sizes[-1][4]) / int(sizes[0][4]))
            ratios = [1 + math.log(b / a) / span for a, b in zip(sizes[0][1], sizes[-1][1])]
            ratio, kind, readings, size = statistics.median_low(ratios), "exponent", ["", ""], []
        low, _, high = map(figure, statistics.quantiles(ratios * 4, n=4))
        short = check.shortfall(ratio)
        verdict = "**missed**" if short > 1 else "met" if check.wanted else ""
        yield short, f"{figure(ratio)} ({low} - {high}) {verdict}".removesuffix("met"), [
            ", ".join([stream, *(f"{mib} MiB" for mib in size)]), what, readings[0], check.over,
            readings[1], f"{kind} {figure(ratio)}", f"{low} - {high}", check.wanted, verdict]


def table(titles, lines):
    widths = [max(map(len, column)) for column in zip(titles, *lines)]
    lines = [titles, ["-" * width for width in widths], *lines]
    return "\n".join("| " + " | ".join(map(str.ljust, line, widths)) + " |" for line in lines)


def of_checks(costs):
    """The table of all checks that have costs, and the worst shortfall."""
    rows = [row for check in CHECKS for row in rows_of(check, costs)]
    titles = ["stream", "what", "", "over", "", "ratio", "quartiles", "wanted", ""]
    return table(titles, [row[2] for row in rows]), max(row[0] for row in rows)


def of_compilers(results):
    """The table of all compilers' builds, and the worst shortfall."""
    for name in [name for name in next(iter(results.values())) if name.endswith("/seeks")]:
        fastest = [min(costs) for costs in zip(*(found[name] for found in results.values()))]
        for found in results.values():
            found[name.replace("seeks", "fastest build's seeks")] = fastest
    checks = [check for check in CHECKS if check.column]
    rows = [[max(rows_of(check, found), default=(0, "")) for check in checks]
            for found in results.values()]
    names = (path.name.replace("+ device", "+ device, unsigned unchecked") for path in results)
    lines = [[name, *(row[1] for row in of)] for name, of in zip(names, rows)]
    titles = ["", *(f"{check.column}, {check.wanted}" for check in checks)]
    return table(titles, lines), max(row[0] for of in rows for row in of)


def main():
    parser = argparse.ArgumentParser(prog="script/bench", description=__doc__)
    parser.add_argument("--compilers", action="store_true", help="compare several compilers")
    parser.add_argument("--quick", action="store_true", help="small streams; write nothing")
    parser.add_argument("--rounds", type=int, metavar="N", help="how often to measure")
    options = parser.parse_args()
    rounds = options.rounds or (3 if options.quick else 5 if options.compilers else 9)
    if options.quick or options.compilers:
        os.environ["KELFLAC_BENCH_SMALL"] = "1"
    if options.compilers:
        checks = [check for check in CHECKS if check.column]
        results = measure(sorted((BUILD / "compilers").iterdir()), checks, rounds)
        parts = [of_compilers(results), of_checks(count_steps())]
    else:
        program = BUILD / "bin/kelflac_bench_program"
        parts = [of_checks(measure([program], CHECKS, rounds)[program])]
    cpu = re.search(r"model name\s*: (.*)|$", pathlib.Path("/proc/cpuinfo").read_text())[1]
    system = platform.freedesktop_os_release()["PRETTY_NAME"]
    place = f"{cpu or platform.machine()}, {os.cpu_count()} cores, {system}, {rounds} rounds:"
    text = "\n\n".join([place, *(part[0] for part in parts)])
    print(text)
    if not options.quick:
        mark = "compilers" if options.compilers else "measured"
        marked = re.compile(f"(<!-- {mark}: begin -->\n).*(<!-- {mark}: end -->)", re.DOTALL)
        whole = DOCUMENT.read_text()
        DOCUMENT.write_text(marked.sub(lambda found: f"{found[1]}\n{text}\n\n{found[2]}", whole))
    return EXIT_FAR_OFF if max(part[1] for part in parts) > FAR_OFF else 0


sys.exit(main())
