// Tests of the SQL text printer's rules one by one: how each kind of leaf
// and operator prints, null children, modes, unexpected kinds and value
// types, the bound on every piece, and trees too deep for recursion on a
// driver thread's stack. Whole statements are in sqlprint_golden_test.cpp.
#include <gtest/gtest.h>

#include <pthread.h>

#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <limits>
#include <string>

#include "parse/sqlprint_tree.h"
#include "support/kx_test_support.h"

namespace {

using sqltree::Builder;
using sqltree::print;
using sqltree::print_tree;
using sqltree::Sink;

// ---- null and empty input ----

TEST(SqlPrint, NullNodeListAndCallbackPrintNothing)
{
    Builder b;
    EXPECT_EQ(print(nullptr), "");
    EXPECT_EQ(print(b.list({})), "");
    EXPECT_EQ(print_tree(nullptr), "");
    EXPECT_EQ(print_tree(b.root({})), "");
    sql92_print_expression(b.id("x"), nullptr, nullptr);
    sql92_print_parse_tree(b.root({b.id("x")}), nullptr, nullptr);
}

TEST(SqlPrint, StatementsAreSeparatedBySemicolonAndBlankWithNothingAfterTheLast)
{
    Builder b;
    ParseNode *commit = b.node(KX_NODE_COMMIT);
    ParseNode *rollback = b.node(KX_NODE_ROLLBACK);
    EXPECT_EQ(print_tree(b.root({commit})), "COMMIT WORK ");
    EXPECT_EQ(print_tree(b.root({commit, rollback})), "COMMIT WORK ; ROLLBACK WORK ");
    EXPECT_EQ(print_tree(b.root({rollback, commit, rollback})),
              "ROLLBACK WORK ; COMMIT WORK ; ROLLBACK WORK ");
}

TEST(SqlPrint, ListEntriesAreSeparatedByCommaAndBlank)
{
    Builder b;
    EXPECT_EQ(print(b.list({b.id("a")})), "a");
    EXPECT_EQ(print(b.list({b.id("a"), b.id("b"), b.id("c")})), "a, b, c");
    // A null entry prints nothing but keeps its separator.
    EXPECT_EQ(print(b.list({b.id("a"), nullptr, b.id("c")})), "a, , c");
}

// ---- values ----

TEST(SqlPrint, StringLiteralDoublesQuotesKeepsPercentAndEndsWithBlank)
{
    Builder b;
    Sink sink;
    EXPECT_EQ(print(b.str("it's 5%"), KX_PRINT_PLAIN, &sink), "'it''s 5%' ");
    // One character a piece, between the opening quote and "' ".
    std::vector<std::string> expected = {"'", "i", "t", "''", "s", " ", "5", "%", "' "};
    EXPECT_EQ(sink.pieces, expected);
    EXPECT_EQ(print(b.str("")), "'' ");
}

TEST(SqlPrint, StringLiteralStopsAtItsLengthOrFirstZeroByte)
{
    Builder b;
    Value *v = b.str("abcdef");
    v->length = 3;
    EXPECT_EQ(print(v), "'abc' ");
    Value *w = b.value(VALUE_STRING);
    static char with_zero[] = {'a', 'b', '\0', 'c', 'd'};
    w->payload.text = with_zero;
    w->length = 5;
    EXPECT_EQ(print(w), "'ab' ");
    Value *null_text = b.value(VALUE_STRING);
    null_text->length = 4;
    EXPECT_EQ(print(null_text), "'' ");
}

TEST(SqlPrint, NumbersAndTheirSpacing)
{
    Builder b;
    EXPECT_EQ(print(b.integer(42)), "42 ");
    EXPECT_EQ(print(b.integer(-7)), "-7 ");
    EXPECT_EQ(print(b.dbl(2.5)), "2.5");
    EXPECT_EQ(print(b.dbl(3.0)), "3");
    EXPECT_EQ(print(b.dbl(100.0)), "100");
    EXPECT_EQ(print(b.dbl(0.0)), "0");
    EXPECT_EQ(print(b.dbl(0.125)), "0.125");
    EXPECT_EQ(print(b.dbl(-1.5)), "-1.5");
    // "%f" keeps six decimals, so smaller fractions vanish.
    EXPECT_EQ(print(b.dbl(1e-9)), "0");
}

TEST(SqlPrint, NumericLiteralPrintsAsTheValueRendersIt)
{
    Builder b;
    Value *n = MakeNumeric("1234567", "25", b.handle());
    ASSERT_EQ(n->type, VALUE_NUMERIC);
    EXPECT_EQ(print(n), "1234567.25");
    Value *negative = MakeNumeric("9876543210", nullptr, b.handle());
    negative->payload.numeric.sign = 0;
    EXPECT_EQ(print(negative), "-9876543210");
    // Trailing zeros after the point are not part of a numeric's text.
    EXPECT_EQ(print(MakeNumeric("1234567", "50", b.handle())), "1234567.5");
}

TEST(SqlPrint, BitBinaryAndDatetimeLiterals)
{
    Builder b;
    Value *bit = b.value(VALUE_BIT);
    bit->payload.integer = 1;
    EXPECT_EQ(print(bit), "B'1' ");
    // Two digits an octet, unlike the value's own rendering.
    EXPECT_EQ(print(b.binary({0x05, 0x00, 0xAB})), "X'0500AB'");
    EXPECT_EQ(print(b.binary({})), "X''");
    Value *d = b.value(VALUE_DATE);
    d->payload.date = DateStruct{2004, 6, 16};
    EXPECT_EQ(print(d), "{d'2004-06-16'}");
    Value *t = b.value(VALUE_TIME);
    t->payload.time = TimeStruct{9, 5, 0};
    EXPECT_EQ(print(t), "{t'09:05:00'}");
    Value *ts = b.value(VALUE_TIMESTAMP);
    ts->payload.timestamp = TimestampStruct{1999, 12, 31, 23, 59, 58, 500000000};
    EXPECT_EQ(print(ts), "{ts'1999-12-31 23:59:58'}");
}

TEST(SqlPrint, IntervalLiteralsInSqlForm)
{
    Builder b;
    Value *ym = b.value(VALUE_INTERVAL_YM);
    ym->payload.interval = kxtest::year_month(KX_IS_YEAR_TO_MONTH, 1, 6, 1);
    EXPECT_EQ(print(ym), "INTERVAL -'1-06' YEAR TO MONTH");
    Value *ds = b.value(VALUE_INTERVAL_DS);
    ds->payload.interval = kxtest::day_second(KX_IS_DAY_TO_SECOND, 2, 3, 4, 5, 250000000);
    EXPECT_EQ(print(ds), "INTERVAL '2 03:04:05.25' DAY TO SECOND");
    Value *ms = b.value(VALUE_INTERVAL_DS);
    ms->payload.interval = kxtest::day_second(KX_IS_MINUTE_TO_SECOND, 0, 0, 12, 30, 500000000);
    ms->attr[2] = 5;
    ms->attr[3] = 3;
    EXPECT_EQ(print(ms), "INTERVAL '12:30.5' MINUTE(5) TO SECOND(3)");
}

TEST(SqlPrint, KeywordLeavesNullLiteralAndParameterMarker)
{
    Builder b;
    EXPECT_EQ(print(b.value(VALUE_CURRENT_DATE)), "CURRENT DATE ");
    EXPECT_EQ(print(b.value(VALUE_USER)), "USER ");
    EXPECT_EQ(print(b.value(VALUE_CURRENT_TIME)), "CURRENT TIME ");
    EXPECT_EQ(print(b.value(VALUE_CURRENT_TIMESTAMP)), "CURRENT TIMESTAMP ");
    EXPECT_EQ(print(MakeNull(b.handle())), " NULL ");
    EXPECT_EQ(print(b.param(3)), " ? ");
    // The builders' leaves print the same way.
    char keyword[] = "";
    EXPECT_EQ(print(MakeLiteral(KX_LITERAL_CURRENT_DATE, keyword, b.handle())), "CURRENT DATE ");
    EXPECT_EQ(print(MakeLiteral(KX_LITERAL_USER, keyword, b.handle())), "USER ");
}

TEST(SqlPrint, OtherValueTypesPrintTheUnexpectedValueText)
{
    Builder b;
    for (int32_t type : {VALUE_BIGINT, VALUE_LONG_STRING, VALUE_LONG_BINARY, 0, 6, 19, -1, 1000})
        EXPECT_EQ(print(b.value(type)), "<unexpected value type>") << "type " << type;
}

// ---- unexpected node kinds ----

// The address and kind read back from "<unexpected node type %x->%d>".
void expect_unexpected_node_text(const std::string &text, const ParseNode *node)
{
    const std::string head = "<unexpected node type ";
    ASSERT_EQ(text.compare(0, head.size(), head), 0) << text;
    size_t arrow = text.find("->", head.size());
    ASSERT_NE(arrow, std::string::npos) << text;
    std::string address = text.substr(head.size(), arrow - head.size());
    EXPECT_EQ(address.find_first_not_of("0123456789abcdef"), std::string::npos) << text;
    EXPECT_EQ(std::stoull(address, nullptr, 16), reinterpret_cast<uintptr_t>(node)) << text;
    EXPECT_EQ(text.substr(arrow + 2), std::to_string(node->kind) + ">") << text;
}

TEST(SqlPrint, UnknownKindsPrintAddressAndKindAndNothingElse)
{
    Builder b;
    for (uint32_t kind : {131u, 149u, 156u, 0u, 99u, 163u, 300u, 1000u}) {
        ParseNode *n = b.node(kind, b.id("never"), b.id("printed"));
        expect_unexpected_node_text(print(n), n);
    }
}

TEST(SqlPrint, PrintingGoesOnAfterAnUnexpectedNode)
{
    Builder b;
    ParseNode *odd = b.node(131);
    std::string text = print(b.list({odd, b.id("next")}));
    size_t end = text.find('>', text.find("->") + 2);
    ASSERT_NE(end, std::string::npos);
    expect_unexpected_node_text(text.substr(0, end + 1), odd);
    EXPECT_EQ(text.substr(end + 1), ", next");
}

// ---- operators and modes ----

TEST(SqlPrint, ComparisonsUseTheOperatorTexts)
{
    Builder b;
    const char *texts[] = {"+", "-", "||", "*", "/", "-", "<", ">", ">=", "<=", "=", "<>"};
    for (int code = 1; code <= 12; ++code)
        EXPECT_EQ(print(b.cmp(code, b.id("a"), b.id("b"))),
                  std::string("( a ") + texts[code - 1] + " b )")
            << "code " << code;
    // An operator code without a text prints an empty operator.
    EXPECT_EQ(print(b.cmp(0, b.id("a"), b.id("b"))), "( a  b )");
    EXPECT_EQ(print(b.cmp(13, b.id("a"), b.id("b"))), "( a  b )");
}

TEST(SqlPrint, AndOrNotCloseWithoutBlankComparisonsWithBlank)
{
    Builder b;
    EXPECT_EQ(print(b.both(b.id("p"), b.id("q"))), "( p AND q)");
    EXPECT_EQ(print(b.either(b.id("p"), b.id("q"))), "( p OR q)");
    EXPECT_EQ(print(b.negate(b.id("p"))), "(  NOT p)");
    // NOT prints only its right operand.
    EXPECT_EQ(print(b.expr(KX_OP_CLASS_NOT, 0, b.id("left"), b.id("p"))), "(  NOT p)");
    // Null operands print nothing.
    EXPECT_EQ(print(b.both(nullptr, nullptr)), "(  AND )");
    // Other classes, and a missing operator pair, print nothing.
    EXPECT_EQ(print(b.expr(0, 1, b.id("a"), b.id("b"))), "");
    EXPECT_EQ(print(b.expr(5, 1, b.id("a"), b.id("b"))), "");
    EXPECT_EQ(print(b.node(KX_NODE_EXPRESSION, nullptr, nullptr, b.id("a"), b.id("b"))), "");
}

TEST(SqlPrint, GroupedQueryOnTheRightOfAComparisonIsParenthesised)
{
    Builder b;
    ParseNode *query = b.select(0, b.list({b.id("x")}), b.list({b.ref("t")}));
    ParseNode *grouped = b.node(KX_NODE_GROUPED_QUERY, query);
    EXPECT_EQ(print(b.cmp(KX_OP_EQUAL, b.id("a"), grouped)), "( a = (  SELECT x FROM t ) )");
    // Only a grouped query is wrapped.
    EXPECT_EQ(print(b.cmp(KX_OP_EQUAL, b.id("a"), query)), "( a =  SELECT x FROM t )");
    EXPECT_EQ(print(b.cmp(KX_OP_EQUAL, grouped, b.id("a"))), "(  SELECT x FROM t = a )");
}

TEST(SqlPrint, AppliedComparisonIsTrueInPlainModeOnly)
{
    Builder b;
    ParseNode *c = b.cmp(KX_OP_LESS, b.id("a"), b.integer(3));
    Builder::set(c, 8, 1);
    EXPECT_EQ(print(c, KX_PRINT_PLAIN), " (0=0) ");
    EXPECT_EQ(print(c, KX_PRINT_ALL_CONDITIONS), "( a < 3  )");
    EXPECT_EQ(print(c, KX_PRINT_OUTER_JOIN_MARKS), "( a < 3  )");
    Sink sink;
    sql92_print_expression(c, Sink::collect, &sink);
    EXPECT_EQ(sink.text, " (0=0) ");
    // The flag is a comparison's only.
    ParseNode *conjunction = b.both(b.id("p"), b.id("q"));
    Builder::set(conjunction, 8, 1);
    EXPECT_EQ(print(conjunction), "( p AND q)");
}

TEST(SqlPrint, OuterJoinMarksOnlyInModeTwo)
{
    Builder b;
    ParseNode *plain = b.col("e", "id");
    ParseNode *outer = Builder::set(b.col("e", "dept"), 15, 1);
    ParseNode *alternate = Builder::set(Builder::set(b.col("d", "id"), 15, 1), 18, 1);
    ParseNode *only_18 = Builder::set(b.col("d", "x"), 18, 1);
    ParseNode *all = b.list({plain, outer, alternate, only_18});
    EXPECT_EQ(print(all, KX_PRINT_OUTER_JOIN_MARKS), "e.id, e.dept(*) , d.id(A) , d.x");
    EXPECT_EQ(print(all, KX_PRINT_PLAIN), "e.id, e.dept, d.id, d.x");
    EXPECT_EQ(print(all, KX_PRINT_ALL_CONDITIONS), "e.id, e.dept, d.id, d.x");
}

// ---- predicates and fixed texts ----

TEST(SqlPrint, EmptyInListIsFalseAndEmptyNotInListTrue)
{
    Builder b;
    EXPECT_EQ(print(b.node(KX_NODE_IN_PREDICATE, b.id("a"))), " 1 = 0 ");
    EXPECT_EQ(print(b.node(KX_NODE_IN_PREDICATE, b.id("a"), 1)), " 1 = 1 ");
    EXPECT_EQ(print(b.node(KX_NODE_IN_PREDICATE, b.id("a"), 0, nullptr, nullptr, nullptr,
                           b.list({b.integer(1), b.integer(2)}))),
              "a IN  ( 1 , 2 )");
}

TEST(SqlPrint, ForeignKeyAndRevokeKeepTheirSpellings)
{
    Builder b;
    ParseNode *fk = b.node(KX_NODE_TABLE_CONSTRAINT, 4, b.list({b.id("a")}), nullptr,
                           b.table("p"), b.list({b.id("b")}), 9);
    EXPECT_EQ(print(fk), " FOERIGN KEY ( a ) REFERENCES p ( b ) ");
    EXPECT_EQ(print(b.node(KX_NODE_REVOKE, b.table("t"))),
              "REVOKE ALL PRIVILIGES  ON t FROM  PUBLIC ");
    EXPECT_EQ(print(b.node(KX_NODE_PRIVILEGE, 5)), "REFERENCE");
}

TEST(SqlPrint, ForeignKeyDeleteRules)
{
    Builder b;
    const char *rules[] = {"ON DELETE NO ACTION ", "ON DELETE CASCADE ", "ON DELETE SET NULL ",
                           "ON DELETE SET DEFAULT "};
    for (int rule = 0; rule < 4; ++rule)
        EXPECT_EQ(print(b.node(KX_NODE_TABLE_CONSTRAINT, 4, b.id("a"), nullptr, b.table("p"),
                               b.id("b"), rule)),
                  std::string(" FOERIGN KEY ( a ) REFERENCES p ( b ) ") + rules[rule]);
    EXPECT_EQ(print(b.node(KX_NODE_TABLE_CONSTRAINT, 4, b.id("a"), nullptr, b.table("p"),
                           b.id("b"), -1)),
              " FOERIGN KEY ( a ) REFERENCES p ( b ) ");
}

// Codes outside the tables of the trim operands, EXISTS, join types,
// privileges and constraints add no text of their own.
TEST(SqlPrint, CodesOutsideTheirTablesAddNothing)
{
    Builder b;
    EXPECT_EQ(print(b.node(KX_NODE_TRIM_OPERANDS, 0, nullptr, b.id("n"))), " FROM n");
    EXPECT_EQ(print(b.node(KX_NODE_TRIM_OPERANDS, 4, b.id("x"), b.id("n"))), "x FROM n");
    EXPECT_EQ(print(b.node(KX_NODE_EXISTS, b.id("q"), 0)), " EXISTS ( q ) ");
    EXPECT_EQ(print(b.node(KX_NODE_EXISTS, b.id("q"), 1)), " NOT EXISTS ( q ) ");
    EXPECT_EQ(print(b.node(KX_NODE_QUALIFIED_JOIN, b.id("a"), 0, 5, 1, b.id("b"), b.id("c"))),
              " a OUTER JOIN b ON c ");
    EXPECT_EQ(print(b.node(KX_NODE_QUALIFIED_JOIN, b.id("a"), 0, 8, 1, b.id("b"), b.id("c"))),
              " a FULL OUTER JOIN b ON c ");
    for (int which : {0, 6, 99})
        EXPECT_EQ(print(b.node(KX_NODE_PRIVILEGE, which, b.id("col"))), "") << which;
    for (int which : {0, 5, 99})
        EXPECT_EQ(print(b.node(KX_NODE_TABLE_CONSTRAINT, which, b.id("a"), b.id("b"))), "")
            << which;
    for (int which : {0, 4, 8})
        EXPECT_EQ(print(b.node(KX_NODE_COLUMN_CONSTRAINT, which, b.id("a"))), "") << which;
    for (int which : {0, 8, -1})
        EXPECT_EQ(print(b.node(KX_NODE_INTERVAL_FIELD, which, 3, b.id("p"))), "") << which;
    for (int which : {0, 7, -2}) {
        EXPECT_EQ(print(b.node(KX_NODE_SET_FUNCTION, which, 1, b.id("d"), b.id("a"))), "")
            << which;
        EXPECT_EQ(print(b.node(KX_NODE_SET_FUNCTION, which, 0, b.id("d"), b.id("a"))), "")
            << which;
    }
    // A column reference without a column list.
    ParseNode *parent = b.table("p");
    EXPECT_EQ(print(b.node(KX_NODE_COLUMN_CONSTRAINT, 6, parent)), "REFERENCES " + print(parent));
}

TEST(SqlPrint, SearchedUpdateWithAndWithoutACondition)
{
    Builder b;
    ParseNode *table = b.table("t");
    ParseNode *set = b.id("x");
    const std::string head = "UPDATE " + print(table) + " SET " + print(set);
    EXPECT_EQ(print(b.node(KX_NODE_SEARCHED_UPDATE, table, set)), head);
    EXPECT_EQ(print(b.node(KX_NODE_SEARCHED_UPDATE, table, set, b.id("c"))), head + " WHERE c");
}

TEST(SqlPrint, SetFunctionsAndThePlainCountRowCount)
{
    Builder b;
    ParseNode *x = b.id("x");
    EXPECT_EQ(print(b.node(KX_NODE_SET_FUNCTION, 6)), " COUNT(*) ");
    EXPECT_EQ(print(b.node(KX_NODE_SET_FUNCTION, 6, 1, x)), " COUNT(*) ");
    // A plain COUNT of an expression prints as a row count.
    EXPECT_EQ(print(b.node(KX_NODE_SET_FUNCTION, 1, 0, nullptr, x)), " COUNT(*)");
    EXPECT_EQ(print(b.node(KX_NODE_SET_FUNCTION, 1, 1, x)), " COUNT( DISTINCT x ) ");
    EXPECT_EQ(print(b.node(KX_NODE_SET_FUNCTION, 5, 1, x)), " AVG( DISTINCT x ) ");
    EXPECT_EQ(print(b.node(KX_NODE_SET_FUNCTION, 3, 0, nullptr, x)), " MIN( ALL x ) ");
    // The argument is taken from f3 with DISTINCT and from f4 without.
    EXPECT_EQ(print(b.node(KX_NODE_SET_FUNCTION, 2, 0, x, b.id("y"))), " MAX( ALL y ) ");
    EXPECT_EQ(print(b.node(KX_NODE_SET_FUNCTION, 2, 1, x, b.id("y"))), " MAX( DISTINCT x ) ");
    for (int f : {0, 7, -1})
        EXPECT_EQ(print(b.node(KX_NODE_SET_FUNCTION, f, 0, x, x)), "") << f;
}

TEST(SqlPrint, ScalarFunctionsByCatalogueNumber)
{
    Builder b;
    ParseNode *args = b.list({b.id("s")});
    // Id 9 has two spellings; the first in the catalogue is printed.
    EXPECT_EQ(print(b.node(KX_NODE_SCALAR_FUNCTION, 9, args)), "CHARACTER_LENGTH( s ) ");
    EXPECT_EQ(print(b.node(KX_NODE_SCALAR_FUNCTION, 60, args)), "SUBSTR( s ) ");
    EXPECT_EQ(print(b.node(KX_NODE_SCALAR_FUNCTION, 0, args)), "ABS( s ) ");
    EXPECT_EQ(print(b.node(KX_NODE_SCALAR_FUNCTION, 68, args)), "YEAR( s ) ");
    EXPECT_EQ(print(b.node(KX_NODE_SCALAR_FUNCTION, 41)), "NOW(  ) ");
    // A number the catalogue does not know prints its arguments alone.
    EXPECT_EQ(print(b.node(KX_NODE_SCALAR_FUNCTION, 999, args)), "( s ) ");
    // Below -6 nothing.
    EXPECT_EQ(print(b.node(KX_NODE_SCALAR_FUNCTION, -7, args, b.id("a"))), "");
    EXPECT_EQ(print(b.node(KX_NODE_SCALAR_FUNCTION, -100, args, b.id("a"))), "");
}

TEST(SqlPrint, ExtractFieldWords)
{
    Builder b;
    const char *words[] = {" YEAR ", " MONTH ", " DAY ", " HOUR ", " MINUTE ", " SECOND "};
    for (int f = 0; f < 6; ++f)
        EXPECT_EQ(print(b.node(KX_NODE_SCALAR_FUNCTION, 25, b.list({b.integer(f), b.id("d")}))),
                  std::string(" EXTRACT( ") + words[f] + " FROM d )");
    // Any other number, or an entry that is no integer value, gives " FROM " alone.
    EXPECT_EQ(print(b.node(KX_NODE_SCALAR_FUNCTION, 25, b.list({b.integer(6), b.id("d")}))),
              " EXTRACT(  FROM d )");
    EXPECT_EQ(print(b.node(KX_NODE_SCALAR_FUNCTION, 25, b.list({b.id("year"), b.id("d")}))),
              " EXTRACT(  FROM d )");
    EXPECT_EQ(print(b.node(KX_NODE_SCALAR_FUNCTION, 25, b.list({b.id("d")}))), " EXTRACT( d )");
    EXPECT_EQ(print(b.node(KX_NODE_SCALAR_FUNCTION, 44, b.list({b.str("a"), b.id("s")}))),
              " POSITION( 'a'  IN s )");
}

TEST(SqlPrint, DataTypeCodesWithoutTextPrintNothing)
{
    Builder b;
    for (int code : {0, 13, 90, 94, 100, 114, -8, -9})
        EXPECT_EQ(print(b.node(KX_NODE_DATA_TYPE, code, 5, 3)), "") << code;
}

TEST(SqlPrint, SingleFieldIntervalTypesAndTheirSpacing)
{
    Builder b;
    EXPECT_EQ(print(b.node(KX_NODE_DATA_TYPE, 101)), " INTERVAL YEAR ");
    EXPECT_EQ(print(b.node(KX_NODE_DATA_TYPE, 101, 4)), " INTERVAL YEAR ( 4 ) ");
    EXPECT_EQ(print(b.node(KX_NODE_DATA_TYPE, 102, 4)), " INTERVAL MONTH( 4 ) ");
    EXPECT_EQ(print(b.node(KX_NODE_DATA_TYPE, 105)), " INTERVAL MINUTE");
    EXPECT_EQ(print(b.node(KX_NODE_DATA_TYPE, 106)), " INTERVAL SECOND ");
    EXPECT_EQ(print(b.node(KX_NODE_DATA_TYPE, 106, 0, 0, 0,
                           b.node(KX_NODE_PRECISION, 4, 2))),
              " INTERVAL SECOND ( 4, 2 ) ");
    // Two-field types take f2 when nonzero (not only when positive).
    EXPECT_EQ(print(b.node(KX_NODE_DATA_TYPE, 113, -1, 2)), " INTERVAL MINUTE( -1 ) TO SECOND ( 2 )");
    EXPECT_EQ(print(b.node(KX_NODE_DATA_TYPE, 101, -1)), " INTERVAL YEAR ");
}

TEST(SqlPrint, DoublesOfEveryMagnitudeAndTheSpecialValues)
{
    Builder b;
    EXPECT_EQ(print(b.dbl(1e20)), "100000000000000000000");
    EXPECT_EQ(print(b.dbl(-0.0)), "-0");
    EXPECT_EQ(print(b.dbl(10.5)), "10.5");
    EXPECT_EQ(print(b.dbl(-0.000001)), "-0.000001");
    // The largest double prints whole: 309 digits, no point.
    std::string largest = print(b.dbl(1.7976931348623157e308));
    EXPECT_EQ(largest.size(), 309u);
    EXPECT_EQ(largest.substr(0, 6), "179769");
    EXPECT_EQ(largest.find('.'), std::string::npos);
    EXPECT_EQ(print(b.dbl(std::numeric_limits<double>::infinity())), "inf");
    EXPECT_EQ(print(b.dbl(-std::numeric_limits<double>::infinity())), "-inf");
}

TEST(SqlPrint, IdentifierWithoutTextIsAnEmptyName)
{
    Builder b;
    EXPECT_EQ(print(b.node(KX_NODE_IDENTIFIER, nullptr, 0)), "");
    EXPECT_EQ(print(b.node(KX_NODE_IDENTIFIER, nullptr, 1)), "\"\"");
    ParseNode *name = b.node(KX_NODE_TABLE_NAME, nullptr, b.node(KX_NODE_IDENTIFIER, nullptr, 0),
                             nullptr, b.id("t"));
    EXPECT_EQ(print(name), ".t");
}

TEST(SqlPrint, ComparisonWithoutARightOperand)
{
    Builder b;
    EXPECT_EQ(print(b.cmp(11, b.id("a"), nullptr)), "( a =  )");
    EXPECT_EQ(print(b.cmp(7, nullptr, nullptr)), "(  <  )");
}

TEST(SqlPrint, FunctionNumbersBeyondThirtyTwoBitsHaveNoName)
{
    Builder b;
    ParseNode *args = b.list({b.id("s")});
    // 2^32 is not id 0 (ABS), nor 2^31 the most negative id.
    intptr_t beyond = static_cast<intptr_t>(INT64_C(1) << 32);
    ParseNode *f = b.node(KX_NODE_SCALAR_FUNCTION, 0, args);
    Builder::set(f, 1, reinterpret_cast<const void *>(beyond));
    EXPECT_EQ(print(f), "( s ) ");
    Builder::set(f, 1, reinterpret_cast<const void *>(static_cast<intptr_t>(INT64_C(1) << 31)));
    EXPECT_EQ(print(f), "( s ) ");
    Builder::set(f, 1, reinterpret_cast<const void *>(beyond + 65));
    EXPECT_EQ(print(f), "( s ) ");
}

TEST(SqlPrint, ExtractWordsThatNameNoField)
{
    Builder b;
    auto extract = [&b](std::initializer_list<const void *> args) {
        return print(b.node(KX_NODE_SCALAR_FUNCTION, 25, b.list(args)));
    };
    // A missing word, a word that is a string value, a negative number.
    EXPECT_EQ(extract({nullptr, b.id("d")}), " EXTRACT(  FROM d )");
    EXPECT_EQ(extract({b.str("YEAR"), b.id("d")}), " EXTRACT(  FROM d )");
    EXPECT_EQ(extract({b.integer(-1), b.id("d")}), " EXTRACT(  FROM d )");
    // A missing source prints nothing after " FROM ".
    EXPECT_EQ(extract({b.integer(0), nullptr}), " EXTRACT(  YEAR  FROM  )");
    // Two words: each followed by " FROM ".
    EXPECT_EQ(extract({b.integer(1), b.integer(2), b.id("d")}),
              " EXTRACT(  MONTH  FROM  DAY  FROM d )");
}

TEST(SqlPrint, ArgumentsThatAreNoListPrintAsThemselves)
{
    Builder b;
    EXPECT_EQ(print(b.node(KX_NODE_SCALAR_FUNCTION, 25, b.id("d"))), " EXTRACT( d )");
    EXPECT_EQ(print(b.node(KX_NODE_SCALAR_FUNCTION, 25, b.list({}))), " EXTRACT(  )");
    EXPECT_EQ(print(b.node(KX_NODE_SCALAR_FUNCTION, 25)), " EXTRACT(  )");
    EXPECT_EQ(print(b.node(KX_NODE_SCALAR_FUNCTION, 44, b.id("s"))), " POSITION( s )");
    // A column added as a definition node of its own, not in a list: no
    // parentheses.
    ParseNode *definition = b.node(KX_NODE_COLUMN_DEFINITION, b.id("c"),
                                   b.node(KX_NODE_DATA_TYPE, 4));
    EXPECT_EQ(print(b.node(KX_NODE_ALTER_TABLE_ADD, b.table("t"), definition)),
              "ALTER TABLE t ADD COLUMN c INTEGER ");
    EXPECT_EQ(print(b.node(KX_NODE_ALTER_TABLE_ADD, b.table("t"), b.list({definition}))),
              "ALTER TABLE t ADD COLUMN c INTEGER ");
    // A single constraint node in place of the constraint list.
    ParseNode *not_null = b.node(KX_NODE_COLUMN_CONSTRAINT, 5);
    EXPECT_EQ(print(b.node(KX_NODE_COLUMN_DEFINITION, b.id("c"), b.node(KX_NODE_DATA_TYPE, 4),
                           not_null)),
              "c INTEGER NOT NULL ");
}

TEST(SqlPrint, ColumnConstraintsFollowEachOtherWithNothingBetween)
{
    Builder b;
    ParseNode *constraints = b.list({b.node(KX_NODE_COLUMN_CONSTRAINT, 5),
                                     b.node(KX_NODE_COLUMN_CONSTRAINT, 1),
                                     b.node(KX_NODE_COLUMN_CONSTRAINT, 2)});
    EXPECT_EQ(print(b.node(KX_NODE_COLUMN_DEFINITION, b.id("c"), b.node(KX_NODE_DATA_TYPE, 4),
                           constraints)),
              "c INTEGER NOT NULL UNIQUE PRIMARY KEY ");
}

TEST(SqlPrint, EveryLeafKindAsAFirstChild)
{
    Builder b;
    EXPECT_EQ(print(b.node(KX_NODE_NULL_TEST, b.param(1), 0)), " ?  IS NULL");
    EXPECT_EQ(print(b.node(KX_NODE_NULL_TEST, b.integer(3), 1)), "3  IS NOT NULL");
    EXPECT_EQ(print(b.node(KX_NODE_COLUMN_CONSTRAINT, 7, nullptr, nullptr, nullptr,
                           b.node(KX_NODE_DEFAULT_OPTION, 1))),
              "DEFAULT  NULL ");
    EXPECT_EQ(print(b.node(KX_NODE_EITHER, b.node(KX_NODE_DEFAULT_OPTION, 2))), " DEFAULT ");
    EXPECT_EQ(print(b.node(KX_NODE_EITHER, b.node(KX_NODE_COMMIT))), "COMMIT WORK ");
    EXPECT_EQ(print(b.node(KX_NODE_EITHER, nullptr, b.node(KX_NODE_ROLLBACK))), "ROLLBACK WORK ");
    // And after a first child that is not a leaf.
    ParseNode *inner = b.node(KX_NODE_EITHER, b.id("x"));
    EXPECT_EQ(print(b.node(KX_NODE_SORT_SPECIFICATION, inner, 0, 2)), "x DESC ");
}

// ---- bounded pieces ----

TEST(SqlPrint, LongNamesAndLiteralsArePassedInBoundedPieces)
{
    Builder b;
    std::string name(5000, 'n');
    name[0] = 'A';
    name[4999] = 'Z';
    Sink sink;
    EXPECT_EQ(print(b.id(name.c_str()), KX_PRINT_PLAIN, &sink), name);
    EXPECT_GT(sink.pieces.size(), 4u);
    EXPECT_EQ(print(b.id(name.c_str(), true), KX_PRINT_PLAIN, &sink), "\"" + name + "\"");
    // A name that fits the area with its quotes goes in one piece.
    std::string fits(KX_PRINT_PIECE_SIZE - 3, 'q');
    EXPECT_EQ(print(b.id(fits.c_str(), true), KX_PRINT_PLAIN, &sink), "\"" + fits + "\"");
    EXPECT_EQ(sink.pieces.size(), 1u);
    std::string just_over(KX_PRINT_PIECE_SIZE - 2, 'q');
    EXPECT_EQ(print(b.id(just_over.c_str(), true)), "\"" + just_over + "\"");

    std::string literal(20000, 'x');
    for (size_t i = 0; i < literal.size(); i += 7)
        literal[i] = i % 2 ? '\'' : '%';
    std::string expected = "'";
    for (char c : literal)
        expected += c == '\'' ? std::string("''") : std::string(1, c);
    expected += "' ";
    EXPECT_EQ(print(b.str(literal.c_str())), expected);

    // Number texts are far shorter than the area.
    EXPECT_EQ(print(b.dbl(1e308)).size(), 309u);
    EXPECT_EQ(print(b.dbl(-1e308)).size(), 310u);
    Value *big = MakeNumeric("12345678901234567890123456789012345678", nullptr, b.handle());
    EXPECT_EQ(print(big), "12345678901234567890123456789012345678");
    Value *tiny = MakeNumeric(nullptr, "00000000000000000000000000000000000001", b.handle());
    EXPECT_EQ(print(tiny), "0.00000000000000000000000000000000000001");
}

// ---- depth ----

constexpr int kDepth = 100000;

// Runs job on a thread with a small stack, as a driver thread might have;
// printing by recursion at these depths would need megabytes.
void run_on_small_stack(void (*job)(void *), void *argument)
{
    struct Call {
        void (*job)(void *);
        void *argument;
    } call{job, argument};
    pthread_attr_t attributes;
    ASSERT_EQ(pthread_attr_init(&attributes), 0);
    ASSERT_EQ(pthread_attr_setstacksize(&attributes, 256 * 1024), 0);
    pthread_t thread;
    auto start = [](void *p) -> void * {
        auto *c = static_cast<Call *>(p);
        c->job(c->argument);
        return nullptr;
    };
    ASSERT_EQ(pthread_create(&thread, &attributes, start, &call), 0);
    pthread_join(thread, nullptr);
    pthread_attr_destroy(&attributes);
}

struct DeepCase {
    const ParseNode *node;
    std::string text;
};

void print_deep(void *p)
{
    auto *c = static_cast<DeepCase *>(p);
    Sink sink;
    sql92_print_expression(c->node, Sink::collect, &sink);
    c->text = std::move(sink.text);
}

std::string repeat(const std::string &s, int n)
{
    std::string out;
    out.reserve(s.size() * n);
    for (int i = 0; i < n; ++i)
        out += s;
    return out;
}

TEST(SqlPrintDepth, LeftDeepAndChainPrintsOnASmallStack)
{
    Builder b;
    ParseNode *tree = b.id("a");
    for (int i = 0; i < kDepth; ++i)
        tree = b.both(tree, b.id("b"));
    DeepCase c{tree, {}};
    run_on_small_stack(print_deep, &c);
    EXPECT_EQ(c.text, repeat("( ", kDepth) + "a" + repeat(" AND b)", kDepth));
}

TEST(SqlPrintDepth, RightDeepComparisonsAndNotsPrintOnASmallStack)
{
    Builder b;
    ParseNode *tree = Builder::leaf(b.integer(1));
    for (int i = 0; i < kDepth; ++i)
        tree = (i % 2) ? b.negate(tree) : b.cmp(KX_OP_EQUAL, b.id("x"), tree);
    DeepCase c{tree, {}};
    run_on_small_stack(print_deep, &c);
    // Openings from the outermost node in, closings from the innermost out.
    std::string expected;
    for (int i = kDepth - 1; i >= 0; --i)
        expected += (i % 2) ? "(  NOT " : "( x = ";
    expected += "1 ";
    for (int i = 0; i < kDepth; ++i)
        expected += (i % 2) ? ")" : " )";
    EXPECT_EQ(c.text, expected);
}

TEST(SqlPrintDepth, DeeplyNestedSubqueriesAndListsPrintOnASmallStack)
{
    Builder b;
    constexpr int kQueries = 20000;
    ParseNode *query = b.select(0, nullptr, b.list({b.ref("t")}));
    for (int i = 0; i < kQueries; ++i) {
        ParseNode *in = b.node(KX_NODE_IN_PREDICATE, b.id("k"), 0, query);
        query = b.select(0, b.list({b.list({b.id("k")})}), b.list({b.ref("t")}), in);
    }
    DeepCase c{query, {}};
    run_on_small_stack(print_deep, &c);
    std::string expected = repeat(" SELECT k FROM t WHERE k IN  ( ", kQueries) +
                           " SELECT *  FROM t" + repeat(")", kQueries);
    EXPECT_EQ(c.text, expected);
}

TEST(SqlPrintDepth, LongListsPrintWithoutGrowingTheStack)
{
    Builder b;
    List *l = nullptr;
    for (int i = 0; i < kDepth; ++i)
        l = ListAppend(b.integer(i % 10), l, b.handle());
    ParseNode *list = b.node(KX_NODE_LIST, l);
    DeepCase c{list, {}};
    run_on_small_stack(print_deep, &c);
    std::string expected;
    for (int i = 0; i < kDepth; ++i)
        expected += std::to_string(i % 10) + (i + 1 < kDepth ? " , " : " ");
    EXPECT_EQ(c.text, expected);
}

}  // namespace
