# reference.sh SOURCE_DIR CC DOXYGEN WORK_DIR
# The reference has every exported function under its full name, with its signature and a docstring;
# a header whose docstrings lack one or contradict their function is refused.
set -eu
source=$1 cc=$2 doxygen=$3 work=$4
rm -rf "$work"
mkdir -p "$work"
make() { sh "$source/docs/reference/make.sh" "$1" "$cc" "$doxygen" "$work/reference"; }
make "$source"

LC_ALL=C; export LC_ALL
awk '
    /<memberdef/ { isFunction = /kind="function"/; described = 0 }
    /<argsstring>/ { signature = $0 }
    /<name>/ { name = $0; gsub(/ *<\/?name>/, "", name) }
    /<(brief|detailed)description>/ { describing = 1 }
    /<\/(brief|detailed)description>/ { describing = 0 }
    describing && /<para>[^<]/ { described = 1 }
    /<\/memberdef>/ && isFunction {
        if (described && signature ~ /\(.+\)/ && signature !~ /KSTD_|KMATH_|KSYS_/)
            print name
    }' "$work"/reference/xml/*_8h.xml | sort >"$work/described"
sort -u "$source/tests/interface/exported_symbols.txt" | diff -u - "$work/described" ||
    { echo "the described functions are not the exported ones"; exit 1; }
[ -s "$work/described" ]
test -s "$work/reference/html/index.html"

refuses() {
    rm -rf "$work/source"
    mkdir -p "$work/source/docs"
    cp -r "$source/include" "$work/source"
    cp -r "$source/docs/reference" "$work/source/docs"
    cp "$source/README.md" "$work/source"
    sed "$2" "$source/include/kmath/$1" >"$work/source/include/kmath/$1"
    if cmp -s "$source/include/kmath/$1" "$work/source/include/kmath/$1"; then
        echo "nothing to spoil in $1"
        exit 1
    fi
    if make "$work/source" >"$work/refused" 2>&1 || ! grep -q "$3" "$work/refused"; then
        echo "taken without complaint: $1 after $2"
        exit 1
    fi
}
refuses vector_operations.h '/Drops the last element/d' 'popBack.*not documented'
refuses vectors.h 's/@param\[out\] r /@param[out] s /' "argument 's'"
echo "$(wc -l <"$work/described") functions"
