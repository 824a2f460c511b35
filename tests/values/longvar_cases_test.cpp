// Long buffers seen from a driver: temporary files in the "blob_path"
// directory of the profile, appends, piecewise extraction in the manner of
// SQLGetData, clones and the thin stream wrappers. Only the public header is
// used.
#include <kxsupp.h>

#include <gtest/gtest.h>

#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

int count_open_descriptors() {
    int n = 0;
    DIR *d = opendir("/proc/self/fd");
    if (d == nullptr) return -1;
    while (readdir(d) != nullptr) n++;
    closedir(d);
    return n;
}

int count_directory_entries(const std::string &dir) {
    int n = 0;
    DIR *d = opendir(dir.c_str());
    if (d == nullptr) return -1;
    struct dirent *e;
    while ((e = readdir(d)) != nullptr) {
        if (strcmp(e->d_name, ".") != 0 && strcmp(e->d_name, "..") != 0) n++;
    }
    closedir(d);
    return n;
}

class LongBufferCases : public ::testing::Test {
protected:
    void SetUp() override {
        char tmpl[] = "/tmp/kxlongXXXXXX";
        ASSERT_NE(mkdtemp(tmpl), nullptr);
        root = tmpl;
        blobs = root + "/blobs";
        sales = root + "/sales";
        ASSERT_EQ(mkdir(blobs.c_str(), 0700), 0);
        ASSERT_EQ(mkdir(sales.c_str(), 0700), 0);
        ini = root + "/odbc.ini";
        FILE *f = fopen(ini.c_str(), "w");
        ASSERT_NE(f, nullptr);
        fprintf(f, "{default}\nblob_path = %s\n[Sales]\nblob_path = %s\n"
                   "[Nowhere]\nblob_path = %s/missing\n"
                   "[Overlong]\nblob_path = %s/%s\n",
                blobs.c_str(), sales.c_str(), root.c_str(), root.c_str(),
                std::string(200, 'd').c_str());
        fclose(f);
        config = open_registry();
        ASSERT_NE(config, nullptr);
        set_config(config, ini.c_str());
        handle = kx_mem_alloc_handle(nullptr);
        ASSERT_NE(handle, nullptr);
    }

    void TearDown() override {
        if (handle != nullptr) kx_mem_release_handle(handle);
        close_registry(config);
        unlink(ini.c_str());
        rmdir(blobs.c_str());
        rmdir(sales.c_str());
        rmdir(root.c_str());
    }

    LongBuffer *make(int32_t sql_type, const char *data, int32_t n) {
        LongBuffer *lb = allocate_long_buffer(handle, 7, 8, config, sql_type);
        if (lb == nullptr) return nullptr;
        if (data != nullptr) {
            EXPECT_EQ(append_to_long_buffer(lb, data, n), 0);
            EXPECT_EQ(rewind_long_buffer(lb), 0);
        }
        return lb;
    }

    // "<dir>/blob<pid>" with the pid as "%05x"; the counter follows.
    static std::string name_prefix(const std::string &dir) {
        char buf[64];
        snprintf(buf, sizeof buf, "/blob%05x", (unsigned)getpid());
        return dir + buf;
    }

    // The counter part of a temporary file name, checked for its form.
    static unsigned long counter_of(const char *name, const std::string &dir) {
        std::string s = name;
        std::string prefix = name_prefix(dir);
        EXPECT_EQ(s.compare(0, prefix.size(), prefix), 0) << s;
        EXPECT_GT(s.size(), prefix.size() + 4);
        if (s.size() <= prefix.size() + 4) return 0;
        EXPECT_EQ(s.substr(s.size() - 4), ".tmp") << s;
        std::string hex = s.substr(prefix.size(), s.size() - prefix.size() - 4);
        EXPECT_GE(hex.size(), 5u) << s;
        for (char c : hex) {
            EXPECT_TRUE((c >= '0' && c <= '9') || (c >= 'a' && c <= 'f')) << s;
        }
        return strtoul(hex.c_str(), nullptr, 16);
    }

    std::string root, blobs, sales, ini;
    ProfileHandle *config = nullptr;
    MemHandle *handle = nullptr;
};

