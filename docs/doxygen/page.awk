# Doxygen's filter for the Markdown pages: awk -f diagrams.awk -f page.awk PAGE
# The pages are written for a repository's viewer. For Doxygen, headings get the anchors that they have there, links
# name pages, anchors and documented headers, and diagrams are drawn.

# The name of a page: its file's, less the suffix.
function page_of(path) {
    if (path == "README.md") return "index"
    if (path == "docs/README.md") return "documentation"
    sub(/.*\//, "", path)
    sub(/\.md$/, "", path)
    return tolower(path)
}

# The anchor that a repository's viewer gives to a heading.
function slug(heading) {
    heading = tolower(heading)
    gsub(/[^a-z0-9 _-]/, "", heading)
    gsub(/ /, "-", heading)
    return heading
}

# A link as Doxygen needs it; what the documentation does not have is left as text.
function link(text, target,    anchor, path) {
    if (target ~ /^[a-z]+:/) return "[" text "](" target ")"
    anchor = target ~ /#/ ? substr(target, index(target, "#") + 1) : ""
    path = target
    sub(/#.*/, "", path)
    if (path == "") path = here
    else if (path ~ /^\.\.\//) path = substr(path, 4)
    else path = directory path
    if (path ~ /\.md$/) return "[" text "](@ref " page_of(path) (anchor == "" ? "" : "-" anchor) ")"
    if (path !~ /\/inc\/[^\/]*\.h$/) return text  # other headers are not Doxygen's input
    sub(/.*\//, "", path)
    return "[" text "](@ref " path ")"
}

# In a table, a code span writes | as \|. Doxygen would show both characters, so another one stands in that docs/build
# replaces in the end (U+E000, which no page has).
function code(span) {
    if (line ~ /^\|/) gsub(/\\\|/, "\356\200\200", span)
    return span
}

# Takes a line apart into code spans, links and the rest.
function with_links(rest,    out, at) {
    while (match(rest, /`[^`]*`|\[[^][]*\]\([^() ]*\)/)) {
        out = out substr(rest, 1, RSTART - 1)
        part = substr(rest, RSTART, RLENGTH)
        rest = substr(rest, RSTART + RLENGTH)
        if (part ~ /^`/) {
            out = out code(part)
        } else {
            at = index(part, "](")
            out = out link(substr(part, 2, at - 2), substr(part, at + 2, length(part) - at - 2))
        }
    }
    return out rest
}

FNR == 1 {
    directory = FILENAME ~ /(^|\/)docs\/[^\/]*$/ ? "docs/" : ""
    here = FILENAME
    sub(/.*\//, "", here)
    here = directory here
}

fence == "" && /^```mermaid$/ {
    fence = "diagram"
    line_count = 0
    next
}
fence == "diagram" {
    if ($0 == "```") {
        draw()
        fence = ""
    } else {
        diagram[++line_count] = trimmed($0)
    }
    next
}
/^```/ { fence = fence == "" ? "code" : "" }
fence == "code" || /^    / {
    print
    next
}
/^# / {
    print $0 (here == "README.md" ? "" : " {#" page_of(here) "}")
    next
}
/^##+ / {
    heading = $0
    sub(/^#+ /, "", heading)
    print $0 " {#" page_of(here) "-" slug(heading) "}"
    next
}
{
    line = $0
    print with_links(line)
}
