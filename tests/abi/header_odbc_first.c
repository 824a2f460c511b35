/* unixODBC's headers first, then kxsupp.h. */
#include <sql.h>
#include <sqlext.h>
#include <kxsupp.h>

int header_odbc_first_probe(void);
int header_odbc_first_probe(void)
{
    SQL_NUMERIC_STRUCT odbc;
    NumericStruct ours;
    return (int)(sizeof odbc == sizeof ours);
}
