/*
 * trace_cases_test.cpp - the trace log seen from a driver: only the public
 * header is used. Each test runs in its own temporary directory, where the
 * default profile "odbc.ini" names the log file in "{settings}"; standard
 * error is captured through dup2 when a line is expected there.
 */
#include <kxsupp.h>
#include "support/kx_test_files.h"

#include <gtest/gtest.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <functional>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace {

using kxtest::exists;
using kxtest::pointer_text;
using kxtest::read_file;
using kxtest::write_file;

/* The line a driver expects: "[pid]tag@nnnn", spaces up to column 30, ":",
   the body and the newline. */
std::string expected_line(const char *tag, int number, const std::string &body)
{
    char header[512];
    std::snprintf(header, sizeof header, "[%d]%s@%04d", (int)getpid(), tag,
                  number);
    std::string line = header;
    if (line.size() < 30)
        line.append(30 - line.size(), ' ');
    return line + ":" + body + "\n";
}

/* Calls _log_message with a va_list built here. */
int32_t call_inner(const char *tag, int32_t number, uint32_t category,
                   ProfileHandle *profile, const char *format, ...)
{
    va_list ap;
    va_start(ap, format);
    int32_t r = _log_message(tag, number, category, profile, format, ap);
    va_end(ap);
    return r;
}

class TraceCases : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_NE(getcwd(old_cwd_, sizeof old_cwd_), nullptr);
        dir_ = kxtest::make_temp_dir("kx_trace_cases_");
        ASSERT_FALSE(dir_.empty());
        ASSERT_EQ(chdir(dir_.c_str()), 0);
        saved_mask_ = error_mask;
        log_ = dir_ + "/trace.log";
    }

    void TearDown() override
    {
        error_mask = saved_mask_;
        EXPECT_EQ(chdir(old_cwd_), 0);
        EXPECT_TRUE(kxtest::remove_tree(dir_));
    }

    /* Points the trace at the log file of this directory. */
    void use_log_file() { write_file("odbc.ini", "{settings}\nlog_file = " + log_ + "\n"); }

    /* Runs fn with standard error sent to a file; returns what was written. */
    std::string capture_stderr(const std::function<void()> &fn)
    {
        kxtest::StderrCapture capture;
        fn();
        return capture.text();
    }

    /* The log file's text, and the file removed for the next case. */
    std::string take_log()
    {
        std::string text = read_file(log_);
        ::unlink(log_.c_str());
        return text;
    }

    char old_cwd_[4096];
    std::string dir_;
    std::string log_;
    uint32_t saved_mask_ = 0;
};

/* ---- the switch ---- */

TEST_F(TraceCases, MaskZeroWritesNothing)
{
    use_log_file();
    error_mask = 0;
    std::string err = capture_stderr([] {
        EXPECT_EQ(log_message("SQLConnect", 1, 0xFFFFFFFFu, "hello"), 0);
    });
    EXPECT_EQ(err, "");
    EXPECT_FALSE(exists(log_));
}

TEST_F(TraceCases, CategoryOutsideMaskWritesNothing)
{
    use_log_file();
    error_mask = 0x0Fu;
    std::string err = capture_stderr([] {
        EXPECT_EQ(log_message("SQLConnect", 1, 0x10u, "hello"), 0);
        EXPECT_EQ(log_message("SQLConnect", 1, 0u, "hello"), 0);
    });
    EXPECT_EQ(err, "");
    EXPECT_FALSE(exists(log_));
}

TEST_F(TraceCases, CategorySharingABitIsWritten)
{
    use_log_file();
    struct Case {
        uint32_t mask, category;
    };
    const Case cases[] = {
        {1u, 1u}, {0x0Fu, 0x18u}, {0x80000000u, 0xFFFFFFFFu}, {0xFFFFFFFFu, 2u}};
    for (const Case &c : cases) {
        error_mask = c.mask;
        EXPECT_EQ(log_message("T", 2, c.category, "x"), 0);
        EXPECT_EQ(take_log(), expected_line("T", 2, "x")) << c.mask << " " << c.category;
    }
}

/* ---- the header ---- */

