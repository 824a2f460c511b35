// evaluate.h - the expression evaluator's state and its value helpers.
//
// Internal to driver/. An Evaluation carries the library's EvalContext as
// its first member, so the context handed to execute_function (and back to
// the IFNULL callback) is also the driver's evaluation record. Every Value
// an evaluation makes lives in context.mem. Errors leave through
// context.exit (a longjmp): the functions that can be on the stack at that
// moment hold no object with a destructor.
#ifndef KXEVALDRV_EVALUATE_H
#define KXEVALDRV_EVALUATE_H

#include "driver/query.h"

namespace kxdrv {

// The value of an expression for the current row; leaves through
// context.exit on an error.
Value *evaluate(Evaluation *e, ParseNode *node);

// Posts sqlstate/message on the statement and leaves through context.exit.
[[noreturn]] void evaluation_error(Evaluation *e, const char *sqlstate, const char *message);

// Value constructors in a memory handle (null when memory runs out).
Value *make_value(MemHandle *mem, int32_t type);
Value *make_text(MemHandle *mem, const char *text, size_t length);
Value *make_binary(MemHandle *mem, const unsigned char *bytes, size_t length);

// The plain text of a value of a fixed-size type (not text, binary or
// long): at most 160 octets with the terminator. Returns the length.
size_t plain_text(const Value *v, char *buffer, size_t capacity);
// The most octets that text takes (the terminator not counted): a buffer
// of more than this is written in place.
size_t plain_text_width(int32_t type);

// Parses date, time and timestamp texts; false when the text is not one.
bool parse_date(const char *text, DateStruct &out);
bool parse_time(const char *text, TimeStruct &out);
bool parse_timestamp(const char *text, TimestampStruct &out);

}  // namespace kxdrv

#endif  // KXEVALDRV_EVALUATE_H
