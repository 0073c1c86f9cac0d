#include <kmath/kmath.h>
#include <stdio.h>

/* Six points in two groups, each a node of its own; orientations and grey values are all alike. */
static const int32_t nodes[6] = {0, 1, 2, 3, 4, 5};
static const double positions[12] = {0, 0, 1, 0, 0, 1, 9, 9, 10, 9, 9, 10};
static const double angles[6] = {0};
static const uint8_t greyValues[6] = {0};

int main(void)
{
    /* The path of four nodes; both halves of the symmetric matrix are stored. */
    kmath_snmmatrix_element edges[] = {{0, 1, 1.0}, {1, 0, 1.0}, {1, 2, 1.0},
                                       {2, 1, 1.0}, {2, 3, 1.0}, {3, 2, 1.0}};
    kmath_snmmatrix path;
    kmath_nmmatrix vectors, values;
    kmath_snmmatrix_construct(&path);
    kmath_nmmatrix_construct(&vectors);
    kmath_nmmatrix_construct(&values);

    kmath_status status = kmath_snmmatrix_setElements(&path, 4, 4, edges, 6);
    if (!KMATH_IS_FAILURE(status)) /* −1 and 0 ask for the defaults */
        status = kmath_snmmatrix_qeigS(&path, 2, -1, &vectors, &values, 0.0, 0.0, -1);
    if (!KMATH_IS_FAILURE(status))
        printf("largest %.6f %.6f, groups", values.rows[0][0], values.rows[0][1]);

    if (!KMATH_IS_FAILURE(status)) /* by distance alone */
        status = kf_normCut(nodes, 6, positions, angles, greyValues, 3.0, 0.0, 0.0, 2, 0, &vectors,
                            &values);
    for (int i = 0; i < 6 && !KMATH_IS_FAILURE(status); ++i)
        printf(" %d", vectors.rows[1][i] * vectors.rows[1][0] < 0.0);
    putchar('\n');

    kmath_nmmatrix_destruct(&values);
    kmath_nmmatrix_destruct(&vectors);
    kmath_snmmatrix_destruct(&path);
    return KMATH_IS_FAILURE(status) ? 1 : 0;
}