TEST_F(TraceCases, HeaderForm)
{
    use_log_file();
    error_mask = 1;
    struct Case {
        const char *tag;
        int32_t number;
        const char *number_text;
    };
    const Case cases[] = {
        {"SQLConnect", 7, "0007"},  {"SQLExecute", 0, "0000"},
        {"SQLFetch", 1234, "1234"}, {"SQLFetch", 56789, "56789"},
        {"SQLFetch", -5, "-005"},   {"", 42, "0042"},
    };
    for (const Case &c : cases) {
        EXPECT_EQ(log_message(c.tag, c.number, 1, "body"), 0);
        std::string text = take_log();
        std::string header = "[" + std::to_string(getpid()) + "]" + c.tag + "@" +
                             c.number_text;
        ASSERT_GE(text.size(), header.size()) << c.tag;
        EXPECT_EQ(text.substr(0, header.size()), header);
        EXPECT_EQ(text, expected_line(c.tag, c.number, "body"));
    }
}

TEST_F(TraceCases, ColonStandsInColumn31ForShortHeaders)
{
    use_log_file();
    error_mask = 1;
    /* "[pid]" + tag + "@nnnn": choose tags so that the header is 1 to 29
       characters, exactly 30, and longer. */
    const size_t fixed = std::to_string(getpid()).size() + 2 + 5;
    for (size_t want = fixed; want <= 40; ++want) {
        std::string tag(want - fixed, 'a');
        EXPECT_EQ(log_message(tag.c_str(), 3, 1, "z"), 0);
        std::string text = take_log();
        if (want <= 30) {
            ASSERT_EQ(text.size(), 33u) << want;
            EXPECT_EQ(text[30], ':') << want;
            EXPECT_EQ(text.substr(want, 30 - want), std::string(30 - want, ' '));
        } else {
            ASSERT_EQ(text.size(), want + 3) << want;
            EXPECT_EQ(text[want], ':') << want;
        }
        EXPECT_EQ(text.substr(text.size() - 2), "z\n");
    }
}

TEST_F(TraceCases, NullFormat)
{
    use_log_file();
    error_mask = 1;
    EXPECT_EQ(log_message("SQLFree", 9, 1, nullptr), 0);
    EXPECT_EQ(take_log(), expected_line("SQLFree", 9, "<NULL FORMAT>"));
}

TEST_F(TraceCases, PlainTextAndEmptyFormat)
{
    use_log_file();
    error_mask = 1;
    EXPECT_EQ(log_message("A", 1, 1, "Entry: hdbc=, x = y {}\t"), 0);
    EXPECT_EQ(take_log(), expected_line("A", 1, "Entry: hdbc=, x = y {}\t"));
    EXPECT_EQ(log_message("A", 1, 1, ""), 0);
    EXPECT_EQ(take_log(), expected_line("A", 1, ""));
}

/* ---- the directives ---- */

struct DirectiveCase {
    const char *name;
    std::function<void()> call;
    std::string body;
};

