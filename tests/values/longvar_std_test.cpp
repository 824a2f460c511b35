// Tests of the standard family's long-data routines beside the family's:
// the end of the data (SQL_NO_DATA after the last piece and after a NULL),
// appends that refuse what the family's routine would end the process on
// or wrap, and lengths and offsets of 64 bits.
//
// Data past 4 GiB is made without writing 4 GiB: kxstd_truncate_long_buffer
// lengthens the buffer's file with a hole (ftruncate), and the pieces
// appended and read after it lie at offsets beyond 2^32. The test skips
// where the file system cannot hold a file of that length. The whole round
// trip through 5 GiB of written and read octets runs with KX_BIG_TESTS=1.
#include <gtest/gtest.h>

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "kxsupp/config.h"
#include "kxsupp/memory.h"
#include "kxsupp/standard.h"
#include "kxsupp/values.h"
#include "support/kx_test_files.h"

namespace {

class LongvarStd : public ::testing::Test {
protected:
    void SetUp() override
    {
        dir_ = kxtest::make_temp_dir("kx_longvar_std_");
        std::string ini = dir_ + "/odbc.ini";
        kxtest::write_file(ini, "{default}\nblob_path = " + dir_ + "\n");
        config_ = open_registry();
        set_config(config_, ini.c_str());
        handle_ = kx_mem_alloc_handle(nullptr);
    }
    void TearDown() override
    {
        kx_mem_release_handle(handle_);
        close_registry(config_);
        for (const std::string &name : kxtest::directory_entries(dir_))
            unlink((dir_ + "/" + name).c_str());
        rmdir(dir_.c_str());
    }
    LongBuffer *filled(const char *text, int32_t sql_type = -1)
    {
        LongBuffer *b = allocate_long_buffer(handle_, 0, 0, config_, sql_type);
        EXPECT_NE(b, nullptr);
        if (text != nullptr)
            append_to_long_buffer(b, text, static_cast<int32_t>(std::strlen(text)));
        rewind_long_buffer(b);
        return b;
    }

