/*
 * timeout_cases_test.cpp - check_timeout and the thread hooks seen from a
 * driver: only the public header is used. A statement record carries its
 * own error header; the posted records are read back with GetDiagRec and
 * GetDiagField as an application would.
 */
#include <kxsupp.h>
#include "support/kx_test_support.h"

#include <gtest/gtest.h>

#include <cstring>
#include <ctime>
#include <string>

namespace {

using namespace kxtest::diag;

struct Posted {
    std::string sqlstate, message, class_origin, subclass_origin, connection;
    int32_t native;
};

class TimeoutCases : public ::testing::Test {
protected:
    void SetUp() override { make(3); }

    void TearDown() override
    {
        if (mem_ != nullptr)
            kx_mem_release_handle(mem_);
    }

    /* A statement in state 0 without deadline or cancel request, whose
       header belongs to an application of the given ODBC version. */
    void make(int32_t odbc_version)
    {
        if (mem_ != nullptr)
            kx_mem_release_handle(mem_);
        mem_ = kx_mem_alloc_handle(nullptr);
        ASSERT_NE(mem_, nullptr);
        DriverEnvironment env;
        std::memset(&env, 0, sizeof env);
        env.odbc_version = odbc_version;
        std::memset(&stmt_, 0, sizeof stmt_);
        stmt_.kind = 200;
        stmt_.errors = CreateErrorHeader(mem_, &env);
        ASSERT_NE(stmt_.errors, nullptr);
    }

    int32_t count()
    {
        int32_t n = -99;
        EXPECT_EQ(GetDiagField(3, stmt_.errors, 0, kNumber, &n, 0, nullptr), 0);
        return n;
    }

    int32_t return_code()
    {
        int32_t rc = -99;
        EXPECT_EQ(GetDiagField(3, stmt_.errors, 0, kReturnCode, &rc, 0, nullptr), 0);
        return rc;
    }

    std::string field(int32_t record, int32_t id)
    {
        char buf[256];
        int16_t len = 0;
        EXPECT_EQ(GetDiagField(3, stmt_.errors, record, id, buf, sizeof buf, &len), 0);
        return buf;
    }

    Posted record(int32_t n)
    {
        Posted p;
        char state[6];
        char message[512];
        int16_t len = 0;
        p.native = -99;
        EXPECT_EQ(GetDiagRec(stmt_.errors, n, state, &p.native, message, sizeof message, &len),
                  0);
        p.sqlstate = state;
        p.message = message;
        EXPECT_EQ(len, (int16_t)p.message.size());
        EXPECT_EQ(field(n, kSqlState), p.sqlstate);
        EXPECT_EQ(field(n, kMessageText), p.message);
        p.class_origin = field(n, kClassOrigin);
        p.subclass_origin = field(n, kSubclassOrigin);
        p.connection = field(n, kConnectionName);
        int32_t native = -99;
        EXPECT_EQ(GetDiagField(3, stmt_.errors, n, kNative, &native, 0, nullptr), 0);
        EXPECT_EQ(native, p.native);
        return p;
    }

    void expect_timeout_record(int32_t n, const char *state = "HYT00")
    {
        Posted p = record(n);
        EXPECT_EQ(p.sqlstate, state);
        EXPECT_EQ(p.message, "[Varnel ODBC]Timeout Expired");
        EXPECT_EQ(p.class_origin, "ISO 9075");
        EXPECT_EQ(p.subclass_origin, "ODBC 3.0");
        EXPECT_EQ(p.connection, "Varnel ODBC");
        EXPECT_EQ(p.native, 0);
    }

    void expect_cancel_record(int32_t n, const char *state = "HY008")
    {
        Posted p = record(n);
        EXPECT_EQ(p.sqlstate, state);
        EXPECT_EQ(p.message, "[Varnel ODBC]Operation Canceled");
        EXPECT_EQ(p.class_origin, "ISO 9075");
        EXPECT_EQ(p.subclass_origin, "ISO 9075");
        EXPECT_EQ(p.connection, "Varnel ODBC");
        EXPECT_EQ(p.native, 0);
    }