TEST_F(TraceCases, Directives)
{
    use_log_file();
    error_mask = 4;
    int32_t i32 = -77;
    int16_t len5 = 5, len2 = 2, len_nts = -3;
    void *handle = reinterpret_cast<void *>(static_cast<uintptr_t>(0x1234560));
    void *handle_ptr = handle;
    const char *text = "hello world";
    const char abc[3] = {'a', 'b', 'c'}; /* not terminated: exactly 3 read */

    const std::vector<DirectiveCase> cases = {
        {"I", [] { log_message("t", 1, 4, "%I", (int32_t)-123456); }, "-123456"},
        {"I max", [] { log_message("t", 1, 4, "%I", (int32_t)2147483647); },
         "2147483647"},
        {"U", [] { log_message("t", 1, 4, "%U", (uint32_t)4294967295u); },
         "4294967295"},
        {"U small", [] { log_message("t", 1, 4, "%U", (uint32_t)17); }, "17"},
        {"i negative", [] { log_message("t", 1, 4, "%i", (int32_t)-2); }, "-2"},
        {"i low 16 bits", [] { log_message("t", 1, 4, "%i", (int32_t)65535); }, "-1"},
        {"i 70000", [] { log_message("t", 1, 4, "%i", (int32_t)70000); }, "4464"},
        {"u low 16 bits", [] { log_message("t", 1, 4, "%u", (int32_t)-1); }, "65535"},
        {"u 70000", [] { log_message("t", 1, 4, "%u", (int32_t)70000); }, "4464"},
        {"p", [=] { log_message("t", 1, 4, "%p", handle); }, pointer_text(handle)},
        {"h", [=] { log_message("t", 1, 4, "%h", handle); }, pointer_text(handle)},
        {"p null", [] { log_message("t", 1, 4, "%p", (void *)nullptr); },
         pointer_text(nullptr)},
        {"s", [=] { log_message("t", 1, 4, "%s", text); },
         pointer_text(text) + "->hello world"},
        {"s null", [] { log_message("t", 1, 4, "%s", (const char *)nullptr); },
         "<NULLPTR>"},
        {"e 0", [] { log_message("t", 1, 4, "%e", (int32_t)0); }, "SQL_SUCCESS"},
        {"e 1", [] { log_message("t", 1, 4, "%e", (int32_t)1); },
         "SQL_SUCESS_WITH_INFO"},
        {"e -1", [] { log_message("t", 1, 4, "%e", (int32_t)-1); }, "SQL_ERROR"},
        {"e -2", [] { log_message("t", 1, 4, "%e", (int32_t)-2); },
         "SQL_INVALID_HANDLE"},
        {"e 2", [] { log_message("t", 1, 4, "%e", (int32_t)2); },
         "SQL_STILL_EXECUTING"},
        {"e 99", [] { log_message("t", 1, 4, "%e", (int32_t)99); }, "SQL_NEED_DATA"},
        {"e 100", [] { log_message("t", 1, 4, "%e", (int32_t)100); }, "SQL_NO_DATA"},
        {"e 3", [] { log_message("t", 1, 4, "%e", (int32_t)3); }, "UNKNOWN=3"},
        {"e -3", [] { log_message("t", 1, 4, "%e", (int32_t)-3); }, "UNKNOWN=-3"},
        {"S nts", [=] { log_message("t", 1, 4, "%S", text, (int32_t)-3); },
         "\"hello world\"{SQL_NTS}"},
        {"S nts null", [] { log_message("t", 1, 4, "%S", (const char *)nullptr, (int32_t)-3); },
         "<NULL>{SQL_NTS}"},
        {"S 3 of longer", [=] { log_message("t", 1, 4, "%S", text, (int32_t)3); },
         "\"hel\"{3}"},
        {"S 3 unterminated", [&] { log_message("t", 1, 4, "%S", abc, (int32_t)3); },
         "\"abc\"{3}"},
        {"S 0", [=] { log_message("t", 1, 4, "%S", text, (int32_t)0); }, "\"\"{0}"},
        {"S -1", [=] { log_message("t", 1, 4, "%S", text, (int32_t)-1); },
         "\"????\"{-1}"},
        {"S -1 null", [] { log_message("t", 1, 4, "%S", (const char *)nullptr, (int32_t)-1); },
         "\"????\"{-1}"},
        {"S -100", [=] { log_message("t", 1, 4, "%S", text, (int32_t)-100); },
         "\"????\"{-100}"},
        /* The length is the low 16 bits of its word, signed. */
        {"S word 65533", [=] { log_message("t", 1, 4, "%S", text, (int32_t)65533); },
         "\"hello world\"{SQL_NTS}"},
        {"S word 65538", [=] { log_message("t", 1, 4, "%S", text, (int32_t)65538); },
         "\"he\"{2}"},
        {"*S both null",
         [] { log_message("t", 1, 4, "%*S", (const char *)nullptr, (int16_t *)nullptr); },
         "<NULLSTR>{NULL}"},
        {"*S null text",
         [&] { log_message("t", 1, 4, "%*S", (const char *)nullptr, &len5); },
         "<NULLSTR>{" + pointer_text(&len5) + "->5}"},
        {"*S null text nts",
         [&] { log_message("t", 1, 4, "%*S", (const char *)nullptr, &len_nts); },
         "<NULLSTR>{" + pointer_text(&len_nts) + "->-3}"},
        {"*S both set", [&] { log_message("t", 1, 4, "%*S", text, &len5); },
         "\"hello\"{" + pointer_text(&len5) + "->5}"},
        {"*S unterminated", [&] { log_message("t", 1, 4, "%*S", abc, &len2); },
         "\"ab\"{" + pointer_text(&len2) + "->2}"},
        {"*I", [&] { log_message("t", 1, 4, "%*I", &i32); },
         pointer_text(&i32) + "->-77"},
        {"*I null", [] { log_message("t", 1, 4, "%*I", (int32_t *)nullptr); }, "<NULLPTR>"},
        {"*h", [&] { log_message("t", 1, 4, "%*h", &handle_ptr); },
         pointer_text(&handle_ptr) + "->" + pointer_text(handle)},
        {"*h null", [] { log_message("t", 1, 4, "%*h", (void **)nullptr); }, "<NULLPTR>"},
        /* Unknown directives print nothing and take no argument. */
        {"percent", [] { log_message("t", 1, 4, "100%% sure"); }, "100 sure"},
        {"unknown then I", [] { log_message("t", 1, 4, "%d%I", (int32_t)7); }, "7"},
        {"unknown letters",
         [] { log_message("t", 1, 4, "<%a%E%P%*X%Z%*u%*e%*s%*p>%I", (int32_t)8); }, "<>8"},
        {"outside range", [] { log_message("t", 1, 4, "[%x%z%~%!%)]%U", (uint32_t)9); },
         "[]9"},
        {"mixed",
         [=] {
             log_message("t", 1, 4, "SQLExecDirect(%p, %S) = %e, rows=%I", handle,
                         "select 1", (int32_t)-3, (int32_t)1, (int32_t)12);
         },
         "SQLExecDirect(" + pointer_text(handle) +
             ", \"select 1\"{SQL_NTS}) = SQL_SUCESS_WITH_INFO, rows=12"},
    };
    for (const DirectiveCase &c : cases) {
        c.call();
        EXPECT_EQ(take_log(), expected_line("t", 1, c.body)) << c.name;
    }
}

