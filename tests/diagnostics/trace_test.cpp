// Tests of the trace log: the line header and its padding, every directive
// of the format language with its exact output, the trace switch, the
// destination (log file from "{settings}" or standard error) and whole
// lines under concurrent writers.
#include "kxsupp/config.h"
#include "kxsupp/diagnostics.h"

#include <gtest/gtest.h>

#include "support/kx_test_files.h"

#include <errno.h>
#include <stdarg.h>
#include <fcntl.h>
#include <limits.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace {

using kxtest::exists;
using kxtest::pointer_text;
using kxtest::read_file;
using kxtest::write_file;
using kxtest::StderrCapture;

std::string pid_text()
{
    return std::to_string(static_cast<int>(getpid()));
}

// The header as a trace reader sees it: "[pid]tag@nnnn", spaces up to 30
// characters, then ":".
std::string header_of(const std::string &pid, const std::string &tag, const char *number)
{
    std::string h = "[" + pid + "]" + tag + "@" + number;
    while (h.size() < 30)
        h += ' ';
    return h + ":";
}

std::string header(const std::string &tag, const char *number)
{
    return header_of(pid_text(), tag, number);
}

// The header of a line written by another process.
std::string child_header(pid_t child, const std::string &tag, const char *number)
{
    return header_of(std::to_string(static_cast<int>(child)), tag, number);
}

// Each test runs in its own temporary directory, which holds the profile
// "odbc.ini" that log_message reads from the current directory.
class TraceTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_NE(getcwd(saved_cwd_, sizeof saved_cwd_), nullptr);
        dir_ = kxtest::make_temp_dir("kxtrace.");
        ASSERT_FALSE(dir_.empty());
        ASSERT_EQ(chdir(dir_.c_str()), 0);
        log_ = dir_ + "/trace.log";
        saved_mask_ = error_mask;
        error_mask = 0xFFFFFFFFu;
    }
    void TearDown() override
    {
        error_mask = saved_mask_;
        ASSERT_EQ(chdir(saved_cwd_), 0);
        ASSERT_TRUE(kxtest::remove_tree(dir_));
    }
    void use_log_file(const std::string &path)
    {
        write_file(dir_ + "/odbc.ini",
                  "[Sales]\nServer = alpha\n{settings}\nlog_file = " + path + "\n");
    }
    // Runs one traced call with the log in trace.log and returns the text
    // that followed the header of the single line written.
    std::string body_of(const std::function<void()> &call)
    {
        use_log_file(log_);
        unlink(log_.c_str());
        call();
        std::string text = read_file(log_);
        std::string h = header("t", "0000");
        EXPECT_EQ(text.compare(0, h.size(), h), 0) << text;
        EXPECT_FALSE(text.empty());
        EXPECT_EQ(text.back(), '\n');
        EXPECT_EQ(text.find('\n'), text.size() - 1) << "one line only";
        if (text.size() < h.size() + 1)
            return "";
        return text.substr(h.size(), text.size() - h.size() - 1);
    }

    char saved_cwd_[PATH_MAX];
    std::string dir_;
    std::string log_;
    uint32_t saved_mask_ = 0;
};

// ---- the header ----

TEST_F(TraceTest, HeaderIsPaddedToColumnThirty)
{
    use_log_file(log_);
    ASSERT_EQ(log_message("T", 1, 1, "x"), 0);
    std::string line = read_file(log_);
    std::string start = "[" + pid_text() + "]T@0001";
    ASSERT_LT(start.size(), 30u);
    ASSERT_EQ(line.size(), 33u);  // 30 header columns, ":", "x", newline
    EXPECT_EQ(line.substr(0, start.size()), start);
    EXPECT_EQ(line.substr(start.size(), 30 - start.size()),
              std::string(30 - start.size(), ' '));
    EXPECT_EQ(line[30], ':');
    EXPECT_EQ(line.substr(31), "x\n");
}

TEST_F(TraceTest, HeaderLengthsAroundTheColumn)
{
    use_log_file(log_);
    const std::string fixed = "[" + pid_text() + "]@0007";
    struct Case {
        size_t header_length;
        size_t colon_at;
    } cases[] = {
        {28, 30}, {29, 30}, {30, 30}, {31, 31}, {45, 45},
    };
    for (const Case &c : cases) {
        unlink(log_.c_str());
        std::string tag(c.header_length - fixed.size(), 'g');
        log_message(tag.c_str(), 7, 1, "%I", 5);
        std::string line = read_file(log_);
        std::string h = "[" + pid_text() + "]" + tag + "@0007";
        ASSERT_EQ(h.size(), c.header_length);
        EXPECT_EQ(line.substr(0, h.size()), h);
        ASSERT_EQ(line.size(), c.colon_at + 3) << line;
        EXPECT_EQ(line.substr(h.size(), c.colon_at - h.size()),
                  std::string(c.colon_at - h.size(), ' '));
        EXPECT_EQ(line.substr(c.colon_at), ":5\n");
    }
}

TEST_F(TraceTest, NumberIsFourDigitsZeroPadded)
{
    use_log_file(log_);
    struct Case {
        int32_t number;
        const char *text;
    } cases[] = {
        {0, "0000"}, {1, "0001"}, {42, "0042"}, {999, "0999"},
        {1234, "1234"}, {12345, "12345"}, {-5, "-005"}, {-99, "-099"},
        {-999, "-999"}, {-1234, "-1234"}, {INT32_MAX, "2147483647"},
        {INT32_MIN, "-2147483648"},
    };
    for (const Case &c : cases) {
        unlink(log_.c_str());
        log_message("SQLFetch", c.number, 1, "done");
        EXPECT_EQ(read_file(log_), header("SQLFetch", c.text) + "done\n")
            << c.number;
    }
}

TEST_F(TraceTest, NullFormatWritesAMarker)
{
    EXPECT_EQ(body_of([] { log_message("t", 0, 1, nullptr); }),
              "<NULL FORMAT>");
}

TEST_F(TraceTest, NullTagDoesNotCrash)
{
    use_log_file(log_);
    log_message(nullptr, 3, 1, "x");
    EXPECT_EQ(read_file(log_), header("(null)", "0003") + "x\n");
}

