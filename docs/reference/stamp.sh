# stamp.sh INCLUDE_DIR CC OUTPUT_DIR
# Writes each stamped type of containers.h as a plain C header into the folder, under its full names
# and with its docstrings: what the compiler sees of it, less the macros.
set -eu
include=$1 cc=$2 output=$3
rm -rf "$output"
mkdir -p "$output"

# The preprocessor says before each piece which file it is from, and marks with 1 where it enters
# one. The first comment of a stamp speaks of the stamp; behind it stands the type.
"$cc" -E -CC -I "$include" "$include/kmath/containers.h" | awk -v folder="$output" '
    function write(name) {
        if (text == "")
            return
        match(text, /typedef struct [A-Za-z0-9_]+/)
        name = substr(text, RSTART + 15, RLENGTH - 15)
        printf "/**\n * @file\n * Stamped by containers.h: %s.\n */\n%s", name, text \
            > (folder "/" name ".h")
        close(folder "/" name ".h")
        text = ""
    }
    /^# [0-9]+ "/ {
        stamped = $3 ~ /\/(vector|shareable)_operations\.h"$/
        if (stamped && $4 == 1) {
            write()
            head = 1
        }
        next
    }
    !stamped || head || (blank && /^$/) {
        head = head && !(stamped && /\*\/$/)
        next
    }
    {
        blank = /^$/
        sub(/__attribute__\(\(visibility\("default"\)\)\) /, "")
        text = text $0 "\n"
    }
    END { write() }'
