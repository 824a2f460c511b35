/* libkxsupp demonstration: runs each part in turn. */
#include <stdio.h>

#include "demo.h"

int main(void)
{
    int failures = 0;
    failures += demo_memory_and_diagnostics() != 0;
    failures += demo_config() != 0;
    failures += demo_values() != 0;
    failures += demo_intervals() != 0;
    failures += demo_functions() != 0;
    failures += demo_printer() != 0;
    if (failures)
        printf("\n%d part(s) of the demonstration did not behave as described.\n",
               failures);
    else
        printf("\nThe demonstration finished.\n");
    return failures != 0;
}
