/**
 * @file
 * All of kmath.
 */
#ifndef KMATH_KMATH_H
#define KMATH_KMATH_H

#include <kmath/containers.h>
#include <kmath/eigen.h>
#include <kmath/matrix3.h>
#include <kmath/matrix4.h>
#include <kmath/nmmatrix.h>
#include <kmath/normcut.h>
#include <kmath/platform.h>
#include <kmath/rotations.h>
#include <kmath/snmmatrix.h>
#include <kmath/solvers.h>
#include <kmath/status.h>
#include <kmath/sub_block.h>
#include <kmath/type_checks.h>
#include <kmath/vectors.h>
#include <kmath/xform3.h>

#endif
