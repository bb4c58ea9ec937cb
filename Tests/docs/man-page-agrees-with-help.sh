#!/bin/sh
# Compares a command's manual page with what its --help says, for the command and each of its subcommands:
#     man-page-agrees-with-help.sh PAGE COMMAND
# Each subcommand has one heading in the page, with its arguments in their order and exactly its options; each option,
# and each fault, has an explanation of its own. Exit status: 0 they agree and the page has no fault of form, 1 not so
# (what is wrong is listed), 2 wrong usage.

set -u
if [ $# -ne 2 ] || [ ! -f "$1" ] || [ ! -x "$2" ]; then
    echo "usage: ${0##*/} PAGE COMMAND, a manual page and the command's program" >&2
    exit 2
fi
page=$1
program=$2
status=0

complain() {
    echo "$*"
    status=1
}

work=$(mktemp -d) || exit 2
trap 'rm -rf "$work"' EXIT
mandoc -T lint -W warning "$page" || status=1
# Without overstriking; wide, so that a heading is one line.
mandoc -T ascii -O width=300 "$page" | sed "s/.$(printf '\b')//g" >"$work/page"
[ -s "$work/page" ] || complain "$page cannot be shown"
sed -n '/^   Commands/,/^   Options/p' "$work/page" >"$work/headings"

help_of() { "$program" "$@" --help; }

# The names in a list of --help: list TITLE
list() { sed -n "/^$1:\$/,/^\$/s/^  \([^ ].*\)/\1/p"; }

options_of_text() { grep -o -e '--[a-z][a-z-]*' | sort -u; }

# check WORDS...: a command without subcommands
check() {
    help_of "$@" >"$work/help"
    heading=$(grep -e "^     $*\( \|\$\)" "$work/headings")
    [ "$(printf '%s\n' "$heading" | grep -c .)" = 1 ] || {
        complain "'$*' has no heading of its own in $page"
        return
    }
    in_help=$(list Options <"$work/help" | sed 's/  .*//' | options_of_text | grep -v -x -e --help)
    in_page=$(printf '%s\n' "$heading" | options_of_text)
    [ "$in_help" = "$in_page" ] || complain "'$*': --help has" $in_help ", $page has" $in_page
    arguments=$(list Arguments <"$work/help" | sed 's/ .*//' | tr '\n' ' ')
    # Less what belongs to options, and less what is a matter of "--".
    in_page=$(printf '%s\n' "${heading#     "$*"}" |
        sed 's/ -- .*//; s/\[--[^]]*\]//g; s/\.\.\.//g; s/[][]//g; s/^ *//; s/ *$//; s/  */ /g')
    [ "${arguments% }" = "$in_page" ] || complain "'$*': --help has the arguments ${arguments% }, $page has $in_page"
}

# Walks down to the commands that have none below them.
walk() {
    below=$(help_of "$@" | list Commands | sed 's/ .*//')
    if [ -z "$below" ]; then
        [ $# = 0 ] || { check "$@" && echo "$*" >>"$work/commands"; }
        return
    fi
    for word in $below; do
        (walk "$@" "$word" && exit $status) || status=1
    done
}
walk
[ -s "$work/commands" ] || complain "$program --help names no commands"

# What each heading of an explanation names must be in some --help, and the other way round.
{
    help_of
    while read -r command; do
        # shellcheck disable=SC2086 # its words
        help_of $command
    done <"$work/commands"
} >"$work/all-help"
list Options <"$work/all-help" | sed 's/  .*//' | options_of_text >"$work/in-help"
grep -e '^     \(-[a-z], \)\?--' "$work/page" | options_of_text >"$work/in-page"
diff "$work/in-help" "$work/in-page" || complain "left: options in --help; right: options that $page explains"

# Faults are written KEY=VALUE, with words in capitals for what varies.
faults_of_text() { grep -o -e '[a-z_.]\+\.[A-Za-z_]\+=[a-zA-Z:|]\+' | sort -u; }
sed -n '/^Faults/,/^Environment/s/^  \([a-z_]*\.\)/\1/p' "$work/all-help" | faults_of_text >"$work/in-help"
sed -n '/^   Faults/,/^[A-Z]/s/^     \([a-z_]*\.\)/\1/p' "$work/page" | faults_of_text >"$work/in-page"
diff "$work/in-help" "$work/in-page" || complain "left: faults in --help; right: faults that $page explains"
exit $status
