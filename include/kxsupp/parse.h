/*
 * kxsupp/parse.h - literal builders for SQL parsers and the SQL text printer.
 */
#ifndef KXSUPP_PARSE_H
#define KXSUPP_PARSE_H

#include "kxsupp/common.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- parsehelp: literal builders ---- */

/* Interval kind covering interval kinds a and b (1 SQL_IS_YEAR .. 13 SQL_IS_MINUTE_TO_SECOND).
 * An incompatible pair (a day-time kind with a year-month kind on the right, or a left kind
 * outside 1..13) gives 0, which is no interval kind; the process is never ended. */
KX_API int32_t promote_type(int32_t a, int32_t b);

/* Literal kinds of MakeLiteral. */
#define KX_LITERAL_USER 2
#define KX_LITERAL_STRING 3
#define KX_LITERAL_BIT 4
#define KX_LITERAL_HEX 5
#define KX_LITERAL_DATE 6
#define KX_LITERAL_TIME 7
#define KX_LITERAL_TIMESTAMP 8
#define KX_LITERAL_CURRENT_TIMESTAMP 10
#define KX_LITERAL_CURRENT_TIME 11
#define KX_LITERAL_CURRENT_DATE 12

/* A literal leaf (a Value) in handle for the token text as the scanner delivered it, quotes
 * and prefix included; null for an unknown kind or a token that does not parse (or is null;
 * the keyword kinds 2, 10, 11 and 12 do not read it). An odd-length hexadecimal token gets a
 * '0' digit written over its opening quote. */
KX_API Value *MakeLiteral(int32_t kind, char *text, MemHandle *handle);

/* The untyped NULL literal: a leaf of type VALUE_NULL. */
KX_API Value *MakeNull(MemHandle *handle);

/* A VALUE_INTEGER leaf holding atoi(text) for texts of fewer than 7 characters, otherwise
 * MakeNumeric(text, NULL, handle). */
KX_API Value *MakeInteger(const char *text, MemHandle *handle);

/* A VALUE_DOUBLE leaf holding atof(text). */
KX_API Value *MakeFloat(const char *text, MemHandle *handle);

/* An exact or approximate numeric leaf from the digits before and after the point (either may
 * be null): short texts give an integer or a double, 7 characters or more a VALUE_NUMERIC
 * whose declared precision and scale are in attr[0] and attr[1]. Both null: type 0. */
KX_API Value *MakeNumeric(const char *integer_digits, const char *fraction_digits,
                          MemHandle *handle);

/* A dynamic-parameter node: kind NODE_DYNAMIC_PARAM, field[0] the ordinal, field[1] 0. */
KX_API ParseNode *MakeDynamic(int32_t ordinal, MemHandle *handle);

/* A keyword leaf carrying a precision: code 10 gives type VALUE_CURRENT_TIMESTAMP, 11
 * VALUE_CURRENT_TIME, any other code type 0; attr[0] holds precision as given. The second
 * argument is not used. */
KX_API Value *MakeLiteralWithPrec(int32_t code, void *unused, void *precision,
                                  MemHandle *handle);

/* atol(text), held to the 32-bit range; 0 for a null text. */
KX_API int32_t ConvertToInteger(const char *text);

/* ---- end parsehelp ---- */

#ifdef __cplusplus
}
#endif

#endif /* KXSUPP_PARSE_H */
