// The assertion hook. By itself it does nothing: a host that wants to see programming errors
// defines its own.
#include <kmath/platform.h>

#include "platform/services.hpp"

KMATH_REPLACEABLE void kstd_assert_(int32_t) {}
