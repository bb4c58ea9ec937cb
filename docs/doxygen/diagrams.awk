# Draws the Mermaid diagrams of the pages, which repositories show by themselves and Doxygen does not:
# sequence diagrams as SVG, state diagrams as a graph for dot. To be used with page.awk, which hands over the lines.
# Only what the pages use is known; anything else is named, and makes Doxygen fail, so that no line is lost.

function bad_diagram(why, text) {
    print FILENAME ":" FNR ": " why ": " text > "/dev/stderr"
    print "@ref line-that-is-not-known"
}

function escaped(text) {
    gsub(/&/, "\\&amp;", text)
    gsub(/</, "\\&lt;", text)
    gsub(/>/, "\\&gt;", text)
    return text
}

function trimmed(text) {
    gsub(/^[ \t]+|[ \t]+$/, "", text)
    return text
}

function after_colon(text) { return trimmed(substr(text, index(text, ":") + 1)) }

function max(a, b) { return a > b ? a : b }

# --- sequence diagrams ---

function text_width(text) { return length(text) * 7 }

# The columns an arrow or a note touches: sets from_, to_ and dashed.
function read_arrow(line,    ends) {
    dashed = line ~ /^[A-Za-z]+-->>/
    split(substr(line, 1, index(line, ":") - 1), ends, /--?>>/)
    from_ = column[ends[1]]
    to_ = column[trimmed(ends[2])]
}

function read_note(line,    ends) {
    sub(/^Note over /, "", line)
    from_ = to_ = 0
    if (split(substr(line, 1, index(line, ":") - 1), ends, ",") == 2) to_ = column[trimmed(ends[2])]
    from_ = column[trimmed(ends[1])]
    if (to_ == 0) to_ = from_
}

# Widens the gap before column "last" until "width" has room between two columns.
function make_room(first, last, width,    i, room) {
    for (i = first + 1; i <= last; ++i) room += gap[i]
    if (room < width) gap[last] += width - room
}

function place_columns(    i, low, high, line) {
    for (i = 2; i <= columns; ++i) gap[i] = max(70, (text_width(name[i - 1]) + text_width(name[i])) / 2 + 30)
    for (i = 1; i <= line_count; ++i) {
        line = diagram[i]
        if (line !~ /->>/) continue
        read_arrow(line)
        low = from_ < to_ ? from_ : to_
        high = max(from_, to_)
        make_room(low, high, text_width(after_colon(line)) + 24)
    }
    x[1] = max(60, text_width(name[1]) / 2 + 30)
    for (i = 2; i <= columns; ++i) x[i] = x[i - 1] + gap[i]
    width = x[columns] + max(60, text_width(name[columns]) / 2 + 30)
}

function svg_text(at, y, anchor, class, text) {
    front = front sprintf("<text x=\"%d\" y=\"%d\" text-anchor=\"%s\" class=\"%s\">%s</text>\n", at, y, anchor, class,
                          escaped(text))
}

function svg_line(x1, y1, x2, y2, class) {
    front = front sprintf("<line x1=\"%d\" y1=\"%d\" x2=\"%d\" y2=\"%d\" class=\"%s\"/>\n", x1, y1, x2, y2, class)
}

function svg_box(left, top, right, bottom, class) {
    return sprintf("<rect x=\"%d\" y=\"%d\" width=\"%d\" height=\"%d\" class=\"%s\"/>\n", left, top, right - left,
                   bottom - top, class)
}

function names_at(y,    i, half) {
    for (i = 1; i <= columns; ++i) {
        half = text_width(name[i]) / 2 + 10
        front = front svg_box(x[i] - half, y - 16, x[i] + half, y + 8, "name")
        svg_text(x[i], y, "middle", "name", name[i])
    }
}

function arrow(line,    head) {
    read_arrow(line)
    if (!from_ || !to_) bad_diagram("not among the participants", line)
    row += 30
    head = to_ > from_ ? -8 : 8
    svg_text((x[from_] + x[to_]) / 2, row - 5, "middle", "message", after_colon(line))
    svg_line(x[from_], row, x[to_], row, dashed ? "reply" : "call")
    front = front sprintf("<polygon points=\"%d,%d %d,%d %d,%d\"/>\n", x[to_], row, x[to_] + head, row - 4,
                          x[to_] + head, row + 4)
}

