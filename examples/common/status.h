#ifndef COMMON_STATUS_H
#define COMMON_STATUS_H

#include <kmath/status.h>

/* The name of a status of the library, such as "KMATH_ERR_SINGULAR". */
const char *statusName(kmath_status status);

#endif
