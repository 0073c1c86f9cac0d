// The 6×6 matrix of floats.
#include <kmath/matrix4.h>

#include "platform/check.hpp"

kmath_status kmath_matrix6F_initIdentity(kmath_matrix6F *m)
{
    KMATH_ASSERT(m);
    *m = {};
    for (int i = 0; i < 6; ++i)
        m->m[i][i] = 1.0f;
    return KMATH_OK;
}

kmath_status kmath_matrix6F_initClear(kmath_matrix6F *m)
{
    KMATH_ASSERT(m);
    *m = {};
    return KMATH_OK;
}