TEST_F(TraceTest, LongTagAndLongTextAreWrittenWhole)
{
    use_log_file(log_);
    std::string tag(5000, 'T');
    std::string text(200000, 'q');
    text[100] = 'r';
    log_message(tag.c_str(), 1, 1, "<%s>", text.c_str());
    std::string expected = "[" + pid_text() + "]" + tag + "@0001:<" +
                           pointer_text(text.c_str()) + "->" + text + ">\n";
    EXPECT_TRUE(read_file(log_) == expected);
}

// ---- the directives ----

struct DirectiveCase {
    const char *name;
    std::function<void()> call;
    std::string expected;
};

TEST_F(TraceTest, EveryDirective)
{
    static char text[] = "abcdef";
    static int16_t three = 3;
    static int16_t minus_one = -1;
    static int16_t nts = -3;
    static int32_t number = -77;
    static void *handle = &number;
    static void *null_handle = nullptr;
    const std::string text_p = pointer_text(text);
    const std::string three_p = pointer_text(&three);
    const std::string number_p = pointer_text(&number);
    const std::string handle_p = pointer_text(&handle);
    const std::string null_handle_p = pointer_text(&null_handle);

    const DirectiveCase cases[] = {
        {"plain text", [] { log_message("t", 0, 1, "SQLExecute called"); },
         "SQLExecute called"},
        {"empty format", [] { log_message("t", 0, 1, ""); }, ""},
        {"%I", [] { log_message("t", 0, 1, "%I", -123456); }, "-123456"},
        {"%I min", [] { log_message("t", 0, 1, "%I", INT32_MIN); },
         "-2147483648"},
        {"%I zero", [] { log_message("t", 0, 1, "%I", 0); }, "0"},
        {"%I max", [] { log_message("t", 0, 1, "%I", INT32_MAX); },
         "2147483647"},
        {"%U zero", [] { log_message("t", 0, 1, "%U", 0u); }, "0"},
        {"%U high bit", [] { log_message("t", 0, 1, "%U", 0x80000000u); },
         "2147483648"},
        {"%i minimum", [] { log_message("t", 0, 1, "%i", 0x18000); }, "-32768"},
        {"%u zero", [] { log_message("t", 0, 1, "%u", 0x30000); }, "0"},
        {"%e minimum", [] { log_message("t", 0, 1, "%e", INT32_MIN); },
         "UNKNOWN=-2147483648"},
        {"%S most negative",
         [] { log_message("t", 0, 1, "%S", "abc", 0x8000); },
         "\"????\"{-32768}"},
        {"%U", [] { log_message("t", 0, 1, "%U", 4294967295u); },
         "4294967295"},
        {"%U of -1", [] { log_message("t", 0, 1, "%U", -1); }, "4294967295"},
        {"%i low 16 bits", [] { log_message("t", 0, 1, "%i", 0x12345678); },
         "22136"},
        {"%i negative", [] { log_message("t", 0, 1, "%i", 0xFFFF); }, "-1"},
        {"%i short", [] { log_message("t", 0, 1, "%i", (int16_t)-300); },
         "-300"},
        {"%u low 16 bits", [] { log_message("t", 0, 1, "%u", -1); }, "65535"},
        {"%u", [] { log_message("t", 0, 1, "%u", 0x10002); }, "2"},
        {"%p", [] { log_message("t", 0, 1, "%p", (void *)text); }, text_p},
        {"%p null", [] { log_message("t", 0, 1, "%p", (void *)nullptr); },
         pointer_text(nullptr)},
        {"%h", [] { log_message("t", 0, 1, "%h", (void *)&number); },
         number_p},
        {"%s", [] { log_message("t", 0, 1, "%s", text); },
         text_p + "->abcdef"},
        {"%s null", [] { log_message("t", 0, 1, "%s", (char *)nullptr); },
         "<NULLPTR>"},
        {"%e 0", [] { log_message("t", 0, 1, "%e", 0); }, "SQL_SUCCESS"},
        {"%e 1", [] { log_message("t", 0, 1, "%e", 1); },
         "SQL_SUCESS_WITH_INFO"},
        {"%e -1", [] { log_message("t", 0, 1, "%e", -1); }, "SQL_ERROR"},
        {"%e -2", [] { log_message("t", 0, 1, "%e", -2); },
         "SQL_INVALID_HANDLE"},
        {"%e 2", [] { log_message("t", 0, 1, "%e", 2); },
         "SQL_STILL_EXECUTING"},
        {"%e 99", [] { log_message("t", 0, 1, "%e", 99); }, "SQL_NEED_DATA"},
        {"%e 100", [] { log_message("t", 0, 1, "%e", 100); }, "SQL_NO_DATA"},
        {"%e other", [] { log_message("t", 0, 1, "%e", 3); }, "UNKNOWN=3"},
        {"%e negative", [] { log_message("t", 0, 1, "%e", -3); },
         "UNKNOWN=-3"},
        {"%e short", [] { log_message("t", 0, 1, "%e", (int16_t)-1); },
         "SQL_ERROR"},
        {"%S nts", [] { log_message("t", 0, 1, "%S", text, -3); },
         "\"abcdef\"{SQL_NTS}"},
        {"%S nts null", [] { log_message("t", 0, 1, "%S", (char *)nullptr, -3); },
         "<NULL>{SQL_NTS}"},
        {"%S three", [] { log_message("t", 0, 1, "%S", text, 3); },
         "\"abc\"{3}"},
        {"%S zero", [] { log_message("t", 0, 1, "%S", text, 0); }, "\"\"{0}"},
        {"%S exact", [] { log_message("t", 0, 1, "%S", text, 6); },
         "\"abcdef\"{6}"},
        {"%S other negative", [] { log_message("t", 0, 1, "%S", text, -5); },
         "\"????\"{-5}"},
        {"%S null other negative",
         [] { log_message("t", 0, 1, "%S", (char *)nullptr, -1); },
         "\"????\"{-1}"},
        {"%S 16-bit length", [] { log_message("t", 0, 1, "%S", text, 0x10002); },
         "\"ab\"{2}"},
        {"%S 16-bit nts", [] { log_message("t", 0, 1, "%S", text, 0xFFFD); },
         "\"abcdef\"{SQL_NTS}"},
        {"%S short", [] { log_message("t", 0, 1, "%S", text, (int16_t)4); },
         "\"abcd\"{4}"},
        {"%*S both null",
         [] { log_message("t", 0, 1, "%*S", (char *)nullptr, (int16_t *)nullptr); },
         "<NULLSTR>{NULL}"},
        {"%*S null text",
         [] { log_message("t", 0, 1, "%*S", (char *)nullptr, &three); },
         "<NULLSTR>{" + three_p + "->3}"},
        {"%*S both set", [] { log_message("t", 0, 1, "%*S", text, &three); },
         "\"abc\"{" + three_p + "->3}"},
        {"%*S null length",
         [] { log_message("t", 0, 1, "%*S", text, (int16_t *)nullptr); },
         "\"abcdef\"{NULL}"},
        {"%*S negative length",
         [] { log_message("t", 0, 1, "%*S", text, &nts); },
         "\"abcdef\"{" + pointer_text(&nts) + "->-3}"},
        {"%*S minus one", [] { log_message("t", 0, 1, "%*S", text, &minus_one); },
         "\"abcdef\"{" + pointer_text(&minus_one) + "->-1}"},
        {"%*I", [] { log_message("t", 0, 1, "%*I", &number); },
         number_p + "->-77"},
        {"%*I null", [] { log_message("t", 0, 1, "%*I", (int32_t *)nullptr); },
         "<NULLPTR>"},
        {"%*h", [] { log_message("t", 0, 1, "%*h", &handle); },
         handle_p + "->" + pointer_text(handle)},
        {"%*h to null", [] { log_message("t", 0, 1, "%*h", &null_handle); },
         null_handle_p + "->" + pointer_text(nullptr)},
        {"%*h null", [] { log_message("t", 0, 1, "%*h", (void **)nullptr); },
         "<NULLPTR>"},
        {"%% is silent", [] { log_message("t", 0, 1, "100%%"); }, "100"},
        {"%% inside", [] { log_message("t", 0, 1, "a%%b%I", 4); }, "ab4"},
        {"unknown letter takes no argument",
         [] { log_message("t", 0, 1, "%d|%I|%x", 7, 8); }, "|7|"},
        {"unknown letters of the range",
         [] { log_message("t", 0, 1, "%*%%+%0%A%Z%a%t%I", 9); }, "9"},
        {"letters above the range",
         [] { log_message("t", 0, 1, "%v%z%~%I", 5); }, "5"},
        {"unknown after star",
         [] { log_message("t", 0, 1, "%*s%*e%*p%*U%*i%I", 6); }, "6"},
        {"star then star", [] { log_message("t", 0, 1, "%**I", 2); }, "I"},
        {"control character after percent",
         [] { log_message("t", 0, 1, "a%\tb%I", 1); }, "ab1"},
        {"percent at the end", [] { log_message("t", 0, 1, "abc%"); }, "abc"},
        {"percent star at the end", [] { log_message("t", 0, 1, "abc%*"); },
         "abc"},
        {"several directives",
         [] { log_message("t", 0, 1, "hstmt=%h rc=%e cols=%i name=%S", (void *)text, 1, 3, text, 2); },
         "hstmt=" + text_p + " rc=SQL_SUCESS_WITH_INFO cols=3 name=\"ab\"{2}"},
    };
    for (const DirectiveCase &c : cases)
        EXPECT_EQ(body_of(c.call), c.expected) << c.name;
}

