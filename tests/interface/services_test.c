/* The shared library calls the services that the program around it defines. */
#include <kmath/kmath.h>

#include <stdio.h>

extern int assertedLine;
extern int takenBlocks;

static int expect(int holds, const char *what)
{
    if (!holds)
        printf("not so: %s\n", what);
    return holds;
}

int main(void)
{
    kmath_nmmatrix a, b, x;
    int32_t perm[1] = {0};
    int fine = 1;

    kmath_nmmatrix_constructRowsCols(&a, 5, 5);
    fine &= expect(takenBlocks == 2, "a heap matrix takes two blocks from the host's service");
    kmath_nmmatrix_destruct(&a);

    /* Every ordinary call of this one reports line 440. */
    kmath_nmmatrix_constructRowsColsVal(&a, 1, 1, 2.0);
    kmath_nmmatrix_constructRowsColsVal(&b, 1, 1, 3.0);
    kmath_nmmatrix_construct(&x);
    fine &= expect(kmath_nmmatrix_LUbksub(&a, &b, perm, &x) == KMATH_OK, "substitution succeeds");
    fine &= expect(x.rows[0][0] == 1.5, "3 / 2 is 1.5");
    fine &= expect(assertedLine == 440, "the assertion reaches the host's hook");

    kmath_nmmatrix_destruct(&x);
    kmath_nmmatrix_destruct(&b);
    kmath_nmmatrix_destruct(&a);
    return !fine;
}
