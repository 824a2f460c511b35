/* Links the header probes against the shared library and checks that the
   records agree in size with unixODBC's. */
#include <stdio.h>

int header_alone_probe(void);
int header_odbc_first_probe(void);
int header_kx_first_probe(void);
int header_cxx_probe(void);

int main(void)
{
    int failures = 0;
    if (!header_alone_probe()) { puts("kxsupp.h alone: probe failed"); failures++; }
    if (!header_odbc_first_probe()) { puts("numeric size differs"); failures++; }
    if (!header_kx_first_probe()) { puts("timestamp size differs"); failures++; }
    if (!header_cxx_probe()) { puts("interval size differs"); failures++; }
    if (failures == 0)
        puts("headers: 4 passed, 0 failed");
    return failures != 0;
}
