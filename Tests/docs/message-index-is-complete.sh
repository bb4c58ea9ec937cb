#!/bin/sh
# Compares docs/messages.md with the messages that the library's sources can write:
#     message-index-is-complete.sh ROOT
# A message is its unit, its priority and its format text. It stands in the index when the section of its unit has a row
# with its text, as in C, its priority and the functions that it is logged under (where the source names them), no others.
# Exit status: 0 the index and the sources agree, 1 they do not (what is missing or left over is listed), 2 wrong usage.

set -u
LC_ALL=C
export LC_ALL

if [ $# -ne 1 ] || [ ! -f "$1/docs/messages.md" ] || [ ! -f "$1/Common/inc/Log.h" ]; then
    echo "usage: ${0##*/} ROOT, the directory with docs/messages.md and Common/inc/Log.h" >&2
    exit 2
fi
work=$(mktemp -d) || exit 2
trap 'rm -rf "$work"' EXIT

# Writes "UNIT<TAB>PRIORITY<TAB>FUNCTION<TAB>TEXT" for each message of the sources; FUNCTION is "?" where it is handed in.
cd "$1" || exit 2
# shellcheck disable=SC2016 # awk expands them
find Common DBusServiceClient MacNPicture VBMigration -name '*.h' -o -name '*.cpp' | sort | xargs awk '
function emit(unit, priority, name, text) { print unit "\t" priority "\t" name "\t" text }
function give_up(why) {
    print FILENAME_AT ": " why > "/dev/stderr"
    failed = 1
}

# Splits a source text into tokens: words, string literals (with their quotes) and single characters.
function tokenize(source,    i, c, start, length_) {
    count = 0
    length_ = length(source)
    line = 1
    for (i = 1; i <= length_; ++i) {
        c = substr(source, i, 1)
        if (c == "\n") {
            ++line
        } else if (substr(source, i, 2) == "//") {
            while (i < length_ && substr(source, i + 1, 1) != "\n") ++i
        } else if (substr(source, i, 2) == "/*") {
            for (i += 2; i < length_ && substr(source, i, 2) != "*/"; ++i) if (substr(source, i, 1) == "\n") ++line
            ++i
        } else if (c == "\"" || c == "\047") {
            start = i
            for (++i; i <= length_ && substr(source, i, 1) != c; ++i) if (substr(source, i, 1) == "\\") ++i
            add(substr(source, start, i - start + 1))
        } else if (c ~ /[A-Za-z0-9_]/) {
            start = i
            while (i < length_ && substr(source, i + 1, 1) ~ /[A-Za-z0-9_]/) ++i
            add(substr(source, start, i - start + 1))
        } else if (c !~ /[ \t\\]/) {
            add(c)
        }
    }
}
function add(token) {
    tokens[++count] = token
    lines[count] = line
}

# Reads the arguments after the parenthesis at a token; adjacent literals become one.
function read_arguments(at,    depth, token) {
    split("", arguments)
    given = 1
    depth = 0
    for (; at <= count; ++at) {
        token = tokens[at]
        if (token ~ /^[({[]$/ && ++depth == 1) continue
        if (token ~ /^[)}\]]$/ && --depth == 0) return
        if (token == "," && depth == 1) {
            ++given
        } else if (token ~ /^"/ && arguments[given] ~ /"$/) {
            arguments[given] = substr(arguments[given], 1, length(arguments[given]) - 1) substr(token, 2)
        } else {
            arguments[given] = arguments[given] token
        }
    }
}

function unquoted(text) { return substr(text, 2, length(text) - 2) }

# A call that logs: LOG_INFO(text, ...), LOG_ERROR(text, ...) or LOG_FOR(unit, function, priority, text, ...).
function look_at_call(at,    macro, place, priority, text, name, unit, u) {
    macro = tokens[at]
    FILENAME_AT = file ":" lines[at]
    read_arguments(at + 1)
    if (macro == "LOG_ENTRY") {
        emit(unit_of[file], 6, function_at[lines[at]], entry_text)
        return
    }
    place = macro == "LOG_FOR" ? 4 : 1
    priority = macro == "LOG_INFO" || arguments[3] == "kLogInfo" && place == 4 ? 4 : 6
    text = arguments[place]
    if (text == "\"%s\"" && file ~ /SameGenerationStratgegy\.h$/) {
        # A text of the generations: named here, or handed to a helper.
        name = arguments[place + 1]
        generation_priority[name ~ /^Generation::/ ? name : "handed"] = priority
        return
    }
    if (text !~ /^".*"$/ || text == "\"%s\"") {
        give_up("the text of this message cannot be told: " text)
        return
    }
    name = place == 4 ? arguments[2] : "__func__"
    if (name == "__func__") name = function_at[lines[at]]
    else if (name == "kOperation") name = operation_at[lines[at]]
    else if (name ~ /^"/) name = unquoted(name)
    else name = "?"
    unit = place == 4 ? arguments[1] : "LOG_UNIT"
    if (unit == "LOG_UNIT") emit(unit_of[file], priority, name, unquoted(text))
    else if (unit == "unit") for (u in handed_units) emit(u, priority, name, unquoted(text))
    else if (unit == "kUnit") for (u in generation_units) emit(u, priority, name, unquoted(text))
    else give_up("the unit of this message cannot be told: " unit)
}

# What a file tells of units and texts that other files log.
function look_for_units(    i, unit, kind) {
    for (i = 1; i < count; ++i) {
        if (tokens[i] == "define" && tokens[i + 1] == "LOG_UNIT") unit_of[file] = unquoted(tokens[i + 2])
        if (tokens[i] == "define" && tokens[i + 1] == "LOG_ENTRY") entry_text = unquoted(tokens[i + 6])
        if (tokens[i] == "(" && tokens[i + 1] == "LOG_UNIT" && tokens[i - 1] != "LOG_FOR") handed_units[unit_of[file]] = 1
        if (tokens[i] ~ /^k(Name|Unit|Constructed|NotSupported|NotSupportedTab)$/ && tokens[i + 1] == "=") {
            kind = tokens[i]
            if (kind == "kName") generation = unquoted(tokens[i + 2])
            else if (kind == "kUnit" && tokens[i + 2] ~ /^"/) generation_units[unit = unquoted(tokens[i + 2])] = 1
            else if (kind != "kUnit") {
                generation_text[unit, kind] = unquoted(tokens[i + 2])
                generation_function[unit, kind] = kind == "kConstructed" ? generation : "?"
            }
        }
    }
}

function emit_generation_texts(    key, part, name) {
    for (key in generation_text) {
        split(key, part, SUBSEP)
        name = "Generation::" part[2]
        if (!(name in generation_priority)) name = "handed"
        emit(part[1], generation_priority[name], generation_function[key], generation_text[key])
    }
}

# Functions begin at the left margin; the name stands before the first parenthesis.
function look_for_functions(    all, n, i, head, name, operation) {
    split("", function_at)
    split("", operation_at)
    n = split(sources[file], all, "\n")
    for (i = 1; i <= n; ++i) {
        if (all[i] ~ /^[A-Za-z_].*\(/) {
            head = all[i]
            sub(/\(.*/, "", head)
            if (match(head, /~?[A-Za-z0-9_]+$/)) name = substr(head, RSTART)
        }
        if (match(all[i], /kOperation = "[^"]*"/)) operation = substr(all[i], RSTART + 14, RLENGTH - 15)
        function_at[i] = name
        operation_at[i] = operation
    }
}

FNR == 1 { files[++file_count] = FILENAME }
{ sources[FILENAME] = sources[FILENAME] $0 "\n" }
END {
    for (f = 1; f <= file_count; ++f) {
        file = files[f]
        tokenize(sources[file])
        look_for_units()
    }
    for (f = 1; f <= file_count; ++f) {
        file = files[f]
        if (file ~ /\/Log\.h$/) continue
        tokenize(sources[file])
        look_for_functions()
        for (i = 1; i < count; ++i) if (tokens[i] ~ /^LOG_(INFO|ERROR|FOR|ENTRY)$/ && tokens[i + 1] == "(") look_at_call(i)
    }
    emit_generation_texts()
    exit failed
}' >"$work/sources" || exit 1
[ -s "$work/sources" ] || {
    echo "no messages found" >&2
    exit 1
}

awk -v index_file=docs/messages.md '
function report(why, unit, priority, text) {
    print why ": " unit ", priority " priority ": \"" text "\""
    failed = 1
}
BEGIN {
    FS = "\t"
    while ((getline row < index_file) > 0) {
        if (row ~ /^#/) {
            unit_count = 0
            while (match(row, /[A-Za-z]+\.cpp/)) {
                units[++unit_count] = substr(row, RSTART, RLENGTH)
                row = substr(row, RSTART + RLENGTH)
            }
        }
        if (substr(row, 1, 4) != "| `\"") continue
        row = substr(row, 5)
        end = index(row, "\"` | ")
        text = substr(row, 1, end - 1)
        gsub(/\\\|/, "|", text)
        row = substr(row, end + 5)
        for (u = 1; u <= unit_count; ++u) {
            key = units[u] "\t" substr(row, 1, 1) "\t" text
            names = substr(row, 5)
            sub(/\|.*/, "", names)
            indexed[key] = indexed[key] " " names
        }
    }
}
{
    key = $1 "\t" $2 "\t" $4
    wanted[key] = 1
    logs[key, $3] = 1
    if (!(key in indexed)) {
        if (!(key in told)) report("not in the index", $1, $2, $4)
        told[key] = 1
    } else if ($3 != "?" && index(indexed[key], "`" $3 "`") == 0) {
        report("the index does not name function " $3, $1, $2, $4)
    }
}
END {
    for (key in indexed) {
        split(key, part, "\t")
        if (!(key in wanted)) {
            report("in the index, but in no source", part[1], part[2], part[3])
            continue
        }
        # A helper that is handed the name of the function does not tell which ones these are.
        if ((key, "?") in logs) continue
        names = indexed[key]
        while (match(names, /`[^`]*`/)) {
            name = substr(names, RSTART + 1, RLENGTH - 2)
            names = substr(names, RSTART + RLENGTH)
            if ((key, name) in logs) continue
            report("the index names function " name ", which does not log it", part[1], part[2], part[3])
        }
    }
    exit failed
}' "$work/sources"
