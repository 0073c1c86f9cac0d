# document_test.sh DOCUMENT PROGRAM…: every table that the programs print has its place in the
# document, and every place its table; one taken away is missed on either side.
set -eu
here=$(dirname "$0")
document=$1
shift
folder=$(mktemp -d)
trap 'rm -r "$folder"' EXIT

for program in "$@"; do
    "$program" 1
done >"$folder/tables"
sh "$here/insert_tables.sh" "$document" "$folder/tables" >"$folder/new"
sh "$here/insert_tables.sh" "$folder/new" "$folder/tables" | cmp - "$folder/new"

# Prose stands, and the tables are the programs', in their order.
prose() { sed '/^<!-- [a-z]*: .* -->$/,/^<!-- end -->$/d' "$1"; }
prose "$document" >"$folder/prose"
prose "$folder/new" | cmp - "$folder/prose"
sed -n '/^<!-- [a-z]*: .* -->$/,/^<!-- end -->$/p' "$folder/new" >"$folder/inserted"
sed '/^$/d' "$folder/tables" | cmp - "$folder/inserted"

refuses() {
    if sh "$here/insert_tables.sh" "$@" >"$folder/refused" 2>&1; then
        echo "taken without complaint: $*"
        exit 1
    fi
}
first=$(grep -m 1 '^<!-- [a-z]*: ' "$document")
grep -vxF -e "$first" "$document" >"$folder/shorter"
grep -vxF -e "$first" "$folder/tables" >"$folder/fewer"
refuses "$folder/shorter" "$folder/tables"
refuses "$document" "$folder/fewer"