// A text given with a count longer than the text shows what is there and
// never reads past the terminator.
TEST_F(TraceTest, CountLongerThanTextStopsAtTheTerminator)
{
    static char shortText[] = "abc";
    static int16_t ten = 10;
    EXPECT_EQ(body_of([] { log_message("t", 0, 1, "%S", shortText, 10); }),
              "\"abc\"{10}");
    EXPECT_EQ(body_of([] { log_message("t", 0, 1, "%*S", shortText, &ten); }),
              "\"abc\"{" + pointer_text(&ten) + "->10}");
}

// A text with an explicit count need not be terminated at all.
TEST_F(TraceTest, CountedTextNeedNotBeTerminated)
{
    static const char bytes[4] = {'w', 'x', 'y', 'z'};
    EXPECT_EQ(body_of([] { log_message("t", 0, 1, "%S", bytes, 4); }),
              "\"wxyz\"{4}");
}

// ---- the switch ----

TEST_F(TraceTest, MaskZeroWritesNothing)
{
    use_log_file(log_);
    error_mask = 0;
    StderrCapture capture;
    for (uint32_t category : {0u, 1u, 2u, 0x80000000u, 0xFFFFFFFFu})
        EXPECT_EQ(log_message("t", 1, category, "%s", "x"), 0);
    EXPECT_FALSE(exists(log_));
    EXPECT_EQ(capture.text(), "");
}

TEST_F(TraceTest, CategoryMustShareABitWithTheMask)
{
    use_log_file(log_);
    error_mask = 0x6;
    log_message("t", 1, 1, "one");
    log_message("t", 2, 0x8, "eight");
    log_message("t", 3, 0, "zero");
    EXPECT_FALSE(exists(log_));
    log_message("t", 4, 2, "two");
    log_message("t", 5, 0x5, "five");
    log_message("t", 6, 0xFFFFFFFF, "all");
    EXPECT_EQ(read_file(log_), header("t", "0004") + "two\n" +
                                  header("t", "0005") + "five\n" +
                                  header("t", "0006") + "all\n");
}

