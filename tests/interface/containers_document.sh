# containers_document.sh SOURCE_DIR CC
# The tables of docs/containers.md are those of the headers and of the exported names; a header that
# says something else is noticed.
set -eu
source=$1 cc=$2
work=$(mktemp -d)
trap 'rm -r "$work"' EXIT
document=$source/docs/containers.md

sh "$source/docs/reference/container_tables.sh" "$source" "$cc" >"$work/tables"
sh "$source/tests/accuracy/insert_tables.sh" "$document" "$work/tables" >"$work/document"
diff -u "$document" "$work/document" || { echo "out of date; the target containers_document renews it"; exit 1; }
for name in $(grep -E '^(kstd_vector_[^_]|ksys_typeCheck)' "$source/tests/interface/exported_symbols.txt"); do
    grep -qwF -e "$name" "$document" || { echo "$name is not in the document"; exit 1; }
done

mkdir -p "$work/source/docs" "$work/source/tests/interface"
cp -r "$source/include" "$work/source"
cp -r "$source/docs/reference" "$work/source/docs"
cp "$source/tests/interface/exported_symbols.txt" "$work/source/tests/interface"
sed 's/Adds a copy of an element/Puts a copy of an element/' \
    "$source/include/kmath/vector_operations.h" >"$work/source/include/kmath/vector_operations.h"
sh "$work/source/docs/reference/container_tables.sh" "$work/source" "$cc" >"$work/spoilt"
if cmp -s "$work/tables" "$work/spoilt"; then
    echo "the tables do not follow the headers"
    exit 1
fi
