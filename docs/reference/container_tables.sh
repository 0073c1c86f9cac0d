# container_tables.sh SOURCE_DIR CC
# Prints the tables of docs/containers.md: the types and the operations from the headers, the names
# from the list of what the library exports.
set -eu
source=$1 cc=$2
work=$(mktemp -d)
trap 'rm -r "$work"' EXIT
sh "$source/docs/reference/stamp.sh" "$source/include" "$cc" "$work/stamped"
LC_ALL=C; export LC_ALL

table() { printf '<!-- containers: %s -->\n' "$1"; }
end() { printf '<!-- end -->\n'; }
declares() { grep -q "$2(" "$work/stamped/$1.h"; }

# In the order of the list: by depth, then as they stand there.
types=$(sed -n 's/^#define KSTD_VECTOR  *//p' "$source/include/kmath/vector_types.h")

table types
echo
echo '| vector | element | elements are | compared | shareable twin |'
echo '| --- | --- | --- | --- | --- |'
for type in $types; do
    element=${type#kstd_vector_}
    case $element in vector_*) element=kstd_$element ;; esac
    owns='plain memory'
    if grep -qrE "\<${element}_constructCopy\(" "$source/include/kmath" "$work/stamped"; then
        owns='objects that own memory'
    fi
    compared=no
    declares "$type" "${type}_compareEqual" && compared=yes
    twin=–
    [ ! -e "$work/stamped/${type}Shareable.h" ] || twin="\`${type}Shareable\`"
    echo "| \`$type\` | \`$element\` | $owns | $compared | $twin |"
done
end

# operations TYPE: a table a group, each operation with its arguments and the first sentence of its
# docstring; V is the vector, T its element, S the shareable.
operations() {
    sed -E 's/kstd_vector_kmath_vect3Shareable/S/g; s/kstd_vector_kmath_vect3/V/g; s/\<kmath_vect3\>/T/g' \
        "$work/stamped/$1.h" | awk '
        /^\/\* .* \*\/$/ {
            sub(/^\/\* /, "**"); sub(/\.? \*\/$/, "**")
            print "\n" $0 "\n\n| operation | what it does |\n| --- | --- |"
            next
        }
        /^\/\*\*/ { text = ""; commenting = 1 }
        commenting {
            line = $0
            sub(/^ *\/?\*+\/? ?/, "", line); sub(/ *\*\/$/, "", line)
            if (line ~ /^@/)
                over = 1
            if (!over)
                text = text (text == "" ? "" : " ") line
            if (/\*\/$/) { commenting = 0; over = 0 }
            next
        }
        /^kmath_status [VS]_/ { signature = ""; declaring = 1 }
        declaring {
            sub(/^ +/, "")
            signature = signature (signature == "" ? "" : " ") $0
            if (/;$/) {
                declaring = 0
                sub(/^kmath_status [VS]_/, "", signature); sub(/;$/, "", signature)
                sub(/\( /, "(", signature)
                sub(/ $/, "", text)
                if (match(text, /\. [A-Z]/))
                    text = substr(text, 1, RSTART)
                print "| `" signature "` | " text " |"
            }
        }'
}

table operations
operations kstd_vector_kmath_vect3
end

table 'operations of shareables'
[ ! -e "$work/stamped/kstd_vector_kmath_vect3Shareable.h" ] || operations kstd_vector_kmath_vect3Shareable
end

# names PATTERN: those names of the list, several a line.
names() {
    printf '```\n'
    grep -E "$1" "$source/tests/interface/exported_symbols.txt" | fold_names
    printf '```\n'
}
fold_names() {
    awk '
        length(line) + length($0) > 138 { print line; line = "" }
        { line = line (line == "" ? "" : " ") $0 }
        END { print line }'
}
table names
for type in $types; do
    for name in "$type" "${type}Shareable"; do
        [ ! -e "$work/stamped/$name.h" ] || { printf '\n`%s`\n\n' "$name"; names "^${name}_"; }
    done
done
if grep -q '^ksys_typeCheck' "$source/tests/interface/exported_symbols.txt"; then
    printf '\nThe type checks\n\n'
    names '^ksys_typeCheck'
fi
end
