// Tests of long buffers: temporary files in the configured blob_path
// directory (through a real odbc.ini), appends, piecewise extraction with
// the ODBC return codes, the 16-bit variant, clones, release through
// values, and the thin stream wrappers.
#include <gtest/gtest.h>

#include <dirent.h>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "kxsupp/config.h"
#include "kxsupp/memory.h"
#include "kxsupp/values.h"
#include "memory/memsys_internal.h"
#include "support/kx_test_files.h"

namespace {

using kxtest::write_file;

// A private directory for the blob files of one test.
std::string make_temp_dir() { return kxtest::make_temp_dir("kx_longvar_"); }

// Names in a directory other than "." and "..".
std::vector<std::string> entries(const std::string &dir) { return kxtest::directory_entries(dir); }

bool fd_is_open(int fd)
{
    return fcntl(fd, F_GETFD) != -1 || errno != EBADF;
}

class LongvarTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        config_dir = make_temp_dir();
        blob_dir = make_temp_dir();
        ini_path = config_dir + "/odbc.ini";
        write_file(ini_path, "# long data\n{default}\nblob_path = " + blob_dir +
                                 "\n[Sales]\nblob_path = " + config_dir + "\n");
        config = open_registry();
        ASSERT_NE(config, nullptr);
        set_config(config, ini_path.c_str());
        handle = kx_mem_alloc_handle(nullptr);
        ASSERT_NE(handle, nullptr);
    }
    void TearDown() override
    {
        kx_mem_release_handle(handle);
        close_registry(config);
        for (const std::string &d : {config_dir, blob_dir}) {
            for (const std::string &name : entries(d))
                unlink((d + "/" + name).c_str());
            rmdir(d.c_str());
        }
    }

    LongBuffer *filled(const char *data, int32_t sql_type = -1)
    {
        LongBuffer *lb = allocate_long_buffer(handle, 0, 0, config, sql_type);
        EXPECT_NE(lb, nullptr);
        if (lb == nullptr)
            return nullptr;
        EXPECT_EQ(append_to_long_buffer(lb, data, static_cast<int32_t>(std::strlen(data))), 0);
        EXPECT_EQ(rewind_long_buffer(lb), 0);
        return lb;
    }

public:
    std::string config_dir, blob_dir, ini_path;
    ProfileHandle *config = nullptr;
    MemHandle *handle = nullptr;
    LongBuffer *source = nullptr;
};

std::string expected_name(const std::string &dir, uint32_t counter)
{
    char name[256];
    std::snprintf(name, sizeof name, "%s/blob%05x%05x.tmp", dir.c_str(),
                  static_cast<unsigned>(getpid()), counter);
    return name;
}

TEST_F(LongvarTest, AllocationCreatesAnUnlinkedFileInBlobPath)
{
    LongBuffer *lb = allocate_long_buffer(handle, 11, 22, config, -1);
    ASSERT_NE(lb, nullptr);
    EXPECT_EQ(lb->mem_handle, handle);
    EXPECT_EQ(lb->user1, 11);
    EXPECT_EQ(lb->user2, 22);
    EXPECT_EQ(lb->config, config);
    EXPECT_EQ(lb->sql_type, -1);
    EXPECT_EQ(lb->position_high, 0u);
    EXPECT_EQ(lb->position_low, 0u);
    EXPECT_EQ(lb->total_length, 0);
    EXPECT_EQ(lb->null_flag, 0);
    ASSERT_NE(lb->stream, nullptr);

    std::string name = lb->file_name;
    std::string prefix = blob_dir + "/blob";
    ASSERT_EQ(name.compare(0, prefix.size(), prefix), 0) << name;
    ASSERT_EQ(name.size(), prefix.size() + 10 + 4) << name;
    EXPECT_EQ(name.substr(name.size() - 4), ".tmp");
    char pid[16];
    std::snprintf(pid, sizeof pid, "%05x", static_cast<unsigned>(getpid()));
    uint32_t counter = static_cast<uint32_t>(
        std::strtoul(name.substr(prefix.size() + std::strlen(pid), name.size() - prefix.size() - std::strlen(pid) - 4).c_str(), nullptr, 16));
    EXPECT_EQ(name, expected_name(blob_dir, counter));
    // unlinked at once: the directory stays empty while the file is open
    EXPECT_TRUE(entries(blob_dir).empty());
    struct stat st;
    EXPECT_EQ(stat(name.c_str(), &st), -1);
}

TEST_F(LongvarTest, SuccessiveNamesDifferInTheCounterDigits)
{
    LongBuffer *a = allocate_long_buffer(handle, 0, 0, config, -1);
    LongBuffer *b = allocate_long_buffer(handle, 0, 0, config, -1);
    ASSERT_NE(a, nullptr);
    ASSERT_NE(b, nullptr);
    std::string na = a->file_name, nb = b->file_name;
    ASSERT_EQ(na.size(), nb.size());
    size_t tail = na.size() - 4 - 5;  // the last five hexadecimal digits
    EXPECT_EQ(na.substr(0, tail), nb.substr(0, tail));
    EXPECT_NE(na.substr(tail), nb.substr(tail));
    uint32_t ca = static_cast<uint32_t>(std::strtoul(na.substr(tail, 5).c_str(), nullptr, 16));
    uint32_t cb = static_cast<uint32_t>(std::strtoul(nb.substr(tail, 5).c_str(), nullptr, 16));
    EXPECT_EQ(cb, ca + 1);
}

