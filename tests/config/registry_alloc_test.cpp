// Tests of the profile store when memory runs out: the handle cannot be
// made, a read still answers (the parsed-file cache gives way to reading
// line by line) or fails as the file's opening, and a write fails without
// touching the file.
#include "kxsupp/config.h"
#include "config/registry_internal.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <string>
#include "support/kx_failing_alloc.h"
#include "support/kx_test_files.h"

using kxtest::fail_request_after;
using kxtest::stop_failing;

namespace {

const std::string kNoMemory = std::strerror(ENOMEM);

class RegistryAlloc : public ::testing::Test {
protected:
    void SetUp() override
    {
        dir = kxtest::make_temp_dir("kx_registry_alloc_");
        path = dir + "/odbc.ini";
        handle = open_registry();
        ASSERT_NE(handle, nullptr);
        set_config(handle, path.c_str());
        kx::profile_cache_enable(true);
        kx::profile_cache_clear();
    }
    void TearDown() override
    {
        stop_failing();
        close_registry(handle);
        EXPECT_TRUE(kxtest::remove_tree(dir));
    }
    std::string dir;
    std::string path;
    ProfileHandle *handle = nullptr;
};

TEST_F(RegistryAlloc, NoHandleWithoutMemory)
{
    fail_request_after(0);
    ProfileHandle *none = open_registry();
    EXPECT_TRUE(stop_failing());
    EXPECT_EQ(none, nullptr);
}

// Whichever request fails, a read gives the setting, or fails as opening
// the file does (the default stays); one whose cache could not be built
// answers by reading the file line by line.
TEST_F(RegistryAlloc, ReadAnswersOrFailsAsTheOpening)
{
    kxtest::write_file(path, "[Other]\nServer = no\n[Sales]\n# c\nServer = alpha  \n");
    int answered_despite_failure = 0;
    int open_failures = 0;
    for (long n = 0;; n++) {
        kx::profile_cache_clear();
        char out[32];
        fail_request_after(n);
        int32_t rc = get_profile_string(handle, 2, "sales", "SERVER", "d", out, 32);
        bool failed = stop_failing();
        std::string error = registry_error(handle);
        if (rc == 0) {
            EXPECT_STREQ(out, "alpha") << "request " << n;
            EXPECT_EQ(error, "Unknown error");
            if (failed)
                answered_despite_failure++;
        } else {
            EXPECT_EQ(rc, -1);
            EXPECT_STREQ(out, "d") << "request " << n;
            EXPECT_EQ(error, "Failed to open " + path + " for input, " + kNoMemory);
            open_failures++;
        }
        if (!failed)
            break;
        ASSERT_LT(n, 100) << "the read never stops asking for memory";
    }
    EXPECT_GE(answered_despite_failure, 3);
}

// A file longer than its reported size (a /proc file reports none) needs
// its buffer grown while it is read; when that fails, the read still ends
// with the default, or fails as the opening.
TEST_F(RegistryAlloc, GrowingReadAnswersOrFailsAsTheOpening)
{
    set_config(handle, "/proc/self/status");
    int answered_despite_failure = 0;
    for (long n = 0;; n++) {
        char out[32];
        fail_request_after(n);
        int32_t rc = get_profile_string(handle, 0, "default", "Name:", "d", out, 32);
        bool failed = stop_failing();
        EXPECT_STREQ(out, "d") << "request " << n;
        if (rc == 0) {
            EXPECT_STREQ(registry_error(handle), "Unknown error");
            answered_despite_failure += failed ? 1 : 0;
        } else {
            EXPECT_EQ(std::string(registry_error(handle)),
                      "Failed to open /proc/self/status for input, " + kNoMemory);
        }
        if (!failed)
            break;
        ASSERT_LT(n, 100) << "the read never stops asking for memory";
    }
    EXPECT_GE(answered_despite_failure, 2);
}

// A write that cannot get memory for the old or the new contents fails
// with the file as it was; one that goes through has the new setting.
TEST_F(RegistryAlloc, WriteFailsWithoutTouchingTheFile)
{
    const std::string before = "[Sales]\nServer = alpha\n[Other]\nA = 1\n";
    const std::string after = "[Sales]\nServer = beta\n[Other]\nA = 1\n";
    int output_failures = 0;
    int input_failures = 0;
    for (long n = 0;; n++) {
        kxtest::write_file(path, before);
        fail_request_after(n);
        int32_t rc = set_profile_string(handle, 2, "Sales", "Server", "beta");
        bool failed = stop_failing();
        std::string error = registry_error(handle);
        if (rc == 0) {
            EXPECT_EQ(kxtest::read_file(path), after) << "request " << n;
            EXPECT_EQ(kxtest::read_file(path + "~"), before);
        } else {
            EXPECT_EQ(rc, -1);
            EXPECT_EQ(kxtest::read_file(path), before) << "request " << n;
            if (error == "Failed to open " + path + " for output, " + kNoMemory)
                output_failures++;
            else if (error == "Failed to open " + path + " for input, " + kNoMemory)
                input_failures++;
            else
                ADD_FAILURE() << "request " << n << ": " << error;
        }
        if (!failed)
            break;
        ASSERT_LT(n, 100) << "the write never stops asking for memory";
    }
    EXPECT_GE(output_failures, 1);
    EXPECT_GE(input_failures, 1);
}

}  // namespace
