# insert_tables.sh DOCUMENT TABLES…: prints the document with each marked table taken from the files
# of tables. A mark without its table, or a table without its mark, is an error.
set -eu
document=$1
shift
exec awk -v document="$document" '
    /^<!-- [a-z]+: .* -->$/ {
        name = $0
        if (FILENAME != document)
            tables[name] = ""
        else if (!(name in tables)) {
            print "no table for " name > "/dev/stderr"
            failed = 1
        } else {
            printf "%s\n%s", name, tables[name]
            placed[name] = 1
        }
        next
    }
    /^<!-- end -->$/ {
        name = ""
        if (FILENAME == document)
            print
        next
    }
    FILENAME == document && name == "" { print }
    FILENAME != document && name != "" { tables[name] = tables[name] $0 "\n" }
    END {
        for (name in tables)
            if (!(name in placed)) {
                print "no place for " name > "/dev/stderr"
                failed = 1
            }
        exit failed
    }' "$@" "$document"
