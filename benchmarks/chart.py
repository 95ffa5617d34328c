"""Draws the page's chart: for each job a bar for ours and one for the best peer, both as ratios to the limit."""
import math
from xml.sax.saxutils import escape

LEFT, WIDTH, ROW, BAR, TOP = 300, 520, 34, 12, 60
LEAST, MOST = 0.2, 16.0  # of the logarithmic axis
OURS, PEER, TARGET = "#2f6f9f", "#c9c9c9", "#b03030"


def place(ratio):
    share = math.log(min(max(ratio, LEAST), MOST) / LEAST) / math.log(MOST / LEAST)
    return LEFT + WIDTH * share


def text(x, y, content, anchor="start", extra=""):
    return '<text x="%.0f" y="%.0f" text-anchor="%s"%s>%s</text>' % (x, y, anchor, extra, escape(content))


def bar(y, ratio, colour, label):
    return ('<rect x="%d" y="%.0f" width="%.1f" height="%d" fill="%s"/>' % (LEFT, y, place(ratio) - LEFT, BAR, colour)
            + text(place(ratio) + 5, y + BAR - 2, label))


def axis(height):
    lines = []
    for ratio in (0.25, 0.5, 1, 2, 4, 8, 16):
        x = place(ratio)
        colour = "#404040" if ratio == 1 else "#e4e4e4"
        lines.append('<line x1="%.1f" y1="%d" x2="%.1f" y2="%d" stroke="%s"/>' % (x, TOP - 8, x, height, colour))
        lines.append(text(x, TOP - 14, "%g" % ratio, "middle"))
    return lines


def legend():
    return [text(10, 20, "Time as a multiple of the limit written by hand; shorter is better", extra=' font-weight="bold"'),
            '<rect x="480" y="11" width="12" height="12" fill="%s"/>' % OURS, text(498, 21, "ours"),
            '<rect x="540" y="11" width="12" height="12" fill="%s"/>' % PEER, text(558, 21, "best peer"),
            '<line x1="636" y1="9" x2="636" y2="25" stroke="%s" stroke-width="2"/>' % TARGET, text(644, 21, "target")]


def draw(bars):
    """bars: (job, ratio of ours, target, name of the best peer, its ratio)."""
    height = TOP + ROW * len(bars)
    parts = ['<svg xmlns="http://www.w3.org/2000/svg" width="%d" height="%d" font-family="sans-serif" font-size="12">'
             % (LEFT + WIDTH + 160, height + 10), '<rect width="100%" height="100%" fill="white"/>', *legend(),
             *axis(height)]
    for row, (job, ours, target, peer, ratio) in enumerate(bars):
        y = TOP + ROW * row
        parts += [text(LEFT - 10, y + BAR + 4, job, "end"), bar(y, ours, OURS, "%.2f" % ours),
                  bar(y + BAR + 1, ratio, PEER, "%.2f %s" % (ratio, peer)),
                  '<line x1="%.1f" y1="%d" x2="%.1f" y2="%d" stroke="%s" stroke-width="2"/>'
                  % (place(target), y - 2, place(target), y + BAR + 2, TARGET)]
    return "\n".join(parts + ["</svg>"]) + "\n"