TEST_F(LongBufferCases, NewBufferKeepsArgumentsAndStartsEmpty) {
    LongBuffer *lb = allocate_long_buffer(handle, 11, -22, config, -1);
    ASSERT_NE(lb, nullptr);
    EXPECT_EQ(lb->mem_handle, handle);
    EXPECT_EQ(lb->user1, 11);
    EXPECT_EQ(lb->user2, -22);
    EXPECT_EQ(lb->config, config);
    EXPECT_EQ(lb->sql_type, -1);
    EXPECT_EQ(lb->position_high, 0u);
    EXPECT_EQ(lb->position_low, 0u);
    EXPECT_EQ(lb->total_length, 0);
    EXPECT_EQ(lb->null_flag, 0);
    EXPECT_NE(lb->stream, nullptr);
    EXPECT_EQ(long_buffer_length(lb), 0);
}

TEST_F(LongBufferCases, FileLivesInBlobPathAndIsUnlinkedAtOnce) {
    LongBuffer *lb = allocate_long_buffer(handle, 0, 0, config, -4);
    ASSERT_NE(lb, nullptr);
    counter_of(lb->file_name, blobs);
    struct stat st;
    errno = 0;
    EXPECT_EQ(stat(lb->file_name, &st), -1);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(count_directory_entries(blobs), 0);
    // The open stream still works although its name is gone.
    EXPECT_EQ(append_to_long_buffer(lb, "xyz", 3), 0);
    EXPECT_EQ(rewind_long_buffer(lb), 0);
    char out[8];
    int32_t remaining = 99;
    EXPECT_EQ(extract_from_long_buffer(lb, out, 8, &remaining, 0), 0);
    EXPECT_EQ(remaining, 3);
    EXPECT_STREQ(out, "xyz");
}

TEST_F(LongBufferCases, DataSourceSectionChoosesTheDirectory) {
    set_dsn(config, "Sales");
    LongBuffer *lb = allocate_long_buffer(handle, 0, 0, config, -1);
    ASSERT_NE(lb, nullptr);
    counter_of(lb->file_name, sales);
}

TEST_F(LongBufferCases, SuccessiveNamesDifferInTheCounter) {
    LongBuffer *a = allocate_long_buffer(handle, 0, 0, config, -1);
    LongBuffer *b = allocate_long_buffer(handle, 0, 0, config, -1);
    ASSERT_NE(a, nullptr);
    ASSERT_NE(b, nullptr);
    unsigned long ca = counter_of(a->file_name, blobs);
    unsigned long cb = counter_of(b->file_name, blobs);
    EXPECT_STRNE(a->file_name, b->file_name);
    EXPECT_EQ(cb, ca + 1);
    // The last five hexadecimal digits differ.
    std::string sa = a->file_name, sb = b->file_name;
    EXPECT_NE(sa.substr(sa.size() - 9, 5), sb.substr(sb.size() - 9, 5));
}

TEST_F(LongBufferCases, OpenBufferAdvancesTheSameCounter) {
    LongBuffer *a = allocate_long_buffer(handle, 0, 0, config, -1);
    ASSERT_NE(a, nullptr);
    char name[KX_LONG_FILE_NAME_SIZE];
    memset(name, 'z', sizeof name);
    FILE *f = open_buffer(config, name);
    ASSERT_NE(f, nullptr);
    EXPECT_EQ(counter_of(name, blobs), counter_of(a->file_name, blobs) + 1);
    struct stat st;
    EXPECT_EQ(stat(name, &st), -1);
    EXPECT_EQ(file_write("hello", 5, f), 5u);
    EXPECT_EQ(file_seek(f, 0, 1), 0);
    char out[8] = {0};
    EXPECT_EQ(file_read(out, 4, f), 4u);
    EXPECT_STREQ(out, "ello");
    EXPECT_EQ(file_close(f), 0);
    LongBuffer *b = allocate_long_buffer(handle, 0, 0, config, -1);
    ASSERT_NE(b, nullptr);
    EXPECT_EQ(counter_of(b->file_name, blobs), counter_of(name, blobs) + 1);
}

TEST_F(LongBufferCases, OpenBufferFailsInAMissingDirectory) {
    set_dsn(config, "Nowhere");
    char name[KX_LONG_FILE_NAME_SIZE];
    EXPECT_EQ(open_buffer(config, name), nullptr);
}

