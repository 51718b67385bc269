"""main.py FOLDER: writes a table and a picture for each program's output in the folder (NAME.json)."""

import math
import pathlib
import sys

import plot
import results


def ratio(ours, other):
    return f"{ours / other:.2f}" if ours and other else "–"


def row(name, operation):
    floors = ", ".join(plot.readable(time) + ("" if who == "floor" else f" ({who})")
                       for who, time in sorted(operation.floors.items(), key=lambda item: item[1]))
    peers = ", ".join(f"{who} {plot.readable(time)}" for who, time in sorted(operation.peers.items(), key=lambda item: item[1]))
    best = operation.best_peer
    cells = [name, floors or "–", peers or "–", plot.readable(operation.ours) if operation.ours else "–",
             ratio(operation.ours, operation.floor), ratio(operation.ours, operation.peers[best] if best else None)]
    return "| " + " | ".join(cell.replace("|", r"\|") for cell in cells) + " |"


def mean_ratio(operations):
    """The geometric mean of ours : floor, of the operations that have both."""
    logarithms = [math.log(operation.ours / operation.floor) for operation in operations if operation.ours and operation.floor]
    return math.exp(sum(logarithms) / len(logarithms)) if logarithms else None


def main(folder):
    lines = ["# Benchmarks", "", (folder / "machine.txt").read_text(encoding="utf-8").strip(), "",
             "Medians. Times differ from machine to machine and from run to run: read the ratios. A peer marked with ~ offers less",
             "than the operation, and is left out of the last column.", ""]
    everything = []
    for path in sorted(folder.glob("*.json")):
        operations = results.read(path)
        picture = plot.draw(path.stem, operations)
        if picture is None:
            sys.exit(f"{path} holds no times")
        path.with_suffix(".svg").write_text(picture, encoding="utf-8")
        lines += [f"## {path.stem}", "", f"![Times of {path.stem}]({path.stem}.svg)", "",
                  "| operation | floor | others | ours | ours : floor | ours : best other |", "|---|---|---|---|---|---|"]
        lines += [row(name, operation) for name, operation in operations.items()] + [""]
        everything += operations.values()
    mean = mean_ratio(everything)
    if mean:
        lines += [f"Ours : floor, geometric mean: {mean:.2f}.", ""]
    (folder / "benchmarks.md").write_text("\n".join(lines), encoding="utf-8")


main(pathlib.Path(sys.argv[1]))
