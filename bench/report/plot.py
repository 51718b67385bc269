"""Draws the times of a program's operations as an SVG picture: a row each, on a logarithmic scale."""

import math
from html import escape

ROW = 22
LEFT, WIDTH, RIGHT = 330, 520, 110
TOP, BOTTOM = 60, 34
COLOURS = {"floor": "#5b6770", "ours": "#0b6e4f", "peer": "#c8553d"}
STYLE = """text { font: 12px sans-serif; fill: #222 }
.grid { stroke: #ddd } .row { stroke: #eee } .title { font-size: 15px; font-weight: bold } .end { text-anchor: end }
.middle { text-anchor: middle }"""


def readable(nanoseconds):
    for unit, size in (("s", 1e9), ("ms", 1e6), ("µs", 1e3)):
        if nanoseconds >= size:
            return f"{nanoseconds / size:.3g} {unit}"
    return f"{nanoseconds:.3g} ns"


def mark(kind, x, y, title):
    """Each kind has a form of its own too, for readers who see no difference between the colours."""
    tip = f"<title>{escape(title)}</title>"
    colour = COLOURS[kind]
    if kind == "floor":
        return f'<path d="M{x:.1f} {y - 7}v14" stroke="{colour}" stroke-width="3">{tip}</path>'
    if kind == "ours":
        return f'<circle cx="{x:.1f}" cy="{y}" r="5" fill="{colour}">{tip}</circle>'
    return f'<circle cx="{x:.1f}" cy="{y}" r="4" fill="white" stroke="{colour}" stroke-width="1.5">{tip}</circle>'


def draw(title, operations):
    times = [time for operation in operations.values()
             for time in [operation.ours, *operation.floors.values(), *operation.peers.values()] if time]
    if not times:
        return None
    low, high = math.floor(math.log10(min(times))), math.ceil(math.log10(max(times)))
    high = max(high, low + 1)
    height = TOP + ROW * len(operations) + BOTTOM

    def place(time):
        return LEFT + WIDTH * (math.log10(time) - low) / (high - low)

    parts = [f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {LEFT + WIDTH + RIGHT} {height}"'
             f' width="{LEFT + WIDTH + RIGHT}" height="{height}">', f"<style>{STYLE}</style>",
             '<rect width="100%" height="100%" fill="white"/>', f'<text class="title" x="12" y="24">{escape(title)}</text>']
    for index, (kind, label) in enumerate((("floor", "floor"), ("ours", "ours"), ("peer", "others"))):
        x = LEFT + 10 + 90 * index
        parts += [mark(kind, x, 20, label), f'<text x="{x + 10}" y="24">{label}</text>']
    parts.append(f'<text class="end" x="{LEFT + WIDTH + RIGHT - 12}" y="24">ours : floor</text>')
    for power in range(low, high + 1):
        x = place(10 ** power)
        parts += [f'<path class="grid" d="M{x:.1f} {TOP - 10}V{height - BOTTOM}"/>',
                  f'<text class="middle" x="{x:.1f}" y="{height - 14}">{readable(10 ** power)}</text>']
    for row, (name, operation) in enumerate(operations.items()):
        y = TOP + ROW * row + ROW // 2
        parts += [f'<path class="row" d="M12 {y + ROW // 2}H{LEFT + WIDTH + RIGHT - 12}"/>',
                  f'<text class="end" x="{LEFT - 14}" y="{y + 4}">{escape(name)}</text>']
        parts += [mark("peer", place(time), y, f"{who}: {readable(time)}") for who, time in operation.peers.items() if time]
        parts += [mark("floor", place(time), y, f"{who}: {readable(time)}") for who, time in operation.floors.items() if time]
        if operation.ours:
            parts.append(mark("ours", place(operation.ours), y, f"ours: {readable(operation.ours)}"))
        if operation.ours and operation.floor:
            parts.append(f'<text class="end" x="{LEFT + WIDTH + RIGHT - 12}" y="{y + 4}">'
                         f"{operation.ours / operation.floor:.2f}</text>")
    return "\n".join(parts + ["</svg>", ""])