// With the mask at 0 the profile is not even opened: "odbc.ini" is a FIFO
// here, and a watcher tells whether anybody opened it for reading.
TEST_F(TraceTest, MaskZeroReadsNoProfile)
{
    ASSERT_EQ(mkfifo("odbc.ini", 0600), 0);
    auto profile_was_opened = [this](uint32_t mask) {
        error_mask = mask;
        std::atomic<bool> done{false};
        std::thread writer([&] { log_message("t", 1, 1, "x"); done = true; });
        bool opened = false;
        auto limit = std::chrono::steady_clock::now() + std::chrono::milliseconds(500);
        while (std::chrono::steady_clock::now() < limit) {
            int fd = open((dir_ + "/odbc.ini").c_str(), O_WRONLY | O_NONBLOCK);
            if (fd >= 0) {  // a reader is waiting: let it see end of file
                opened = true;
                close(fd);
                break;
            }
            if (done)
                break;
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        writer.join();
        return opened;
    };
    StderrCapture capture;
    EXPECT_FALSE(profile_was_opened(0));
    // The watcher does see a reader when tracing is on.
    EXPECT_TRUE(profile_was_opened(1));
    std::string err = capture.text();
    EXPECT_EQ(err, header("t", "0001") + "x\n");
}

// ---- the destination ----

TEST_F(TraceTest, NoProfileSendsLinesToStandardError)
{
    StderrCapture capture;
    log_message("SQLConnect", 12, 1, "dsn=%S", "Sales", -3);
    EXPECT_EQ(capture.text(),
              header("SQLConnect", "0012") + "dsn=\"Sales\"{SQL_NTS}\n");
}

TEST_F(TraceTest, EmptyOrMissingLogFileSendsLinesToStandardError)
{
    const char *profiles[] = {
        "{settings}\nlog_file =\n",
        "{settings}\nlog_file =    \n",
        "{settings}\nother = x\n",
        "[settings]\nlog_file = wrong_kind.log\n",
        "(settings)\nlog_file = wrong_kind.log\n",
        "{default}\nlog_file = wrong_section.log\n",
        "",
    };
    for (const char *profile : profiles) {
        write_file("odbc.ini", profile);
        StderrCapture capture;
        log_message("t", 1, 1, "%I", 42);
        EXPECT_EQ(capture.text(), header("t", "0001") + "42\n") << profile;
    }
    EXPECT_FALSE(exists("wrong_kind.log"));
    EXPECT_FALSE(exists("wrong_section.log"));
}

TEST_F(TraceTest, UnopenableLogFileSendsLinesToStandardError)
{
    use_log_file(dir_ + "/no/such/dir/trace.log");
    StderrCapture capture;
    log_message("t", 2, 1, "lost?");
    EXPECT_EQ(capture.text(), header("t", "0002") + "lost?\n");
}

TEST_F(TraceTest, LinesAreAppendedAndTheFileIsNotTruncated)
{
    write_file(log_, "earlier\n");
    use_log_file(log_);
    StderrCapture capture;
    log_message("a", 1, 1, "first");
    log_message("b", 2, 1, "second");
    EXPECT_EQ(read_file(log_), "earlier\n" + header("a", "0001") + "first\n" +
                                  header("b", "0002") + "second\n");
    EXPECT_EQ(capture.text(), "");
}

TEST_F(TraceTest, RelativeLogFileIsRelativeToTheCurrentDirectory)
{
    write_file("odbc.ini", "{settings}\nlog_file   =   relative.log  \n");
    log_message("t", 1, 1, "r");
    EXPECT_EQ(read_file(dir_ + "/relative.log"), header("t", "0001") + "r\n");
}

// The setting is read for every line: a changed profile takes effect at the
// next line.
TEST_F(TraceTest, LogFileIsReadForEveryLine)
{
    std::string second = dir_ + "/second.log";
    use_log_file(log_);
    log_message("t", 1, 1, "one");
    write_file("odbc.ini.new", "{settings}\nlog_file = " + second + "\n");
    ASSERT_EQ(rename("odbc.ini.new", "odbc.ini"), 0);
    log_message("t", 2, 1, "two");
    unlink("odbc.ini");
    StderrCapture capture;
    log_message("t", 3, 1, "three");
    EXPECT_EQ(read_file(log_), header("t", "0001") + "one\n");
    EXPECT_EQ(read_file(second), header("t", "0002") + "two\n");
    EXPECT_EQ(capture.text(), header("t", "0003") + "three\n");
}

// _log_message writes with the caller's profile handle, whatever the mask.
TEST_F(TraceTest, LogMessageWithAProfileHandle)
{
    std::string profile_path = dir_ + "/elsewhere.ini";
    std::string other_log = dir_ + "/other.log";
    write_file(profile_path, "{settings}\nlog_file = " + other_log + "\n");
    ProfileHandle *profile = open_registry();
    ASSERT_NE(profile, nullptr);
    set_config(profile, profile_path.c_str());
    error_mask = 0;
    auto call = [&](const char *format, ...) {
        va_list arguments;
        va_start(arguments, format);
        EXPECT_EQ(_log_message("SQLPrepare", 9, 4, profile, format, arguments), 0);
        va_end(arguments);
    };
    call("%S %I %e", "select 1", -3, 17, 100);
    close_registry(profile);
    EXPECT_EQ(read_file(other_log),
              header("SQLPrepare", "0009") + "\"select 1\"{SQL_NTS} 17 SQL_NO_DATA\n");
}

TEST_F(TraceTest, NullProfileHandleSendsLinesToStandardError)
{
    StderrCapture capture;
    auto call = [&](const char *format, ...) {
        va_list arguments;
        va_start(arguments, format);
        _log_message("t", 1, 1, nullptr, format, arguments);
        va_end(arguments);
    };
    call("%U", 5u);
    EXPECT_EQ(capture.text(), header("t", "0001") + "5\n");
}

// Tracing does not disturb errno, which the driver may be about to report.
TEST_F(TraceTest, ErrnoIsKept)
{
    use_log_file(dir_ + "/no/such/dir/trace.log");
    StderrCapture capture;
    errno = ERANGE;
    log_message("t", 1, 1, "x");
    EXPECT_EQ(errno, ERANGE);
}

// "log_file" is read into a 128-octet buffer: a 127-character name fits,
// a longer one is cut to 126 characters followed by the "0" marker.
TEST_F(TraceTest, LogFileNameIsReadIntoOneHundredTwentyEightOctets)
{
    struct Case {
        size_t value_length;
        std::string expected_name;
    } cases[] = {
        {126, std::string(126, 'n')},
        {127, std::string(127, 'n')},
        {128, std::string(126, 'n') + "0"},
        {200, std::string(126, 'n') + "0"},
    };
    for (const Case &c : cases) {
        write_file("odbc.ini",
                  "{settings}\nlog_file = " + std::string(c.value_length, 'n') + "\n");
        unlink(c.expected_name.c_str());
        StderrCapture capture;
        log_message("t", 1, 1, "%I", static_cast<int32_t>(c.value_length));
        EXPECT_EQ(capture.text(), "") << c.value_length;
        EXPECT_EQ(read_file(dir_ + "/" + c.expected_name),
                  header("t", "0001") + std::to_string(c.value_length) + "\n")
            << c.value_length;
        if (c.value_length != c.expected_name.size()) {
            EXPECT_FALSE(exists(std::string(c.value_length, 'n')));
        }
        unlink(c.expected_name.c_str());
    }
}

// The tag is text, never a format.
TEST_F(TraceTest, TagIsWrittenAsItIs)
{
    use_log_file(log_);
    log_message("a%s%Ib%%", 2, 1, "%I", 3);
    EXPECT_EQ(read_file(log_), header("a%s%Ib%%", "0002") + "3\n");
}

// A null text with a count never reads through the null pointer.
TEST_F(TraceTest, NullTextWithACountIsSafe)
{
    static int16_t five = 5;
    EXPECT_EQ(body_of([] { log_message("t", 0, 1, "%S", (char *)nullptr, 5); }),
              "\"\"{5}");
    EXPECT_EQ(body_of([] { log_message("t", 0, 1, "%S", (char *)nullptr, 0); }),
              "\"\"{0}");
    EXPECT_EQ(body_of([] { log_message("t", 0, 1, "%*S", (char *)nullptr, &five); }),
              "<NULLSTR>{" + pointer_text(&five) + "->5}");
}

// Each line opens the log anew: a log removed or renamed between lines is
// created again at its path, and the renamed file gets nothing more.
TEST_F(TraceTest, RemovedOrRenamedLogIsCreatedAgain)
{
    use_log_file(log_);
    log_message("t", 1, 1, "one");
    ASSERT_EQ(unlink(log_.c_str()), 0);
    log_message("t", 2, 1, "two");
    EXPECT_EQ(read_file(log_), header("t", "0002") + "two\n");
    std::string moved = dir_ + "/moved.log";
    ASSERT_EQ(rename(log_.c_str(), moved.c_str()), 0);
    log_message("t", 3, 1, "three");
    EXPECT_EQ(read_file(moved), header("t", "0002") + "two\n");
    EXPECT_EQ(read_file(log_), header("t", "0003") + "three\n");
    // A file put in its place takes the following lines.
    write_file(log_ + ".new", "replaced\n");
    ASSERT_EQ(rename((log_ + ".new").c_str(), log_.c_str()), 0);
    log_message("t", 4, 1, "four");
    EXPECT_EQ(read_file(log_), "replaced\n" + header("t", "0004") + "four\n");
}

// A log that can no longer be opened for writing sends the next line to
// standard error: here a directory takes the file's place, and (checked
// only when not running as root, who may open any file) the file loses its
// write permission.
TEST_F(TraceTest, LogThatBecameUnopenableSendsLinesToStandardError)
{
    use_log_file(log_);
    log_message("t", 1, 1, "one");
    std::string moved = dir_ + "/moved.log";
    ASSERT_EQ(rename(log_.c_str(), moved.c_str()), 0);
    ASSERT_EQ(mkdir(log_.c_str(), 0700), 0);
    {
        StderrCapture capture;
        log_message("t", 2, 1, "two");
        EXPECT_EQ(capture.text(), header("t", "0002") + "two\n");
    }
    EXPECT_EQ(read_file(moved), header("t", "0001") + "one\n");
    ASSERT_EQ(rmdir(log_.c_str()), 0);

    if (geteuid() == 0)
        return;
    log_message("t", 3, 1, "three");
    ASSERT_EQ(chmod(log_.c_str(), 0444), 0);
    StderrCapture capture;
    log_message("t", 4, 1, "four");
    EXPECT_EQ(capture.text(), header("t", "0004") + "four\n");
    EXPECT_EQ(read_file(log_), header("t", "0003") + "three\n");
}

// Nothing stays open between calls: the process has the same descriptors
// after tracing as before.
int open_descriptor_count()
{
    int count = 0;
    for (int fd = 0; fd < 1024; ++fd)
        if (fcntl(fd, F_GETFD) != -1)
            ++count;
    return count;
}

TEST_F(TraceTest, NoDescriptorIsLeftOpen)
{
    use_log_file(log_);
    int before = open_descriptor_count();
    for (int n = 0; n < 50; ++n)
        log_message("t", n, 1, "%I", n);
    use_log_file(dir_ + "/no/such/dir/trace.log");
    {
        StderrCapture capture;
        log_message("t", 1, 1, "lost");
    }
    EXPECT_EQ(open_descriptor_count(), before);
}

// A program that closes descriptors it did not open (a daemon closing all
// of them) loses no trace line: the next line still reaches the log.
TEST_F(TraceTest, DescriptorsClosedBehindTheLibraryLoseNoLine)
{
    use_log_file(log_);
    ASSERT_EQ(log_message("t", 1, 1, "before"), 0);
    int closed = 0;
    for (int fd = 3; fd < 1024; ++fd) {
        char target[PATH_MAX];
        ssize_t n = readlink(("/proc/self/fd/" + std::to_string(fd)).c_str(), target,
                             sizeof target - 1);
        if (n <= 0)
            continue;
        target[n] = '\0';
        if (log_ == target && close(fd) == 0)
            ++closed;
    }
    ASSERT_EQ(log_message("t", 2, 1, "after"), 0);
    EXPECT_EQ(read_file(log_), header("t", "0001") + "before\n" + header("t", "0002") + "after\n")
        << closed << " descriptor(s) of the log closed";
}

// A log handed to another owner or group, still writable by all, goes on
// taking the lines.
TEST_F(TraceTest, LogGivenToAnotherOwnerStillTakesTheLines)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "only root can give a file away";
    use_log_file(log_);
    ASSERT_EQ(log_message("t", 1, 1, "one"), 0);
    ASSERT_EQ(chmod(log_.c_str(), 0666), 0);
    ASSERT_EQ(chown(log_.c_str(), static_cast<uid_t>(-1), 65534), 0);
    ASSERT_EQ(log_message("t", 2, 1, "two"), 0);
    ASSERT_EQ(chown(log_.c_str(), 65534, static_cast<gid_t>(-1)), 0);
    ASSERT_EQ(log_message("t", 3, 1, "three"), 0);
    EXPECT_EQ(read_file(log_), header("t", "0001") + "one\n" + header("t", "0002") + "two\n" +
                                   header("t", "0003") + "three\n");
}

