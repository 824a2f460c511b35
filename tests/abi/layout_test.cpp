// The ODBC-shaped records have exactly the layouts of unixODBC's structures,
// and the records a driver shares with the library have the offsets it
// relies on.
#include <gtest/gtest.h>

#include <cstddef>

#include <sql.h>
#include <sqlext.h>

#include <kxsupp.h>

namespace {

#define EXPECT_SAME_FIELD(ours, field_ours, theirs, field_theirs)             \
    do {                                                                      \
        EXPECT_EQ(offsetof(ours, field_ours), offsetof(theirs, field_theirs)) \
            << #ours "." #field_ours;                                         \
        EXPECT_EQ(sizeof(((ours *)nullptr)->field_ours),                      \
                  sizeof(((theirs *)nullptr)->field_theirs))                  \
            << #ours "." #field_ours;                                         \
    } while (0)

TEST(Layout, NumericStructMatchesOdbc)
{
    EXPECT_EQ(sizeof(NumericStruct), sizeof(SQL_NUMERIC_STRUCT));
    EXPECT_EQ(sizeof(NumericStruct), 19u);
    EXPECT_SAME_FIELD(NumericStruct, precision, SQL_NUMERIC_STRUCT, precision);
    EXPECT_SAME_FIELD(NumericStruct, scale, SQL_NUMERIC_STRUCT, scale);
    EXPECT_SAME_FIELD(NumericStruct, sign, SQL_NUMERIC_STRUCT, sign);
    EXPECT_SAME_FIELD(NumericStruct, val, SQL_NUMERIC_STRUCT, val);
}

TEST(Layout, DateAndTimeStructsMatchOdbc)
{
    EXPECT_EQ(sizeof(DateStruct), sizeof(SQL_DATE_STRUCT));
    EXPECT_EQ(sizeof(DateStruct), 6u);
    EXPECT_SAME_FIELD(DateStruct, year, SQL_DATE_STRUCT, year);
    EXPECT_SAME_FIELD(DateStruct, month, SQL_DATE_STRUCT, month);
    EXPECT_SAME_FIELD(DateStruct, day, SQL_DATE_STRUCT, day);

    EXPECT_EQ(sizeof(TimeStruct), sizeof(SQL_TIME_STRUCT));
    EXPECT_EQ(sizeof(TimeStruct), 6u);
    EXPECT_SAME_FIELD(TimeStruct, hour, SQL_TIME_STRUCT, hour);
    EXPECT_SAME_FIELD(TimeStruct, minute, SQL_TIME_STRUCT, minute);
    EXPECT_SAME_FIELD(TimeStruct, second, SQL_TIME_STRUCT, second);
}

TEST(Layout, TimestampStructMatchesOdbc)
{
    EXPECT_EQ(sizeof(TimestampStruct), sizeof(SQL_TIMESTAMP_STRUCT));
    EXPECT_EQ(sizeof(TimestampStruct), 16u);
    EXPECT_SAME_FIELD(TimestampStruct, year, SQL_TIMESTAMP_STRUCT, year);
    EXPECT_SAME_FIELD(TimestampStruct, month, SQL_TIMESTAMP_STRUCT, month);
    EXPECT_SAME_FIELD(TimestampStruct, day, SQL_TIMESTAMP_STRUCT, day);
    EXPECT_SAME_FIELD(TimestampStruct, hour, SQL_TIMESTAMP_STRUCT, hour);
    EXPECT_SAME_FIELD(TimestampStruct, minute, SQL_TIMESTAMP_STRUCT, minute);
    EXPECT_SAME_FIELD(TimestampStruct, second, SQL_TIMESTAMP_STRUCT, second);
    EXPECT_SAME_FIELD(TimestampStruct, fraction, SQL_TIMESTAMP_STRUCT, fraction);
}

TEST(Layout, IntervalStructMatchesOdbc)
{
    EXPECT_EQ(sizeof(IntervalStruct), sizeof(SQL_INTERVAL_STRUCT));
    EXPECT_EQ(sizeof(IntervalStruct), 28u);
    EXPECT_SAME_FIELD(IntervalStruct, interval_type, SQL_INTERVAL_STRUCT, interval_type);
    EXPECT_SAME_FIELD(IntervalStruct, interval_sign, SQL_INTERVAL_STRUCT, interval_sign);
    EXPECT_SAME_FIELD(IntervalStruct, intval.year_month.year,
                      SQL_INTERVAL_STRUCT, intval.year_month.year);
    EXPECT_SAME_FIELD(IntervalStruct, intval.year_month.month,
                      SQL_INTERVAL_STRUCT, intval.year_month.month);
    EXPECT_SAME_FIELD(IntervalStruct, intval.day_second.day,
                      SQL_INTERVAL_STRUCT, intval.day_second.day);
    EXPECT_SAME_FIELD(IntervalStruct, intval.day_second.hour,
                      SQL_INTERVAL_STRUCT, intval.day_second.hour);
    EXPECT_SAME_FIELD(IntervalStruct, intval.day_second.minute,
                      SQL_INTERVAL_STRUCT, intval.day_second.minute);
    EXPECT_SAME_FIELD(IntervalStruct, intval.day_second.second,
                      SQL_INTERVAL_STRUCT, intval.day_second.second);
    EXPECT_SAME_FIELD(IntervalStruct, intval.day_second.fraction,
                      SQL_INTERVAL_STRUCT, intval.day_second.fraction);
    // The interval kinds are ODBC's numbers.
    EXPECT_EQ(KX_IS_YEAR, SQL_IS_YEAR);
    EXPECT_EQ(KX_IS_DAY_TO_HOUR, SQL_IS_DAY_TO_HOUR);
    EXPECT_EQ(KX_IS_MINUTE_TO_SECOND, SQL_IS_MINUTE_TO_SECOND);
}

TEST(Layout, ValuePayloadIsThirtyTwoBytesAndHoldsEveryRecord)
{
    EXPECT_EQ(sizeof(ValuePayload), 32u);
    EXPECT_EQ(offsetof(Value, kind), 0u);
    EXPECT_EQ(offsetof(ValuePayload, bigint.high), 0u);
    EXPECT_EQ(offsetof(ValuePayload, bigint.low), 4u);
    EXPECT_EQ(offsetof(Value, payload) % alignof(double), 0u);
}

TEST(Layout, DmBufferPayloadStartsAtTwelve)
{
    EXPECT_EQ(offsetof(DmBuffer, length), 0u);
    EXPECT_EQ(offsetof(DmBuffer, data_length), 4u);
    EXPECT_EQ(offsetof(DmBuffer, type), 8u);
    EXPECT_EQ(offsetof(DmBuffer, payload), 12u);
}

TEST(Layout, EvalContextStartsWithItsExitPoint)
{
    EXPECT_EQ(offsetof(EvalContext, exit), 0u);
    EXPECT_EQ(offsetof(MemHandle, first_block), 0u);
    EXPECT_EQ(offsetof(ParseNode, field), sizeof(intptr_t));
}

TEST(Layout, ReturnCodesAreOdbcs)
{
    EXPECT_EQ(KX_SUCCESS, SQL_SUCCESS);
    EXPECT_EQ(KX_SUCCESS_WITH_INFO, SQL_SUCCESS_WITH_INFO);
    EXPECT_EQ(KX_NO_DATA, SQL_NO_DATA);
    EXPECT_EQ(KX_ERROR, SQL_ERROR);
    EXPECT_EQ(KX_INVALID_HANDLE, SQL_INVALID_HANDLE);
    EXPECT_EQ(KX_STILL_EXECUTING, SQL_STILL_EXECUTING);
    EXPECT_EQ(KX_NEED_DATA, SQL_NEED_DATA);
    EXPECT_EQ(KX_NTS, SQL_NTS);
}

}  // namespace