TEST_F(LongvarTest, TheDataSourceSectionGivesTheDirectory)
{
    set_dsn(config, "Sales");
    LongBuffer *lb = allocate_long_buffer(handle, 0, 0, config, -1);
    ASSERT_NE(lb, nullptr);
    std::string prefix = config_dir + "/blob";
    EXPECT_EQ(std::string(lb->file_name).compare(0, prefix.size(), prefix), 0)
        << lb->file_name;
}

TEST_F(LongvarTest, AllocationFailsWhenTheDirectoryIsMissing)
{
    write_file(ini_path, "{default}\nblob_path = " + blob_dir + "/missing\n");
    EXPECT_EQ(allocate_long_buffer(handle, 0, 0, config, -1), nullptr);
    EXPECT_EQ(handle->first_block, nullptr);  // the record was freed
}

TEST_F(LongvarTest, OpenBufferNamesAndUnlinksItsFile)
{
    char name[KX_LONG_FILE_NAME_SIZE];
    FILE *f = open_buffer(config, name);
    ASSERT_NE(f, nullptr);
    EXPECT_EQ(std::string(name).compare(0, blob_dir.size() + 5, blob_dir + "/blob"), 0);
    EXPECT_TRUE(entries(blob_dir).empty());
    EXPECT_EQ(file_write("abc", 3, f), 3u);
    EXPECT_EQ(file_seek(f, 0, 0), 0);
    char back[4] = {};
    EXPECT_EQ(file_read(back, 3, f), 3u);
    EXPECT_STREQ(back, "abc");
    EXPECT_EQ(file_close(f), 0);
}

TEST_F(LongvarTest, AnOverlongDirectoryIsRefused)
{
    std::string deep = blob_dir + "/" + std::string(120, 'd');
    write_file(ini_path, "{default}\nblob_path = " + deep + "\n");
    char name[KX_LONG_FILE_NAME_SIZE];
    EXPECT_EQ(open_buffer(config, name), nullptr);
    EXPECT_EQ(allocate_long_buffer(handle, 0, 0, config, -1), nullptr);
}

// The counter value in a temporary file's name.
uint32_t counter_of(const std::string &name)
{
    return static_cast<uint32_t>(std::strtoul(name.substr(name.size() - 4 - 5, 5).c_str(), nullptr, 16));
}

// A stale file under the next name (left by an earlier process with the same
// id) is neither opened nor touched: the buffer takes the name after it.
TEST_F(LongvarTest, AStaleFileOfTheNextNameIsPassedOver)
{
    char name[KX_LONG_FILE_NAME_SIZE];
    FILE *probe = open_buffer(config, name);
    ASSERT_NE(probe, nullptr);
    std::fclose(probe);
    const uint32_t next = counter_of(name) + 1;
    const std::string stale = expected_name(blob_dir, next);
    write_file(stale, "stale");

    LongBuffer *lb = allocate_long_buffer(handle, 0, 0, config, -1);
    ASSERT_NE(lb, nullptr);
    EXPECT_EQ(std::string(lb->file_name), expected_name(blob_dir, next + 1));
    EXPECT_EQ(kxtest::read_file(stale), "stale");
    EXPECT_EQ(entries(blob_dir), std::vector<std::string>{stale.substr(blob_dir.size() + 1)});
    EXPECT_EQ(append_to_long_buffer(lb, "fresh", 5), 0);
    EXPECT_EQ(rewind_long_buffer(lb), 0);
    char out[8];
    int32_t remaining = 0;
    EXPECT_EQ(extract_from_long_buffer(lb, out, 8, &remaining, 0), 0);
    EXPECT_STREQ(out, "fresh");
    EXPECT_EQ(remaining, 5);
}

// When every name it tries is taken, no file can be created: the buffer is
// not made and the stale files stay as they were.
TEST_F(LongvarTest, NoBufferWhenEveryNameIsTaken)
{
    char name[KX_LONG_FILE_NAME_SIZE];
    FILE *probe = open_buffer(config, name);
    ASSERT_NE(probe, nullptr);
    std::fclose(probe);
    const uint32_t next = counter_of(name) + 1;
    constexpr uint32_t kStale = 256;
    for (uint32_t i = 0; i < kStale; i++)
        write_file(expected_name(blob_dir, next + i), "stale");

    MemBlock *head = handle->first_block;
    EXPECT_EQ(allocate_long_buffer(handle, 0, 0, config, -1), nullptr);
    EXPECT_EQ(handle->first_block, head);
    EXPECT_EQ(entries(blob_dir).size(), kStale);
    EXPECT_EQ(kxtest::read_file(expected_name(blob_dir, next)), "stale");
}

