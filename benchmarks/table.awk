# Makes Markdown tables of the cells that the benchmarks have written: "title TAB row TAB column TAB text TAB bar".
BEGIN { FS = "\t" }

function order(list, item) { if (!((list, item) in place)) { place[list, item] = ++size[list]; at[list, size[list]] = item } }

{
    order("titles", $1)
    order("rows" FS $1, $2)
    order("columns" FS $1, $3)
    text[$1, $2, $3] = $4
}

END {
    for (t = 1; t <= size["titles"]; ++t) {
        title = at["titles", t]
        columns = size["columns" FS title]
        printf "\n### %s\n\n|", title
        for (c = 1; c <= columns; ++c)
            printf " | %s", at["columns" FS title, c]
        printf " |\n| ---"
        for (c = 1; c <= columns; ++c)
            printf " | ---:"
        print " |"
        for (r = 1; r <= size["rows" FS title]; ++r) {
            row = at["rows" FS title, r]
            printf "| %s", row
            for (c = 1; c <= columns; ++c)
                printf " | %s", text[title, row, at["columns" FS title, c]]
            print " |"
        }
    }
}
