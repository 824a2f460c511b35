/* The demonstration's parts, each showing one subsystem as a driver uses it. */
#ifndef KXSUPP_DEMO_H
#define KXSUPP_DEMO_H

#include <kxsupp.h>

/* Each returns 0 when everything it showed behaved as described. */
int demo_memory_and_diagnostics(void);
int demo_intervals(void);
int demo_values(void);
int demo_config(void);
int demo_functions(void);
int demo_printer(void);

#endif
