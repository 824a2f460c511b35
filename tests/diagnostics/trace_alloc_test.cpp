// Tests of the trace log when memory runs out: a line too long for the
// line's own room is cut, never garbled, and still ends the line; the
// next line is whole again.
#include "kxsupp/config.h"
#include "kxsupp/diagnostics.h"

#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <unistd.h>
#include "support/kx_failing_alloc.h"
#include "support/kx_test_files.h"

namespace {

using kxtest::fail_request_after;
using kxtest::stop_failing;

std::string header(const std::string &tag, const char *number)
{
    std::string h = "[" + std::to_string(static_cast<int>(getpid())) + "]" + tag + "@" + number;
    while (h.size() < 30)
        h += ' ';
    return h + ":";
}

TEST(TraceAlloc, LongLineIsCutWhenMemoryRunsOut)
{
    char saved_cwd[PATH_MAX];
    ASSERT_NE(getcwd(saved_cwd, sizeof saved_cwd), nullptr);
    const std::string dir = kxtest::make_temp_dir("kxtrace_alloc.");
    ASSERT_EQ(chdir(dir.c_str()), 0);
    const std::string log = dir + "/trace.log";
    kxtest::write_file(dir + "/odbc.ini", "{settings}\nlog_file = " + log + "\n");
    uint32_t saved_mask = error_mask;
    error_mask = 1;

    const std::string text(3000, 'x');
    const std::string full = header("t", "0001") + "\"" + text + "\"{3000}\n";
    int cut_lines = 0;
    for (long n = 0;; n++) {
        unlink(log.c_str());
        bool failed;
        {
            kxtest::StderrCapture capture;  // a line that missed the log
            fail_request_after(n);
            EXPECT_EQ(log_message("t", 1, 1, "%S", text.c_str(), 3000), 0);
            failed = stop_failing();
        }
        std::string written = kxtest::read_file(log);
        if (!written.empty()) {
            ASSERT_EQ(written.back(), '\n') << "request " << n;
            ASSERT_EQ(written.find('\n'), written.size() - 1) << "request " << n;
            ASSERT_LE(written.size(), full.size());
            EXPECT_EQ(written.substr(0, written.size() - 1), full.substr(0, written.size() - 1))
                << "request " << n;
            if (written.size() < full.size()) {
                EXPECT_TRUE(failed);
                EXPECT_GE(written.size(), header("t", "0001").size() + 1);
                cut_lines++;
            }
        }
        if (!failed) {
            EXPECT_EQ(written, full);
            break;
        }
        ASSERT_LT(n, 100);
    }
    EXPECT_GE(cut_lines, 1);

    error_mask = saved_mask;
    ASSERT_EQ(chdir(saved_cwd), 0);
    EXPECT_TRUE(kxtest::remove_tree(dir));
}

}  // namespace
