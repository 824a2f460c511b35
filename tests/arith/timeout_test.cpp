// Tests of check_timeout (deadlines, states, cancellation and the
// diagnostics posted) and of the thread hooks' results.
#include "kxsupp/arith.h"
#include "kxsupp/diagnostics.h"
#include "kxsupp/memory.h"

#include <gtest/gtest.h>

#include <string.h>
#include <time.h>

#include <string>

namespace {

constexpr int64_t kYear2100 = 4102444800;  // 2100-01-01 00:00:00 UTC
constexpr int64_t kYear2039 = 2177452800;  // 2039-01-01 00:00:00 UTC

class TimeoutTest : public ::testing::Test {
protected:
    void SetUp() override { make(3); }
    void TearDown() override { kx_mem_release_handle(mem_); }

    void make(int32_t odbc_version)
    {
        if (mem_ != nullptr)
            kx_mem_release_handle(mem_);
        mem_ = kx_mem_alloc_handle(nullptr);
        ASSERT_NE(mem_, nullptr);
        environment_ = DriverEnvironment{1, odbc_version};
        errors_ = CreateErrorHeader(mem_, &environment_);
        ASSERT_NE(errors_, nullptr);
        memset(&stmt_, 0, sizeof stmt_);
        stmt_.kind = KX_KIND_STATEMENT;
        stmt_.errors = errors_;
        stmt_.state = 2;
    }

    int64_t now() { return static_cast<int64_t>(time(nullptr)); }

    // The one record posted, checked field by field.
    void expect_one_record(const char *sqlstate, const char *subclass_origin,
                           const char *message)
    {
        ASSERT_EQ(errors_->record_count, 1);
        EXPECT_EQ(errors_->return_code, -1);
        const DiagRecord *record = errors_->first;
        ASSERT_NE(record, nullptr);
        EXPECT_STREQ(record->sqlstate, sqlstate);
        EXPECT_STREQ(record->subclass_origin, subclass_origin);
        EXPECT_EQ(record->class_origin_code, 2);
        EXPECT_EQ(record->column, 0);
        EXPECT_EQ(record->native, 0);
        EXPECT_EQ(record->row, 0);
        EXPECT_STREQ(record->message, message);

        char state[6];
        char text[128];
        int32_t native = 99;
        int16_t length = 0;
        EXPECT_EQ(GetDiagRec(errors_, 1, state, &native, text, sizeof text, &length), 0);
        EXPECT_STREQ(state, sqlstate);
        EXPECT_STREQ(text, message);
        EXPECT_EQ(length, static_cast<int16_t>(strlen(message)));
    }

