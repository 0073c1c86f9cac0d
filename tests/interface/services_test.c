/* The shared library calls the services that the program around it defines. */
#include <kmath/kmath.h>

#include <stdio.h>

extern int assertedLine;
extern int takenBlocks;
extern int blocksToRefuse;
extern uint32_t lastTag;
extern int tagsThatWereNotTaken;
extern int entryCount;
extern ksys_cleanupEntry lastEntry;

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

    /* The constructor hands the new matrix over, to be destructed only on failure. */
    fine &= expect(lastTag > 0 && tagsThatWereNotTaken == 0, "a tag is taken and handed back");
    fine &= expect(entryCount == 1 && lastEntry.object == &a, "the entry is the matrix");
    fine &= expect(lastEntry.sequence == 0, "entries are numbered from 0");
    fine &= expect(lastEntry.kind == 34, "it is destructed on failure alone");
    blocksToRefuse = 1;
    fine &= expect(kmath_nmmatrix_constructRowsCols(&a, 5, 5) == KMATH_ERR_NO_MEMORY,
                   "the status comes back from the host's clean-up stack");
    fine &= expect(entryCount == 1 && lastEntry.object == &a, "the matrix is handed over again");
    fine &= expect(a.nRows == 0 && a.onHeap == 0, "the failed matrix is destructed");

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
