# Shows the headers to Doxygen with their comments in a form that it takes for documentation. The headers themselves are written
# for readers and have no marks in them. What changes:
#
#     // text                        /// text                          at the beginning of a file, and before what it is about
#     // Threads: one at a time      /// @par Threads                  a paragraph of its own, in the comment that opens a file
#                                    /// one at a time
#     int rows;  // of the table     int rows;  ///< of the table
#     // text                        ///@{                             a comment holds for all declarations up to an empty line
#     int open(int number);          /// text
#     int open(char* name);          int open(int number);
#                                    int open(char* name);
#                                    ///@}
#
# Comments within bodies of functions, which are indented further than declarations, stay as they are.

function indentOf(line) {
    match(line, /^ */)
    return RLENGTH
}

# The comment that opens a file: its labels become headings, what hangs under one loses the indent, and a list ends where the
# text is not indented any more.
function openingLine(text) {
    sub(/^ Start here\. /, " ", text)
    if (FNR > 1 && match(text, /^ [A-Z][a-z]+( [a-z]+)?: +/)) {
        print "/// @par" substr(text, 1, index(text, ":") - 1)
        hang = RLENGTH
        text = " " substr(text, hang + 1)
    } else if (hang > 0 && substr(text, 1, hang) ~ /^ +$/) {
        text = " " substr(text, hang + 1)
    } else if (text != "") {
        hang = 0
    }
    if (wasList && text ~ /^ [^ ]/) print "///"
    wasList = text ~ /^     -/ || (wasList && text ~ /^  /)
    print "///" text
}

# One line of code, with its comment behind it turned. A comment may go on in the next line, far to the right.
function codeLine(line,    at, text) {
    if (wasBehind && line ~ /^         +\/\/ /) {
        sub(/\/\/ /, "///< ", line)
        return line
    }
    wasBehind = 0
    if (indentOf(line) > 4 || line ~ /^(#|}|struct [A-Za-z]+;|class [A-Za-z]+;)/) return line
    at = match(line, / +\/\/ /)
    if (at > 1) {
        text = substr(line, at + RLENGTH - 1)
        line = substr(line, 1, at - 1)
        wasBehind = line !~ /[{]$/
        return wasBehind ? line "  ///<" text : "///" text "\n" line
    }
    sub(/\/\* /, "/**< ", line)  # C: behind a member
    return line
}

# Is a declaration that ends in the line, at this indent.
function endsDeclaration(line, indent) {
    sub(/ +\/\/.*/, "", line)
    return indentOf(line) >= indent && (line ~ /;$/ || line ~ /[{].*}$/)
}

# Puts out a comment with the declarations behind it.
function flush(    i) {
    if (declarations > 1) print "///@{"
    for (i = 0; i < commentLines; ++i) print comment[i]
    for (i = 0; i < codeLines; ++i) print codeLine(code[i])
    if (declarations > 1) print "///@}"
    commentLines = codeLines = declarations = 0
}

function leaves(line) { return line == "" || line ~ /^ *(}|public:|private:|protected:|#|\/\/|\/\*)/ }

BEGIN { opening = 1 }

# C: the comment that opens the file, and those before members.
opening && FNR == 1 && /^\/\*/ { print "/** @file"; sub(/^\/\*/, " *"); inC = 1 }
inC { print; if (/\*\//) { inC = opening = 0 } next }
/^ *\/\* / { inC = !/\*\//; sub(/\/\*/, "/**"); print; next }

opening && FNR == 1 { print "/// @file" }
opening && /^\/\// { openingLine(substr($0, 3)); next }
opening { opening = 0 }

/^(    )?\/\/( |$)/ {
    if (codeLines > 0) flush()
    commentIndent = indentOf($0)
    comment[commentLines++] = substr($0, 1, commentIndent) "///" substr($0, commentIndent + 3)
    next
}

commentLines > 0 && !leaves($0) {
    code[codeLines++] = $0
    if (endsDeclaration($0, commentIndent)) ++declarations
    if ($0 ~ /[{]( +\/\/.*)?$/) { declarations = 1; flush() }  # a body or a class begins: the comment is about that alone
    next
}

{ flush(); print codeLine($0) }

END { flush() }
