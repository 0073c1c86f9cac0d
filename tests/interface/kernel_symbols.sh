# kernel_symbols.sh OBJECT…
# A kernel object defines its table and nothing else that a linker could share: no copy of an inline
# function compiled for a wider instruction set may end up serving every machine.
set -eu
[ $# -gt 0 ]
for object in "$@"; do
    names=$(nm -gC --defined-only "$object" | awk '{ print $3 }' | grep -v '^__odr_asan')
    echo "$object: $names"
    case $names in
    kmath::kernels*[!A-Za-z0-9:]* | '') exit 1 ;;
    kmath::kernels*) ;;
    *) exit 1 ;;
    esac
done