// A log that may not grow (a full disk) reports nothing: the call returns
// 0 and what was written before stays.
TEST_F(TraceTest, LogThatCannotGrowReportsNothing)
{
    use_log_file(log_);
    ASSERT_EQ(log_message("t", 1, 1, "kept"), 0);
    const std::string before = read_file(log_);
    ASSERT_EQ(before, header("t", "0001") + "kept\n");
    std::fflush(nullptr);
    pid_t pid = fork();
    ASSERT_GE(pid, 0);
    if (pid == 0) {
        signal(SIGXFSZ, SIG_IGN);
        struct rlimit limit;
        if (getrlimit(RLIMIT_FSIZE, &limit) != 0)
            _exit(10);
        struct rlimit full = {static_cast<rlim_t>(before.size()), limit.rlim_max};
        if (setrlimit(RLIMIT_FSIZE, &full) != 0)
            _exit(11);
        int rc = log_message("t", 2, 1, "lost");
        setrlimit(RLIMIT_FSIZE, &limit);
        std::exit(rc == 0 ? 0 : 12);  // exit(): a coverage build writes its counts
    }
    int status = 0;
    ASSERT_EQ(waitpid(pid, &status, 0), pid);
    ASSERT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0);
    EXPECT_EQ(read_file(log_), before);
}

