# no_fused_instructions.sh LIBRARY
# A fused multiply-add rounds once where the textbook loop rounds twice; the library contains none.
set -eu
objdump -d --no-show-raw-insn "$1" >"$1.disassembly"
trap 'rm -f "$1.disassembly"' EXIT
grep -q '<kmath_nmmatrix_multiply' "$1.disassembly" || { echo "the disassembly is not the library's"; exit 1; }
if grep -E '[[:space:]](vfn?m(add|sub)[0-9a-z]*|fn?m(add|sub)|fml[as]|fmadd|fmsub)[[:space:]]' "$1.disassembly"; then
    echo "fused instructions found"
    exit 1
fi
