// Tests of the diagnostic records when memory runs out: no header is made,
// a record that cannot be made is not posted, and the records already
// there are read back as before.
#include "kxsupp/diagnostics.h"
#include "kxsupp/memory.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include "support/kx_failing_alloc.h"

namespace {

using kxtest::fail_request_after;
using kxtest::stop_failing;

// "SQLSTATE message" of record n.
std::string record_text(ErrorHeader *header, int32_t n)
{
    char state[6] = {};
    char message[256] = {};
    int16_t length = 0;
    if (GetDiagRec(header, n, state, nullptr, message, sizeof message, &length) != 0)
        return "(none)";
    return std::string(state) + " " + message;
}

// The message of record n, "(none)" when there is no such record.
std::string message_of(ErrorHeader *header, int32_t n)
{
    char state[6] = {};
    char message[256] = {};
    if (GetDiagRec(header, n, state, nullptr, message, sizeof message, nullptr) != 0)
        return "(none)";
    return message;
}

TEST(DiagnosticsAlloc, NoHeaderWithoutMemory)
{
    // A thread of its own: no block freed elsewhere serves its requests.
    std::thread([] {
        MemHandle *handle = kx_mem_alloc_handle(nullptr);
        ASSERT_NE(handle, nullptr);
        int not_made = 0;
        for (long n = 0;; n++) {
            MemBlock *head = handle->first_block;
            fail_request_after(n);
            ErrorHeader *header = CreateErrorHeader(handle, nullptr);
            bool failed = stop_failing();
            if (header == nullptr) {
                EXPECT_TRUE(failed);
                EXPECT_EQ(handle->first_block, head) << "request " << n;
                not_made++;
                continue;
            }
            EXPECT_EQ(header->odbc_version, 3);
            EXPECT_EQ(header->record_count, 0);
            if (!failed)
                break;
            ASSERT_LT(n, 20);
        }
        EXPECT_GE(not_made, 1);
        kx_mem_release_handle(handle);
    }).join();
}

TEST(DiagnosticsAlloc, RecordThatCannotBeMadeIsNotPosted)
{
    std::thread([] {
        MemHandle *handle = kx_mem_alloc_handle(nullptr);
        ASSERT_NE(handle, nullptr);
        ErrorHeader *header = CreateErrorHeader(handle, nullptr);
        ASSERT_NE(header, nullptr);
        ASSERT_NE(PostError(header, 1, 0, nullptr, 7, 0, "ISO 9075", "42000", "first"), nullptr);

        int not_posted = 0;
        int empty_states = 0;
        for (long n = 0;; n++) {
            int32_t count = header->record_count;
            fail_request_after(n);
            char *message = PostError(header, 1, 0, "Conn", 8, 0, "ISO 9075", "22012", "second");
            bool failed = stop_failing();
            // No record node: nothing is posted. A record whose message
            // could not be copied is posted with no message, and null is
            // returned as its stored message.
            if (message == nullptr) {
                EXPECT_TRUE(failed);
                if (header->record_count == count) {
                    EXPECT_EQ(record_text(header, count + 1), "(none)") << "request " << n;
                    not_posted++;
                } else {
                    EXPECT_EQ(header->record_count, count + 1) << "request " << n;
                    EXPECT_EQ(message_of(header, count + 1), "") << "request " << n;
                }
                continue;
            }
            // Without memory for the connection name's copy, the message
            // goes without its prefix.
            if (failed && std::string(message) == "second")
                continue;
            EXPECT_STREQ(message, "[Conn]second") << "request " << n;
            // A state that could not be copied reads as the empty state.
            std::string text = record_text(header, header->record_count);
            if (failed && text == " [Conn]second")
                empty_states++;
            else
                EXPECT_EQ(text, "22012 [Conn]second") << "request " << n;
            if (!failed)
                break;
            ASSERT_LT(n, 20);
        }
        EXPECT_GE(not_posted, 1);
        EXPECT_GE(empty_states, 1);
        EXPECT_EQ(record_text(header, 1), "42000 [Varnel ODBC]first");
        EXPECT_EQ(record_text(header, header->record_count), "22012 [Conn]second");
        FreeErrorHeader(header);
        kx_mem_release_handle(handle);
    }).join();
}

}  // namespace
