# Draws the tables of docs/performance.md as bars:
#   awk -v table=gpu -f bench/plot.awk docs/performance.md > docs/performance-gpu.svg
#   awk -v table=cpu -f bench/plot.awk docs/performance.md > docs/performance-cpu.svg
# gpu: milliseconds of a pass at VGA. cpu: the time of an operator as a share of the time of what it stands beside.

BEGIN {
    FS = " *[|] *"
    height = 22; width = 360; top = 48
    title = table == "gpu" ? "execute() at 640 x 480, in milliseconds (dark: the same draw without the library)" \
                           : "Time beside the other way (line: the other way, 1.0)"
}

/^## / { section = $0 }

function text(cell) {
    gsub(/`/, "", cell)
    gsub(/&/, "\\&amp;", cell)
    gsub(/</, "\\&lt;", cell)
    return cell
}

table == "gpu" && section ~ /^## GPU/ && $2 ~ /^`/ {
    name[++rows] = text($2); value[rows] = $3; inner[rows] = $3 / $4
}

table == "cpu" && section ~ /^## CPU/ && NF >= 5 && $5 ~ /^[0-9]/ {
    if ($2 ~ /^`/) { operator = text($2); sub(/,.*/, "", operator); what = text($2) }
    else what = operator ", " text($2)
    other = text($4); sub(/, [0-9.]+ ms$/, "", other)
    name[++rows] = what " beside " other; value[rows] = $5 + 0
}

END {
    if (rows == 0) { print "plot.awk: expected a table '" table "' in " FILENAME > "/dev/stderr"; exit 1 }
    for (i = 1; i <= rows; ++i) {
        if (value[i] > most) most = value[i]
        if (length(name[i]) > letters) letters = length(name[i])
    }
    left = 24 + 7 * letters
    if (table == "cpu" && most < 1.1) most = 1.1
    scale = width / most
    pageWidth = left + width + 70
    if (pageWidth < 8 * length(title) + 32) pageWidth = 8 * length(title) + 32
    pageHeight = top + rows * height + 16
    printf "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"%d\" height=\"%d\" viewBox=\"0 0 %d %d\" font-family=\"sans-serif\" font-size=\"13\">\n",
        pageWidth, pageHeight, pageWidth, pageHeight
    print "<rect width=\"100%\" height=\"100%\" fill=\"white\"/>"
    printf "<text x=\"16\" y=\"26\" font-size=\"15\" fill=\"#222\">%s</text>\n", title
    for (i = 1; i <= rows; ++i) {
        y = top + (i - 1) * height
        printf "<text x=\"%d\" y=\"%d\" text-anchor=\"end\" fill=\"#222\">%s</text>\n", left - 8, y + 14, name[i]
        printf "<rect x=\"%d\" y=\"%d\" width=\"%.1f\" height=\"16\" fill=\"#9dbce0\"/>\n", left, y + 2, value[i] * scale
        if (table == "gpu")
            printf "<rect x=\"%d\" y=\"%d\" width=\"%.1f\" height=\"16\" fill=\"#2a5b97\"/>\n", left, y + 2, inner[i] * scale
        printf "<text x=\"%.1f\" y=\"%d\" fill=\"#222\">%s</text>\n", left + value[i] * scale + 6, y + 14, value[i]
    }
    if (table == "cpu")
        printf "<line x1=\"%.1f\" x2=\"%.1f\" y1=\"%d\" y2=\"%d\" stroke=\"#b03a2e\"/>\n",
            left + scale, left + scale, top - 6, top + rows * height
    print "</svg>"
}
