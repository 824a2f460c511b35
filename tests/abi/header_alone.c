/* kxsupp.h compiles alone as C99. */
#include <kxsupp.h>

int header_alone_probe(void);
int header_alone_probe(void)
{
    Value value;
    value.kind = NODE_VALUE;
    return (int)sizeof(value) > 0 && map_table[0].odbc3 != 0;
}