TEST_F(LongBufferCases, MissingDirectoryGivesNullAndLeaksNothing) {
    set_dsn(config, "Nowhere");
    int before = count_open_descriptors();
    EXPECT_EQ(allocate_long_buffer(handle, 0, 0, config, -1), nullptr);
    EXPECT_EQ(count_open_descriptors(), before);
}

TEST_F(LongBufferCases, OverlongBlobPathIsHandledSafely) {
    // The setting does not fit the 128-octet name: no buffer overrun, and
    // whatever comes back is a terminated name.
    set_dsn(config, "Overlong");
    LongBuffer *lb = allocate_long_buffer(handle, 0, 0, config, -1);
    if (lb != nullptr) {
        EXPECT_LT(strnlen(lb->file_name, KX_LONG_FILE_NAME_SIZE),
                  (size_t)KX_LONG_FILE_NAME_SIZE);
    }
    char name[KX_LONG_FILE_NAME_SIZE];
    FILE *f = open_buffer(config, name);
    if (f != nullptr) {
        EXPECT_LT(strnlen(name, sizeof name), sizeof name);
        file_close(f);
    }
}

TEST_F(LongBufferCases, AppendCountsOctetsAndTexts) {
    LongBuffer *lb = allocate_long_buffer(handle, 0, 0, config, -1);
    ASSERT_NE(lb, nullptr);
    EXPECT_EQ(append_to_long_buffer(lb, "abc", 3), 0);
    EXPECT_EQ(long_buffer_length(lb), 3);
    EXPECT_EQ(append_to_long_buffer(lb, "defgh", KX_NTS), 0);
    EXPECT_EQ(long_buffer_length(lb), 8);
    EXPECT_EQ(append_to_long_buffer(lb, "ij\0kl", 5), 0);
    EXPECT_EQ(long_buffer_length(lb), 13);
    EXPECT_EQ(lb->total_length, 13);
    EXPECT_EQ(rewind_long_buffer(lb), 0);
    unsigned char out[20];
    memset(out, 0xAA, sizeof out);
    int32_t remaining = 0;
    EXPECT_EQ(extract_from_long_buffer(lb, out, 20, &remaining, 1), 0);
    EXPECT_EQ(remaining, 13);
    EXPECT_EQ(memcmp(out, "abcdefghij\0kl", 13), 0);
    EXPECT_EQ(out[13], 0xAA);  // binary: no terminator
}

TEST_F(LongBufferCases, NtsOnLongBinaryAborts) {
    LongBuffer *lb = allocate_long_buffer(handle, 0, 0, config, -4);
    ASSERT_NE(lb, nullptr);
    EXPECT_DEATH(append_to_long_buffer(lb, "abc", KX_NTS), "");
    // A counted append on the same buffer is fine.
    EXPECT_EQ(append_to_long_buffer(lb, "abc", 3), 0);
    EXPECT_EQ(long_buffer_length(lb), 3);
}

struct TextPiece {
    const char *text;
    int32_t remaining;
    int32_t result;
    uint32_t position_after;
};

TEST_F(LongBufferCases, TextPiecesOfSizeFour) {
    LongBuffer *lb = make(-1, "0123456789", 10);
    ASSERT_NE(lb, nullptr);
    static const TextPiece pieces[] = {
        {"012", 10, 1, 3},
        {"345", 7, 1, 6},
        {"678", 4, 1, 9},
        {"9", 1, 0, 10},
        {"", 0, 0, 10},  // nothing left: an empty, terminated piece
    };
    for (const TextPiece &p : pieces) {
        char out[4];
        memset(out, 'Z', sizeof out);
        int32_t remaining = -77;
        EXPECT_EQ(extract_from_long_buffer(lb, out, 4, &remaining, 0), p.result)
            << p.text;
        EXPECT_EQ(remaining, p.remaining) << p.text;
        EXPECT_STREQ(out, p.text);
        EXPECT_EQ(lb->position_high, 0u);
        EXPECT_EQ(lb->position_low, p.position_after) << p.text;
    }
}

