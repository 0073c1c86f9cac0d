#ifndef COMMON_CLOCK_H
#define COMMON_CLOCK_H

/* Seconds since some fixed moment; never set back. */
double now(void);

#endif