// ---- whole lines under concurrent writers ----

std::string thread_payload(int writer, int sequence)
{
    // Long enough that a split write would show.
    std::string filler(200 + (sequence % 37) * 11, static_cast<char>('a' + writer));
    return "w" + std::to_string(writer) + " n" + std::to_string(sequence) + " " + filler;
}

void check_whole_lines(const std::string &text, int writers, int lines_each,
                       const std::function<std::string(int)> &pid_of)
{
    std::set<std::string> expected;
    for (int w = 0; w < writers; ++w)
        for (int n = 0; n < lines_each; ++n) {
            std::string h = "[" + pid_of(w) + "]writer" + std::to_string(w) + "@" +
                            (n < 10 ? "000" : n < 100 ? "00" : n < 1000 ? "0" : "") +
                            std::to_string(n);
            while (h.size() < 30)
                h += ' ';
            expected.insert(h + ":" + thread_payload(w, n) + "|" + std::to_string(n));
        }
    std::istringstream in(text);
    std::string line;
    std::set<std::string> seen;
    int count = 0;
    int bad = 0;
    while (std::getline(in, line)) {
        ++count;
        if (expected.count(line) == 0) {
            if (++bad < 3)
                ADD_FAILURE() << "broken line: " << line.substr(0, 120);
        } else {
            seen.insert(line);
        }
    }
    EXPECT_EQ(bad, 0);
    EXPECT_EQ(count, writers * lines_each);
    EXPECT_EQ(seen.size(), expected.size());
    EXPECT_EQ(text.back(), '\n');
}

TEST_F(TraceTest, FourThreadsWriteWholeLines)
{
    use_log_file(log_);
    constexpr int kThreads = 4;
    constexpr int kLines = 250;
    std::atomic<int> ready{0};
    std::vector<std::thread> threads;
    for (int w = 0; w < kThreads; ++w)
        threads.emplace_back([w, &ready] {
            std::string tag = "writer" + std::to_string(w);
            ready++;
            while (ready < kThreads) {
            }
            for (int n = 0; n < kLines; ++n) {
                std::string payload = thread_payload(w, n);
                log_message(tag.c_str(), n, 1, "%s|%I", payload.c_str(), n);
            }
        });
    for (std::thread &t : threads)
        t.join();
    // "%s" prints the pointer first: strip "0x...->" to compare payloads.
    std::string text = read_file(log_);
    std::string cleaned;
    std::istringstream in(text);
    std::string line;
    while (std::getline(in, line)) {
        size_t colon = line.find(':');
        size_t arrow = line.find("->");
        if (colon != std::string::npos && arrow != std::string::npos && arrow > colon)
            line = line.substr(0, colon + 1) + line.substr(arrow + 2);
        cleaned += line + "\n";
    }
    check_whole_lines(cleaned, kThreads, kLines, [](int) { return pid_text(); });
}

TEST_F(TraceTest, SeveralProcessesWriteWholeLines)
{
    use_log_file(log_);
    constexpr int kProcesses = 3;
    constexpr int kLines = 200;
    std::vector<pid_t> children;
    for (int w = 0; w < kProcesses; ++w) {
        pid_t child = fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            std::string tag = "writer" + std::to_string(w);
            for (int n = 0; n < kLines; ++n) {
                std::string payload = thread_payload(w, n);
                log_message(tag.c_str(), n, 1, "%S|%I", payload.c_str(), -3, n);
            }
            _exit(0);
        }
        children.push_back(child);
    }
    for (pid_t child : children) {
        int status = 0;
        ASSERT_EQ(waitpid(child, &status, 0), child);
        ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    }
    // "%S" with SQL_NTS quotes the text and adds "{SQL_NTS}": undo that.
    std::string text = read_file(log_);
    std::string cleaned;
    std::istringstream in(text);
    std::string line;
    while (std::getline(in, line)) {
        size_t q1 = line.find(":\"");
        size_t q2 = line.find("\"{SQL_NTS}|");
        if (q1 != std::string::npos && q2 != std::string::npos)
            line = line.substr(0, q1 + 1) + line.substr(q1 + 2, q2 - q1 - 2) +
                   line.substr(q2 + 10);
        cleaned += line + "\n";
    }
    check_whole_lines(cleaned, kProcesses, kLines, [&children](int w) {
        return std::to_string(static_cast<int>(children[w]));
    });
}

// ---- what changes between two lines ----

// Relative paths are resolved against the current directory of each line:
// a line after chdir() reads the profile of its new directory.
TEST_F(TraceTest, ChangingDirectoryReadsThatDirectorysProfile)
{
    ASSERT_EQ(mkdir("a", 0700), 0);
    ASSERT_EQ(mkdir("b", 0700), 0);
    write_file("a/odbc.ini", "{settings}\nlog_file = a.log\n");
    write_file("b/odbc.ini", "{settings}\nlog_file = b.log\n");
    ASSERT_EQ(chdir("a"), 0);
    log_message("t", 1, 1, "one");
    log_message("t", 2, 1, "two");
    ASSERT_EQ(chdir("../b"), 0);
    log_message("t", 3, 1, "three");
    ASSERT_EQ(chdir(".."), 0);
    StderrCapture capture;  // no profile here
    log_message("t", 4, 1, "four");
    ASSERT_EQ(chdir("a"), 0);
    log_message("t", 5, 1, "five");
    EXPECT_EQ(read_file(dir_ + "/a/a.log"),
              header("t", "0001") + "one\n" + header("t", "0002") + "two\n" +
                  header("t", "0005") + "five\n");
    EXPECT_EQ(read_file(dir_ + "/b/b.log"), header("t", "0003") + "three\n");
    EXPECT_EQ(capture.text(), header("t", "0004") + "four\n");
}