TEST_F(LongBufferCases, BinaryPiecesOfSizeFour) {
    LongBuffer *lb = make(-4, "0123456789", 10);
    ASSERT_NE(lb, nullptr);
    struct Piece {
        const char *data;
        int32_t delivered;
        int32_t remaining;
        int32_t result;
    };
    static const Piece pieces[] = {
        {"0123", 4, 10, 1},
        {"4567", 4, 6, 1},
        {"89", 2, 2, 0},
    };
    for (const Piece &p : pieces) {
        unsigned char out[6];
        memset(out, 0xAA, sizeof out);
        int32_t remaining = -77;
        EXPECT_EQ(extract_from_long_buffer(lb, out, 4, &remaining, 1), p.result);
        EXPECT_EQ(remaining, p.remaining);
        EXPECT_EQ(memcmp(out, p.data, p.delivered), 0) << p.data;
        for (int i = p.delivered; i < 6; i++) EXPECT_EQ(out[i], 0xAA) << i;
    }
}

TEST_F(LongBufferCases, EverythingFitsWithoutRemainingPointer) {
    LongBuffer *lb = make(-1, "hello", 5);
    ASSERT_NE(lb, nullptr);
    char out[6];
    EXPECT_EQ(extract_from_long_buffer(lb, out, 6, nullptr, 0), 0);
    EXPECT_STREQ(out, "hello");
    EXPECT_EQ(lb->position_low, 5u);
}

TEST_F(LongBufferCases, ExactFitIsTruncationForText) {
    // Five octets into six places fit; into five they do not (one place is
    // kept for the terminator).
    LongBuffer *lb = make(-1, "hello", 5);
    ASSERT_NE(lb, nullptr);
    char out[5];
    int32_t remaining = 0;
    EXPECT_EQ(extract_from_long_buffer(lb, out, 5, &remaining, 0), 1);
    EXPECT_EQ(remaining, 5);
    EXPECT_STREQ(out, "hell");
    EXPECT_EQ(extract_from_long_buffer(lb, out, 5, &remaining, 0), 0);
    EXPECT_EQ(remaining, 1);
    EXPECT_STREQ(out, "o");
}

TEST_F(LongBufferCases, ExactFitIsCompleteForBinary) {
    LongBuffer *lb = make(-4, "hello", 5);
    ASSERT_NE(lb, nullptr);
    char out[5];
    int32_t remaining = 0;
    EXPECT_EQ(extract_from_long_buffer(lb, out, 5, &remaining, 1), 0);
    EXPECT_EQ(remaining, 5);
    EXPECT_EQ(memcmp(out, "hello", 5), 0);
}

TEST_F(LongBufferCases, NullLongValueReportsNullOnceThenNoData) {
    LongBuffer *lb = make(-1, "abc", 3);
    ASSERT_NE(lb, nullptr);
    lb->null_flag = 1;
    char out[8];
    int32_t remaining = 55;
    EXPECT_EQ(extract_from_long_buffer(lb, out, 8, &remaining, 0), 0);
    EXPECT_EQ(remaining, -1);
    EXPECT_EQ(lb->position_low, 1u);
    remaining = 55;
    EXPECT_EQ(extract_from_long_buffer(lb, out, 8, &remaining, 0), 0);
    EXPECT_EQ(remaining, 0);
    remaining = 55;
    EXPECT_EQ(extract_from_long_buffer(lb, out, 8, &remaining, 0), 0);
    EXPECT_EQ(remaining, 0);
}

TEST_F(LongBufferCases, NullLongValueWide) {
    LongBuffer *lb = make(-1, nullptr, 0);
    ASSERT_NE(lb, nullptr);
    lb->null_flag = -1;
    uint16_t out[4];
    int32_t remaining = 55;
    EXPECT_EQ(extract_from_long_nbuffer(lb, out, 4, &remaining, 0), 0);
    EXPECT_EQ(remaining, -1);
    EXPECT_EQ(extract_from_long_nbuffer(lb, out, 4, &remaining, 0), 0);
    EXPECT_EQ(remaining, 0);
}

