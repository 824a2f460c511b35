// Tests of the standard family's long-data routines beside the family's:
// the end of the data (SQL_NO_DATA after the last piece and after a NULL),
// and appends that refuse what the family's routine would end the process
// on or wrap.
#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <string>

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
