# install.sh BUILD_DIR CLIENT_DIR WORK_DIR CC CFLAGS
# Installs the library, moves the tree elsewhere, and builds and runs C clients against it: the first
# through the CMake package, all through pkg-config.
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
fit='y = 4.0137 exp(-0.5031 t), sum of squares 1.33e-03'
spectral='largest 1.618034 0.618034, groups 0 0 0 1 1 1' # the golden ratio and its inverse
points='mean (2, 6, 0.5)' # of 0 … 4 and of their squares
check() {
    expected=$1
    shift
    answer=$("$@")
    [ "$answer" = "$expected" ] || { echo "$* printed: $answer"; exit 1; }
}
check "$fit" "$work/cmake/client"
check "$fit" "$work/cmake/client_static"

PKG_CONFIG_PATH=$(dirname "$(find "$prefix" -name kmath.pc)")
export PKG_CONFIG_PATH
libdir=$(pkg-config --variable=libdir kmath)
for program in client points spectral; do
    # shellcheck disable=SC2046,SC2086 # flags are words
    "$cc" -std=c11 $cflags $(pkg-config --cflags kmath) "$client/$program.c" -o "$work/$program" \
        $(pkg-config --libs kmath) -lm
done
check "$fit" env LD_LIBRARY_PATH="$libdir" "$work/client"
check "$points" env LD_LIBRARY_PATH="$libdir" "$work/points"
check "$spectral" env LD_LIBRARY_PATH="$libdir" "$work/spectral"

# The README shows these very clients.
cat "$client/client.c" "$client/points.c" "$client/spectral.c" >"$work/clients.c"
sed -n '/^```c$/,/^```$/p' "$client/../../../README.md" | sed '/^```/d' | diff - "$work/clients.c"

if grep -rn "$build\|$work/first" "$prefix" --include='*.cmake' --include='*.pc' --include='*.h'; then
    echo "the installed files name the place where they were built"
    exit 1
fi