    MemHandle *mem_ = nullptr;
    DriverEnvironment environment_{};
    ErrorHeader *errors_ = nullptr;
    DriverStatement stmt_{};
};

TEST_F(TimeoutTest, DeadlineRecordIsSixtyFourBits)
{
    static_assert(sizeof(DriverStatement{}.deadline) == 8, "64-bit deadline");
    static_assert(sizeof(time_t) == 8, "64-bit clock");
}

TEST_F(TimeoutTest, PastDeadlineTimesOut)
{
    const int64_t deadline = now() - 1;
    stmt_.deadline = deadline;
    EXPECT_EQ(check_timeout(&stmt_), -1);
    expect_one_record("HYT00", "ODBC 3.0", "[Varnel ODBC]Timeout Expired");
    EXPECT_EQ(stmt_.deadline, deadline);
}

TEST_F(TimeoutTest, TimeOutIsReportedAgainByLaterChecks)
{
    const int64_t deadline = now() - 100;
    stmt_.deadline = deadline;
    EXPECT_EQ(check_timeout(&stmt_), -1);
    EXPECT_EQ(check_timeout(&stmt_), -1);
    EXPECT_EQ(stmt_.deadline, deadline);
    EXPECT_EQ(errors_->record_count, 2);
}

TEST_F(TimeoutTest, DeadlineOfTheCurrentSecondDoesNotYetTimeOut)
{
    // Retried when the clock ticks over during the check.
    for (int attempt = 0; attempt < 20; ++attempt) {
        int64_t before = now();
        stmt_.deadline = before;
        int32_t result = check_timeout(&stmt_);
        if (now() != before)
            continue;
        EXPECT_EQ(result, 0);
        EXPECT_EQ(errors_->record_count, 0);
        EXPECT_EQ(errors_->return_code, 0);
        return;
    }
    FAIL() << "the clock never stood still for one check";
}

TEST_F(TimeoutTest, FutureDeadlinesDoNotTimeOut)
{
    const int64_t deadlines[] = {
        now() + 1,
        now() + 3600,
        kYear2039,
        kYear2100,
        INT64_MAX,
        // Would look like one second ago if cut to 32 bits.
        now() - 1 + (int64_t{1} << 32),
    };
    for (int64_t deadline : deadlines) {
        stmt_.deadline = deadline;
        EXPECT_EQ(check_timeout(&stmt_), 0) << deadline;
    }
    EXPECT_EQ(errors_->record_count, 0);
}

TEST_F(TimeoutTest, DeadlinesBeforeTheEpochHavePassed)
{
    const int64_t deadlines[] = {-1, INT64_MIN, 1, 1000000000};
    for (int64_t deadline : deadlines) {
        stmt_.deadline = deadline;
        EXPECT_EQ(check_timeout(&stmt_), -1) << deadline;
    }
    EXPECT_EQ(errors_->record_count, 4);
}

TEST_F(TimeoutTest, DeadlineZeroNeverTimesOut)
{
    for (uint32_t state : {0u, 1u, 2u, 3u, 4u, 0xFFFFFFFFu}) {
        stmt_.state = state;
        stmt_.deadline = 0;
        EXPECT_EQ(check_timeout(&stmt_), 0) << state;
    }
    EXPECT_EQ(errors_->record_count, 0);
}

TEST_F(TimeoutTest, OnlyStatesTwoAndThreeTimeOut)
{
    struct Case {
        uint32_t state;
        int32_t result;
    } cases[] = {
        {0, 0}, {1, 0}, {2, -1}, {3, -1}, {4, 0}, {100, 0},
        {0x80000002u, 0}, {0xFFFFFFFFu, 0},
    };
    for (const Case &c : cases) {
        stmt_.state = c.state;
        stmt_.deadline = now() - 10;
        EXPECT_EQ(check_timeout(&stmt_), c.result) << c.state;
    }
    EXPECT_EQ(errors_->record_count, 2);
}

TEST_F(TimeoutTest, CancelIsReportedOnceAndCleared)
{
    stmt_.cancel_request = 1;
    EXPECT_EQ(check_timeout(&stmt_), -1);
    EXPECT_EQ(stmt_.cancel_request, 0);
    expect_one_record("HY008", "ISO 9075", "[Varnel ODBC]Operation Canceled");
    EXPECT_EQ(check_timeout(&stmt_), 0);
    EXPECT_EQ(errors_->record_count, 1);
}

TEST_F(TimeoutTest, AnyNonzeroCancelRequestCounts)
{
    for (int32_t request : {1, -1, 7, INT32_MIN}) {
        stmt_.cancel_request = request;
        EXPECT_EQ(check_timeout(&stmt_), -1) << request;
        EXPECT_EQ(stmt_.cancel_request, 0);
    }
}

TEST_F(TimeoutTest, CancelIsReportedInEveryState)
{
    for (uint32_t state : {0u, 1u, 2u, 3u, 4u, 0xFFFFFFFFu}) {
        stmt_.state = state;
        stmt_.deadline = now() - 10;  // ignored outside states 2 and 3
        stmt_.cancel_request = 1;
        bool timed = state == 2 || state == 3;
        EXPECT_EQ(check_timeout(&stmt_), -1) << state;
        if (timed) {
            // The time-out won; the cancellation waits for the next check,
            // which reports the time-out again as long as the deadline stays.
            EXPECT_EQ(stmt_.cancel_request, 1);
            stmt_.deadline = 0;
            EXPECT_EQ(check_timeout(&stmt_), -1);
        }
        EXPECT_EQ(stmt_.cancel_request, 0);
    }
}

TEST_F(TimeoutTest, TimeOutTakesPrecedenceOverCancel)
{
    stmt_.state = 3;
    stmt_.deadline = now() - 5;
    stmt_.cancel_request = 1;
    EXPECT_EQ(check_timeout(&stmt_), -1);
    expect_one_record("HYT00", "ODBC 3.0", "[Varnel ODBC]Timeout Expired");
    EXPECT_EQ(stmt_.cancel_request, 1);

    stmt_.deadline = kYear2100;
    EXPECT_EQ(check_timeout(&stmt_), -1);
    EXPECT_EQ(stmt_.cancel_request, 0);
    ASSERT_EQ(errors_->record_count, 2);
    EXPECT_STREQ(errors_->last->sqlstate, "HY008");
    EXPECT_STREQ(errors_->last->message, "[Varnel ODBC]Operation Canceled");
}

TEST_F(TimeoutTest, NothingPendingPostsNothing)
{
    stmt_.deadline = kYear2100;
    EXPECT_EQ(check_timeout(&stmt_), 0);
    EXPECT_EQ(errors_->record_count, 0);
    EXPECT_EQ(errors_->first, nullptr);
    EXPECT_EQ(errors_->return_code, 0);
}

// An ODBC 2 application gets "S1008" for a cancellation. The mapping table
// pairs "S1T00" with "NYT00", not "HYT00", so a time-out keeps "HYT00".
TEST_F(TimeoutTest, OdbcTwoApplicationsGetOdbcTwoStates)
{
    make(2);
    stmt_.deadline = now() - 1;
    EXPECT_EQ(check_timeout(&stmt_), -1);
    expect_one_record("HYT00", "ODBC 3.0", "[Varnel ODBC]Timeout Expired");

    make(2);
    stmt_.cancel_request = 1;
    EXPECT_EQ(check_timeout(&stmt_), -1);
    expect_one_record("S1008", "ISO 9075", "[Varnel ODBC]Operation Canceled");
}

TEST_F(TimeoutTest, NullRecordsAreHarmless)
{
    EXPECT_EQ(check_timeout(nullptr), 0);
    stmt_.errors = nullptr;
    stmt_.cancel_request = 1;
    EXPECT_EQ(check_timeout(&stmt_), -1);
    EXPECT_EQ(stmt_.cancel_request, 0);
    stmt_.deadline = 1;
    EXPECT_EQ(check_timeout(&stmt_), -1);
}

// The thread hooks do nothing and report what the driver must know:
// no asynchronous execution, and no locking.
TEST(ThreadHooks, Results)
{
    odbc_thread_init();
    thread_term();
    EXPECT_EQ(odbc_thread_create(), 0);
    EXPECT_EQ(thread_cleanup(), 0);
    EXPECT_EQ(thread_wait_on_semaphore(), 0);
    thread_clear_semaphore();
    thread_close_semaphore();
    EXPECT_EQ(can_connect_async(), 0);
    EXPECT_EQ(can_statement_async(), 0);
    EXPECT_EQ(mutex_entry(), 0);
    EXPECT_EQ(mutex_entry(), 0);  // a second entry does not block
    EXPECT_EQ(mutex_exit(), 0);
    EXPECT_EQ(mutex_exit(), 0);
}

// A driver written for a threaded build passes arguments; they are dropped
// unevaluated, and the hooks stay plain functions whose address can be taken.
TEST(ThreadHooks, ArgumentsAreDroppedUnevaluated)
{
    int evaluated = 0;
    EXPECT_EQ(odbc_thread_create(&evaluated, ++evaluated, 3), 0);
    EXPECT_EQ(mutex_entry(++evaluated), 0);
    thread_term(++evaluated);
    EXPECT_EQ(evaluated, 0);

    int32_t (*create)(void) = odbc_thread_create;
    int32_t (*enter)(void) = &mutex_entry;
    void (*init)(void) = odbc_thread_init;
    init();
    EXPECT_EQ(create(), 0);
    EXPECT_EQ(enter(), 0);
}

}  // namespace
