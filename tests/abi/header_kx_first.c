/* kxsupp.h first, then unixODBC's headers. */
#include <kxsupp.h>
#include <sql.h>
#include <sqlext.h>

int header_kx_first_probe(void);
int header_kx_first_probe(void)
{
    SQL_TIMESTAMP_STRUCT odbc;
    TimestampStruct ours;
    return (int)(sizeof odbc == sizeof ours);
}