// A profile rewritten in place, to the same size and at once, is read
// again at the next line.
TEST_F(TraceTest, ProfileRewrittenInPlaceTakesEffectAtTheNextLine)
{
    write_file("odbc.ini", "{settings}\nlog_file = one.log\n");
    log_message("t", 1, 1, "1");
    log_message("t", 2, 1, "2");
    int fd = open("odbc.ini", O_WRONLY);
    ASSERT_GE(fd, 0);
    const std::string text = "{settings}\nlog_file = two.log\n";
    ASSERT_EQ(pwrite(fd, text.data(), text.size(), 0), static_cast<ssize_t>(text.size()));
    close(fd);
    log_message("t", 3, 1, "3");
    EXPECT_EQ(read_file("one.log"), header("t", "0001") + "1\n" + header("t", "0002") + "2\n");
    EXPECT_EQ(read_file("two.log"), header("t", "0003") + "3\n");
}

// A profile reached through a symbolic link: a new target, and a change of
// the target's contents, each take effect at the next line.
TEST_F(TraceTest, ProfileThroughASymbolicLinkFollowsTheLink)
{
    write_file("first.ini", "{settings}\nlog_file = one.log\n");
    write_file("second.ini", "{settings}\nlog_file = two.log\n");
    ASSERT_EQ(symlink("first.ini", "odbc.ini"), 0);
    log_message("t", 1, 1, "1");
    log_message("t", 2, 1, "2");
    ASSERT_EQ(symlink("second.ini", "odbc.ini.new"), 0);
    ASSERT_EQ(rename("odbc.ini.new", "odbc.ini"), 0);
    log_message("t", 3, 1, "3");
    write_file("second.ini", "{settings}\nlog_file = three.log\n");
    log_message("t", 4, 1, "4");
    log_message("t", 5, 1, "5");
    EXPECT_EQ(read_file("one.log"), header("t", "0001") + "1\n" + header("t", "0002") + "2\n");
    EXPECT_EQ(read_file("two.log"), header("t", "0003") + "3\n");
    EXPECT_EQ(read_file("three.log"), header("t", "0004") + "4\n" + header("t", "0005") + "5\n");
}

// The log's directory renamed away, and another put in its place: the next
// line goes to the file the path names now.
TEST_F(TraceTest, LogDirectoryRenamedAwayIsFollowedByName)
{
    ASSERT_EQ(mkdir("logs", 0700), 0);
    use_log_file(dir_ + "/logs/trace.log");
    log_message("t", 1, 1, "1");
    log_message("t", 2, 1, "2");
    ASSERT_EQ(rename("logs", "old-logs"), 0);
    ASSERT_EQ(mkdir("logs", 0700), 0);
    log_message("t", 3, 1, "3");
    ASSERT_EQ(rename("logs", "newer-logs"), 0);
    ASSERT_EQ(rename("old-logs", "logs"), 0);
    log_message("t", 4, 1, "4");
    EXPECT_EQ(read_file("logs/trace.log"),
              header("t", "0001") + "1\n" + header("t", "0002") + "2\n" +
                  header("t", "0004") + "4\n");
    EXPECT_EQ(read_file("newer-logs/trace.log"), header("t", "0003") + "3\n");
}

// A directory of the profile's path that appears after a line: the line
// after it reads the profile found there.
TEST_F(TraceTest, ProfileWhoseDirectoryAppearsLaterIsRead)
{
    std::string profile_path = dir_ + "/conf/sub/app.ini";
    ProfileHandle *profile = open_registry();
    ASSERT_NE(profile, nullptr);
    set_config(profile, profile_path.c_str());
    auto line = [profile](int32_t number, const char *format, ...) {
        va_list arguments;
        va_start(arguments, format);
        _log_message("t", number, 1, profile, format, arguments);
        va_end(arguments);
    };
    StderrCapture capture;
    line(1, "1");
    ASSERT_EQ(mkdir("conf", 0700), 0);
    line(2, "2");
    ASSERT_EQ(mkdir("conf/sub", 0700), 0);
    write_file(profile_path, "{settings}\nlog_file = " + log_ + "\n");
    line(3, "3");
    close_registry(profile);
    EXPECT_EQ(capture.text(), header("t", "0001") + "1\n" + header("t", "0002") + "2\n");
    EXPECT_EQ(read_file(log_), header("t", "0003") + "3\n");
}

// Lines through two profile handles in turn each go to their own log.
TEST_F(TraceTest, TwoProfilesInTurnEachKeepTheirLog)
{
    ProfileHandle *profiles[2];
    std::string logs[2];
    for (int n = 0; n < 2; ++n) {
        std::string path = dir_ + "/p" + std::to_string(n) + ".ini";
        logs[n] = dir_ + "/p" + std::to_string(n) + ".log";
        write_file(path, "{settings}\nlog_file = " + logs[n] + "\n");
        profiles[n] = open_registry();
        ASSERT_NE(profiles[n], nullptr);
        set_config(profiles[n], path.c_str());
    }
    std::string expected[2];
    for (int32_t number = 1; number <= 6; ++number) {
        int n = number % 2;
        auto call = [&](const char *format, ...) {
            va_list arguments;
            va_start(arguments, format);
            _log_message("t", number, 1, profiles[n], format, arguments);
            va_end(arguments);
        };
        call("%I", number);
        char digits[8];
        snprintf(digits, sizeof digits, "%04d", number);
        expected[n] += header("t", digits) + std::to_string(number) + "\n";
    }
    for (int n = 0; n < 2; ++n) {
        close_registry(profiles[n]);
        EXPECT_EQ(read_file(logs[n]), expected[n]) << n;
    }
}

// A forked child writes with its own process id, and a change it makes to
// the profile is seen by the parent's next line as well (the child does
// not take the parent's notice of it).
TEST_F(TraceTest, ForkedChildUsesItsOwnIdAndLeavesTheParentsNotices)
{
    use_log_file(log_);
    log_message("t", 1, 1, "parent");
    std::string child_log = dir_ + "/child.log";
    pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        write_file(dir_ + "/odbc.ini", "{settings}\nlog_file = " + child_log + "\n");
        log_message("t", 2, 1, "child");
        _exit(0);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    log_message("t", 3, 1, "parent again");
    EXPECT_EQ(read_file(log_), header("t", "0001") + "parent\n");
    EXPECT_EQ(read_file(child_log),
              child_header(child, "t", "0002") + "child\n" + header("t", "0003") +
                  "parent again\n");
}

