# Draws the shared records as maps of their bytes, 32 a row: awk -f records.awk records.txt >records.svg
BEGIN {
    FS = " *[|] *"
    perRow = 32
    byteWidth = 17
    rowHeight = 24
    left = 60
    legend = left + perRow * byteWidth + 30
    top = 20
    colours = split("#cfe0f1 #f6d9a8 #d9efdc #ececec #f3c9c2 #ececec", fill, " ")
}

function text(x, y, size, style, words) {
    gsub(/&/, "\\&amp;", words)
    gsub(/</, "\\&lt;", words)
    body = body sprintf("<text x=\"%g\" y=\"%g\" font-size=\"%d\"%s>%s</text>\n", x, y, size, style, words)
}

function box(x, y, width, height, colour) {
    body = body sprintf("<rect x=\"%g\" y=\"%g\" width=\"%g\" height=\"%g\" fill=\"%s\" stroke=\"#33516f\"/>\n", x, y, width, height, colour)
}

# One part of a field: what of it lies in one row. The widest one is labelled.
function cells(first, size, colour, label, drawn,    at, end, width, widest, x, y) {
    end = first + size < drawn ? first + size : drawn
    for (at = first; at < end; at += width) {
        width = perRow - at % perRow
        width = width < end - at ? width : end - at
        box(left + at % perRow * byteWidth, top + int(at / perRow) * rowHeight, width * byteWidth, rowHeight, colour)
        if (width > widest) {
            widest = width
            x = left + (at % perRow + width / 2) * byteWidth
            y = top + int(at / perRow) * rowHeight + 16
        }
    }
    if (length(label) * 7 < widest * byteWidth) {
        text(x, y, 12, " text-anchor=\"middle\"", label)
    }
}

# The borders of the elements of an array.
function borders(first, size, element,    at, x, y) {
    for (at = first + element; at < first + size; at += element) {
        x = left + at % perRow * byteWidth
        y = top + int(at / perRow) * rowHeight
        if (at % perRow) {
            body = body sprintf("<path d=\"M%g %gv4M%g %gv4\" stroke=\"#33516f\"/>\n", x, y, x, y + rowHeight - 4)
        }
    }
}

function finish(    lines) {
    if (drawn) {
        lines = int((drawn + perRow - 1) / perRow)
        top += (lines > fields ? lines : fields) * rowHeight + 44
    }
}

/^record/ {
    finish()
    drawn = $6
    size = $5
    fields = 0
    last = 0
    text(left, top + 2, 14, " font-weight=\"bold\"", $2 ": " size " bytes")
    top += 12
    for (at = 0; at < drawn; at += perRow) {
        text(left - 10, top + at / perRow * rowHeight + 16, 11, " text-anchor=\"end\" fill=\"#5a6b7b\"", at)
    }
}

function explain(colour, where, words) {
    box(legend, top + fields * rowHeight + 5, 14, 14, colour)
    text(legend + 24, top + fields * rowHeight + 16, 12, "", where)
    text(legend + 96, top + fields * rowHeight + 16, 12, "", words)
    ++fields
}

/^field/ {
    colour = fill[fields % colours + 1]
    cells($2, $3, colour, $5, drawn)
    last = $2 + $3
    if ($7) {
        borders($2, $3, $7)
    }
    explain(colour, $3 == 1 ? $2 : $2 " – " (last - 1), ($5 ~ /^[a-z][a-z]/ && length($5) < 8 ? $5 ": " : "") $6)
}

/^rest/ {
    cells(last, $2, "#ffffff", "", drawn)
    explain("#ffffff", last " – " (last + $2 - 1), $3)
    text(left, top + int(drawn / perRow) * rowHeight + 14, 12, " fill=\"#5a6b7b\"", "… to " (size - 1))
}

END {
    finish()
    printf "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"%d\" height=\"%d\" viewBox=\"0 0 %d %d\"", 1180, top - 30, 1180, top - 30
    printf " font-family=\"Helvetica,Arial,sans-serif\">\n<title>The shared records</title>\n"
    printf "<rect width=\"100%%\" height=\"100%%\" fill=\"white\"/>\n%s</svg>\n", body
}
