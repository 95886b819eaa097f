# SPDX-License-Identifier: Apache-2.0
# Prints "FILE<tab>TEXT" for each message that the sources write to the system log, with … for what
# varies, and "FILE<tab>?" for a call that only passes on a text from elsewhere. The errors of the
# services count too, because a process that ends by one logs it.

BEGIN {
    call = "(log::(Error|Failed|Plain)|Log(Error|Warning|Info)|v?syslog|ea::EnsureDirectory" \
           "|throw (std::runtime_error|DatabaseError)) ?\\("
}

FNR == 1 { Scan(name, source); name = FILENAME; source = "" }
{ sub(/(^|[ \t])\/\/ .*/, ""); source = source $0 " " }
END { Scan(name, source) }

function Scan(file, rest,    function_name) {
    while (match(rest, call)) {
        function_name = substr(rest, RSTART, RLENGTH)
        rest = substr(rest, RSTART + RLENGTH)
        ReadArguments(rest)
        Report(file, function_name)
    }
}

# Sets argument[1 to arguments], each with its literals as text and … for other code between them,
# and is_literal[]; a number counts as a literal.
function ReadArguments(code,    i, c, depth, other, before) {
    arguments = 1
    argument[1] = other = ""
    is_literal[1] = 1
    passes_problem = 0
    depth = 0
    for (i = 1; i <= length(code); ++i) {
        c = substr(code, i, 1)
        if (c == "\"" && depth > 0 && other !~ /std::string\($/) {
            before = argument[arguments]
            i = ReadLiteral(code, i + 1)
            argument[arguments] = before  # what another function gets is no part of the text
            other = other "literal"
        } else if (c == "\"") {
            EndOther(other)
            other = ""
            i = ReadLiteral(code, i + 1)
        } else if (depth == 0 && (c == ")" || c == ",")) {
            EndOther(other)
            other = ""
            if (c == ")") {
                return
            }
            argument[++arguments] = ""
            is_literal[arguments] = 1
        } else {
            depth += (c == "(") - (c == ")")
            other = other c
        }
    }
}

# Returns the place of the quotation mark that ends the literal.
function ReadLiteral(code, i,    c) {
    for (c = substr(code, i, 1); c != "\"" && c != ""; c = substr(code, ++i, 1)) {
        if (c == "\\") {
            c = substr(code, ++i, 1)
        }
        argument[arguments] = argument[arguments] c
    }
    return i
}

function EndOther(code) {
    passes_problem = passes_problem || code ~ /InOneLine/
    gsub(/std::string\(/, "", code)
    gsub(/[ \t{}()+;]/, "", code)
    if (code == "") {
        return
    }
    is_literal[arguments] = is_literal[arguments] && code ~ /^[0-9]+$/
    argument[arguments] = argument[arguments] (code ~ /^[0-9]+$/ ? code : "…")
}

# The message is the format: the first argument with words or a conversion in a literal.
function Report(file, function_name,    i, text) {
    i = 1
    if (function_name !~ /^(Log|throw)/) {
        while (i <= arguments && !(is_literal[i] && argument[i] !~ /^[0-9]*$/)) {
            ++i
        }
    }
    text = i > arguments ? "" : Filled(argument[i], i)
    if (function_name ~ /Failed/) {
        text = "Failed [" text "]"
    }
    if (!passes_problem && !(function_name ~ /^throw/ && file !~ /^(web|loader|daemon)\//)) {
        print file "\t" (text ~ /[A-Za-z]/ ? text : "?")
    }
}

function Filled(format, last,    text) {
    text = ""
    while (match(format, /%[-.0-9]*[hlz]*[a-zA-Z]/)) {
        ++last
        text = text substr(format, 1, RSTART - 1) \
               (last <= arguments && is_literal[last] ? argument[last] : "…")
        format = substr(format, RSTART + RLENGTH)
    }
    text = text format
    gsub(/……/, "…", text)
    return text
}
