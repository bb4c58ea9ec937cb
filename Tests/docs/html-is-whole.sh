#!/bin/sh
# Builds the documentation and looks at what came out:
#     html-is-whole.sh ROOT DIRECTORY
# DIRECTORY is made anew. Exit status: 0 it was built without a warning, every diagram of the pages is drawn and every
# link leads somewhere; 1 not so (what is wrong is listed), 2 wrong usage.

set -u
if [ $# -ne 2 ] || [ ! -x "$1/docs/build" ]; then
    echo "usage: ${0##*/} ROOT DIRECTORY, the project and where to build" >&2
    exit 2
fi
rm -rf "$2"
"$1/docs/build" "$2" || exit 1
html=$2/html
status=0

complain() {
    echo "$*"
    status=1
}

# The diagrams that a page has, and those that its HTML has.
for page in "$1"/docs/*.md; do
    name=$(basename "$page" .md)
    [ "$name" != README ] || name=documentation
    [ -s "$html/$name.html" ] || complain "$page has become no page"
    wanted=$(grep -c -x 'sequenceDiagram' "$page")
    drawn=$(grep -c '<svg class="sequence"' "$html/$name.html")
    [ "$wanted" = "$drawn" ] || complain "$page has $wanted sequence diagrams, its HTML has $drawn"
    wanted=$(grep -c -x 'stateDiagram-v2' "$page")
    drawn=$(grep -c '"dot_inline_dotgraph_[0-9]*.svg"' "$html/$name.html")
    [ "$wanted" = "$drawn" ] || complain "$page has $wanted state diagrams, its HTML has $drawn"
    ! grep -q '``' "$html/$name.html" || complain "$name.html shows a code fence"
done
grep -q Interrupted "$html"/dot_inline_dotgraph_1.svg || complain "the state diagram has no states"

# Every link into the documentation itself: the file, and the place in it.
cd "$html" || exit 1
awk '
    { text = $0 }
    { while (match(text, /(id|name)="[^"]*"/)) {
        place = substr(text, RSTART, RLENGTH)
        sub(/^[a-z]*="/, "", place)
        there[FILENAME "#" substr(place, 1, length(place) - 1)] = 1
        text = substr(text, RSTART + RLENGTH)
    } }
    FNR == 1 { there[FILENAME] = 1 }
    { while (match($0, /(href|src|data)="[^"]*"/)) {
        link = substr($0, RSTART, RLENGTH)
        sub(/^[a-z]*="/, "", link)
        link = substr(link, 1, length(link) - 1)
        $0 = substr($0, RSTART + RLENGTH)
        if (link ~ /^[a-z]+:/ || link == "") continue
        if (link ~ /^#/) link = FILENAME link
        wanted[link] = FILENAME
    } }
    END {
        for (link in wanted) {
            if (link in there) continue
            file = link
            sub(/#.*/, "", file)
            if (!(file in there) && (getline line < file) >= 0 && link == file) continue
            print wanted[link] ": the link to " link " leads nowhere"
            failed = 1
        }
        exit failed
    }' *.html || status=1
exit $status
