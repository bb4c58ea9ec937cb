#!/bin/sh
# Follows the relative links of the Markdown pages, beginning with README.md:
#     every-page-is-reached.sh ROOT
# Exit status: 0 each link leads to a file, and each anchor to a heading, and every page in docs/ was reached; 1 not so
# (what is wrong is listed), 2 wrong usage.

set -u
if [ $# -ne 1 ] || [ ! -f "$1/README.md" ] || [ ! -d "$1/docs" ]; then
    echo "usage: ${0##*/} ROOT, the directory with README.md and docs/" >&2
    exit 2
fi
cd "$1" || exit 2
root=$PWD
status=0

complain() {
    echo "$*"
    status=1
}

# The text of a page without what is shown as it stands: code blocks and code spans. Lines keep their numbers.
prose() {
    awk '
        /^ *```/ { fenced = !fenced; print ""; next }
        fenced || /^    / { print ""; next }
        { gsub(/`[^`]*`/, "`"); print }' "$1"
}

# "LINE TARGET" for each link of a page.
links() {
    prose "$1" | awk '{
        while (match($0, /\]\([^() ]*\)/)) {
            print NR " " substr($0, RSTART + 2, RLENGTH - 3)
            $0 = substr($0, RSTART + RLENGTH)
        }
    }'
}

# The anchors that a viewer gives to the headings of a page.
anchors() {
    awk '
        /^ *```/ { fenced = !fenced }
        !fenced && /^##* / {
            sub(/^#+ +/, "")
            anchor = tolower($0)
            gsub(/[^a-z0-9 _-]/, "", anchor)
            gsub(/ /, "-", anchor)
            print anchor (count[anchor] ? "-" count[anchor] : "")
            ++count[anchor]
        }' "$1"
}

# follow PAGE LINE TARGET: prints the page that is reached
follow() {
    anchor=${3#"${3%%#*}"}
    path=${3%%#*}
    case $3 in *://*) return ;; esac
    if [ -z "$path" ]; then
        file=$1
    else
        file=$(realpath -m --relative-to="$root" "$(dirname "$1")/$path")
    fi
    case $file in ../*) echo "$1:$2: $3 leads out of the project" >&3 && return ;; esac
    [ -e "$file" ] || { echo "$1:$2: there is no $file" >&3 && return; }
    if [ -n "$anchor" ]; then
        case $file in *.md) ;; *) echo "$1:$2: $3 names an anchor in a file that has none" >&3 && return ;; esac
        anchors "$file" | grep -q -x -F -e "${anchor#?}" || echo "$1:$2: $file has no heading $anchor" >&3
    fi
    case $file in *.md) echo "$file" ;; esac
}

work=$(mktemp -d) || exit 2
trap 'rm -rf "$work"' EXIT
echo README.md >"$work/reached"
: >"$work/broken"
read_so_far=0
while page=$(sed -n "$((read_so_far + 1))p" "$work/reached") && [ -n "$page" ]; do
    read_so_far=$((read_so_far + 1))
    links "$page" >"$work/links"
    while read -r line target; do
        found=$(follow "$page" "$line" "$target" 3>>"$work/broken")
        [ -z "$found" ] || grep -q -x -F -e "$found" "$work/reached" || echo "$found" >>"$work/reached"
    done <"$work/links"
done
while read -r line; do complain "$line"; done <"$work/broken"
for page in docs/*.md; do
    grep -q -x -F -e "$page" "$work/reached" || complain "$page is not reached from README.md"
done
[ "$read_so_far" -gt 1 ] || complain "no link was found in README.md"
exit $status
