"""Plots as SVG: bars of ratios, and lines over sizes. Logarithmic axes."""
import html
import math

WIDTH = 760
FONT = 'font-family="sans-serif" font-size="12"'
# Beyond so many, dots are small; so many on either side count for a median.
MOST_BIG_DOTS, REACH = 20, 4
OURS, PEER, GRID, GOOD, BAD = "#1f5fa8", "#c26a1a", "#ccc", "#3d7d4f", "#b3362b"
COLORS = (OURS, PEER)


def text(x, y, content, anchor="start", extra=""):
    return (f'<text x="{x:.1f}" y="{y:.1f}" text-anchor="{anchor}"{extra}>'
            f"{html.escape(content)}</text>")


def line(x1, y1, x2, y2, color=GRID, extra=""):
    return (f'<line x1="{x1:.1f}" y1="{y1:.1f}" x2="{x2:.1f}" y2="{y2:.1f}" '
            f'stroke="{color}"{extra}/>')


def picture(height, parts):
    return (f'<svg xmlns="http://www.w3.org/2000/svg" '
            f'viewBox="0 0 {WIDTH} {height}" {FONT}>\n'
            '<rect width="100%" height="100%" fill="white"/>\n'
            + "\n".join(parts) + "\n</svg>\n")


def short(number):
    """1500000 as 1.5M."""
    for factor, letter in ((1e9, "G"), (1e6, "M"), (1e3, "k")):
        if abs(number) >= factor:
            return f"{number / factor:.3g}{letter}"
    return f"{number:.3g}"


class Log:
    """A logarithmic axis over whole decades, or over 1, 2, 5 steps where those
    are few. What is 0 lies at its begin."""

    def __init__(self, values, begin, end):
        values = [value for value in values if value > 0] or [1]
        low, high = min(values), max(values)
        steps = [factor * 10.0 ** power
                 for power in range(math.floor(math.log10(low)) - 1,
                                    math.ceil(math.log10(high)) + 2)
                 for factor in (1, 2, 5)]
        self.low = max(step for step in steps if step <= low * 1.0001)
        self.high = min(step for step in steps if step >= high * 0.9999)
        if self.low == self.high:
            self.low, self.high = self.low / 2, self.high * 2
        self.begin, self.end = begin, end
        inner = [step for step in steps if self.low <= step <= self.high]
        decades = [step for step in inner
                   if abs(math.log10(step) - round(math.log10(step))) < 1e-9]
        self.ticks = inner if len(inner) <= 9 else decades

    def at(self, value):
        value = max(value, self.low)
        share = ((math.log10(value) - math.log10(self.low))
                 / (math.log10(self.high) - math.log10(self.low)))
        return self.begin + share * (self.end - self.begin)


def ratios(results):
    """A bar a result from 1 on, where ours and the peer are equal, to its ratio;
    a mark at what is asked."""
    left, right, top, row = 230, WIDTH - 60, 34, 20
    bottom = top + row * len(results)
    axis = Log([1] + [value for result in results
                      for value in (result["ratio"], result["target"])],
               left, right)
    parts = [text(left, 16, "ratio to the peer, more is better; the mark is "
                            "what is asked")]
    for tick in axis.ticks:
        parts += [line(axis.at(tick), top, axis.at(tick), bottom),
                  text(axis.at(tick), bottom + 16, f"{tick:g}", "middle")]
    for number, result in enumerate(results):
        y = top + row * number + row / 2
        one, end = axis.at(1), axis.at(result["ratio"])
        color = GOOD if result["met"] else BAD
        parts += [
            text(left - 8, y + 4, result["name"], "end"),
            f'<rect x="{min(one, end):.1f}" y="{y - 6:.1f}" '
            f'width="{max(abs(end - one), 1):.1f}" height="12" '
            f'fill="{color}"/>',
            line(axis.at(result["target"]), y - 8, axis.at(result["target"]),
                 y + 8, "#222", ' stroke-width="2"'),
            text(max(one, end) + 6, y + 4, f"{result['ratio']:.2f}")]
    parts.append(line(axis.at(1), top, axis.at(1), bottom, "#555"))
    return picture(bottom + 28, parts)


def curves(growth):
    """A line of dots for each of growth["lines"]. Where they are many, the line is
    the median of those around it."""
    left, right, top, bottom = 70, WIDTH - 130, 34, 290
    points = growth["points"]
    x = Log([point[0] for point in points], left, right)
    y = Log([value for point in points for value in point[1:]], bottom, top)
    parts = [text(left, 16, f"{growth['name']}: {growth['unit']}"),
             text((left + right) / 2, bottom + 36, growth["x_name"], "middle")]
    for tick in x.ticks:
        parts += [line(x.at(tick), top, x.at(tick), bottom),
                  text(x.at(tick), bottom + 16, short(tick), "middle")]
    for tick in y.ticks:
        parts += [line(left, y.at(tick), right, y.at(tick)),
                  text(left - 6, y.at(tick) + 4, short(tick), "end")]
    is_dense = len(points) > MOST_BIG_DOTS
    for number in range(len(growth["lines"])):
        color = COLORS[number]
        values = [point[1 + number] for point in points]
        lined = [median_around(values, at) for at in range(len(values))] \
            if is_dense else values
        joined = " ".join(f"{x.at(point[0]):.1f},{y.at(value):.1f}"
                          for point, value in zip(points, lined))
        parts.append(f'<polyline fill="none" stroke="{color}" '
                     f'stroke-width="2" points="{joined}"/>')
        parts += [f'<circle cx="{x.at(point[0]):.1f}" cy="{y.at(value):.1f}" '
                  f'r="{1.5 if is_dense else 3}" fill="{color}"/>'
                  for point, value in zip(points, values)]
    ends = apart([y.at(value) + 4 for value in points[-1][1:]])
    for number, name in enumerate(growth["lines"]):
        parts.append(text(x.at(points[-1][0]) + 8, ends[number], name,
                          extra=f' fill="{COLORS[number]}"'))
    return picture(bottom + 46, parts)


def median_around(values, at):
    near = sorted(values[max(0, at - REACH):at + REACH + 1])
    return near[len(near) // 2]


def apart(ends):
    """The places of two names, moved so that neither lies on the other."""
    if len(ends) < 2 or abs(ends[0] - ends[1]) >= 14:
        return ends
    middle, sign = sum(ends) / 2, 1 if ends[0] <= ends[1] else -1
    return [middle - 7 * sign, middle + 7 * sign]
