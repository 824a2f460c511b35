// handles.h - allocation and release of the driver's ODBC handles.
//
// Internal to driver/. KXDRV_API marks the ODBC entry points, the only
// names the driver's shared object exports; everything else is hidden.
#ifndef KXEVALDRV_HANDLES_H
#define KXEVALDRV_HANDLES_H

#include "driver/driver.h"

#define KXDRV_API __attribute__((visibility("default")))

namespace kxdrv {

Environment *new_environment();
void free_environment(Environment *env);
Connection *new_connection(Environment *env);
void free_connection(Connection *conn);
Statement *new_statement(Connection *conn);
void free_statement(Statement *stmt);

// Closes the statement's cursor (the result set and its rows).
void close_cursor(Statement *stmt);
// Forgets the prepared statement and its parse tree.
void drop_query(Statement *stmt);

}  // namespace kxdrv

#endif  // KXEVALDRV_HANDLES_H
