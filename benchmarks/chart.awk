# Draws the cells that have a bar as a chart (SVG): a group of bars a row, on a logarithmic scale that begins at the
# limit, 1. A black line across the library's bar is its target.
BEGIN {
    FS = "\t"
    left = 330; right = 30; bar = 11; gap = 14; top = 64
    scale = 110 # pixels for a doubling
    most = 5    # doublings
    split("#1f6fb4 #c44e52 #e39a9c #8c8c8c #c4c4c4 #55a868", palette, " ")
}

function position(value,   doublings) {
    doublings = log(value) / log(2)
    if (doublings > most) doublings = most
    if (doublings < -0.5) doublings = -0.5
    return left + (doublings + 0.5) * scale
}

function escaped(text) { gsub(/&/, "\\&amp;", text); gsub(/</, "\\&lt;", text); return text }

$3 == "target" { target[$2] = $4 }
$5 == "" { next }
{
    if (!($2 in bars)) rows[++rowCount] = $2
    if (!($3 in colour)) { columns[++columnCount] = $3; colour[$3] = palette[(columnCount - 1) % 6 + 1] }
    ++bars[$2]
    label[$2, bars[$2]] = $3
    value[$2, bars[$2]] = $5
    ++all
}

END {
    width = left + (most + 0.5) * scale + right
    height = top + all * bar + rowCount * gap + 10
    printf "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"%d\" height=\"%d\" font-family=\"sans-serif\" font-size=\"11\">\n", width, height
    printf "<rect width=\"100%%\" height=\"100%%\" fill=\"white\"/>\n"
    printf "<text x=\"10\" y=\"18\" font-size=\"13\" font-weight=\"bold\">Time as a multiple of the limit (the database's C API with statements prepared once)</text>\n"
    x = 10
    for (c = 1; c <= columnCount; ++c) {
        printf "<rect x=\"%d\" y=\"28\" width=\"10\" height=\"10\" fill=\"%s\"/><text x=\"%d\" y=\"37\">%s</text>\n", x, colour[columns[c]], x + 14, escaped(columns[c])
        x += 30 + 6.5 * length(columns[c])
    }
    for (doubling = 0; doubling <= most; ++doubling)
        printf "<line x1=\"%d\" x2=\"%d\" y1=\"%d\" y2=\"%d\" stroke=\"#dddddd\"/><text x=\"%d\" y=\"%d\" text-anchor=\"middle\" fill=\"#666666\">%d</text>\n", position(2 ^ doubling), position(2 ^ doubling), top - 6, height - 10, position(2 ^ doubling), top - 10, 2 ^ doubling
    y = top
    for (r = 1; r <= rowCount; ++r) {
        row = rows[r]
        printf "<text x=\"%d\" y=\"%d\" text-anchor=\"end\">%s</text>\n", left - 10, y + bars[row] * bar / 2 + 4, escaped(row)
        for (b = 1; b <= bars[row]; ++b) {
            from = position(1); to = position(value[row, b])
            if (to < from) { swap = from; from = to; to = swap }
            printf "<rect x=\"%.1f\" y=\"%d\" width=\"%.1f\" height=\"%d\" fill=\"%s\"/>", from, y, to - from + 1, bar - 2, colour[label[row, b]]
            printf "<text x=\"%.1f\" y=\"%d\" font-size=\"9\">%s</text>\n", to + 4, y + bar - 3, value[row, b]
            if (label[row, b] == "library" && row in target)
                printf "<line x1=\"%.1f\" x2=\"%.1f\" y1=\"%d\" y2=\"%d\" stroke=\"black\" stroke-width=\"2\"/>\n", position(target[row]), position(target[row]), y - 2, y + bar
            y += bar
        }
        y += gap
    }
    print "</svg>"
}
