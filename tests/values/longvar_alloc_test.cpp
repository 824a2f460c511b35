// Tests of long buffers when memory runs out: no buffer is made, no
// temporary file is left behind, and the handle keeps what it held.
#include "kxsupp/config.h"
#include "kxsupp/memory.h"
#include "kxsupp/values.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <thread>
#include <unistd.h>
#include "support/kx_failing_alloc.h"
#include "support/kx_test_files.h"

namespace {

using kxtest::fail_request_after;
using kxtest::stop_failing;

TEST(LongvarAlloc, NoBufferAndNoFileWithoutMemory)
{
    const std::string config_dir = kxtest::make_temp_dir("kx_longvar_alloc_");
    const std::string blob_dir = kxtest::make_temp_dir("kx_longvar_alloc_");
    const std::string ini = config_dir + "/odbc.ini";
    kxtest::write_file(ini, "{default}\nblob_path = " + blob_dir + "\n");
    // A thread of its own: no block freed elsewhere serves its requests.
    std::thread([&] {
        ProfileHandle *config = open_registry();
        ASSERT_NE(config, nullptr);
        set_config(config, ini.c_str());
        MemHandle *handle = kx_mem_alloc_handle(nullptr);
        ASSERT_NE(handle, nullptr);
        int not_made = 0;
        for (long n = 0;; n++) {
            MemBlock *head = handle->first_block;
            fail_request_after(n);
            LongBuffer *lb = allocate_long_buffer(handle, 1, 2, config, -1);
            bool failed = stop_failing();
            EXPECT_TRUE(kxtest::directory_entries(blob_dir).empty()) << "request " << n;
            if (lb == nullptr) {
                EXPECT_TRUE(failed);
                EXPECT_EQ(handle->first_block, head) << "request " << n;
                not_made++;
                continue;
            }
            // A buffer that was made works, whatever failed on the way.
            EXPECT_EQ(append_to_long_buffer(lb, "abc", 3), 0);
            EXPECT_EQ(rewind_long_buffer(lb), 0);
            char out[8];
            int32_t remaining = 0;
            EXPECT_EQ(extract_from_long_buffer(lb, out, 8, &remaining, 0), 0);
            EXPECT_STREQ(out, "abc");
            kx_mem_free(handle, lb);
            if (!failed)
                break;
            ASSERT_LT(n, 50);
        }
        EXPECT_GE(not_made, 2) << "the record and the stream";
        kx_mem_release_handle(handle);
        close_registry(config);
    }).join();
    EXPECT_TRUE(kxtest::remove_tree(config_dir));
    EXPECT_TRUE(kxtest::remove_tree(blob_dir));
}

// The lowest descriptor number free now.
int lowest_free_descriptor()
{
    int fd = dup(0);
    if (fd >= 0)
        close(fd);
    return fd;
}

// A clone in another handle, or a duplicated stream, that cannot get its
// memory is not made and leaves no descriptor open; the source reads on.
TEST(LongvarAlloc, NoCloneAndNoDuplicateWithoutMemory)
{
    const std::string config_dir = kxtest::make_temp_dir("kx_longvar_alloc_");
    const std::string blob_dir = kxtest::make_temp_dir("kx_longvar_alloc_");
    const std::string ini = config_dir + "/odbc.ini";
    kxtest::write_file(ini, "{default}\nblob_path = " + blob_dir + "\n");
    std::thread([&] {
        ProfileHandle *config = open_registry();
        ASSERT_NE(config, nullptr);
        set_config(config, ini.c_str());
        MemHandle *owner = kx_mem_alloc_handle(nullptr);
        MemHandle *other = kx_mem_alloc_handle(nullptr);
        ASSERT_NE(owner, nullptr);
        ASSERT_NE(other, nullptr);
        LongBuffer *lb = allocate_long_buffer(owner, 1, 2, config, -1);
        ASSERT_NE(lb, nullptr);
        EXPECT_EQ(append_to_long_buffer(lb, "abcdef", 6), 0);
        EXPECT_EQ(rewind_long_buffer(lb), 0);
        const int free_fd = lowest_free_descriptor();

        int not_made = 0;
        for (long n = 0;; n++) {
            MemBlock *head = other->first_block;
            fail_request_after(n);
            LongBuffer *copy = clone_long_buffer(lb, other);
            bool failed = stop_failing();
            EXPECT_TRUE(kxtest::directory_entries(blob_dir).empty()) << "request " << n;
            if (copy == nullptr) {
                EXPECT_TRUE(failed);
                EXPECT_EQ(other->first_block, head) << "request " << n;
                EXPECT_EQ(lowest_free_descriptor(), free_fd) << "request " << n;
                not_made++;
                continue;
            }
            EXPECT_EQ(copy->user1, 1);
            EXPECT_EQ(copy->total_length, 6);
            kx_mem_free(other, copy);
            if (!failed)
                break;
            ASSERT_LT(n, 50);
        }
        EXPECT_GE(not_made, 2);

        fail_request_after(0);
        FILE *dup_stream = file_dup(lb->stream);
        EXPECT_TRUE(stop_failing());
        EXPECT_EQ(dup_stream, nullptr);
        EXPECT_EQ(lowest_free_descriptor(), free_fd);

        char out[8];
        int32_t remaining = 0;
        EXPECT_EQ(extract_from_long_buffer(lb, out, 8, &remaining, 0), 0);
        EXPECT_STREQ(out, "abcdef");
        kx_mem_release_handle(owner);
        kx_mem_release_handle(other);
        close_registry(config);
    }).join();
    EXPECT_TRUE(kxtest::remove_tree(config_dir));
    EXPECT_TRUE(kxtest::remove_tree(blob_dir));
}

}  // namespace
