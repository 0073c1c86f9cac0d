# stamp.sh INCLUDE_DIR CC OUTPUT_DIR
# Writes what macros make in containers.h as plain C headers into the folder: each stamped type under
# its full names with its docstrings, and the type checks. It is what the compiler sees, less the
# macros.
set -eu
include=$1 cc=$2 output=$3
rm -rf "$output"
mkdir -p "$output"

# The preprocessor says before each piece which file it is from, and marks with 1 where it enters
# one. The first comment of a stamp speaks of the stamp; with the next docstring begins the type.
"$cc" -E -CC -I "$include" "$include/kmath/containers.h" | awk -v folder="$output" '
    function write(name) {
        if (text == "")
            return
        match(text, /typedef struct [A-Za-z0-9_]+/)
        name = substr(text, RSTART + 15, RLENGTH - 15)
        printf "/**\n * @file\n * %s: stamped by containers.h, which has to be included.\n */\n\n%s",
            name, text > (folder "/" name ".h")
        close(folder "/" name ".h")
        text = ""
    }
    /^# [0-9]+ "/ {
        stamped = $3 ~ /\/(vector|shareable)_operations\.h"$/
        checks = $3 ~ /\/type_checks\.h"$/
        if (stamped && $4 == 1) {
            write()
            head = 1
        }
        next
    }
    { gsub(/__attribute__\(\(visibility\("default"\)\)\) /, "") }
    checks && /^ *typedef struct .*ksys_typeCheck/ {
        n = split($0, declarations, / *; */)
        for (i = 1; i < n; ++i)
            if (declarations[i] ~ /^ *typedef/)
                type = substr(declarations[i], match(declarations[i], /[A-Za-z0-9_]+$/))
            else
                checked = checked "\n/** " (declarations[i] ~ /__unused__/ ? \
                    "Calls the six checks of " type " with null." : \
                    "Does nothing; a caller with an argument of another type does not compile.") \
                    " */\n" declarations[i] ";\n"
        next
    }
    !stamped { next }
    head == 1 { head += /\*\/$/; next }
    head == 2 && !/^\/\*\*/ { next }
    { head = 0 }
    !(blank && /^$/) { text = text $0 "\n" }
    { blank = /^$/ }
    END {
        write()
        if (checked != "")
            print "/**\n * @file\n * The functions of type_checks.h.\n */" checked \
                > (folder "/ksys_typeCheck.h")
    }'
