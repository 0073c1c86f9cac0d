// Marks the services that a host may replace: its own definition wins over a weak one.
#pragma once

#if defined(__GNUC__)
#define KMATH_REPLACEABLE __attribute__((weak))
#else
#define KMATH_REPLACEABLE
#endif