TEST_F(LongBufferCases, ShortReadFailsAndKeepsThePosition) {
    LongBuffer *lb = make(-1, "abcde", 5);
    ASSERT_NE(lb, nullptr);
    lb->total_length = 10;  // claims more than the file holds
    char out[32];
    int32_t remaining = 0;
    EXPECT_EQ(extract_from_long_buffer(lb, out, 32, &remaining, 0), -1);
    EXPECT_EQ(lb->position_low, 0u);
    EXPECT_EQ(lb->position_high, 0u);

    LongBuffer *lb2 = make(-4, "abc", 3);
    ASSERT_NE(lb2, nullptr);
    lb2->total_length = 10;
    EXPECT_EQ(extract_from_long_buffer(lb2, out, 6, &remaining, 1), -1);
    EXPECT_EQ(lb2->position_low, 0u);
}

TEST_F(LongBufferCases, WidePiecesSignExtendEveryOctet) {
    static const unsigned char data[] = {'a', 0xE9, 'b', 0x80, 0x7F, 'c'};
    LongBuffer *lb = make(-1, reinterpret_cast<const char *>(data), 6);
    ASSERT_NE(lb, nullptr);
    uint16_t out[4];
    int32_t remaining = 0;
    for (uint16_t &u : out) u = 0x5555;
    EXPECT_EQ(extract_from_long_nbuffer(lb, out, 4, &remaining, 0), 1);
    EXPECT_EQ(remaining, 6);
    EXPECT_EQ(out[0], 0x0061);
    EXPECT_EQ(out[1], 0xFFE9);
    EXPECT_EQ(out[2], 0x0062);
    EXPECT_EQ(out[3], 0x0000);
    EXPECT_EQ(lb->position_low, 3u);
    for (uint16_t &u : out) u = 0x5555;
    EXPECT_EQ(extract_from_long_nbuffer(lb, out, 4, &remaining, 0), 0);
    EXPECT_EQ(remaining, 3);
    EXPECT_EQ(out[0], 0xFF80);
    EXPECT_EQ(out[1], 0x007F);
    EXPECT_EQ(out[2], 0x0063);
    EXPECT_EQ(out[3], 0x0000);
}

TEST_F(LongBufferCases, WideBinaryPieces) {
    LongBuffer *lb = make(-4, "0123456789", 10);
    ASSERT_NE(lb, nullptr);
    uint16_t out[6];
    int32_t remaining = 0;
    for (uint16_t &u : out) u = 0x5555;
    EXPECT_EQ(extract_from_long_nbuffer(lb, out, 4, &remaining, 1), 1);
    EXPECT_EQ(remaining, 10);
    for (int i = 0; i < 4; i++) EXPECT_EQ(out[i], '0' + i);
    EXPECT_EQ(out[4], 0x5555);
    EXPECT_EQ(extract_from_long_nbuffer(lb, out, 4, &remaining, 1), 1);
    EXPECT_EQ(remaining, 6);
    for (uint16_t &u : out) u = 0x5555;
    EXPECT_EQ(extract_from_long_nbuffer(lb, out, 4, &remaining, 1), 0);
    EXPECT_EQ(remaining, 2);
    EXPECT_EQ(out[0], '8');
    EXPECT_EQ(out[1], '9');
    EXPECT_EQ(out[2], 0x5555);
}

TEST_F(LongBufferCases, WideTextPiecesOfSizeFour) {
    LongBuffer *lb = make(-1, "0123456789", 10);
    ASSERT_NE(lb, nullptr);
    static const int32_t remaining_seen[] = {10, 7, 4, 1};
    static const int32_t results[] = {1, 1, 1, 0};
    static const int delivered[] = {3, 3, 3, 1};
    int next = 0;
    for (int call = 0; call < 4; call++) {
        uint16_t out[4];
        int32_t remaining = 0;
        EXPECT_EQ(extract_from_long_nbuffer(lb, out, 4, &remaining, 0),
                  results[call]);
        EXPECT_EQ(remaining, remaining_seen[call]);
        for (int i = 0; i < delivered[call]; i++) EXPECT_EQ(out[i], '0' + next++);
        EXPECT_EQ(out[delivered[call]], 0);
    }
}

