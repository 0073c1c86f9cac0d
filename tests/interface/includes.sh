# includes.sh SOURCE_DIR
# The layers: include, kernels <- platform <- geometry, dense <- eigen <- solvers; containers stands
# on platform. Across folders only the public headers, platform's headers and the two named kernel
# headers are seen.
set -eu
cd "$1"
status=0

# allow FOLDER PATTERN: every quoted include of the folder matches, every <kmath/…> is welcome.
allow() {
    found=$(grep -nE '^[[:space:]]*#[[:space:]]*include[[:space:]]*"' "$1"/*.?pp "$1"/*.inc 2>/dev/null |
        grep -vE "\"($2)\"" || true)
    if [ -n "$found" ]; then
        echo "$1 reaches out of its layer:"
        echo "$found"
        status=1
    fi
}

shared='platform/[a-z_]+\.hpp|kernels/kernels\.hpp|kernels/tridiagonal\.hpp'
allow kernels 'kernels/[a-z_]+\.hpp'
allow platform "$shared"
for folder in geometry dense eigen solvers containers; do
    allow "$folder" "$shared|$folder/[a-z0-9_]+\.(hpp|inc)"
done

if grep -nE '#[[:space:]]*include[[:space:]]*<kmath' kernels/*; then
    echo "kernels includes nothing of ours"
    status=1
fi
if grep -nE '#[[:space:]]*include' include/kmath/*.h | grep -vE '<(kmath/[a-z0-9_]+\.h|stdint\.h|stddef\.h)>|KSTD_STAMP'; then
    echo "public headers include only <stdint.h>, <stddef.h> and each other"
    status=1
fi
exit $status
