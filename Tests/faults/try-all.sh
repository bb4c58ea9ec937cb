#!/bin/sh
# try-all.sh PROGRAM: runs every test of a fault test program with everything tried, each in a process of its own, as
# many at once as there are processors, and prints what they counted, kind by kind. False when one of them fails.
export FAULTS=all
outputs=$(mktemp -d) || exit 1
trap 'rm -rf "$outputs"' EXIT

# A suite ends in a dot, its tests follow, indented; what comes after "#" is for people.
"$1" --gtest_list_tests | sed -e '/^Running main/d' -e 's/ *#.*//' |
    awk '/^ / { print suite $1; next } { suite = $1 }' >"$outputs/tests"

# The output of the nth test is in the file n, with .failed when it failed.
awk '{ print NR, $1 }' "$outputs/tests" |
    xargs -r -P "$(nproc)" -L 1 sh -c '"$0" --gtest_brief=1 --gtest_filter="$3" >"$1/$2" 2>&1 || mv "$1/$2" "$1/$2.failed"' \
        "$1" "$outputs"

last=$(wc -l <"$outputs/tests")
number=0
while [ "$((number += 1))" -le "$last" ]; do
    if [ -f "$outputs/$number" ]; then
        cat "$outputs/$number"
    else
        cat "$outputs/$number.failed" >&2
    fi
done | awk '
    match($0, / +[0-9]+ tried +[0-9]+ survived$/) {
        kind = substr($0, 1, RSTART - 1)
        split(substr($0, RSTART), words)
        if (!(kind in tried)) kinds[++count] = kind
        tried[kind] += words[1]
        survived[kind] += words[3]
    }
    END {
        for (i = 1; i <= count; ++i) {
            kind = kinds[i]
            printf "%-77s %7d tried, %7d survived\n", kind, tried[kind], survived[kind]
        }
    }'
[ "$last" -gt 0 ] && ! ls "$outputs" | grep -q failed