TEST_F(LongBufferCases, RewindStartsOver) {
    LongBuffer *lb = make(-1, "abcdef", 6);
    ASSERT_NE(lb, nullptr);
    char out[4];
    int32_t remaining = 0;
    EXPECT_EQ(extract_from_long_buffer(lb, out, 4, &remaining, 0), 1);
    EXPECT_STREQ(out, "abc");
    EXPECT_EQ(rewind_long_buffer(lb), 0);
    EXPECT_EQ(lb->position_low, 0u);
    EXPECT_EQ(lb->position_high, 0u);
    EXPECT_EQ(extract_from_long_buffer(lb, out, 4, &remaining, 0), 1);
    EXPECT_EQ(remaining, 6);
    EXPECT_STREQ(out, "abc");
}

TEST_F(LongBufferCases, CloneInTheSameHandleIsTheSameRecord) {
    LongBuffer *lb = make(-1, "abc", 3);
    ASSERT_NE(lb, nullptr);
    LongBuffer *c = clone_long_buffer(lb, handle);
    EXPECT_EQ(c, lb);
    // Dropping the extra reference leaves the buffer usable.
    kx_mem_free(handle, c);
    char out[8];
    int32_t remaining = 0;
    EXPECT_EQ(extract_from_long_buffer(lb, out, 8, &remaining, 0), 0);
    EXPECT_STREQ(out, "abc");
}

TEST_F(LongBufferCases, CloneInAnotherHandleSharesTheFileOffset) {
    MemHandle *other = kx_mem_alloc_handle(nullptr);
    ASSERT_NE(other, nullptr);
    LongBuffer *lb = allocate_long_buffer(handle, 3, 4, config, -4);
    ASSERT_NE(lb, nullptr);
    EXPECT_EQ(append_to_long_buffer(lb, "abcdef", 6), 0);
    EXPECT_EQ(rewind_long_buffer(lb), 0);
    lb->null_flag = 0;
    memset(lb->area, 'q', sizeof lb->area);
    lb->area[KX_LONG_AREA_SIZE - 1] = 'e';
    unsigned long before = counter_of(lb->file_name, blobs);

    LongBuffer *c = clone_long_buffer(lb, other);
    ASSERT_NE(c, nullptr);
    EXPECT_NE(c, lb);
    EXPECT_EQ(c->mem_handle, other);
    EXPECT_EQ(c->user1, 3);
    EXPECT_EQ(c->user2, 4);
    EXPECT_EQ(c->config, config);
    EXPECT_EQ(c->sql_type, -4);
    EXPECT_EQ(c->total_length, 6);
    EXPECT_EQ(c->position_low, 0u);
    EXPECT_EQ(c->position_high, 0u);
    EXPECT_EQ(c->null_flag, 0);
    EXPECT_EQ(memcmp(c->area, lb->area, KX_LONG_AREA_SIZE), 0);
    EXPECT_NE(c->stream, lb->stream);
    EXPECT_EQ(count_directory_entries(blobs), 0);

    // One open file: after the source reads, rewinding the clone brings the
    // shared offset back to the start for both.
    unsigned char out[8];
    int32_t remaining = 0;
    EXPECT_EQ(extract_from_long_buffer(lb, out, 3, &remaining, 1), 1);
    EXPECT_EQ(memcmp(out, "abc", 3), 0);
    EXPECT_EQ(rewind_long_buffer(c), 0);
    EXPECT_EQ(extract_from_long_buffer(c, out, 6, &remaining, 1), 0);
    EXPECT_EQ(remaining, 6);
    EXPECT_EQ(memcmp(out, "abcdef", 6), 0);

    // The clone consumed a temporary file name in passing.
    LongBuffer *next = allocate_long_buffer(handle, 0, 0, config, -1);
    ASSERT_NE(next, nullptr);
    EXPECT_EQ(counter_of(next->file_name, blobs), before + 2);

    // The clone outlives the source's handle and still reads the file.
    kx_mem_release_handle(handle);
    handle = nullptr;
    EXPECT_EQ(rewind_long_buffer(c), 0);
    EXPECT_EQ(extract_from_long_buffer(c, out, 8, &remaining, 0), 0);
    EXPECT_STREQ(reinterpret_cast<char *>(out), "abcdef");
    kx_mem_release_handle(other);
}

