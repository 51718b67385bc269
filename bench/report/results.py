"""Reads what the benchmark programs measured: which operation, who did it, and the median time."""

import json
import re
from collections import defaultdict

NANOSECONDS = {"ns": 1.0, "us": 1e3, "ms": 1e6, "s": 1e9}
# What the benchmark library appends to a name, and says nothing of the operation.
SETTINGS = re.compile(r"^(real_time|process_time|manual_time|iterations:.*|repeats:.*|min_time:.*|min_warmup_time:.*)$")


class Operation:
    """The times of one operation in nanoseconds: ours, floors and peers by name."""

    def __init__(self):
        self.ours = None
        self.floors = {}
        self.peers = {}

    def add(self, who, time):
        if who == "ours":
            self.ours = time
        elif who.startswith("floor"):
            self.floors[who.removeprefix("floor").strip() or "floor"] = time
        else:
            self.peers[who] = time

    @property
    def floor(self):
        return min(self.floors.values()) if self.floors else None

    @property
    def best_peer(self):
        """Peers marked with ~ offer less than the operation."""
        whole = {who: time for who, time in self.peers.items() if not who.startswith("~")}
        return min(whole, key=whole.get) if whole else None


def split_name(name):
    """'split 12/ours' and 'file: copy / POCO' and 'NamedMutexOurs/4' are an operation and who did it."""
    pieces = [piece.strip() for piece in name.split("/")]
    pieces = [piece for piece in pieces if not SETTINGS.match(piece)]
    suffixed = re.fullmatch(r"(\w+?)(Ours|Floor)", pieces[0])
    if suffixed:
        words = re.sub(r"(?<=[a-z])(?=[A-Z])", " ", suffixed[1]).lower()
        return ", ".join([words] + pieces[1:]), suffixed[2].lower()
    for index, piece in enumerate(pieces):
        if piece == "ours" or piece.startswith("floor"):
            return ", ".join(pieces[:index] + pieces[index + 1:]), piece
    if len(pieces) == 1:
        return pieces[0], "ours"
    last = len(pieces) - 1
    while last > 1 and re.fullmatch(r"[\d:a-z]*\d", pieces[last]):
        last -= 1
    return ", ".join(pieces[:last] + pieces[last + 1:]), pieces[last]


def read(path):
    """The operations in a program's output, by name."""
    with open(path, encoding="utf-8") as file:
        runs = json.load(file)["benchmarks"]
    operations = defaultdict(Operation)
    for run in runs:
        if run.get("aggregate_name", "median") != "median" or run.get("error_occurred"):
            continue
        operation, who = split_name(run["run_name"])
        percentiles = {key.removesuffix("_us"): run[key] * 1e3 for key in ("p50_us", "p99_us") if key in run}
        if percentiles:
            for percentile, time in percentiles.items():
                operations[f"{operation}, {percentile}"].add(who, time)
        else:
            clock = "real_time" if re.search(r"/(real|manual)_time", run["run_name"]) else "cpu_time"
            operations[operation].add(who, run[clock] * NANOSECONDS[run["time_unit"]])
    return dict(sorted(operations.items()))