    MemHandle *mem_ = nullptr;
    DriverStatement stmt_;
};

TEST_F(TimeoutCases, NothingToReport)
{
    const uint32_t states[] = {0, 1, 2, 3, 4, 200, 0xFFFFFFFFu};
    for (uint32_t s : states) {
        stmt_.state = s;
        stmt_.deadline = 0;
        stmt_.cancel_request = 0;
        EXPECT_EQ(check_timeout(&stmt_), 0) << s;
    }
    EXPECT_EQ(count(), 0);
    EXPECT_EQ(return_code(), 0);
}

TEST_F(TimeoutCases, DeadlineZeroNeverTimesOut)
{
    const uint32_t states[] = {0, 1, 2, 3, 4};
    for (uint32_t s : states) {
        stmt_.state = s;
        stmt_.deadline = 0;
        EXPECT_EQ(check_timeout(&stmt_), 0) << s;
    }
    EXPECT_EQ(count(), 0);
}

TEST_F(TimeoutCases, PassedDeadlineInStatesTwoAndThree)
{
    struct Case {
        uint32_t state;
        int64_t deadline_offset; /* from now; applied when nonzero base */
    };
    const Case cases[] = {{2, -1}, {3, -1}, {2, -3600}, {3, -86400 * 365}};
    int32_t n = 0;
    for (const Case &c : cases) {
        stmt_.state = c.state;
        stmt_.deadline = static_cast<int64_t>(std::time(nullptr)) + c.deadline_offset;
        const int64_t deadline = stmt_.deadline;
        EXPECT_EQ(check_timeout(&stmt_), -1) << c.state;
        ++n;
        EXPECT_EQ(stmt_.deadline, deadline) << "the deadline is left as it is";
        EXPECT_EQ(count(), n);
        EXPECT_EQ(return_code(), -1);
        expect_timeout_record(n);
    }
}

TEST_F(TimeoutCases, VeryOldDeadlines)
{
    const int64_t deadlines[] = {1, -1, 86400, 0x7FFFFFFF - 86400LL * 365 * 20};
    int32_t n = 0;
    stmt_.state = 2;
    for (int64_t d : deadlines) {
        stmt_.deadline = d;
        EXPECT_EQ(check_timeout(&stmt_), -1) << d;
        expect_timeout_record(++n);
    }
}

/* Deadlines are 64-bit: one after 2038 is in the future, not a negative
   32-bit number long past. */
TEST_F(TimeoutCases, DeadlinesPast2038AreInTheFuture)
{
    const int64_t deadlines[] = {4102444800LL /* 2100-01-01 */, 0x80000000LL,
                                 0x100000001LL, INT64_MAX};
    for (uint32_t s : {2u, 3u}) {
        stmt_.state = s;
        for (int64_t d : deadlines) {
            stmt_.deadline = d;
            EXPECT_EQ(check_timeout(&stmt_), 0) << d;
        }
    }
    EXPECT_EQ(count(), 0);
    EXPECT_EQ(return_code(), 0);
}

TEST_F(TimeoutCases, DeadlineEqualToNowIsNotYetPassed)
{
    stmt_.state = 2;
    bool checked = false;
    for (int attempt = 0; attempt < 20 && !checked; ++attempt) {
        time_t before = std::time(nullptr);
        stmt_.deadline = static_cast<int64_t>(before);
        int32_t r = check_timeout(&stmt_);
        time_t after = std::time(nullptr);
        if (before == after) {
            EXPECT_EQ(r, 0);
            checked = true;
        }
    }
    EXPECT_TRUE(checked);
    EXPECT_EQ(count(), 0);
    /* One second later it has passed. */
    stmt_.deadline = static_cast<int64_t>(std::time(nullptr)) - 1;
    EXPECT_EQ(check_timeout(&stmt_), -1);
    expect_timeout_record(1);
}

TEST_F(TimeoutCases, FutureDeadlineGoesOn)
{
    stmt_.state = 3;
    stmt_.deadline = static_cast<int64_t>(std::time(nullptr)) + 60;
    EXPECT_EQ(check_timeout(&stmt_), 0);
    EXPECT_EQ(count(), 0);
}

TEST_F(TimeoutCases, OtherStatesIgnoreAPassedDeadline)
{
    const uint32_t states[] = {0, 1, 4, 5, 0xFFFFFFFFu, 0xFFFFFFFEu};
    for (uint32_t s : states) {
        stmt_.state = s;
        stmt_.deadline = 1;
        EXPECT_EQ(check_timeout(&stmt_), 0) << s;
    }
    EXPECT_EQ(count(), 0);
    EXPECT_EQ(return_code(), 0);
}

TEST_F(TimeoutCases, OtherStatesStillReportACancel)
{
    const uint32_t states[] = {0, 1, 4, 0xFFFFFFFFu};
    int32_t n = 0;
    for (uint32_t s : states) {
        stmt_.state = s;
        stmt_.deadline = 1;
        stmt_.cancel_request = 1;
        EXPECT_EQ(check_timeout(&stmt_), -1) << s;
        EXPECT_EQ(stmt_.cancel_request, 0);
        EXPECT_EQ(count(), ++n);
        EXPECT_EQ(return_code(), -1);
        expect_cancel_record(n);
        EXPECT_EQ(stmt_.deadline, 1);
    }
}

TEST_F(TimeoutCases, CancelIsReportedOnce)
{
    const int32_t requests[] = {1, -1, 7, INT32_MIN};
    const uint32_t states[] = {0, 2, 3};
    int32_t n = 0;
    for (uint32_t s : states) {
        for (int32_t req : requests) {
            stmt_.state = s;
            stmt_.deadline = 0;
            stmt_.cancel_request = req;
            EXPECT_EQ(check_timeout(&stmt_), -1) << s << " " << req;
            EXPECT_EQ(stmt_.cancel_request, 0);
            expect_cancel_record(++n);
            EXPECT_EQ(check_timeout(&stmt_), 0) << s << " " << req;
            EXPECT_EQ(count(), n);
        }
    }
}

TEST_F(TimeoutCases, CancelWithFutureDeadline)
{
    stmt_.state = 2;
    stmt_.deadline = static_cast<int64_t>(std::time(nullptr)) + 3600;
    stmt_.cancel_request = 1;
    EXPECT_EQ(check_timeout(&stmt_), -1);
    EXPECT_EQ(stmt_.cancel_request, 0);
    expect_cancel_record(1);
}

TEST_F(TimeoutCases, TimeoutTakesPrecedenceOverCancel)
{
    stmt_.state = 3;
    stmt_.deadline = 1000;
    stmt_.cancel_request = 5;
    EXPECT_EQ(check_timeout(&stmt_), -1);
    EXPECT_EQ(stmt_.cancel_request, 5) << "the cancellation stays pending";
    EXPECT_EQ(check_timeout(&stmt_), -1);
    EXPECT_EQ(stmt_.cancel_request, 5);
    EXPECT_EQ(count(), 2);
    expect_timeout_record(1);
    expect_timeout_record(2);

    /* Once the deadline is lifted the pending cancel is reported. */
    stmt_.deadline = 0;
    EXPECT_EQ(check_timeout(&stmt_), -1);
    EXPECT_EQ(stmt_.cancel_request, 0);
    expect_cancel_record(3);
    EXPECT_EQ(check_timeout(&stmt_), 0);
    EXPECT_EQ(count(), 3);
}

TEST_F(TimeoutCases, RecordsAccumulateAfterEarlierDiagnostics)
{
    SetupErrorHeader(stmt_.errors, 0);
    ASSERT_NE(PostError(stmt_.errors, 1, 0, nullptr, 0, 0, "ODBC 3.0", "01000", "earlier"),
              nullptr);
    stmt_.cancel_request = 1;
    EXPECT_EQ(check_timeout(&stmt_), -1);
    EXPECT_EQ(count(), 2);
    EXPECT_EQ(record(1).sqlstate, "01000");
    expect_cancel_record(2);
}

/* An ODBC 2 application gets its states through the map: "HY008" becomes
   "S1008"; "HYT00" has no entry (the map's row is "NYT00") and stays. */
TEST_F(TimeoutCases, Odbc2Application)
{
    make(2);
    stmt_.state = 2;
    stmt_.deadline = 1;
    EXPECT_EQ(check_timeout(&stmt_), -1);
    expect_timeout_record(1, "HYT00");
    stmt_.deadline = 0;
    stmt_.cancel_request = 1;
    EXPECT_EQ(check_timeout(&stmt_), -1);
    expect_cancel_record(2, "S1008");
}

/* A statement without an error header still stops and clears the request. */
TEST_F(TimeoutCases, NullErrorHeader)
{
    stmt_.errors = nullptr;
    stmt_.state = 2;
    stmt_.deadline = 1;
    EXPECT_EQ(check_timeout(&stmt_), -1);
    stmt_.deadline = 0;
    stmt_.cancel_request = 3;
    EXPECT_EQ(check_timeout(&stmt_), -1);
    EXPECT_EQ(stmt_.cancel_request, 0);
    EXPECT_EQ(check_timeout(&stmt_), 0);
}

/* ---- the thread hooks ---- */

TEST(ThreadHookCases, ResultsWithoutArguments)
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
    EXPECT_EQ(mutex_exit(), 0);
}

TEST(ThreadHookCases, ArgumentsAreIgnored)
{
    int semaphore = 5;
    void *thread = &semaphore;
    ASSERT_NE(thread, nullptr);
    odbc_thread_init(&semaphore);
    thread_term(&semaphore, 1);
    EXPECT_EQ(odbc_thread_create(&thread, nullptr, &semaphore, 3), 0);
    EXPECT_EQ(thread_cleanup(thread), 0);
    EXPECT_EQ(thread_wait_on_semaphore(&semaphore, 1000), 0);
    thread_clear_semaphore(&semaphore);
    thread_close_semaphore(&semaphore);
    EXPECT_EQ(can_connect_async(nullptr), 0);
    EXPECT_EQ(can_statement_async(&semaphore), 0);
    /* The mutex hooks lock nothing: entering twice does not block. */
    EXPECT_EQ(mutex_entry(&semaphore), 0);
    EXPECT_EQ(mutex_entry(&semaphore), 0);
    EXPECT_EQ(mutex_exit(&semaphore), 0);
    EXPECT_EQ(mutex_exit(&semaphore), 0);
    EXPECT_EQ(semaphore, 5);
}

} // namespace
