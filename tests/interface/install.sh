# install.sh BUILD_DIR CLIENT_DIR WORK_DIR CC CFLAGS
# Installs the library, moves the tree elsewhere, and builds and runs a C client against it through
# the CMake package and through pkg-config.
set -eu
build=$1 client=$2 work=$3 cc=$4 cflags=$5

rm -rf "$work"
mkdir -p "$work"
cmake --install "$build" --prefix "$work/first" >"$work/install.log"
mv "$work/first" "$work/moved"
prefix=$work/moved

cmake -S "$client" -B "$work/cmake" -DCMAKE_PREFIX_PATH="$prefix" -DCMAKE_C_COMPILER="$cc" \
    -DCMAKE_C_FLAGS="$cflags"
cmake --build "$work/cmake"
expected='y = 4.0137 exp(-0.5031 t), sum of squares 1.33e-03'
check() {
    answer=$("$@")
    [ "$answer" = "$expected" ] || { echo "$1 printed: $answer"; exit 1; }
}
check "$work/cmake/client"
check "$work/cmake/client_static"

PKG_CONFIG_PATH=$(dirname "$(find "$prefix" -name kmath.pc)")
export PKG_CONFIG_PATH
libdir=$(pkg-config --variable=libdir kmath)
# shellcheck disable=SC2046,SC2086 # flags are words
"$cc" -std=c11 $cflags $(pkg-config --cflags kmath) "$client/client.c" -o "$work/client" \
    $(pkg-config --libs kmath) -lm
check env LD_LIBRARY_PATH="$libdir" "$work/client"

# The README shows this very client.
sed -n '/^```c$/,/^```$/p' "$client/../../../README.md" | sed '1d;$d' | diff - "$client/client.c"

if grep -rn "$build\|$work/first" "$prefix" --include='*.cmake' --include='*.pc' --include='*.h'; then
    echo "the installed files name the place where they were built"
    exit 1
fi