// A log reached through a symbolic link to a directory: a new target takes
// the next line.
TEST_F(TraceTest, LogThroughALinkedDirectoryFollowsTheLink)
{
    ASSERT_EQ(mkdir("first", 0700), 0);
    ASSERT_EQ(mkdir("second", 0700), 0);
    ASSERT_EQ(symlink("first", "logs"), 0);
    use_log_file("logs/trace.log");
    log_message("t", 1, 1, "1");
    log_message("t", 2, 1, "2");
    ASSERT_EQ(symlink("second", "logs.new"), 0);
    ASSERT_EQ(rename("logs.new", "logs"), 0);
    log_message("t", 3, 1, "3");
    log_message("t", 4, 1, "4");
    EXPECT_EQ(read_file("first/trace.log"),
              header("t", "0001") + "1\n" + header("t", "0002") + "2\n");
    EXPECT_EQ(read_file("second/trace.log"),
              header("t", "0003") + "3\n" + header("t", "0004") + "4\n");
}

// With a single descriptor left, the profile is read and the log opened
// as they would be without the kept state: the line reaches the log.
TEST_F(TraceTest, OneFreeDescriptorIsEnoughForALine)
{
    std::string fresh = dir_ + "/fresh.log";
    use_log_file(fresh);
    pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        std::vector<int> taken;
        for (;;) {
            int fd = open("/dev/null", O_RDONLY);
            if (fd < 0)
                break;
            taken.push_back(fd);
        }
        if (errno != EMFILE || taken.empty())
            _exit(3);
        close(taken.back());
        log_message("t", 1, 1, "last descriptor");
        _exit(0);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFEXITED(status));
    ASSERT_EQ(WEXITSTATUS(status), 0);
    EXPECT_EQ(read_file(fresh), child_header(child, "t", "0001") + "last descriptor\n");
}

// A burst of entries made and removed beside the profile, long enough to
// overflow the kernel's queue of change notices, and the profile replaced
// after it (so that the only notice left of the change is the overflow):
// the next line still reads the new setting.
TEST_F(TraceTest, ChangeAfterAFloodOfOtherChangesIsSeen)
{
    long limit = 16384;
    if (FILE *f = fopen("/proc/sys/fs/inotify/max_queued_events", "r")) {
        if (fscanf(f, "%ld", &limit) != 1)
            limit = 16384;
        fclose(f);
    }
    if (limit > 200000)
        GTEST_SKIP() << "the notice queue is too long to flood here";
    std::string second = dir_ + "/second.log";
    use_log_file(log_);
    log_message("t", 1, 1, "1");
    log_message("t", 2, 1, "2");
    for (long n = 0; n <= limit / 2 + 16; ++n) {
        int fd = open("other", O_WRONLY | O_CREAT, 0600);
        ASSERT_GE(fd, 0);
        close(fd);
        ASSERT_EQ(unlink("other"), 0);
    }
    write_file("odbc.ini.new", "{settings}\nlog_file = " + second + "\n");
    ASSERT_EQ(rename("odbc.ini.new", "odbc.ini"), 0);
    log_message("t", 3, 1, "3");
    EXPECT_EQ(read_file(log_), header("t", "0001") + "1\n" + header("t", "0002") + "2\n");
    EXPECT_EQ(read_file(second), header("t", "0003") + "3\n");
}

// Entries of other names made, renamed and removed beside the profile and
// the log between lines change nothing; the profile's own change among
// them takes effect.
TEST_F(TraceTest, OtherEntriesBesideTheProfileChangeNothing)
{
    std::string second = dir_ + "/second.log";
    use_log_file(log_);
    std::string expected_first;
    for (int32_t n = 1; n <= 20; ++n) {
        write_file("scratch.tmp", "x");
        ASSERT_EQ(rename("scratch.tmp", "scratch.ini"), 0);
        ASSERT_EQ(unlink("scratch.ini"), 0);
        log_message("t", n, 1, "%I", n);
        char digits[8];
        snprintf(digits, sizeof digits, "%04d", n);
        expected_first += header("t", digits) + std::to_string(n) + "\n";
    }
    write_file("odbc.ini.new", "{settings}\nlog_file = " + second + "\n");
    write_file("unrelated.ini", "{settings}\nlog_file = " + log_ + "\n");
    ASSERT_EQ(rename("odbc.ini.new", "odbc.ini"), 0);
    log_message("t", 21, 1, "21");
    EXPECT_EQ(read_file(log_), expected_first);
    EXPECT_EQ(read_file(second), header("t", "0021") + "21\n");
}

// A log path through a file, or ending in "/", cannot be opened: its lines
// go to standard error, and a log put in place later takes the next line.
TEST_F(TraceTest, LogPathThroughAFileGoesToStandardErrorUntilItCanBeOpened)
{
    write_file("blocker", "not a directory\n");
    use_log_file("blocker/trace.log");
    {
        StderrCapture capture;
        log_message("t", 1, 1, "1");
        log_message("t", 2, 1, "2");
        EXPECT_EQ(capture.text(), header("t", "0001") + "1\n" + header("t", "0002") + "2\n");
    }
    use_log_file("logs/");
    {
        StderrCapture capture;
        log_message("t", 3, 1, "3");
        EXPECT_EQ(capture.text(), header("t", "0003") + "3\n");
    }
    ASSERT_EQ(unlink("blocker"), 0);
    ASSERT_EQ(mkdir("blocker", 0700), 0);
    use_log_file("blocker/trace.log");
    log_message("t", 4, 1, "4");
    EXPECT_EQ(read_file("blocker/trace.log"), header("t", "0004") + "4\n");
}

// A log deeper than the watches reach is still followed: a new file put at
// its path takes the next line.
TEST_F(TraceTest, DeepLogPathIsFollowed)
{
    std::string path = "d";
    for (int n = 0; n < 70; ++n) {
        ASSERT_EQ(mkdir(path.c_str(), 0700), 0) << path;
        path += "/d";
    }
    // Relative, 62 components, within the 127 octets the setting keeps.
    std::string log = path.substr(0, 122) + ".log";
    ASSERT_EQ(log.back(), 'g');
    use_log_file(log);
    log_message("t", 1, 1, "1");
    ASSERT_EQ(rename(log.c_str(), (log + ".old").c_str()), 0);
    log_message("t", 2, 1, "2");
    EXPECT_EQ(read_file(log + ".old"), header("t", "0001") + "1\n");
    EXPECT_EQ(read_file(log), header("t", "0002") + "2\n");
}

}  // namespace