/* A "%" or "%*" at the very end of the format does not read past it. */
TEST_F(TraceCases, PercentAtEndOfFormat)
{
    use_log_file();
    error_mask = 1;
    for (const char *f : {"ab%", "ab%*"}) {
        std::vector<char> format(f, f + std::strlen(f) + 1); /* exact size */
        EXPECT_EQ(log_message("t", 1, 1, format.data()), 0);
        std::string text = take_log();
        std::string want = expected_line("t", 1, "ab");
        ASSERT_GE(text.size(), want.size()) << f;
        EXPECT_EQ(text.substr(0, want.size() - 1), want.substr(0, want.size() - 1)) << f;
        EXPECT_EQ(text.back(), '\n') << f;
    }
}

/* A null length pointer with a text: printed without reading through the
   null pointer. */
TEST_F(TraceCases, StarSWithNullLengthPointer)
{
    use_log_file();
    error_mask = 1;
    EXPECT_EQ(log_message("t", 1, 1, "%*S|%I", "abc", (int16_t *)nullptr, (int32_t)5), 0);
    std::string text = take_log();
    std::string start = expected_line("t", 1, "");
    start.pop_back();
    ASSERT_GE(text.size(), start.size());
    EXPECT_EQ(text.substr(0, start.size()), start);
    EXPECT_NE(text.find("abc"), std::string::npos);
    EXPECT_EQ(text.substr(text.size() - 3), "|5\n");
}

/* ---- where the line goes ---- */

TEST_F(TraceCases, NoProfileGoesToStandardError)
{
    error_mask = 1;
    std::string err = capture_stderr([] {
        EXPECT_EQ(log_message("SQLConnect", 12, 1, "%I", (int32_t)5), 0);
    });
    EXPECT_EQ(err, expected_line("SQLConnect", 12, "5"));
}

TEST_F(TraceCases, EmptyLogFileGoesToStandardError)
{
    const char *profiles[] = {
        "{settings}\nlog_file =\n",
        "{settings}\nother = 1\n",
        "{default}\nlog_file = " "x.log" "\n",
        "[settings]\nlog_file = x.log\n",
        "(settings)\nlog_file = x.log\n",
    };
    error_mask = 1;
    for (const char *p : profiles) {
        write_file("odbc.ini", p);
        std::string err = capture_stderr([] {
            EXPECT_EQ(log_message("T", 1, 1, "%e", (int32_t)100), 0);
        });
        EXPECT_EQ(err, expected_line("T", 1, "SQL_NO_DATA")) << p;
        EXPECT_FALSE(exists("x.log")) << p;
    }
}

TEST_F(TraceCases, LogFileFromSettingsSection)
{
    struct Case {
        const char *profile;
        const char *file;
    };
    const Case cases[] = {
        {"{settings}\nlog_file = a.log\n", "a.log"},
        {"{Settings}\nLOG_FILE=b.log   \n", "b.log"},
        {"[settings]\nlog_file = x.log\n{settings}\n# note\nlog_file =   c.log\n", "c.log"},
        {"{default}\nlog_file = x.log\n{settings}\nlog_file = d.log\n", "d.log"},
    };
    error_mask = 1;
    for (const Case &c : cases) {
        write_file("odbc.ini", c.profile);
        std::string err = capture_stderr([] {
            EXPECT_EQ(log_message("SQLFetch", 3, 1, "%U", (uint32_t)1), 0);
        });
        EXPECT_EQ(err, "") << c.profile;
        EXPECT_EQ(read_file(c.file), expected_line("SQLFetch", 3, "1")) << c.profile;
        EXPECT_FALSE(exists("x.log")) << c.profile;
        ::unlink(c.file);
    }
}

