// catalog.h - result sets of the catalogue functions.
//
// Internal to driver/ (catalog.cpp). A catalogue function answers with a
// held result set whose columns are the ones ODBC defines for it (names,
// SQL types, order and nullability); the driver has no tables, so most of
// them have no rows. SQLGetTypeInfo (info.cpp) builds its rows with the
// same cells.
#ifndef KXEVALDRV_CATALOG_H
#define KXEVALDRV_CATALOG_H

#include <initializer_list>

#include "driver/query.h"

namespace kxdrv {

// The SQL type of a catalogue column: VARCHAR(128), CHAR(1), SMALLINT or
// INTEGER.
enum class CatalogueType { kVarchar, kChar, kSmallint, kInteger };

struct CatalogueColumn {
    const char *name;
    CatalogueType type;
    bool not_null;   // ODBC defines the column as "not NULL"
};

// Closes the statement's cursor, forgets its prepared statement and starts
// a held result set with the given columns; its rows go in result->rows,
// their cells made in result->mem. Running out of memory leaves as
// std::bad_alloc, which the entry point turns into HY001.
ResultSet *start_catalogue_result(Statement *stmt, std::initializer_list<CatalogueColumn> columns);

// Cells of a catalogue row: a text (null text: NULL) and an integer.
Value *text_cell(MemHandle *mem, const char *text);
Value *int_cell(MemHandle *mem, int64_t n, bool null = false);

// Whether a catalogue function may run on the statement now: HY010 while
// it waits for data-at-execution parameters, 24000 while a cursor is open.
// Posts and returns false when not.
bool catalogue_call_allowed(Statement *stmt);

}  // namespace kxdrv

#endif  // KXEVALDRV_CATALOG_H
