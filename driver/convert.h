// convert.h - moving values between the application's buffers and Values.
//
// Internal to driver/ (convert.cpp): parameter buffers become Values at
// execution; result Values go to SQLGetData and bound columns in the C type
// the application asks for, with the ODBC truncation, piecewise and NULL
// indicator rules.
#ifndef KXEVALDRV_CONVERT_H
#define KXEVALDRV_CONVERT_H

#include <cstring>

#include "driver/query.h"

namespace kxdrv {

// The application's buffers need not be aligned: a row-wise binding lays
// each row's fields out as the application packs them (pyodbc packs its
// parameter rows), so every read and write of a number, length or
// indicator there is a memcpy, which compiles to a plain move.
template <typename T>
T read_buffer(const void *at)
{
    T value;
    std::memcpy(&value, at, sizeof value);
    return value;
}
template <typename T>
void write_buffer(void *at, T value)
{
    std::memcpy(at, &value, sizeof value);
}
inline SQLLEN length_at(const SQLLEN *at) { return read_buffer<SQLLEN>(at); }
inline void set_length(SQLLEN *at, SQLLEN value) { write_buffer(at, value); }

// The Value type and size a bound parameter will have.
TypeInfo parameter_type(const ParamBinding &binding);

// Makes the Value of every parameter of the statement in mem; long values
// sent with SQLPutData are taken from stmt->long_params. SQL_ERROR after
// posting (07002 for a parameter that is not bound).
SQLRETURN build_parameters(Statement *stmt, MemHandle *mem, std::vector<Value *> &values);

// True when the parameter is sent at execution time (SQL_DATA_AT_EXEC).
bool data_at_exec(const ParamBinding &binding);

// Delivers column (1-based) of the current row: SQLGetData's rules when
// piecewise is true (consecutive calls continue where the last stopped),
// SQLBindCol's otherwise.
SQLRETURN deliver_column(Statement *stmt, int column, Value *value, SQLSMALLINT c_type,
                         SQLPOINTER target, SQLLEN buffer_length, SQLLEN *indicator,
                         bool piecewise);

// The default C type of an SQL type.
SQLSMALLINT default_c_type(SQLSMALLINT sql_type);

// The octets of one element of a C type in a column-wise array: the
// buffer length for texts and binaries, the structure's size otherwise.
size_t c_type_octets(SQLSMALLINT c_type, SQLLEN buffer_length);

// The address of element `row` of an array bound at base: column-wise
// (bind_type SQL_BIND_BY_COLUMN) it steps by element_octets, row-wise by
// bind_type octets; offset (a bind offset, 0 without one) is added first.
// Null for a null base.
void *bound_element(void *base, SQLLEN offset, SQLULEN bind_type, SQLULEN row,
                    size_t element_octets);

// Parameter `index` (0-based) as the current parameter set sees it: its
// data and indicator addresses moved to the set's element and by the bind
// offset.
ParamBinding parameter_binding(const Statement *stmt, size_t index);

}  // namespace kxdrv

#endif  // KXEVALDRV_CONVERT_H
