# Takes the code blocks out of a page, so that they can be compiled and run. For the rules see docs/development.md.
#
#   awk -v page=NAME -v out=FOLDER -f blocks.awk PAGE.md
#
# Writes to FOLDER, and prints the name of each file that it writes; N counts the blocks of the page:
#   NAME-N.cpp      a program: a cpp block that has a main
#   NAME.cpp        a program of all other cpp blocks, one behind the other
#   NAME*.expected  what the program of that name prints: the text block behind it
#   NAME.console    the transcripts, and the commands in comments that prepare them
#   NAME-N.sh       commands for people
#   NAME-N.printed  what the demonstration among them prints
#   NAME-N.cmake    a host's CMakeLists.txt
# Fails at a block that has no rule.

function fail(line, text) {
    printf "%s:%d: %s\n", FILENAME, line, text >"/dev/stderr"
    failed = 1
}

function start(file) {
    if (!(file in written)) {
        written[file] = 1
        printf "" >(out "/" file)
        print file
    }
}

function write(file, text) {
    start(file)
    print text >(out "/" file)
}

function keepProgram(    file, i) {
    file = hasMain ? page "-" number ".cpp" : page ".cpp"
    if (hasMain) {
        write(file, "#line " (first + 1) " \"" FILENAME "\"")
        for (i = 1; i <= count; ++i) {
            write(file, block[i])
        }
    } else {
        parts = parts "#line " (first + 1) " \"" FILENAME "\"\n"
        for (i = 1; i <= count; ++i) {
            if (block[i] ~ /^#include/) {
                includes = includes block[i] "\n"
                parts = parts "\n"
            } else {
                parts = parts block[i] "\n"
            }
        }
    }
    return file
}

function keep(    i, file) {
    if (language == "cpp") {
        before = keepProgram()
        sub(/\.cpp$/, ".expected", before)
    } else if (language == "console") {
        for (i = 1; i <= count; ++i) {
            write(page ".console", block[i])
        }
        before = ""
    } else if (language == "text" && before != "" && first - last <= 6) {
        for (i = 1; i <= count; ++i) {
            write(before, block[i])
        }
        before = ""
    } else if (language == "sh" || language == "cmake") {
        file = page "-" number "." language
        for (i = 1; i <= count; ++i) {
            write(file, block[i])
        }
        before = block[1] ~ /^scripts\/demo\.sh/ ? page "-" number ".printed" : ""
    } else if (language == "text") {
        fail(first, "a text block is what the block right before it prints; there is none")
    } else {
        fail(first, "no rule for a block of \"" language "\"")
    }
    last = NR
}

# What prepares a transcript, for the reader of the source only.
/^<!-- run: .* -->$/ {
    sub(/^<!-- run: /, "")
    sub(/ -->$/, "")
    write(page ".console", "< " $0)
    next
}

/^```/ && !inside {
    language = substr($0, 4)
    inside = 1
    first = NR
    ++number
    count = 0
    hasMain = 0
    next
}

/^```/ {
    inside = 0
    keep()
    blank = 0
    next
}

inside {
    block[++count] = $0
    hasMain = hasMain || /^int main\(/
    next
}

# Markdown takes indented lines for code too, unless they go on with an item of a list.
/^    / && blank && !list {
    fail(NR, "an indented block does not say what it is: put it between ```LANGUAGE and ```")
}

/^[^ ]/ { list = /^([-*+]|[0-9]+\.) / }

{ blank = /^$/ }

END {
    if (inside) {
        fail(first, "this block never ends")
    }
    if (parts != "") {
        file = page ".cpp"
        start(file)
        printf "#include <VDIFrameworkCommon/VDIFrameworkCommon.h>\n%s", includes >(out "/" file)
        printf "using namespace VDIFrameworkCommon;\nint main() {\n%s}\n", parts >(out "/" file)
    }
    exit failed
}
