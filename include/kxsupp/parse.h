/*
 * kxsupp/parse.h - literal builders for SQL parsers and the SQL text printer.
 *
 *  1. The literal builders make leaves and nodes in the MemHandle they are
 *     given; the parse tree and its leaves die with that handle.
 *  2. A builder returns null when the token does not parse or memory runs
 *     out; nothing is posted and nothing is ended.
 *  3. The printer reads the caller's tree and never changes or keeps it;
 *     its output goes to the caller's callback piece by piece. It reports
 *     nothing: what it cannot print it prints as an "unexpected" text.
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
 * whose declared precision and scale are in attr[0] and attr[1]. Both null: type 0. Null when
 * memory is exhausted. */
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

/* ---- parsehelp: the SQL text printer ----
 *
 * A parsed statement, or one expression of it, printed back as SQL-92 text.
 *  1. The text goes to the caller's callback in small pieces (keywords,
 *     names, single characters of string literals), in order; the printer
 *     never builds the whole text. Every piece is a zero-terminated text of
 *     fewer than KX_PRINT_PIECE_SIZE octets, valid only during the call.
 *  2. A node is a ParseNode: its kind (below), then fields 1, 2, 3, ...
 *     (field N is field[N - 1]) holding child nodes, List pointers,
 *     integers, flags or text pointers. A null child prints nothing; a list
 *     node (KX_NODE_LIST) holds a List of nodes in field 1; a literal leaf
 *     is a Value (NODE_VALUE) and a parameter marker prints " ? ".
 *  3. Nothing is reported: a node of an unknown kind prints
 *     "<unexpected node type ADDRESS->KIND>" (address in hexadecimal, kind in
 *     decimal) and a value of an unprintable type "<unexpected value type>";
 *     printing goes on with the next node.
 *  4. The printer does not recurse on the C stack: any depth of nesting
 *     prints with a small, fixed amount of the caller's stack. Trees nested
 *     more than a few dozen levels keep their pending work on the heap; if
 *     that memory cannot be had, the text stops there.
 *  5. Nothing is allocated for ordinary trees and nothing is kept between
 *     calls: the printer is re-entrant.
 */

#define KX_PRINT_PIECE_SIZE 1088    /* every piece is shorter than this */

/* Print modes. */
#define KX_PRINT_PLAIN 0            /* a comparison already applied prints as " (0=0) " */
#define KX_PRINT_ALL_CONDITIONS 1   /* applied comparisons print in full */
#define KX_PRINT_OUTER_JOIN_MARKS 2 /* as 1, and outer-join columns carry "(*) " or "(A) " */

/* Operator classes of an expression node's OperatorPair. */
#define KX_OP_CLASS_NOT 1
#define KX_OP_CLASS_AND 2
#define KX_OP_CLASS_OR 3
#define KX_OP_CLASS_COMPARISON 4

/* Node kinds the printer knows (NODE_VALUE 154 and NODE_DYNAMIC_PARAM 155
   are in common.h). 131, 149 and 156 are not printable kinds. */
#define KX_NODE_ALTER_TABLE_ADD 100
#define KX_NODE_ALTER_TABLE_DROP 101
#define KX_NODE_CREATE_INDEX 102
#define KX_NODE_CREATE_TABLE 103
#define KX_NODE_CREATE_VIEW 104
#define KX_NODE_POSITIONED_DELETE 105
#define KX_NODE_SEARCHED_DELETE 106
#define KX_NODE_DROP_INDEX 107
#define KX_NODE_DROP_TABLE 108
#define KX_NODE_DROP_VIEW 109
#define KX_NODE_GRANT 110
#define KX_NODE_INSERT 111
#define KX_NODE_REVOKE 112
#define KX_NODE_CURSOR_SPECIFICATION 113
#define KX_NODE_FOR_UPDATE 114
#define KX_NODE_QUERY_SPECIFICATION 115
#define KX_NODE_POSITIONED_UPDATE 116
#define KX_NODE_SEARCHED_UPDATE 117
#define KX_NODE_PROCEDURE_CALL 118
#define KX_NODE_TABLE_NAME 119
#define KX_NODE_COLUMN_DEFINITION 120
#define KX_NODE_IDENTIFIER 121
#define KX_NODE_GROUPED_QUERY 122
#define KX_NODE_UNION 123
#define KX_NODE_INSERT_SOURCE 124
#define KX_NODE_TABLE_REFERENCE 125
#define KX_NODE_SET_CLAUSE 126
#define KX_NODE_GROUPING_ITEM 127
#define KX_NODE_EITHER 128
#define KX_NODE_PRIVILEGE 129
#define KX_NODE_SELECT_ITEM 130
#define KX_NODE_COLUMN_REFERENCE 132
#define KX_NODE_SORT_SPECIFICATION 133
#define KX_NODE_DATA_TYPE 134
#define KX_NODE_COLUMN_CONSTRAINT 135
#define KX_NODE_TABLE_CONSTRAINT 136
#define KX_NODE_DEFAULT_OPTION 137
#define KX_NODE_QUALIFIED_JOIN 138
#define KX_NODE_PRECISION 139
#define KX_NODE_INTERVAL_QUALIFIER 140
#define KX_NODE_INTERVAL_FIELD 141
#define KX_NODE_CAST 142
#define KX_NODE_SCALAR_FUNCTION 143
#define KX_NODE_SET_FUNCTION 144
#define KX_NODE_TRIM_OPERANDS 145
#define KX_NODE_EXISTS 146
#define KX_NODE_LIKE 147
#define KX_NODE_NULL_TEST 148
#define KX_NODE_IN_PREDICATE 150
#define KX_NODE_QUANTIFIED_COMPARISON 151
#define KX_NODE_EXPRESSION 152
#define KX_NODE_LIST 153
#define KX_NODE_CASE 157
#define KX_NODE_NULLIF 158
#define KX_NODE_COALESCE 159
#define KX_NODE_WHEN_CLAUSE 160
#define KX_NODE_COMMIT 161
#define KX_NODE_ROLLBACK 162

/* Prints every statement of the root's statement list (a List of statement
   nodes in field 1 of tree) in order, "; " between two statements and
   nothing after the last, in mode KX_PRINT_PLAIN. A null tree, list or
   callback prints nothing. */
KX_API void sql92_print_parse_tree(const ParseNode *tree, PrintCallback callback,
                                   void *user_data);
/* Prints one subtree (a statement or any part of one) in mode
   KX_PRINT_PLAIN. */
KX_API void sql92_print_expression(const ParseNode *node, PrintCallback callback,
                                   void *user_data);
/* As sql92_print_expression in the given mode (KX_PRINT_*). */
KX_API void sql92_print_expression_ex(const ParseNode *node, PrintCallback callback,
                                      void *user_data, int32_t mode);

/* ---- end parsehelp ---- */

#ifdef __cplusplus
}
#endif

#endif /* KXSUPP_PARSE_H */