TEST_F(LongBufferCases, CloneCopiesNullFlagAndPosition) {
    MemHandle *other = kx_mem_alloc_handle(nullptr);
    ASSERT_NE(other, nullptr);
    LongBuffer *lb = make(-1, "abcdef", 6);
    ASSERT_NE(lb, nullptr);
    char out[3];
    int32_t remaining = 0;
    EXPECT_EQ(extract_from_long_buffer(lb, out, 3, &remaining, 0), 1);
    lb->null_flag = 1;
    LongBuffer *c = clone_long_buffer(lb, other);
    ASSERT_NE(c, nullptr);
    EXPECT_EQ(c->null_flag, 1);
    EXPECT_EQ(c->position_low, 2u);
    EXPECT_EQ(c->position_high, 0u);
    EXPECT_EQ(c->total_length, 6);
    kx_mem_release_handle(other);
}

TEST_F(LongBufferCases, ReleasingTheHandleClosesTheFiles) {
    int before = count_open_descriptors();
    MemHandle *h = kx_mem_alloc_handle(nullptr);
    ASSERT_NE(h, nullptr);
    MemHandle *other = kx_mem_alloc_handle(nullptr);
    ASSERT_NE(other, nullptr);
    LongBuffer *a = allocate_long_buffer(h, 0, 0, config, -1);
    LongBuffer *b = allocate_long_buffer(h, 0, 0, config, -4);
    ASSERT_NE(a, nullptr);
    ASSERT_NE(b, nullptr);
    LongBuffer *c = clone_long_buffer(a, other);
    ASSERT_NE(c, nullptr);
    EXPECT_EQ(count_open_descriptors(), before + 3);
    kx_mem_release_handle(h);
    EXPECT_EQ(count_open_descriptors(), before + 1);
    kx_mem_release_handle(other);
    EXPECT_EQ(count_open_descriptors(), before);
}

TEST_F(LongBufferCases, FreeingTheLastReferenceClosesTheFile) {
    int before = count_open_descriptors();
    LongBuffer *a = allocate_long_buffer(handle, 0, 0, config, -1);
    ASSERT_NE(a, nullptr);
    LongBuffer *same = clone_long_buffer(a, handle);
    ASSERT_EQ(same, a);
    EXPECT_EQ(count_open_descriptors(), before + 1);
    kx_mem_free(handle, a);
    EXPECT_EQ(count_open_descriptors(), before + 1);
    kx_mem_free(handle, same);
    EXPECT_EQ(count_open_descriptors(), before);
}

TEST_F(LongBufferCases, DestructorWithoutStreamDoesNothing) {
    LongBuffer lb;
    memset(&lb, 0, sizeof lb);
    lb.stream = nullptr;
    EXPECT_EQ(free_long_buffer(&lb), 0);
}

TEST_F(LongBufferCases, StreamWrappers) {
    char name[KX_LONG_FILE_NAME_SIZE];
    FILE *f = open_buffer(config, name);
    ASSERT_NE(f, nullptr);
    EXPECT_EQ(file_write("0123456789", 10, f), 10u);
    // The high word of the offset is ignored.
    EXPECT_EQ(file_seek(f, 1, 3), 0);
    EXPECT_EQ(ftell(f), 3);
    EXPECT_EQ(file_seek(f, 0xFFFFFFFFu, 7), 0);
    EXPECT_EQ(ftell(f), 7);
    char out[4] = {0};
    EXPECT_EQ(file_read(out, 3, f), 3u);
    EXPECT_STREQ(out, "789");
    EXPECT_EQ(file_read(out, 3, f), 0u);

    // A duplicate is a second stream on the same open file.
    EXPECT_EQ(fflush(f), 0);
    FILE *d = file_dup(f);
    ASSERT_NE(d, nullptr);
    EXPECT_NE(fileno(d), fileno(f));
    EXPECT_EQ(file_seek(d, 0, 10), 0);
    EXPECT_EQ(file_write("XY", 2, d), 2u);
    EXPECT_EQ(file_close(d), 0);
    EXPECT_EQ(file_seek(f, 0, 0), 0);
    char all[13] = {0};
    EXPECT_EQ(file_read(all, 12, f), 12u);
    EXPECT_STREQ(all, "0123456789XY");
    EXPECT_EQ(file_close(f), 0);
}

}  // namespace