TEST_F(TraceCases, LogFileIsAppended)
{
    use_log_file();
    write_file(log_, "earlier\n");
    error_mask = 1;
    EXPECT_EQ(log_message("A", 1, 1, "one"), 0);
    EXPECT_EQ(log_message("B", 2, 1, "two %I", (int32_t)2), 0);
    EXPECT_EQ(read_file(log_),
              "earlier\n" + expected_line("A", 1, "one") + expected_line("B", 2, "two 2"));
}

TEST_F(TraceCases, UnopenableLogFileGoesToStandardError)
{
    const std::string targets[] = {dir_ + "/missing/dir/t.log", dir_};
    error_mask = 1;
    for (const std::string &t : targets) {
        write_file("odbc.ini", "{settings}\nlog_file = " + t + "\n");
        std::string err = capture_stderr([] {
            EXPECT_EQ(log_message("SQLEndTran", 44, 1, "%S", "ab", (int32_t)-3), 0);
        });
        EXPECT_EQ(err, expected_line("SQLEndTran", 44, "\"ab\"{SQL_NTS}")) << t;
    }
}

/* A log-file setting longer than the 128-byte buffer must not lead to a read
   past it; the line still goes somewhere whole. */
TEST_F(TraceCases, OverlongLogFileSettingIsSafe)
{
    std::string name(200, 'q');
    write_file("odbc.ini", "{settings}\nlog_file = " + name + "\n");
    error_mask = 1;
    std::string err = capture_stderr([] { EXPECT_EQ(log_message("T", 1, 1, "safe"), 0); });
    std::string want = expected_line("T", 1, "safe");
    std::string found = err;
    DIR *d = opendir(".");
    ASSERT_NE(d, nullptr);
    while (struct dirent *e = readdir(d)) {
        if (std::strncmp(e->d_name, "qqq", 3) == 0) {
            EXPECT_LE(std::strlen(e->d_name), 128u);
            found += read_file(e->d_name);
        }
    }
    closedir(d);
    EXPECT_EQ(found, want);
}

/* ---- _log_message ---- */

TEST_F(TraceCases, InnerWritesWhateverTheMaskWithTheGivenProfile)
{
    write_file("odbc.ini", "{settings}\nlog_file = default.log\n");
    write_file("other.ini", "{settings}\nlog_file = other.log\n");
    ProfileHandle *h = open_registry();
    ASSERT_NE(h, nullptr);
    set_config(h, "other.ini");
    error_mask = 0;
    EXPECT_EQ(call_inner("SQLPrepare", 5, 8, h, "%I|%e|%S", (int32_t)-1, (int32_t)-2,
                         "sel", (int32_t)2),
              0);
    close_registry(h);
    EXPECT_EQ(read_file("other.log"),
              expected_line("SQLPrepare", 5, "-1|SQL_INVALID_HANDLE|\"se\"{2}"));
    EXPECT_FALSE(exists("default.log"));
}

TEST_F(TraceCases, InnerWithProfileWithoutLogFileGoesToStandardError)
{
    ProfileHandle *h = open_registry();
    ASSERT_NE(h, nullptr);
    set_config(h, "absent.ini");
    error_mask = 0;
    std::string err = capture_stderr([&] {
        EXPECT_EQ(call_inner("X", 77, 0, h, "%*I", (int32_t *)nullptr), 0);
    });
    close_registry(h);
    EXPECT_EQ(err, expected_line("X", 77, "<NULLPTR>"));
}

TEST_F(TraceCases, InnerNullFormat)
{
    ProfileHandle *h = open_registry();
    ASSERT_NE(h, nullptr);
    set_config(h, "absent.ini");
    std::string err = capture_stderr([&] { EXPECT_EQ(call_inner("N", 0, 1, h, nullptr), 0); });
    close_registry(h);
    EXPECT_EQ(err, expected_line("N", 0, "<NULL FORMAT>"));
}

} // namespace