function note(line,    middle, half) {
    read_note(line)
    if (!from_ || !to_) bad_diagram("not among the participants", line)
    row += 34
    middle = (x[from_] + x[to_]) / 2
    half = max(text_width(after_colon(line)), x[to_] - x[from_]) / 2 + 10
    front = front svg_box(middle - half, row - 18, middle + half, row + 6, "note")
    svg_text(middle, row - 2, "middle", "message", after_colon(line))
    row += 6
}

function open_frame(line,    kind, label) {
    kind = line
    sub(/ .*/, "", kind)
    label = trimmed(substr(line, length(kind) + 1))
    ++depth
    row += 14
    top[depth] = row
    filled[depth] = kind == "rect"
    if (kind == "rect") return
    row += 16
    svg_text(depth * 10 + 6, row - 3, "start", "frame", kind (label == "" ? "" : ": " label))
}

function else_frame(line) {
    row += 12
    svg_line(depth * 10, row, width - depth * 10, row, "reply")
    row += 16
    svg_text(depth * 10 + 6, row - 3, "start", "frame", trimmed("else " substr(line, 5)))
}

function close_frame() {
    row += 12
    if (filled[depth]) back = back svg_box(depth * 10, top[depth], width - depth * 10, row, "part")
    else front = front svg_box(depth * 10, top[depth], width - depth * 10, row, "frame")
    --depth
}

function draw_sequence(    i, line, last) {
    front = back = ""
    columns = depth = 0
    split("", column)
    for (i = 2; i <= line_count; ++i) {
        line = diagram[i]
        if (line ~ /^participant /) {
            split(line, last, " ")
            column[last[2]] = ++columns
            name[columns] = substr(line, index(line, " as ") + 4)
        }
    }
    place_columns()
    row = 24
    names_at(row)
    row += 8
    for (i = 2; i <= line_count; ++i) {
        line = diagram[i]
        if (line == "" || line ~ /^participant /) continue
        if (line ~ /^[A-Za-z]+--?>>[A-Za-z]+: /) arrow(line)
        else if (line ~ /^Note over /) note(line)
        else if (line ~ /^(opt|alt|loop|rect)( |$)/) open_frame(line)
        else if (line ~ /^else/ && depth > 0) else_frame(line)
        else if (line == "end" && depth > 0) close_frame()
        else bad_diagram("not known in a sequence diagram", line)
    }
    if (depth != 0) bad_diagram("a frame has no end", diagram[line_count])
    for (i = 1; i <= columns; ++i) {
        back = back sprintf("<line x1=\"%d\" y1=\"32\" x2=\"%d\" y2=\"%d\" class=\"life\"/>\n", x[i], x[i], row + 18)
    }
    row += 34
    names_at(row)
    print "\\htmlonly[block]"
    printf "<svg class=\"sequence\" viewBox=\"0 0 %d %d\" width=\"%d\" role=\"img\">\n", width, row + 16, width
    printf "%s%s</svg>\n\\endhtmlonly\n", back, front
}

# --- state diagrams ---

function state(text) { return text == "[*]" ? "begin_" : text }

function draw_states(    i, line, ends, label) {
    print "\\dot"
    print "digraph states {"
    print "    node [shape=box, style=rounded, fontname=\"Helvetica\", fontsize=11];"
    print "    edge [fontname=\"Helvetica\", fontsize=10];"
    print "    begin_ [shape=point, width=0.15];"
    for (i = 2; i <= line_count; ++i) {
        line = diagram[i]
        if (line == "") continue
        label = line ~ /:/ ? after_colon(line) : ""
        if (line ~ /^[^ ]+ --> [^ ]+(: .*)?$/) {
            sub(/:.*/, "", line)
            split(line, ends, " --> ")
            gsub(/, /, ",\\n", label)
            printf "    %s -> %s [label=\" %s\"];\n", state(ends[1]), state(ends[2]), label
        } else if (line ~ /^[A-Za-z]+: /) {
            sub(/:.*/, "", line)
            sub(/ - /, "\\n", label)
            printf "    %s [label=\"%s\"];\n", line, label
        } else {
            bad_diagram("not known in a state diagram", line)
        }
    }
    print "}"
    print "\\enddot"
}

# Draws the lines diagram[1] to diagram[line_count], from which indentation has been taken.
function draw() {
    if (diagram[1] == "sequenceDiagram") draw_sequence()
    else if (diagram[1] == "stateDiagram-v2") draw_states()
    else bad_diagram("no diagram that is known", diagram[1])
}
