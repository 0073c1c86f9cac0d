# exported_symbols.sh LIBRARY LIST INCLUDE_DIR CC
# The names that the library exports, the committed list, and the names that the headers declare are
# the same set.
set -eu
library=$1 list=$2 include=$3 cc=$4
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

LC_ALL=C; export LC_ALL
nm -D --defined-only "$library" | awk '$2 != "A" { sub(/@.*/, "", $3); print $3 }' |
    grep -v '^KMATH_1$' | sort -u >"$work/exported"
"$cc" -E -P -I "$include" "$include/kmath/kmath.h" | tr '\n' ' ' |
    grep -oE 'visibility\("default"\)\)\)[^(;]*\(' | sed -E 's/\($//; s/.*[^A-Za-z0-9_]//' |
    sort -u >"$work/declared"
sort -u "$list" >"$work/listed"

diff -u "$work/listed" "$work/exported" || { echo "the library's exports differ from the list"; exit 1; }
diff -u "$work/listed" "$work/declared" || { echo "the headers' declarations differ from the list"; exit 1; }
[ -s "$work/listed" ]
echo "$(wc -l <"$work/listed") names"
