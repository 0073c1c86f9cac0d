# mismatched_types.sh INCLUDE_DIR CC CXX
# A call of a type check compiles with the right type, in C and in C++, and with no other one.
set -eu
include=$1 cc=$2 cxx=$3
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
status=0

compile() {
    case $1 in
    c) "$cc" -std=c11 -pedantic-errors -fsyntax-only -I "$include" "$2" ;;
    cpp) "$cxx" -std=c++20 -fsyntax-only -I "$include" "$2" ;;
    esac >"$work/messages" 2>&1
}

# attempt right|wrong CHECK DECLARATION: the check of what is declared as `it` compiles or does not.
attempt() {
    for language in c cpp; do
        cat >"$work/call.$language" <<END
#include <kmath/kmath.h>
kmath_status call(void);
$3;
kmath_status call(void) { return ksys_$2(it); }
END
        if compile $language "$work/call.$language"; then outcome=right; else outcome=wrong; fi
        if [ $outcome != "$1" ]; then
            echo "$language: '$3' is $1 for $2, yet the compiler finds it $outcome"
            cat "$work/messages"
            status=1
        elif [ $outcome = wrong ] && ! grep -qiE 'incompatible|invalid conversion|cannot convert|no matching|no known conversion|cannot initialize' "$work/messages"; then
            echo "$language: '$3' fails for $2 for another reason:"
            cat "$work/messages"
            status=1
        fi
    done
}

# checks TYPE OTHER…: all six checks of a type with itself and with each other type.
checks() {
    type=$1
    shift
    for given in "$type" "$@"; do
        verdict=wrong
        [ "$given" = "$type" ] && verdict=right
        attempt $verdict "typeCheck_$type" "extern $given *it"
        attempt $verdict "typeCheckPtr_$type" "extern $given **it"
        attempt $verdict "typeCheckFunc_$type" "extern $given *it(void)"
        attempt $verdict "typeCheckFuncPtr_$type" "extern $given **it(void)"
        attempt $verdict "typeCheckFuncStatus_$type" "extern kmath_status it($given *)"
        attempt $verdict "typeCheckFuncStatusPtr_$type" "extern kmath_status it($given **)"
    done
}

# One of each family, with what it is most easily mistaken for.
checks kmath_nmmatrix kmath_snmmatrix
checks kmath_levmarqsolve kmath_nvector
checks kstd_vector_kmath_vect3 kstd_vector_kmath_vect3F kstd_vector_
checks kstd_vector_kmath_vect3Shareable kstd_vector_kmath_vect3 kstd_vectorShareable
checks kstd_vector_vector_kmath_vect3 kstd_vector_vector_vector_kmath_vect3

# The right type at the wrong level of indirection, read-only, or in another function.
type=kstd_vector_kmath_xform3Linear
attempt right "typeCheck_$type" "extern const $type *it"
attempt wrong "typeCheck_$type" "extern $type it"
attempt wrong "typeCheck_$type" "extern $type **it"
attempt wrong "typeCheckPtr_$type" "extern $type *it"
attempt wrong "typeCheckPtr_$type" "extern const $type **it"
attempt wrong "typeCheckFunc_$type" "extern $type it(void)"
attempt wrong "typeCheckFunc_$type" "extern $type **it(void)"
attempt wrong "typeCheckFuncPtr_$type" "extern $type *it(void)"
attempt wrong "typeCheckFuncStatus_$type" "extern void it($type *)"
attempt wrong "typeCheckFuncStatus_$type" "extern kmath_status it($type *, $type *)"
attempt wrong "typeCheckFuncStatusPtr_$type" "extern kmath_status it($type *)"
exit $status
