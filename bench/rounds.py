"""Runs the benchmark program in rounds and keeps what each round gave.

A round runs every variant of a group within seconds of the others, three times each in an order
drawn anew, and keeps the middle one of the three, so that a machine that is busy for a while slows
them alike: ratios are taken within a round. The hostile streams are the exception: there each
benchmark is repeated at once.
"""
import json
import statistics
import subprocess
import sys
from collections import defaultdict

STREAMS = ["16-44", "24-96", "24-192x6"]
OPENINGS = ["bare", "untimed", "tagged", "tagged-fresh"]
HONEST_KINDS = ["music", "half silence"]
HOSTILE_KINDS = ["0xFF", "codes", "numbers", "codes+numbers", "broken CRC-8", "random bytes",
                 "pairs of a kind"]
RINGS = ["small ring", "large ring"]

MIN_TIME = 0.05  # seconds
MAX_PEER_REPETITIONS = 5  # it takes seconds on some hostile streams
MAX_SEEK_REPETITIONS = 3  # likewise


def _literal(text):
    return text.replace("+", "[+]")


class Plan:
    """What to measure, and how often."""

    def __init__(self, rounds, quick):
        self.rounds = rounds
        self.times_in_a_round = 1 if quick else 3
        self.streams = STREAMS[:1] if quick else STREAMS
        self.rings = RINGS[:1] if quick else RINGS
        self.sizes = [2, 4, 8] if quick else [8, 16, 32, 64]
        self.peer_size = 2 if quick else 16

    def groups(self):
        """Filters of what is run together, one process each."""
        for stream in self.streams:
            yield f"^(read|seek)/{stream}/"
        yield "^open/(bare|untimed|tagged)/"
        yield "^open/tagged-fresh/"  # on its own: it needs a process with no memory to use again

    def hostile_groups(self, has_peer):
        """Filters and repetitions, one process each: the streams take long to make."""
        for ring in self.rings:
            yield f"^hostile-seek/.*/{ring}", min(self.rounds, MAX_SEEK_REPETITIONS)
        sizes = "|".join(map(str, self.sizes))
        yield f"^hostile/limit/({sizes})$", self.rounds
        for kind in HOSTILE_KINDS:
            for ring in self.rings:
                yield f"^hostile/{_literal(kind)}/{ring}/({sizes})$", self.rounds
            if has_peer:
                yield (f"^hostile/{_literal(kind)}/peer/{self.peer_size}/",
                       min(self.rounds, MAX_PEER_REPETITIONS))


class Results:
    """All that was measured: for each benchmark one of Google Benchmark's records per round."""

    def __init__(self):
        self.records = defaultdict(list)
        self.context = {}

    def has(self, name):
        return name in self.records

    def values(self, name, read):
        return [read(record) for record in self.records[name]]

    def ratios(self, above, below, read):
        return [a / b for a, b in zip(self.values(above, read), self.values(below, read))]


def median(values):
    return statistics.median(values)


def quartiles(values):
    """The lower and the upper; with fewer than four values the least and the greatest."""
    if len(values) < 4:
        return min(values), max(values)
    low, _, high = statistics.quantiles(values, n=4, method="inclusive")
    return low, high


def _run(results, program, pattern, repetitions, *options):
    """The records of each benchmark that the pattern picks, one per repetition."""
    command = [program, f"--benchmark_filter={pattern}", "--benchmark_format=json",
               f"--benchmark_min_time={MIN_TIME}", f"--benchmark_repetitions={repetitions}",
               *options]
    done = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, check=True)
    report = json.loads(done.stdout)
    results.context.update(report["context"])
    records = defaultdict(list)
    for record in report["benchmarks"]:
        if record.get("error_occurred"):
            sys.exit(f"{record['name']}: {record['error_message']}")
        if record["run_type"] == "iteration":
            records[record["run_name"].removesuffix("/iterations:1")].append(record)
    return records


def measure(program, plan):
    """Returns the Results of all rounds, with lines of progress on standard error."""
    results = Results()
    for number in range(plan.rounds):
        print(f"round {number + 1} of {plan.rounds}", file=sys.stderr)
        for pattern in plan.groups():
            records = _run(results, program, pattern, plan.times_in_a_round,
                           "--benchmark_enable_random_interleaving=true")
            for name, repeated in records.items():
                repeated.sort(key=lambda record: record["cpu_time"])
                results.records[name].append(repeated[len(repeated) // 2])
    print("hostile streams", file=sys.stderr)
    for pattern, repetitions in plan.hostile_groups("peer" in results.context):
        for name, repeated in _run(results, program, pattern, repetitions).items():
            results.records[name] += repeated
    return results