// Runs body in a child process that may open no further descriptor and
// returns body's result as the child's exit status.
int in_child_without_descriptors(int (*body)(LongvarTest *), LongvarTest *test)
{
    std::fflush(nullptr);
    pid_t pid = fork();
    if (pid < 0)
        return -1;
    if (pid == 0) {
        int lowest = dup(0);
        if (lowest < 0)
            _exit(100);
        close(lowest);
        struct rlimit before;
        if (getrlimit(RLIMIT_NOFILE, &before) != 0)
            _exit(101);
        struct rlimit none = {static_cast<rlim_t>(lowest), before.rlim_max};
        if (setrlimit(RLIMIT_NOFILE, &none) != 0)
            _exit(102);
        int result = body(test);
        setrlimit(RLIMIT_NOFILE, &before);
        std::exit(result);  // exit(), so that a coverage build writes its counts
    }
    int status = 0;
    waitpid(pid, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// Without a free descriptor no temporary file can be made, and a stream
// cannot be duplicated.
TEST_F(LongvarTest, NoFreeDescriptor)
{
    LongBuffer *lb = filled("data");
    ASSERT_NE(lb, nullptr);
    source = lb;
    int status = in_child_without_descriptors(
        [](LongvarTest *test) {
            MemBlock *head = test->handle->first_block;
            if (allocate_long_buffer(test->handle, 0, 0, test->config, -1) != nullptr)
                return 1;
            if (test->handle->first_block != head)
                return 2;
            char name[KX_LONG_FILE_NAME_SIZE];
            if (open_buffer(test->config, name) != nullptr)
                return 3;
            if (file_dup(test->source->stream) != nullptr)
                return 4;
            if (!entries(test->blob_dir).empty())
                return 5;
            return 0;
        },
        this);
    EXPECT_EQ(status, 0);
}

TEST_F(LongvarTest, TextExtractionInPieces)
{
    LongBuffer *lb = filled("0123456789");
    ASSERT_NE(lb, nullptr);
    EXPECT_EQ(long_buffer_length(lb), 10);
    struct Step {
        int32_t result;
        int32_t remaining;
        const char *text;
    } const steps[] = {
        {1, 10, "012"}, {1, 7, "345"}, {1, 4, "678"}, {0, 1, "9"},
    };
    for (const Step &s : steps) {
        char buf[4];
        std::memset(buf, '#', sizeof buf);
        int32_t remaining = -99;
        EXPECT_EQ(extract_from_long_buffer(lb, buf, 4, &remaining, 0), s.result);
        EXPECT_EQ(remaining, s.remaining);
        EXPECT_STREQ(buf, s.text);
    }
    // everything delivered: no data left
    char buf[4] = "xyz";
    int32_t remaining = -99;
    EXPECT_EQ(extract_from_long_buffer(lb, buf, 4, &remaining, 0), 0);
    EXPECT_EQ(remaining, 0);
    EXPECT_STREQ(buf, "");
}

TEST_F(LongvarTest, BinaryExtractionInPieces)
{
    LongBuffer *lb = filled("0123456789", -4);
    ASSERT_NE(lb, nullptr);
    struct Step {
        int32_t result;
        int32_t remaining;
        const char *octets;
    } const steps[] = {
        {1, 10, "0123"}, {1, 6, "4567"}, {0, 2, "89"},
    };
    for (const Step &s : steps) {
        char buf[5];
        std::memset(buf, '#', sizeof buf);
        int32_t remaining = -99;
        EXPECT_EQ(extract_from_long_buffer(lb, buf, 4, &remaining, 1), s.result);
        EXPECT_EQ(remaining, s.remaining);
        size_t n = std::strlen(s.octets);
        EXPECT_EQ(std::string(buf, n), s.octets);
        EXPECT_EQ(buf[n], '#');  // no terminator
    }
}

TEST_F(LongvarTest, WholeExtractionAndRewind)
{
    LongBuffer *lb = filled("hello");
    ASSERT_NE(lb, nullptr);
    char buf[64];
    int32_t remaining = 0;
    EXPECT_EQ(extract_from_long_buffer(lb, buf, sizeof buf, &remaining, 0), 0);
    EXPECT_EQ(remaining, 5);
    EXPECT_STREQ(buf, "hello");
    EXPECT_EQ(lb->position_low, 5u);
    EXPECT_EQ(rewind_long_buffer(lb), 0);
    EXPECT_EQ(lb->position_low, 0u);
    // size exactly the length: one octet short of room for the terminator
    EXPECT_EQ(extract_from_long_buffer(lb, buf, 5, &remaining, 0), 1);
    EXPECT_EQ(remaining, 5);
    EXPECT_STREQ(buf, "hell");
    EXPECT_EQ(extract_from_long_buffer(lb, buf, 5, nullptr, 0), 0);
    EXPECT_STREQ(buf, "o");
}

TEST_F(LongvarTest, NoRoomReportsTheLengthOnly)
{
    LongBuffer *lb = filled("hello");
    ASSERT_NE(lb, nullptr);
    int32_t remaining = 0;
    EXPECT_EQ(extract_from_long_buffer(lb, nullptr, 100, &remaining, 0), 1);
    EXPECT_EQ(remaining, 5);
    char buf[1] = {'#'};
    EXPECT_EQ(extract_from_long_buffer(lb, buf, 0, &remaining, 0), 1);
    EXPECT_EQ(remaining, 5);
    EXPECT_EQ(buf[0], '#');
    EXPECT_EQ(extract_from_long_buffer(lb, buf, 1, &remaining, 0), 1);
    EXPECT_EQ(buf[0], '\0');
    EXPECT_EQ(lb->position_low, 0u);
    EXPECT_EQ(extract_from_long_buffer(lb, buf, 0, &remaining, 1), 1);
    EXPECT_EQ(lb->position_low, 0u);
}

TEST_F(LongvarTest, NullLongValue)
{
    LongBuffer *lb = allocate_long_buffer(handle, 0, 0, config, -1);
    ASSERT_NE(lb, nullptr);
    lb->null_flag = 1;
    char buf[8] = "xyz";
    int32_t remaining = 5;
    EXPECT_EQ(extract_from_long_buffer(lb, buf, sizeof buf, &remaining, 0), 0);
    EXPECT_EQ(remaining, -1);
    EXPECT_EQ(lb->position_low, 1u);
    EXPECT_EQ(extract_from_long_buffer(lb, buf, sizeof buf, &remaining, 0), 0);
    EXPECT_EQ(remaining, 0);
    EXPECT_STREQ(buf, "xyz");  // nothing written
    uint16_t wbuf[4] = {7, 7, 7, 7};
    lb->position_low = 0;
    EXPECT_EQ(extract_from_long_nbuffer(lb, wbuf, 4, &remaining, 0), 0);
    EXPECT_EQ(remaining, -1);
    EXPECT_EQ(wbuf[0], 7);
}

TEST_F(LongvarTest, WideExtractionSignExtendsEachOctet)
{
    const char data[] = "caf\xE9 \x7F\x80!";
    LongBuffer *lb = filled(data);
    ASSERT_NE(lb, nullptr);
    uint16_t wbuf[5];
    int32_t remaining = 0;
    EXPECT_EQ(extract_from_long_nbuffer(lb, wbuf, 5, &remaining, 0), 1);
    EXPECT_EQ(remaining, 8);
    const uint16_t first[] = {'c', 'a', 'f', 0xFFE9, 0};
    for (int i = 0; i < 5; i++)
        EXPECT_EQ(wbuf[i], first[i]) << i;
    EXPECT_EQ(extract_from_long_nbuffer(lb, wbuf, 5, &remaining, 0), 0);
    EXPECT_EQ(remaining, 4);
    const uint16_t second[] = {' ', 0x7F, 0xFF80, '!', 0};
    for (int i = 0; i < 5; i++)
        EXPECT_EQ(wbuf[i], second[i]) << i;

    rewind_long_buffer(lb);
    uint16_t bin[4] = {1, 1, 1, 1};
    EXPECT_EQ(extract_from_long_nbuffer(lb, bin, 3, &remaining, 1), 1);
    EXPECT_EQ(bin[0], 'c');
    EXPECT_EQ(bin[2], 'f');
    EXPECT_EQ(bin[3], 1);  // no terminator
}

TEST_F(LongvarTest, AShortReadIsAnErrorAndKeepsThePosition)
{
    LongBuffer *lb = filled("abcdef");
    ASSERT_NE(lb, nullptr);
    // the file holds fewer octets than the buffer counts
    lb->total_length = 20;
    char buf[64];
    int32_t remaining = 0;
    EXPECT_EQ(extract_from_long_buffer(lb, buf, sizeof buf, &remaining, 0), -1);
    EXPECT_EQ(lb->position_low, 0u);
    rewind_long_buffer(lb);
    EXPECT_EQ(extract_from_long_buffer(lb, buf, 10, &remaining, 0), -1);
    EXPECT_EQ(remaining, 20);
    EXPECT_EQ(lb->position_low, 0u);
    uint16_t wbuf[64];
    rewind_long_buffer(lb);
    EXPECT_EQ(extract_from_long_nbuffer(lb, wbuf, 64, &remaining, 0), -1);
}

TEST_F(LongvarTest, AppendsAccumulate)
{
    LongBuffer *lb = allocate_long_buffer(handle, 0, 0, config, -1);
    ASSERT_NE(lb, nullptr);
    EXPECT_EQ(append_to_long_buffer(lb, "abc", KX_NTS), 0);
    EXPECT_EQ(append_to_long_buffer(lb, "defgh", 2), 0);
    EXPECT_EQ(append_to_long_buffer(lb, "", KX_NTS), 0);
    EXPECT_EQ(long_buffer_length(lb), 5);
    rewind_long_buffer(lb);
    char buf[16];
    EXPECT_EQ(extract_from_long_buffer(lb, buf, sizeof buf, nullptr, 0), 0);
    EXPECT_STREQ(buf, "abcde");

    // a large value through many pieces
    LongBuffer *big = allocate_long_buffer(handle, 0, 0, config, -4);
    std::string data;
    for (int i = 0; i < 100000; i++)
        data.push_back(static_cast<char>(i * 7));
    for (size_t at = 0; at < data.size(); at += 1000)
        append_to_long_buffer(big, data.data() + at, 1000);
    EXPECT_EQ(long_buffer_length(big), 100000);
    rewind_long_buffer(big);
    std::string back;
    int32_t result;
    char piece[4096];
    int32_t remaining = 0;
    int32_t expected_remaining = 100000;
    do {
        result = extract_from_long_buffer(big, piece, sizeof piece, &remaining, 1);
        ASSERT_GE(result, 0);
        EXPECT_EQ(remaining, expected_remaining);
        size_t got = result == 1 ? sizeof piece : static_cast<size_t>(remaining);
        back.append(piece, got);
        expected_remaining -= static_cast<int32_t>(got);
    } while (result == 1);
    EXPECT_EQ(back, data);
}

TEST_F(LongvarTest, NtsOnALongBinaryAborts)
{
    LongBuffer *lb = allocate_long_buffer(handle, 0, 0, config, -4);
    ASSERT_NE(lb, nullptr);
    EXPECT_EXIT(append_to_long_buffer(lb, "abc", KX_NTS),
                ::testing::KilledBySignal(SIGABRT), "");
}

// The same abort seen by a SIGABRT handler that leaves through exit(), so
// that an instrumented build also writes the dying child's counts.
[[noreturn]] void exit_on_abort(int)
{
    std::exit(42);
}

TEST_F(LongvarTest, NtsOnALongBinaryRaisesSigabrt)
{
    LongBuffer *lb = allocate_long_buffer(handle, 0, 0, config, -4);
    ASSERT_NE(lb, nullptr);
    EXPECT_EXIT(
        {
            std::signal(SIGABRT, exit_on_abort);
            append_to_long_buffer(lb, "abc", KX_NTS);
            std::exit(0);
        },
        ::testing::ExitedWithCode(42), "");
    // A long character buffer takes the length of the text.
    LongBuffer *text = allocate_long_buffer(handle, 0, 0, config, -1);
    ASSERT_NE(text, nullptr);
    EXPECT_EQ(append_to_long_buffer(text, "abc", KX_NTS), 0);
    EXPECT_EQ(long_buffer_length(text), 3);
}

TEST_F(LongvarTest, CloneInTheSameHandleTakesAReference)
{
    LongBuffer *lb = filled("shared");
    ASSERT_NE(lb, nullptr);
    EXPECT_EQ(kx::mem_block_of(lb)->ref_count, 1);
    EXPECT_EQ(clone_long_buffer(lb, handle), lb);
    EXPECT_EQ(kx::mem_block_of(lb)->ref_count, 2);
    int fd = fileno(lb->stream);
    kx_mem_free(handle, lb);
    EXPECT_TRUE(fd_is_open(fd));  // one reference left
    kx_mem_free(handle, lb);
    EXPECT_FALSE(fd_is_open(fd));  // the last one closed the file
}

TEST_F(LongvarTest, CloneInAnotherHandleSharesTheFileAndItsOffset)
{
    LongBuffer *lb = allocate_long_buffer(handle, 3, 4, config, -1);
    ASSERT_NE(lb, nullptr);
    append_to_long_buffer(lb, "0123456789", 10);
    rewind_long_buffer(lb);
    std::memcpy(lb->area, "area text", 10);
    char buf[8];
    EXPECT_EQ(extract_from_long_buffer(lb, buf, 4, nullptr, 0), 1);  // "012"

    MemHandle *other = kx_mem_alloc_handle(nullptr);
    LongBuffer *copy = clone_long_buffer(lb, other);
    ASSERT_NE(copy, nullptr);
    EXPECT_NE(copy, lb);
    EXPECT_EQ(copy->mem_handle, other);
    EXPECT_EQ(copy->user1, 3);
    EXPECT_EQ(copy->user2, 4);
    EXPECT_EQ(copy->config, config);
    EXPECT_EQ(copy->total_length, 10);
    EXPECT_EQ(copy->position_low, 3u);
    EXPECT_STREQ(copy->area, "area text");
    EXPECT_NE(copy->stream, lb->stream);
    EXPECT_NE(std::string(copy->file_name), std::string(lb->file_name));
    EXPECT_TRUE(entries(blob_dir).empty());

    int32_t remaining = 0;
    EXPECT_EQ(extract_from_long_buffer(copy, buf, 4, &remaining, 0), 1);
    EXPECT_EQ(remaining, 7);
    EXPECT_STREQ(buf, "345");
    // the source's descriptor shares the offset the clone moved
    EXPECT_EQ(lseek(fileno(lb->stream), 0, SEEK_CUR),
              lseek(fileno(copy->stream), 0, SEEK_CUR));

    // releasing one handle keeps the other's data
    kx_mem_release_handle(other);
    rewind_long_buffer(lb);
    EXPECT_EQ(extract_from_long_buffer(lb, buf, 8, nullptr, 0), 1);
    EXPECT_STREQ(buf, "0123456");
}

TEST_F(LongvarTest, CloneSeesDataStillBufferedInTheSource)
{
    LongBuffer *lb = allocate_long_buffer(handle, 0, 0, config, -1);
    ASSERT_NE(lb, nullptr);
    append_to_long_buffer(lb, "pending", KX_NTS);  // not flushed yet
    MemHandle *other = kx_mem_alloc_handle(nullptr);
    LongBuffer *copy = clone_long_buffer(lb, other);
    ASSERT_NE(copy, nullptr);
    rewind_long_buffer(copy);
    char buf[16];
    EXPECT_EQ(extract_from_long_buffer(copy, buf, sizeof buf, nullptr, 0), 0);
    EXPECT_STREQ(buf, "pending");
    kx_mem_release_handle(other);
}

TEST_F(LongvarTest, LongValuesDuplicateAndReleaseTheirBuffers)
{
    LongBuffer *lb = filled("long text");
    ASSERT_NE(lb, nullptr);
    int fd = fileno(lb->stream);
    Value *v = static_cast<Value *>(newNode(sizeof(Value), NODE_VALUE, handle));
    v->type = VALUE_LONG_STRING;
    v->long_buffer = lb;

    // a copy in the same handle takes a reference on the same buffer
    Value *same = duplicate_value(handle, v);
    ASSERT_NE(same, nullptr);
    EXPECT_EQ(same->long_buffer, lb);
    EXPECT_EQ(kx::mem_block_of(lb)->ref_count, 2);

    // a copy in another handle gets its own record on the same file
    MemHandle *other = kx_mem_alloc_handle(nullptr);
    Value *far = duplicate_value(other, v);
    ASSERT_NE(far, nullptr);
    ASSERT_NE(far->long_buffer, nullptr);
    EXPECT_NE(far->long_buffer, lb);
    EXPECT_EQ(far->long_buffer->mem_handle, other);
    EXPECT_EQ(far->long_buffer->total_length, 9);

    // sharing the value takes one more reference on the buffer
    EXPECT_EQ(duplicate_value_ex(handle, v), v);
    EXPECT_EQ(v->ref_count, 1);
    EXPECT_EQ(kx::mem_block_of(lb)->ref_count, 3);

    release_value(other, far);
    EXPECT_EQ(other->first_block, nullptr);  // value and its buffer are gone
    kx_mem_release_handle(other);

    release_value(handle, same);
    EXPECT_EQ(kx::mem_block_of(lb)->ref_count, 2);
    release_value(handle, v);  // drops the share only
    EXPECT_EQ(v->ref_count, 0);
    EXPECT_EQ(kx::mem_block_of(lb)->ref_count, 2);
    release_value(handle, v);  // frees the value and drops one reference
    EXPECT_EQ(kx::mem_block_of(lb)->ref_count, 1);
    EXPECT_TRUE(fd_is_open(fd));
    kx_mem_free(handle, lb);
    EXPECT_FALSE(fd_is_open(fd));
}

TEST_F(LongvarTest, LongBinaryValuesShareTheirBuffers)
{
    LongBuffer *lb = allocate_long_buffer(handle, 0, 0, config, -4);
    ASSERT_NE(lb, nullptr);
    append_to_long_buffer(lb, "\x01\x00\x02", 3);
    Value *v = static_cast<Value *>(newNode(sizeof(Value), NODE_VALUE, handle));
    v->type = VALUE_LONG_BINARY;
    v->long_buffer = lb;

    Value *same = duplicate_value(handle, v);
    ASSERT_NE(same, nullptr);
    EXPECT_EQ(same->long_buffer, lb);
    EXPECT_EQ(kx::mem_block_of(lb)->ref_count, 2);

    // shared: the record and the buffer each gain a holder
    EXPECT_EQ(duplicate_value_ex(handle, v), v);
    EXPECT_EQ(v->ref_count, 1);
    EXPECT_EQ(kx::mem_block_of(lb)->ref_count, 3);

    MemHandle *other = kx_mem_alloc_handle(nullptr);
    Value *far = duplicate_value(other, v);
    ASSERT_NE(far, nullptr);
    ASSERT_NE(far->long_buffer, nullptr);
    EXPECT_NE(far->long_buffer, lb);
    EXPECT_EQ(far->long_buffer->sql_type, -4);
    EXPECT_EQ(long_buffer_length(far->long_buffer), 3);
    kx_mem_release_handle(other);
    EXPECT_EQ(kx::mem_block_of(lb)->ref_count, 3);

    // each holder lets go; the last reference is the buffer's own
    release_value(handle, same);
    release_value(handle, v);
    release_value(handle, v);
    EXPECT_EQ(kx::mem_block_of(lb)->ref_count, 1);
    kx_mem_free(handle, lb);
}

TEST_F(LongvarTest, FreeLongBufferClosesTheStream)
{
    LongBuffer *lb = allocate_long_buffer(handle, 0, 0, config, -1);
    ASSERT_NE(lb, nullptr);
    int fd = fileno(lb->stream);
    EXPECT_EQ(free_long_buffer(lb), 0);
    EXPECT_EQ(lb->stream, nullptr);
    EXPECT_FALSE(fd_is_open(fd));
    EXPECT_EQ(free_long_buffer(lb), 0);  // twice is harmless
    EXPECT_EQ(free_long_buffer(nullptr), 0);
}

TEST_F(LongvarTest, FileWrappers)
{
    char name[KX_LONG_FILE_NAME_SIZE];
    FILE *f = open_buffer(config, name);
    ASSERT_NE(f, nullptr);
    EXPECT_EQ(file_write("0123456789", 10, f), 10u);
    // the high word is ignored
    EXPECT_EQ(file_seek(f, 0xFFFFFFFFu, 4), 0);
    char buf[8] = {};
    EXPECT_EQ(file_read(buf, 3, f), 3u);
    EXPECT_STREQ(buf, "456");
    EXPECT_EQ(std::ftell(f), 7);

    FILE *g = file_dup(f);
    ASSERT_NE(g, nullptr);
    EXPECT_NE(fileno(g), fileno(f));
    // one file description: a seek through one moves the other
    EXPECT_EQ(file_seek(g, 1, 1), 0);
    EXPECT_EQ(lseek(fileno(f), 0, SEEK_CUR), 1);
    char c[2] = {};
    EXPECT_EQ(file_read(c, 1, g), 1u);
    EXPECT_STREQ(c, "1");
    EXPECT_EQ(file_close(g), 0);
    EXPECT_EQ(file_close(f), 0);

    EXPECT_EQ(file_read(buf, 3, nullptr), 0u);
    EXPECT_EQ(file_write(buf, 3, nullptr), 0u);
    EXPECT_EQ(file_dup(nullptr), nullptr);
    EXPECT_EQ(file_seek(nullptr, 0, 0), -1);
    EXPECT_EQ(file_close(nullptr), EOF);
}

TEST_F(LongvarTest, WideExtractionInPieces)
{
    // the same pieces as the octet extraction, counted in units
    LongBuffer *lb = filled("0123456789");
    ASSERT_NE(lb, nullptr);
    struct Step {
        int32_t result;
        int32_t remaining;
        const char *text;
    } const steps[] = {
        {1, 10, "012"}, {1, 7, "345"}, {1, 4, "678"}, {0, 1, "9"},
    };
    for (const Step &s : steps) {
        uint16_t wbuf[5] = {0x2323, 0x2323, 0x2323, 0x2323, 0x2323};
        int32_t remaining = -99;
        EXPECT_EQ(extract_from_long_nbuffer(lb, wbuf, 4, &remaining, 0), s.result);
        EXPECT_EQ(remaining, s.remaining);
        size_t n = std::strlen(s.text);
        for (size_t i = 0; i < n; i++)
            EXPECT_EQ(wbuf[i], static_cast<uint16_t>(s.text[i])) << i;
        EXPECT_EQ(wbuf[n], 0);  // terminated
        EXPECT_EQ(wbuf[4], 0x2323);
    }

    rewind_long_buffer(lb);
    const int32_t binary_steps[][2] = {{1, 10}, {1, 6}, {0, 2}};
    const char *binary_texts[] = {"0123", "4567", "89"};
    for (int i = 0; i < 3; i++) {
        uint16_t wbuf[6] = {0x2323, 0x2323, 0x2323, 0x2323, 0x2323, 0x2323};
        int32_t remaining = -99;
        EXPECT_EQ(extract_from_long_nbuffer(lb, wbuf, 4, &remaining, 1),
                  binary_steps[i][0]);
        EXPECT_EQ(remaining, binary_steps[i][1]);
        size_t n = std::strlen(binary_texts[i]);
        for (size_t k = 0; k < n; k++)
            EXPECT_EQ(wbuf[k], static_cast<uint16_t>(binary_texts[i][k]));
        EXPECT_EQ(wbuf[n], 0x2323);  // no terminator
    }
}

TEST_F(LongvarTest, TruncationWithoutARemainingPointer)
{
    LongBuffer *lb = filled("abcdefgh");
    ASSERT_NE(lb, nullptr);
    char buf[4];
    EXPECT_EQ(extract_from_long_buffer(lb, buf, 4, nullptr, 0), 1);
    EXPECT_STREQ(buf, "abc");
    EXPECT_EQ(lb->position_low, 3u);
    EXPECT_EQ(lb->position_high, 0u);
}

TEST_F(LongvarTest, OpenBufferAndAllocationShareTheCounter)
{
    char name[KX_LONG_FILE_NAME_SIZE];
    FILE *f = open_buffer(config, name);
    ASSERT_NE(f, nullptr);
    LongBuffer *lb = allocate_long_buffer(handle, 0, 0, config, -1);
    ASSERT_NE(lb, nullptr);
    std::string a = name, b = lb->file_name;
    ASSERT_EQ(a.size(), b.size());
    uint32_t ca = static_cast<uint32_t>(
        std::strtoul(a.substr(a.size() - 9, 5).c_str(), nullptr, 16));
    EXPECT_EQ(b, expected_name(blob_dir, ca + 1));
    file_close(f);
}

TEST_F(LongvarTest, CloneOfANullLongValueInAnotherHandle)
{
    LongBuffer *lb = allocate_long_buffer(handle, 0, 0, config, -1);
    ASSERT_NE(lb, nullptr);
    lb->null_flag = -1;
    MemHandle *other = kx_mem_alloc_handle(nullptr);
    LongBuffer *copy = clone_long_buffer(lb, other);
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(copy->null_flag, -1);
    int32_t remaining = 0;
    char buf[4];
    EXPECT_EQ(extract_from_long_buffer(copy, buf, sizeof buf, &remaining, 0), 0);
    EXPECT_EQ(remaining, -1);
    EXPECT_EQ(extract_from_long_buffer(copy, buf, sizeof buf, &remaining, 0), 0);
    EXPECT_EQ(remaining, 0);
    kx_mem_release_handle(other);
}

TEST_F(LongvarTest, AppendsThatCannotBeWrittenAreIgnored)
{
    LongBuffer *lb = allocate_long_buffer(handle, 0, 0, config, -1);
    ASSERT_NE(lb, nullptr);
    EXPECT_EQ(append_to_long_buffer(lb, "abc", 0), 0);
    EXPECT_EQ(append_to_long_buffer(lb, "abc", -5), 0);
    EXPECT_EQ(append_to_long_buffer(lb, nullptr, 4), 0);
    EXPECT_EQ(append_to_long_buffer(lb, nullptr, KX_NTS), 0);
    EXPECT_EQ(long_buffer_length(lb), 0);
    EXPECT_EQ(append_to_long_buffer(nullptr, "abc", 3), 0);
}

/* ---- null arguments and buffers whose stream is gone ---- */

TEST_F(LongvarTest, NullBufferIsRefusedByEveryCall)
{
    char buf[4] = "xy";
    uint16_t wbuf[4] = {7, 7, 7, 7};
    int32_t remaining = 99;
    EXPECT_EQ(rewind_long_buffer(nullptr), -1);
    EXPECT_EQ(long_buffer_length(nullptr), 0);
    EXPECT_EQ(extract_from_long_buffer(nullptr, buf, 4, &remaining, 0), -1);
    EXPECT_EQ(extract_from_long_nbuffer(nullptr, wbuf, 4, &remaining, 0), -1);
    EXPECT_EQ(remaining, 99);
    EXPECT_STREQ(buf, "xy");
    EXPECT_EQ(wbuf[0], 7);
    EXPECT_EQ(clone_long_buffer(nullptr, handle), nullptr);
}

TEST_F(LongvarTest, NullNameGivesNoStream)
{
    EXPECT_EQ(open_buffer(config, nullptr), nullptr);
}

// Without a profile the directory is empty, so the file is made in "/".
TEST_F(LongvarTest, NoProfileNamesAFileAtTheRoot)
{
    char name[KX_LONG_FILE_NAME_SIZE] = "";
    FILE *f = open_buffer(nullptr, name);
    std::string n = name;
    ASSERT_GT(n.size(), 9u);
    EXPECT_EQ(n, expected_name("", counter_of(n)));
    if (access("/", W_OK) == 0) {
        ASSERT_NE(f, nullptr);
        EXPECT_NE(access(name, F_OK), 0);  // unlinked at once
        file_close(f);
    } else {
        EXPECT_EQ(f, nullptr);
    }
}

TEST_F(LongvarTest, WrappersWithoutABufferMoveNothing)
{
    char name[KX_LONG_FILE_NAME_SIZE];
    FILE *f = open_buffer(config, name);
    ASSERT_NE(f, nullptr);
    EXPECT_EQ(file_write(nullptr, 3, f), 0u);
    EXPECT_EQ(std::ftell(f), 0);
    EXPECT_EQ(file_write("abc", 3, f), 3u);
    EXPECT_EQ(file_seek(f, 0, 0), 0);
    EXPECT_EQ(file_read(nullptr, 3, f), 0u);
    EXPECT_EQ(std::ftell(f), 0);
    file_close(f);
}

TEST_F(LongvarTest, NullValueWithoutARemainingPointer)
{
    LongBuffer *lb = allocate_long_buffer(handle, 0, 0, config, -1);
    ASSERT_NE(lb, nullptr);
    lb->null_flag = 1;
    char buf[4] = "xy";
    EXPECT_EQ(extract_from_long_buffer(lb, buf, 4, nullptr, 0), 0);
    EXPECT_EQ(lb->position_low, 1u);
    EXPECT_EQ(extract_from_long_buffer(lb, buf, 4, nullptr, 0), 0);
    EXPECT_EQ(lb->position_low, 1u);
    EXPECT_STREQ(buf, "xy");
}

TEST_F(LongvarTest, NoRoomWithoutARemainingPointer)
{
    LongBuffer *lb = filled("hello");
    ASSERT_NE(lb, nullptr);
    EXPECT_EQ(extract_from_long_buffer(lb, nullptr, 100, nullptr, 0), 1);
    EXPECT_EQ(extract_from_long_nbuffer(lb, nullptr, 100, nullptr, 1), 1);
    EXPECT_EQ(lb->position_low, 0u);
    LongBuffer *empty = allocate_long_buffer(handle, 0, 0, config, -1);
    ASSERT_NE(empty, nullptr);
    EXPECT_EQ(extract_from_long_buffer(empty, nullptr, 100, nullptr, 0), 0);
}

TEST_F(LongvarTest, WideNoRoomReportsTheLengthOnly)
{
    LongBuffer *lb = filled("hello");
    ASSERT_NE(lb, nullptr);
    int32_t remaining = 0;
    EXPECT_EQ(extract_from_long_nbuffer(lb, nullptr, 100, &remaining, 0), 1);
    EXPECT_EQ(remaining, 5);
    EXPECT_EQ(lb->position_low, 0u);
}

// After its destructor ran, a buffer has no stream: appends are counted as
// if written, and every read, rewind or clone fails.
TEST_F(LongvarTest, BufferWithoutAStream)
{
    LongBuffer *lb = allocate_long_buffer(handle, 0, 0, config, -1);
    ASSERT_NE(lb, nullptr);
    EXPECT_EQ(free_long_buffer(lb), 0);
    ASSERT_EQ(lb->stream, nullptr);
    EXPECT_EQ(append_to_long_buffer(lb, "abc", 3), 0);
    EXPECT_EQ(long_buffer_length(lb), 3);
    EXPECT_EQ(rewind_long_buffer(lb), -1);
    EXPECT_EQ(lb->position_low, 0u);

    char buf[8] = "#######";
    int32_t remaining = 99;
    EXPECT_EQ(extract_from_long_buffer(lb, buf, 8, &remaining, 0), -1);
    EXPECT_EQ(lb->position_low, 0u);
    uint16_t wbuf[8] = {7, 7, 7, 7, 7, 7, 7, 7};
    EXPECT_EQ(extract_from_long_nbuffer(lb, wbuf, 8, &remaining, 0), -1);
    EXPECT_EQ(extract_from_long_nbuffer(lb, wbuf, 2, &remaining, 0), -1);
    EXPECT_EQ(lb->position_low, 0u);
    EXPECT_EQ(wbuf[0], 7);

    MemHandle *other = kx_mem_alloc_handle(nullptr);
    ASSERT_NE(other, nullptr);
    EXPECT_EQ(clone_long_buffer(lb, other), nullptr);
    EXPECT_EQ(other->first_block, nullptr);   // the attempt left nothing behind
    kx_mem_release_handle(other);
}

}  // namespace
