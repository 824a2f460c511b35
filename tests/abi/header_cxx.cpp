// kxsupp.h compiles as C++, before and after unixODBC's headers.
#include <kxsupp.h>
#include <sql.h>
#include <sqlext.h>
#include <kxsupp.h>

extern "C" int header_cxx_probe(void);
extern "C" int header_cxx_probe(void)
{
    return sizeof(SQL_INTERVAL_STRUCT) == sizeof(IntervalStruct);
}