    std::string dir_;
    ProfileHandle *config_ = nullptr;
    MemHandle *handle_ = nullptr;
};

TEST_F(LongvarStd, AfterTheLastPieceComesNoData)
{
    LongBuffer *family = filled("abcdef");
    LongBuffer *standard = filled("abcdef");
    char piece[4];
    int32_t remaining = 0;
    // pieces of three octets and a terminator: abc, def
    EXPECT_EQ(extract_from_long_buffer(family, piece, 4, &remaining, 0), 1);
    EXPECT_EQ(kxstd_extract_from_long_buffer(standard, piece, 4, &remaining, 0), 1);
    EXPECT_EQ(remaining, 6);
    EXPECT_EQ(extract_from_long_buffer(family, piece, 4, &remaining, 0), 0);
    EXPECT_EQ(kxstd_extract_from_long_buffer(standard, piece, 4, &remaining, 0), 0);
    EXPECT_STREQ(piece, "def");
    // the family answers success with nothing; the standard, no data
    EXPECT_EQ(extract_from_long_buffer(family, piece, 4, &remaining, 0), 0);
    EXPECT_EQ(remaining, 0);
    EXPECT_EQ(kxstd_extract_from_long_buffer(standard, piece, 4, &remaining, 0), 100);
    EXPECT_EQ(kxstd_extract_from_long_buffer(standard, piece, 4, &remaining, 0), 100);
    // rewound, the data is there again
    rewind_long_buffer(standard);
    EXPECT_EQ(kxstd_extract_from_long_buffer(standard, piece, 4, &remaining, 0), 1);
    EXPECT_STREQ(piece, "abc");
}

TEST_F(LongvarStd, AnEmptyValueIsDeliveredOnce)
{
    LongBuffer *standard = filled(nullptr);
    char piece[4] = "x";
    int32_t remaining = -5;
    EXPECT_EQ(kxstd_extract_from_long_buffer(standard, piece, 4, &remaining, 0), 0);
    EXPECT_EQ(remaining, 0);
    EXPECT_STREQ(piece, "");
    EXPECT_EQ(kxstd_extract_from_long_buffer(standard, piece, 4, &remaining, 0), 100);
}

TEST_F(LongvarStd, ANullValueIsReportedOnceThenNoData)
{
    LongBuffer *family = filled("ignored");
    LongBuffer *standard = filled("ignored");
    family->null_flag = -1;
    standard->null_flag = -1;
    char piece[8];
    int32_t remaining = 0;
    EXPECT_EQ(extract_from_long_buffer(family, piece, 8, &remaining, 0), 0);
    EXPECT_EQ(remaining, -1);
    EXPECT_EQ(kxstd_extract_from_long_buffer(standard, piece, 8, &remaining, 0), 0);
    EXPECT_EQ(remaining, -1);
    EXPECT_EQ(extract_from_long_buffer(family, piece, 8, &remaining, 0), 0);
    EXPECT_EQ(kxstd_extract_from_long_buffer(standard, piece, 8, &remaining, 0), 100);
}

TEST_F(LongvarStd, ALengthQueryDoesNotEndTheData)
{
    LongBuffer *standard = filled("ab");
    int32_t remaining = 0;
    EXPECT_EQ(kxstd_extract_from_long_buffer(standard, nullptr, 0, &remaining, 0), 1);
    EXPECT_EQ(remaining, 2);
    char piece[8];
    EXPECT_EQ(kxstd_extract_from_long_buffer(standard, piece, 8, &remaining, 0), 0);
    EXPECT_STREQ(piece, "ab");
}

TEST_F(LongvarStd, BinaryDataWithoutALengthIsRefusedNotFatal)
{
    LongBuffer *binary = filled(nullptr, -4);
    EXPECT_EQ(kxstd_append_to_long_buffer(binary, "abc", KX_NTS), KXSTD_INVALID_LENGTH);
    EXPECT_EQ(long_buffer_length(binary), 0);
    // the family's routine ends the process there
    pid_t child = fork();
    if (child == 0) {
        append_to_long_buffer(binary, "abc", KX_NTS);
        _exit(0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGABRT);
}

TEST_F(LongvarStd, AppendsAreCheckedAndCounted)
{
    LongBuffer *text = filled(nullptr);
    EXPECT_EQ(kxstd_append_to_long_buffer(text, "abc", KX_NTS), KXSTD_OK);
    EXPECT_EQ(kxstd_append_to_long_buffer(text, "de", 2), KXSTD_OK);
    EXPECT_EQ(kxstd_append_to_long_buffer(text, "x", -7), KXSTD_INVALID_LENGTH);
    EXPECT_EQ(kxstd_append_to_long_buffer(text, nullptr, 3), KXSTD_INVALID_LENGTH);
    EXPECT_EQ(long_buffer_length(text), 5);
    // a total past what an SQLINTEGER holds is refused, never wrapped
    text->total_length = 2147483640;
    EXPECT_EQ(kxstd_append_to_long_buffer(text, "0123456789", 10), KXSTD_INVALID_LENGTH);
    EXPECT_EQ(text->total_length, 2147483640);
    append_to_long_buffer(text, "0123456789", 10);
    EXPECT_LT(text->total_length, 0);  // the family's wraps
    text->total_length = 5;
    rewind_long_buffer(text);
    char all[8];
    int32_t remaining = 0;
    EXPECT_EQ(kxstd_extract_from_long_buffer(text, all, 8, &remaining, 0), 0);
    EXPECT_STREQ(all, "abcde");
}

/* ---- 64-bit lengths and offsets ---- */

constexpr int64_t kFiveGiB = int64_t{5} << 30;

TEST_F(LongvarStd, LengthsAndOffsetsPastFourGiB)
{
    LongBuffer *b = filled(nullptr, -4);
    ASSERT_EQ(kxstd_append_to_long_buffer64(b, "head", 4), KXSTD_OK);
    if (kxstd_truncate_long_buffer(b, kFiveGiB) != KXSTD_OK)
        GTEST_SKIP() << "the file system holds no file of 5 GiB";
    ASSERT_EQ(kxstd_append_to_long_buffer64(b, "tail-piece", 10), KXSTD_OK);
    const int64_t total = kFiveGiB + 10;
    EXPECT_EQ(kxstd_long_buffer_length(b), total);
    // the family's length is the low 32 bits: 1 GiB and 10 octets
    EXPECT_EQ(long_buffer_length(b), (1 << 30) + 10);
    struct stat st{};
    ASSERT_EQ(fstat(fileno(b->stream), &st), 0);
    EXPECT_EQ(st.st_size, total);
    EXPECT_LT(static_cast<int64_t>(st.st_blocks) * 512, int64_t{1} << 24) << "a hole, not data";

    // the start, then a seek beyond 2^32 and a read across the end
    char piece[16];
    int64_t remaining = 0;
    EXPECT_EQ(kxstd_extract_from_long_buffer64(b, piece, 4, &remaining, 1), 1);
    EXPECT_EQ(remaining, total);
    EXPECT_EQ(std::memcmp(piece, "head", 4), 0);
    ASSERT_EQ(kxstd_seek_long_buffer(b, kFiveGiB - 2), KXSTD_OK);
    EXPECT_EQ(kxstd_extract_from_long_buffer64(b, piece, 16, &remaining, 1), 0);
    EXPECT_EQ(remaining, 12);
    EXPECT_EQ(std::memcmp(piece, "\0\0tail-piece", 12), 0);
    EXPECT_EQ(kxstd_extract_from_long_buffer64(b, piece, 16, &remaining, 1), 100);
    // text: pieces of size - 1 octets and a terminator, counted in 64 bits
    ASSERT_EQ(kxstd_seek_long_buffer(b, kFiveGiB + 5), KXSTD_OK);
    EXPECT_EQ(kxstd_extract_from_long_buffer64(b, piece, 4, &remaining, 0), 1);
    EXPECT_EQ(remaining, 5);
    EXPECT_STREQ(piece, "pie");
    EXPECT_EQ(kxstd_extract_from_long_buffer64(b, piece, 4, &remaining, 0), 0);
    EXPECT_EQ(remaining, 2);
    EXPECT_STREQ(piece, "ce");

    // the 32-bit form: what is left past 32 bits is SQL_NO_TOTAL (-4)
    char four[4];
    int32_t left = 0;
    ASSERT_EQ(kxstd_seek_long_buffer(b, 0), KXSTD_OK);
    EXPECT_EQ(kxstd_extract_from_long_buffer(b, four, 4, &left, 1), 1);
    EXPECT_EQ(left, -4);
    ASSERT_EQ(kxstd_seek_long_buffer(b, (int64_t{4} << 30) + 5), KXSTD_OK);
    EXPECT_EQ(kxstd_extract_from_long_buffer(b, four, 4, &left, 1), 1);
    EXPECT_EQ(left, (1 << 30) + 5);
    // and its append keeps within 32 bits
    EXPECT_EQ(kxstd_append_to_long_buffer(b, "x", 1), KXSTD_INVALID_LENGTH);
    EXPECT_EQ(kxstd_long_buffer_length(b), total);

    // the stream's own offsets: 64 bits here, the family's drops the high word
    EXPECT_EQ(kxstd_file_seek(b->stream, kFiveGiB + 3), 0);
    EXPECT_EQ(ftello(b->stream), kFiveGiB + 3);
    EXPECT_EQ(file_seek(b->stream, 1, 7), 0);
    EXPECT_EQ(ftello(b->stream), 7);
    EXPECT_EQ(kxstd_file_seek(b->stream, -1), -1);
    EXPECT_EQ(kxstd_file_seek(nullptr, 0), -1);

    // positions outside the data are refused
    EXPECT_EQ(kxstd_seek_long_buffer(b, total + 1), KXSTD_INVALID_LENGTH);
    EXPECT_EQ(kxstd_seek_long_buffer(b, -1), KXSTD_INVALID_LENGTH);
    EXPECT_EQ(kxstd_seek_long_buffer(b, total), KXSTD_OK);
    EXPECT_EQ(kxstd_extract_from_long_buffer64(b, piece, 16, &remaining, 1), 0);
    EXPECT_EQ(remaining, 0);

    // a copy in another handle keeps the whole total
    MemHandle *other = kx_mem_alloc_handle(nullptr);
    LongBuffer *copy = clone_long_buffer(b, other);
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(kxstd_long_buffer_length(copy), total);
    kx_mem_release_handle(other);

    // emptied, the file gives its length back
    ASSERT_EQ(kxstd_truncate_long_buffer(b, 0), KXSTD_OK);
    EXPECT_EQ(kxstd_long_buffer_length(b), 0);
    ASSERT_EQ(fstat(fileno(b->stream), &st), 0);
    EXPECT_EQ(st.st_size, 0);
}

TEST_F(LongvarStd, AppendsLandAfterTheLastOctetWhereverTheStreamStands)
{
    LongBuffer *family = filled("abc");
    LongBuffer *standard = filled("abc");
    // after a rewind the family's append writes over the start
    append_to_long_buffer(family, "de", 2);
    ASSERT_EQ(kxstd_append_to_long_buffer64(standard, "de", 2), KXSTD_OK);
    rewind_long_buffer(family);
    char all[8];
    int32_t remaining = 0;
    EXPECT_EQ(extract_from_long_buffer(family, all, 8, &remaining, 0), -1);  // "dec" of 5
    EXPECT_EQ(kxstd_extract_from_long_buffer(standard, all, 8, &remaining, 0), 0);
    EXPECT_STREQ(all, "abcde");
    // emptied, a buffer takes new data from its start
    ASSERT_EQ(kxstd_truncate_long_buffer(standard, 0), KXSTD_OK);
    ASSERT_EQ(kxstd_append_to_long_buffer64(standard, "xy", KX_NTS), KXSTD_OK);
    int64_t left = 0;
    EXPECT_EQ(kxstd_extract_from_long_buffer64(standard, all, 8, &left, 0), 0);
    EXPECT_EQ(left, 2);
    EXPECT_STREQ(all, "xy");
    // lengths the 64-bit append refuses
    EXPECT_EQ(kxstd_append_to_long_buffer64(standard, "x", -7), KXSTD_INVALID_LENGTH);
    EXPECT_EQ(kxstd_append_to_long_buffer64(standard, nullptr, 3), KXSTD_INVALID_LENGTH);
    EXPECT_EQ(kxstd_append_to_long_buffer64(standard, "x", INT64_MAX), KXSTD_INVALID_LENGTH);
    LongBuffer *binary = filled(nullptr, -4);
    EXPECT_EQ(kxstd_append_to_long_buffer64(binary, "abc", KX_NTS), KXSTD_INVALID_LENGTH);
    EXPECT_EQ(kxstd_truncate_long_buffer(binary, -1), KXSTD_INVALID_LENGTH);
    EXPECT_EQ(kxstd_long_buffer_length(nullptr), 0);
    EXPECT_EQ(kxstd_extract_from_long_buffer64(nullptr, all, 8, &left, 0), -1);
    // a NULL value: -1 once, then no data
    standard->null_flag = -1;
    rewind_long_buffer(standard);
    EXPECT_EQ(kxstd_extract_from_long_buffer64(standard, all, 8, &left, 0), 0);
    EXPECT_EQ(left, -1);
    EXPECT_EQ(kxstd_extract_from_long_buffer64(standard, all, 8, &left, 0), 100);
}

// 5 GiB appended and read back octet for octet: about a minute and 5 GiB
// of disk, so only with KX_BIG_TESTS=1.
TEST_F(LongvarStd, FiveGiBRoundTrip)
{
    const char *big = std::getenv("KX_BIG_TESTS");
    if (big == nullptr || std::strcmp(big, "1") != 0)
        GTEST_SKIP() << "set KX_BIG_TESTS=1 to write and read 5 GiB";
    constexpr size_t kPiece = size_t{1} << 20;
    const int64_t pieces = kFiveGiB / static_cast<int64_t>(kPiece);
    std::vector<unsigned char> out(kPiece);
    std::vector<unsigned char> in(kPiece);
    auto fill = [&](int64_t index) {
        for (size_t i = 0; i < kPiece; i += 8)
            std::memcpy(&out[i], &index, 8);
        out[kPiece - 1] = static_cast<unsigned char>(index);
    };
    LongBuffer *b = filled(nullptr, -4);
    for (int64_t p = 0; p < pieces; ++p) {
        fill(p);
        ASSERT_EQ(kxstd_append_to_long_buffer64(b, out.data(), static_cast<int64_t>(kPiece)),
                  KXSTD_OK)
            << p;
    }
    ASSERT_EQ(kxstd_long_buffer_length(b), kFiveGiB);
    ASSERT_EQ(kxstd_seek_long_buffer(b, 0), KXSTD_OK);
    int64_t remaining = 0;
    for (int64_t p = 0; p < pieces; ++p) {
        int32_t rc = kxstd_extract_from_long_buffer64(b, in.data(), static_cast<int64_t>(kPiece),
                                                      &remaining, 1);
        ASSERT_EQ(rc, p + 1 < pieces ? 1 : 0) << p;
        ASSERT_EQ(remaining, kFiveGiB - p * static_cast<int64_t>(kPiece)) << p;
        fill(p);
        ASSERT_EQ(in, out) << p;
    }
    EXPECT_EQ(kxstd_extract_from_long_buffer64(b, in.data(), 8, &remaining, 1), 100);
    kxstd_truncate_long_buffer(b, 0);
}

TEST(ValuesStd, NewValuesStartCleared)
{
    MemHandle *h = kx_mem_alloc_handle(nullptr);
    // a recycled block: the family's NewValue keeps what it held
    for (int32_t length : {0, 10, 500}) {
        Value *used = NewValue(h, length);
        ASSERT_NE(used, nullptr);
        used->null_flag = -1;
        used->type = VALUE_DATE;
        used->attr[2] = 9;
        kx_mem_free(h, used);
        Value *family = NewValue(h, length);
        if (length < 128) {
            EXPECT_EQ(family, used) << length;  // the cache gave the same block back
            EXPECT_EQ(family->null_flag, -1) << length;
        }
        kx_mem_free(h, family);
        Value *standard = kxstd_new_value(h, length);
        ASSERT_NE(standard, nullptr);
        EXPECT_EQ(standard->kind, static_cast<uint32_t>(NODE_VALUE));
        EXPECT_EQ(standard->null_flag, 0) << length;
        EXPECT_EQ(standard->type, 0) << length;
        EXPECT_EQ(standard->attr[2], 0) << length;
        EXPECT_EQ(standard->mem_handle, h);
        EXPECT_EQ(standard->ref_count, 0);
        if (length > 0) {
            ASSERT_NE(standard->payload.text, nullptr);
            EXPECT_STREQ(standard->payload.text, "");
            EXPECT_EQ(standard->inline_buffer, 1);
            std::memset(standard->payload.text, 'x', static_cast<size_t>(length));
        } else {
            EXPECT_EQ(standard->payload.text, nullptr);
        }
        kx_mem_free(h, standard);
    }
    EXPECT_EQ(kxstd_new_value(h, -1), nullptr);
    kx_mem_release_handle(h);
}

}  // namespace
