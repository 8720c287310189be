# Takes the programs out of docs/guide.md: awk -v page=NAME -v out=BASE -f extract.awk PAGE
#
# Writes BASE.cpp, BASE_c.c and BASE.expected. The first block of C++ is the frame, and says in two comments where the other
# blocks go. Blocks of text are what is printed. In the program and in what is expected of it each output is headed by the line
# of the page at which it stands.
function fail(text) {
    print page ":" NR ": " text > "/dev/stderr"
    failed = 1
    exit 1
}

# The compiler is told the lines of the page, so that it speaks of those.
function lineMark(line) { return "#line " line " \"" page "\"\n" }

/^```/ && block == "" {
    block = substr($0, 4)
    if (block != "cpp" && block != "c" && block != "text") fail("a block of \"" block "\" is of no use here")
    begin = NR + 1
    body = ""
    next
}

/^```$/ {
    if (block == "cpp" && frame == "") {
        frame = body
        frameLine = begin
    } else if (block == "cpp" && body ~ /^\/\/ Before main\.\n/) {
        definitions = definitions lineMark(begin) body
    } else if (block == "cpp") {
        group = group lineMark(begin) body
    } else if (block == "c") {
        cSource = cSource lineMark(begin) body
    } else {
        if (group == "") fail("an output without a program")
        statements = statements "{\nstd::puts(\"== " begin "\");\n" group "}\n"
        expected = expected "== " begin "\n" body
        group = ""
        ++outputs
    }
    block = ""
    next
}

block != "" { body = body $0 "\n" }

END {
    if (failed) exit 1
    if (block != "" || group != "") fail("the last block does not end, or prints nothing")
    if (outputs < 20) fail("only " outputs + 0 " outputs were found")
    definitionsAt = index(frame, "// Code of this page that begins with \"Before main\" belongs here.\n")
    statementsAt = index(frame, "    // All other code of this page belongs here")
    if (definitionsAt == 0 || statementsAt < definitionsAt) fail("the frame does not say where code belongs")
    printf "%s%s%s%s%s%s", lineMark(frameLine), substr(frame, 1, definitionsAt - 1), definitions,
        substr(frame, definitionsAt, statementsAt - definitionsAt), statements, substr(frame, statementsAt) > (out ".cpp")
    printf "%s", cSource > (out "_c.c")
    printf "%s", expected > (out ".expected")
}
