/*
 * registry_cases_test.cpp - the profile store checked from the outside,
 * through the public header only: reading a setting by section kind, the
 * file syntax (comments, bracket kinds, blanks, 255-octet reads, empty
 * values), the copy rule into the caller's buffer, the external reader,
 * get_default, every error text, and the rewrite through the "~" backup.
 */
#include <kxsupp.h>

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

/* A private directory for profile files, removed with everything in it. */
class TempDir {
public:
    TempDir()
    {
        char pattern[] = "/tmp/kxregcasesXXXXXX";
        const char *made = mkdtemp(pattern);
        if (made != nullptr)
            dir_ = made;
    }
    ~TempDir()
    {
        if (!dir_.empty()) {
            std::error_code ec;
            std::filesystem::remove_all(dir_, ec);
        }
    }
    bool ok() const { return !dir_.empty(); }
    std::string path(const std::string &name) const { return dir_ + "/" + name; }
    const std::string &dir() const { return dir_; }

private:
    std::string dir_;
};

void write_file(const std::string &path, const std::string &text)
{
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << text;
}

std::string read_file(const std::string &path)
{
    std::ifstream in(path, std::ios::binary);
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
}

bool exists(const std::string &path)
{
    struct stat st;
    return stat(path.c_str(), &st) == 0;
}

/* A handle on a file of the given text. */
class Profile : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(dir.ok());
        file = dir.path("odbc.ini");
        h = open_registry();
        ASSERT_NE(h, nullptr);
        ASSERT_NE(set_config(h, file.c_str()), nullptr);
    }
    void TearDown() override { close_registry(h); }

    /* Reads one setting with a 128-octet buffer; returns the text. */
    std::string get(int32_t mode, const char *section, const char *key,
                    const char *def = "x", int32_t *rc_out = nullptr)
    {
        char out[128];
        memset(out, 'Z', sizeof out);
        int32_t rc = get_profile_string(h, mode, section, key, def, out, 128);
        if (rc_out)
            *rc_out = rc;
        EXPECT_NE(memchr(out, '\0', sizeof out), nullptr);
        return std::string(out);
    }

    TempDir dir;
    std::string file;
    ProfileHandle *h = nullptr;
};

/* ---------------------------------------------------------------- reading */

struct ReadCase {
    const char *name;
    const char *text;
    int32_t mode;
    const char *section;
    const char *key;
    const char *expected;
};

const ReadCase read_cases[] = {
    {"data source section, case-insensitive names", "[Sales]\nServer = alpha\n", 2, "sales",
     "SERVER", "alpha"},
    {"mode 0 does not see square brackets", "[Sales]\nServer = alpha\n", 0, "Sales", "Server",
     "x"},
    {"mode 1 does not see square brackets", "[Sales]\nServer = alpha\n", 1, "Sales", "Server",
     "x"},
    {"any mode other than 0 and 1 is square", "[Sales]\nServer = alpha\n", 7, "Sales",
     "Server", "alpha"},
    {"negative mode is square", "[Sales]\nServer = alpha\n", -1, "Sales", "Server", "alpha"},
    {"mode 0 reads braces", "{default}\nblob_path = /tmp\n", 0, "default", "blob_path", "/tmp"},
    {"mode 1 reads parentheses", "(misc)\nK = v\n", 1, "MISC", "k", "v"},
    {"three name spaces in one file",
     "{S}\nK = brace\n(S)\nK = paren\n[S]\nK = square\n", 1, "S", "K", "paren"},
    {"three name spaces, braces", "[S]\nK = square\n(S)\nK = paren\n{S}\nK = brace\n", 0, "S",
     "K", "brace"},
    {"three name spaces, square", "{S}\nK = brace\n(S)\nK = paren\n[S]\nK = square\n", 2, "S",
     "K", "square"},
    {"no blanks around =", "[S]\nK=v\n", 2, "S", "K", "v"},
    {"blanks around key and value", "[S]\nK  \t =  \t v \t \n", 2, "S", "K", "v"},
    {"carriage return is a blank", "[S]\r\nK = v\r\n", 2, "S", "K", "v"},
    {"inner blanks of a value are kept", "[S]\nK = a  b c\n", 2, "S", "K", "a  b c"},
    {"value keeps a later =", "[S]\nK = a=b\n", 2, "S", "K", "a=b"},
    {"empty value is absent", "[S]\nPort =\n", 2, "S", "Port", "x"},
    {"blank value is absent", "[S]\nPort =    \n", 2, "S", "Port", "x"},
    {"empty value absent, later line found", "[S]\nPort =\nPort = 5\n", 2, "S", "Port", "5"},
    {"first of two equal keys wins", "[S]\nK = 1\nK = 2\n", 2, "S", "K", "1"},
    {"comment line is skipped", "[S]\n#K = c\nK = v\n", 2, "S", "K", "v"},
    {"comment only", "[S]\n# K = c\n", 2, "S", "K", "x"},
    {"line without = is not a key line", "[S]\nK\nK v\n", 2, "S", "K", "x"},
    {"last line without newline", "[S]\nK = v", 2, "S", "K", "v"},
    {"missing key gives default", "[S]\nK = v\n", 2, "S", "Other", "x"},
    {"missing section gives default", "[T]\nK = v\n", 2, "S", "K", "x"},
    {"key outside any section", "K = v\n[S]\nA = 1\n", 2, "S", "K", "x"},
    {"text after the closing bracket", "[S] trailing\nK = v\n", 2, "S", "K", "v"},
    {"header without closing bracket is ignored (stays in S)", "[S]\n[T\nK = v\n", 2, "S", "K",
     "v"},
    {"header without closing bracket does not open", "[T]\nA = 1\n[S\nK = v\n", 2, "S", "K",
     "x"},
    {"section name is not a prefix match", "[Sales2]\nK = v\n", 2, "Sales", "K", "x"},
    {"other kind of header ends the section", "[S]\nA = 1\n{S}\nK = v\n", 2, "S", "K", "x"},
    {"other kind ends it, lines after are outside", "[S]\nA = 1\n(x)\nK = v\n", 2, "S", "K",
     "x"},
    {"the wanted section is over at the next header", "[S]\nA = 1\n[S]\nK = v\n", 2, "S", "K",
     "x"},
    {"the wanted section over even after another kind",
     "[S]\nA = 1\n{x}\n[S]\nK = v\n", 2, "S", "K", "x"},
    {"an empty first section is not seen", "[S]\n[S]\nK = v\n", 2, "S", "K", "v"},
    {"a line without = marks the section seen", "[S]\njunk\n[S]\nK = v\n", 2, "S", "K", "x"},
    {"an empty-value line marks the section seen", "[S]\nK =\n[S]\nK = v\n", 2, "S", "K", "x"},
    {"a comment does not mark it seen", "[S]\n# c\n[S]\nK = v\n", 2, "S", "K", "v"},
    {"sections before are skipped", "[A]\nK = a\n[B]\nK = b\n[C]\nK = c\n", 2, "B", "K", "b"},
    {"last section", "[A]\nK = a\n[B]\nK = b\n[C]\nK = c\n", 2, "C", "K", "c"},
    {"after another kind, a square header reopens", "[A]\nK = a\n{B}\n[C]\nK = c\n", 2, "C",
     "K", "c"},
    {"semicolon is not a comment", "[S]\n;K = c\n", 2, "S", ";K", "c"},
    {"empty file", "", 2, "S", "K", "x"},
};

class ReadTable : public Profile, public ::testing::WithParamInterface<ReadCase> {};

TEST_P(ReadTable, GivesValue)
{
    const ReadCase &c = GetParam();
    write_file(file, c.text);
    int32_t rc = 99;
    EXPECT_EQ(get(c.mode, c.section, c.key, "x", &rc), c.expected) << c.name;
    EXPECT_EQ(rc, 0) << c.name;
    EXPECT_STREQ(registry_error(h), "Unknown error") << c.name;
}

INSTANTIATE_TEST_SUITE_P(Cases, ReadTable, ::testing::ValuesIn(read_cases));

TEST_F(Profile, MissingFileKeepsDefaultAndSetsError)
{
    int32_t rc = 0;
    EXPECT_EQ(get(2, "S", "K", "dflt", &rc), "dflt");
    EXPECT_EQ(rc, -1);
    std::string want = "Failed to open " + file + " for input, " + strerror(ENOENT);
    EXPECT_EQ(std::string(registry_error(h)), want);
}

TEST_F(Profile, NullDefaultWritesEmptyText)
{
    write_file(file, "[S]\nK = v\n");
    char out[8];
    memset(out, 'Z', sizeof out);
    EXPECT_EQ(get_profile_string(h, 2, "S", "missing", nullptr, out, 8), 0);
    EXPECT_STREQ(out, "");

    /* also when the file is missing */
    unlink(file.c_str());
    memset(out, 'Z', sizeof out);
    EXPECT_EQ(get_profile_string(h, 2, "S", "K", nullptr, out, 8), -1);
    EXPECT_STREQ(out, "");
}

TEST_F(Profile, ZeroSizeWritesNothing)
{
    write_file(file, "[S]\nK = v\n");
    char out[4] = {'Z', 'Z', 'Z', 'Z'};
    EXPECT_EQ(get_profile_string(h, 2, "S", "missing", nullptr, out, 0), 0);
    EXPECT_EQ(out[0], 'Z');
    EXPECT_EQ(get_profile_string(h, 2, "S", "missing", "dflt", out, 0), 0);
    EXPECT_EQ(out[0], 'Z');
    EXPECT_EQ(get_profile_string(h, 2, "S", "K", "dflt", out, 0), 0);
    EXPECT_EQ(out[0], 'Z');
}

TEST_F(Profile, ErrorTextResetByNextCall)
{
    get(2, "S", "K");
    EXPECT_NE(std::string(registry_error(h)), "Unknown error");
    write_file(file, "[S]\nK = v\n");
    EXPECT_EQ(get(2, "S", "K"), "v");
    EXPECT_STREQ(registry_error(h), "Unknown error");
}

TEST(ProfileHandle, NullHandleHasNoErrorText)
{
    EXPECT_EQ(registry_error(nullptr), nullptr);
}

TEST(ProfileHandle, DefaultPathIsOdbcIni)
{
    EXPECT_STREQ(default_config, "odbc.ini");
    ProfileHandle *h = open_registry();
    ASSERT_NE(h, nullptr);
    EXPECT_STREQ(h->path, "odbc.ini");
    EXPECT_STREQ(h->dsn, "");
    EXPECT_EQ(h->reader, nullptr);
    char *p = set_dsn(h, "Sales");
    ASSERT_NE(p, nullptr);
    EXPECT_STREQ(p, "Sales");
    close_registry(h);
}

TEST(ProfileHandle, SetConfigAndDsnReturnTheirFields)
{
    ProfileHandle *h = open_registry();
    ASSERT_NE(h, nullptr);
    char *p1 = set_config(h, "a.ini");
    EXPECT_STREQ(p1, "a.ini");
    char *p2 = set_config(h, "b.ini");
    EXPECT_EQ(p1, p2) << "the same field each time";
    EXPECT_STREQ(p2, "b.ini");
    char *d1 = set_dsn(h, "One");
    char *d2 = set_dsn(h, "Two");
    EXPECT_EQ(d1, d2);
    EXPECT_STREQ(d2, "Two");
    EXPECT_NE(static_cast<void *>(p1), static_cast<void *>(d1));
    close_registry(h);
}

TEST(ProfileHandle, OverlongPathAndDsnAreCut)
{
    ProfileHandle *h = open_registry();
    ASSERT_NE(h, nullptr);
    std::string longtext(1000, 'p');
    char *p = set_config(h, longtext.c_str());
    ASSERT_NE(p, nullptr);
    size_t n = strlen(p);
    EXPECT_LE(n, 255u);
    EXPECT_EQ(std::string(p), longtext.substr(0, n));
    char *d = set_dsn(h, longtext.c_str());
    ASSERT_NE(d, nullptr);
    n = strlen(d);
    EXPECT_LE(n, 255u);
    EXPECT_EQ(std::string(d), longtext.substr(0, n));
    /* the path field is intact after the data-source name was set */
    EXPECT_EQ(std::string(p), longtext.substr(0, strlen(p)));
    close_registry(h);
}

TEST(ProfileHandle, CloseNullIsHarmless)
{
    close_registry(nullptr);
    SUCCEED();
}

/* Lines are read 255 octets at a time; a longer line reads as several. */
TEST_F(Profile, LongLineReadsAsSeveral)
{
    std::string a(251, 'a');
    /* "A = " + 251 octets = 255 octets, then "Y = z" is a line of its own */
    write_file(file, "[S]\nA = " + a + "Y = z\n");
    char out[512];
    EXPECT_EQ(get_profile_string(h, 2, "S", "A", "x", out, sizeof out), 0);
    EXPECT_EQ(std::string(out), a);
    EXPECT_EQ(get_profile_string(h, 2, "S", "Y", "x", out, sizeof out), 0);
    EXPECT_STREQ(out, "z");
}

TEST_F(Profile, LineOf254OctetsIsOneLine)
{
    std::string a(250, 'a');
    /* "A = " + 250 octets + newline: whole */
    write_file(file, "[S]\nA = " + a + "\nB = b\n");
    char out[512];
    EXPECT_EQ(get_profile_string(h, 2, "S", "A", "x", out, sizeof out), 0);
    EXPECT_EQ(std::string(out), a);
    EXPECT_EQ(get_profile_string(h, 2, "S", "B", "x", out, sizeof out), 0);
    EXPECT_STREQ(out, "b");
}

/* ---------------------------------------------------------- the copy rule */

struct CopyCase {
    const char *value;   /* in the file; null: absent, so the default is copied */
    const char *dflt;
    int32_t size;
    const char *expected;
};

/* A value that fits (at most size - 1 octets) is copied whole; a longer one
   is cut, its last character before the terminator replaced by "0". */
const CopyCase copy_cases[] = {
    {"abc", "x", 4, "abc"},
    {"abcd", "x", 4, "ab0"},
    {"abcdefgh", "x", 4, "ab0"},
    {"abcd", "x", 5, "abcd"},
    {"abcde", "x", 5, "abc0"},
    {"abcdef", "x", 5, "abc0"},
    {"ab", "x", 2, "0"},
    {"a", "x", 2, "a"},
    {nullptr, "abc", 4, "abc"},
    {nullptr, "abcd", 4, "ab0"},
    {nullptr, "abcdefgh", 5, "abc0"},
    {nullptr, "a", 2, "a"},
    {nullptr, "ab", 2, "0"},
    {nullptr, "", 4, ""},
};

class CopyRule : public Profile, public ::testing::WithParamInterface<CopyCase> {};

TEST_P(CopyRule, CopiesIntoTheBuffer)
{
    const CopyCase &c = GetParam();
    if (c.value)
        write_file(file, std::string("[S]\nK = ") + c.value + "\n");
    else
        write_file(file, "[S]\nOther = 1\n");
    std::vector<char> buf(c.size + 16, 'Z');
    EXPECT_EQ(get_profile_string(h, 2, "S", "K", c.dflt, buf.data(), c.size), 0);
    EXPECT_STREQ(buf.data(), c.expected);
    for (size_t i = c.size; i < buf.size(); i++)
        EXPECT_EQ(buf[i], 'Z') << "octet " << i << " past the buffer was written";
}

INSTANTIATE_TEST_SUITE_P(Cases, CopyRule, ::testing::ValuesIn(copy_cases));

TEST_F(Profile, DefaultCutWhenFileMissing)
{
    char buf[16];
    memset(buf, 'Z', sizeof buf);
    EXPECT_EQ(get_profile_string(h, 2, "S", "K", "abcdefgh", buf, 5), -1);
    EXPECT_STREQ(buf, "abc0");
    EXPECT_EQ(buf[5], 'Z');
}

TEST_F(Profile, SizeOneNeverOverflows)
{
    write_file(file, "[S]\nK = abc\n");
    char buf[4] = {'Z', 'Z', 'Z', 'Z'};
    EXPECT_EQ(get_profile_string(h, 2, "S", "K", "d", buf, 1), 0);
    EXPECT_EQ(buf[1], 'Z');
    EXPECT_EQ(buf[2], 'Z');
    EXPECT_EQ(get_profile_string(h, 2, "S", "missing", "dflt", buf, 1), 0);
    EXPECT_EQ(buf[1], 'Z');
}

/* Trailing blanks go after the copy; the cut happens first. */
TEST_F(Profile, TrailingBlanksOfValueRemoved)
{
    write_file(file, "[S]\nK = ab   \t\nL = a       bcd\n");
    char buf[16];
    EXPECT_EQ(get_profile_string(h, 2, "S", "K", "x", buf, 16), 0);
    EXPECT_STREQ(buf, "ab");
    /* cut to 5 octets, then "0": the blanks before it stay */
    EXPECT_EQ(get_profile_string(h, 2, "S", "L", "x", buf, 7), 0);
    EXPECT_STREQ(buf, "a    0");
}

/* ----------------------------------------------------- the external reader */

struct ReaderCall {
    int calls = 0;
    std::string section, key, dflt, file_name;
    bool dflt_null = false;
    char *output = nullptr;
    int size = 0;
};
ReaderCall g_reader;

int fake_reader(const char *section, const char *key, const char *default_value,
                char *output, int output_size, const char *file_name)
{
    g_reader.calls++;
    g_reader.section = section ? section : "(null)";
    g_reader.key = key ? key : "(null)";
    g_reader.dflt_null = default_value == nullptr;
    g_reader.dflt = default_value ? default_value : "";
    g_reader.output = output;
    g_reader.size = output_size;
    g_reader.file_name = file_name ? file_name : "(null)";
    if (output && output_size > 3)
        strcpy(output, "ext");
    return 3;
}

TEST_F(Profile, ReaderReplacesFileForMode2)
{
    g_reader = ReaderCall();
    set_ini_function(h, fake_reader);
    /* the file does not exist: it is not opened */
    char out[64];
    memset(out, 'Z', sizeof out);
    EXPECT_EQ(get_profile_string(h, 2, "Sales", "Server", "dflt", out, 64), 0);
    EXPECT_EQ(g_reader.calls, 1);
    EXPECT_EQ(g_reader.section, "Sales");
    EXPECT_EQ(g_reader.key, "Server");
    EXPECT_EQ(g_reader.dflt, "dflt");
    EXPECT_EQ(g_reader.output, out);
    EXPECT_EQ(g_reader.size, 64);
    EXPECT_EQ(g_reader.file_name, "ODBC.INI");
    EXPECT_STREQ(out, "ext");
    EXPECT_STREQ(registry_error(h), "Unknown error");
}

int silent_reader(const char *, const char *, const char *, char *, int, const char *)
{
    g_reader.calls++;
    return 0;
}

TEST_F(Profile, ReaderGetsNoDefaultCopied)
{
    g_reader = ReaderCall();
    set_ini_function(h, silent_reader);
    char out[16];
    memset(out, 'Z', sizeof out);
    EXPECT_EQ(get_profile_string(h, 5, "Sales", "Server", "dflt", out, 16), 0);
    EXPECT_EQ(g_reader.calls, 1);
    EXPECT_EQ(out[0], 'Z') << "the default is not copied when the reader answers";
}

TEST_F(Profile, ReaderNotUsedForModes0And1)
{
    g_reader = ReaderCall();
    set_ini_function(h, fake_reader);
    write_file(file, "{default}\nK = brace\n(p)\nK = paren\n");
    EXPECT_EQ(get(0, "default", "K"), "brace");
    EXPECT_EQ(get(1, "p", "K"), "paren");
    EXPECT_EQ(g_reader.calls, 0);
}

TEST_F(Profile, ReaderNotUsedForWriting)
{
    g_reader = ReaderCall();
    set_ini_function(h, fake_reader);
    write_file(file, "[S]\nK = 1\n");
    EXPECT_EQ(set_profile_string(h, 2, "S", "K", "2"), 0);
    EXPECT_EQ(g_reader.calls, 0);
    EXPECT_EQ(read_file(file), "[S]\nK = 2\n");
}

TEST_F(Profile, ReaderCanBeRemoved)
{
    g_reader = ReaderCall();
    set_ini_function(h, fake_reader);
    set_ini_function(h, nullptr);
    write_file(file, "[S]\nK = file\n");
    EXPECT_EQ(get(2, "S", "K"), "file");
    EXPECT_EQ(g_reader.calls, 0);
}

/* ------------------------------------------------------------- get_default */

TEST_F(Profile, GetDefaultReadsDataSourceOrDefaults)
{
    write_file(file, "{default}\nblob_path = /var/blobs\nonly_default = d\n"
                     "[Sales]\nblob_path = /sales/blobs\n");
    char out[128];
    memset(out, 'Z', sizeof out);
    /* no data source: "{default}" */
    EXPECT_EQ(get_default(h, "blob_path", out, 128), out);
    EXPECT_STREQ(out, "/var/blobs");
    set_dsn(h, "Sales");
    EXPECT_EQ(get_default(h, "blob_path", out, 128), out);
    EXPECT_STREQ(out, "/sales/blobs");
    /* the data source's section only, with default "" */
    EXPECT_EQ(get_default(h, "only_default", out, 128), out);
    EXPECT_STREQ(out, "");
    set_dsn(h, "sales");
    EXPECT_EQ(get_default(h, "BLOB_PATH", out, 128), out);
    EXPECT_STREQ(out, "/sales/blobs");
    /* an empty data-source name is "none set" */
    set_dsn(h, "");
    EXPECT_EQ(get_default(h, "blob_path", out, 128), out);
    EXPECT_STREQ(out, "/var/blobs");
}

TEST_F(Profile, GetDefaultMissingKeyIsEmpty)
{
    write_file(file, "{default}\nA = 1\n");
    char out[16];
    memset(out, 'Z', sizeof out);
    EXPECT_EQ(get_default(h, "B", out, 16), out);
    EXPECT_STREQ(out, "");
}

TEST_F(Profile, GetDefaultMissingFile)
{
    char out[16];
    memset(out, 'Z', sizeof out);
    EXPECT_EQ(get_default(h, "B", out, 16), out);
    EXPECT_STREQ(out, "");
    std::string want = "Failed to open " + file + " for input, " + strerror(ENOENT);
    EXPECT_EQ(std::string(registry_error(h)), want);
}

TEST_F(Profile, GetDefaultUsesReaderWithDataSource)
{
    g_reader = ReaderCall();
    set_ini_function(h, fake_reader);
    set_dsn(h, "Sales");
    char out[32];
    EXPECT_EQ(get_default(h, "blob_path", out, 32), out);
    EXPECT_EQ(g_reader.calls, 1);
    EXPECT_EQ(g_reader.section, "Sales");
    EXPECT_EQ(g_reader.key, "blob_path");
    EXPECT_EQ(g_reader.dflt, "");
    EXPECT_EQ(g_reader.size, 32);
    EXPECT_EQ(g_reader.file_name, "ODBC.INI");
    EXPECT_STREQ(out, "ext");
}

/* ---------------------------------------------------------------- writing */

struct WriteCase {
    const char *name;
    const char *before;
    int32_t mode;
    const char *section;
    const char *key;
    const char *value;
    const char *after;
};

const WriteCase write_cases[] = {
    {"replace a value", "[Sales]\nServer = alpha\n[Other]\nA = 1\n", 2, "Sales", "Server",
     "beta", "[Sales]\nServer = beta\n[Other]\nA = 1\n"},
    {"earlier sections are dropped", "[Sales]\nServer = alpha\n[Other]\nA = 1\n", 2, "Other",
     "B", "2", "[Sales]\n[Other]\nA = 1\nB = 2\n"},
    {"earlier sections dropped, key replaced", "[Sales]\nServer = alpha\n[Other]\nA = 1\n", 2,
     "Other", "A", "5", "[Sales]\n[Other]\nA = 5\n"},
    {"key and section case-insensitive, the file's key kept", "[Sales]\nServer = alpha\n", 2,
     "SALES", "server", "beta", "[Sales]\nServer = beta\n"},
    {"lines of the target are rewritten", "[S]\nK1=v1\nK2   =   v2  \nK3 = v3\n", 2, "S", "K3",
     "new", "[S]\nK1 = v1\nK2 = v2  \nK3 = new\n"},
    {"setting before the next header", "[S]\nA = 1\n[T]\nB = 2\n", 2, "S", "C", "3",
     "[S]\nA = 1\nC = 3\n\n[T]\nB = 2\n"},
    {"setting before a header of another kind", "[S]\nA = 1\n{default}\nX = y\n", 2, "S", "C",
     "3", "[S]\nA = 1\nC = 3\n\n{default}\nX = y\n"},
    {"another kind before the target is written", "{default}\nX = y\n[S]\nA = 1\n", 2, "S", "A",
     "2", "{default}\n[S]\nA = 2\n"},
    {"comments are kept", "# top\n[T]\n# c\nB = 1\n[S]\nA = 1\n", 2, "S", "A", "2",
     "# top\n[T]\n# c\n[S]\nA = 2\n"},
    {"line without = in the target is kept", "[S]\nnoequals\nA = 1\n", 2, "S", "A", "2",
     "[S]\nnoequals\nA = 2\n"},
    {"missing section gets nothing", "[T]\nB = 1\n", 2, "S", "A", "1", "[T]\n"},
    {"empty section gets nothing", "[S]\n[T]\nB = 1\n", 2, "S", "A", "1", "[S]\n[T]\n"},
    {"empty file stays empty", "", 2, "S", "A", "1", ""},
    {"setting at end of file", "[S]\nA = 1\n", 2, "S", "B", "2", "[S]\nA = 1\nB = 2\n"},
    {"last line without newline", "[S]\nA = 1", 2, "S", "B", "2", "[S]\nA = 1\nB = 2\n"},
    {"header text after bracket dropped", "[S] note\nA = 1\n", 2, "S", "A", "2",
     "[S]\nA = 2\n"},
    {"header without closing bracket takes the previous name", "[S]\nA = 1\n[T\nB = 2\n", 2,
     "S", "C", "3", "[S]\nA = 1\nC = 3\n\n[S]\nB = 2\n"},
    {"remaining lines copied verbatim", "[S]\nA = 1\n[T]\nB = 100%s%d%n\n#%%\nC=  x  \n", 2,
     "S", "A", "2", "[S]\nA = 2\n[T]\nB = 100%s%d%n\n#%%\nC=  x  \n"},
    {"mode 0 braces", "{default}\nA = 1\n[S]\nA = 1\n", 0, "default", "A", "2",
     "{default}\nA = 2\n[S]\nA = 1\n"},
    {"mode 1 parentheses", "(p)\nA = 1\n(q)\nB = 1\n", 1, "p", "A", "2",
     "(p)\nA = 2\n(q)\nB = 1\n"},
    {"mode 1, another kind before", "[S]\nA = 1\n(p)\nA = 1\n", 1, "p", "A", "2",
     "[S]\n(p)\nA = 2\n"},
    {"mode 9 is square", "[S]\nA = 1\n", 9, "S", "A", "2", "[S]\nA = 2\n"},
    {"a value with %", "[S]\nA = 1\n", 2, "S", "A", "50%s", "[S]\nA = 50%s\n"},
    {"comment in the target before the key", "[S]\n# c\nA = 1\n", 2, "S", "A", "2",
     "[S]\n# c\nA = 2\n"},
    {"first of two equal keys replaced", "[S]\nA = 1\nA = 3\n", 2, "S", "A", "2",
     "[S]\nA = 2\nA = 3\n"},
};

class WriteTable : public Profile, public ::testing::WithParamInterface<WriteCase> {};

TEST_P(WriteTable, RewritesTheFile)
{
    const WriteCase &c = GetParam();
    write_file(file, c.before);
    EXPECT_EQ(set_profile_string(h, c.mode, c.section, c.key, c.value), 0) << c.name;
    EXPECT_EQ(read_file(file), c.after) << c.name;
    EXPECT_STREQ(registry_error(h), "Unknown error") << c.name;
    /* the backup holds the old contents */
    EXPECT_EQ(read_file(file + "~"), c.before) << c.name;
}

INSTANTIATE_TEST_SUITE_P(Cases, WriteTable, ::testing::ValuesIn(write_cases));

TEST_F(Profile, WrittenValueIsReadBack)
{
    write_file(file, "[Sales]\nServer = alpha\nPort = 1\n");
    ASSERT_EQ(set_profile_string(h, 2, "Sales", "Server", "beta"), 0);
    EXPECT_EQ(get(2, "Sales", "Server"), "beta");
    ASSERT_EQ(set_profile_string(h, 2, "Sales", "Port", "2"), 0);
    EXPECT_EQ(get(2, "Sales", "Port"), "2");
    EXPECT_EQ(get(2, "Sales", "Server"), "beta");
    ASSERT_EQ(set_profile_string(h, 2, "Sales", "New", "n"), 0);
    EXPECT_EQ(get(2, "Sales", "New"), "n");
    EXPECT_EQ(read_file(file), "[Sales]\nServer = beta\nPort = 2\nNew = n\n");
    EXPECT_EQ(read_file(file + "~"), "[Sales]\nServer = beta\nPort = 2\n");
}

TEST_F(Profile, BackupReplacesAnOlderBackup)
{
    write_file(file + "~", "old backup\n");
    write_file(file, "[S]\nA = 1\n");
    ASSERT_EQ(set_profile_string(h, 2, "S", "A", "2"), 0);
    EXPECT_EQ(read_file(file + "~"), "[S]\nA = 1\n");
    EXPECT_EQ(read_file(file), "[S]\nA = 2\n");
}

TEST_F(Profile, WriteMissingFileFailsOnRename)
{
    EXPECT_EQ(set_profile_string(h, 2, "S", "A", "1"), -1);
    std::string want = "Failed to rename " + file + " to " + file + "~, " + strerror(ENOENT);
    EXPECT_EQ(std::string(registry_error(h)), want);
    EXPECT_FALSE(exists(file));
}

TEST_F(Profile, WriteFailureKeepsOldContents)
{
    /* the backup path is a non-empty directory: the backup cannot be made */
    write_file(file, "[S]\nA = 1\n");
    ASSERT_EQ(mkdir((file + "~").c_str(), 0700), 0);
    write_file(file + "~/inside", "x");
    EXPECT_EQ(set_profile_string(h, 2, "S", "A", "2"), -1);
    std::string prefix = "Failed to rename " + file + " to " + file + "~, ";
    std::string err = registry_error(h);
    EXPECT_EQ(err.substr(0, prefix.size()), prefix) << err;
    EXPECT_GT(err.size(), prefix.size());
    EXPECT_EQ(read_file(file), "[S]\nA = 1\n");
    EXPECT_EQ(get(2, "S", "A"), "1");
}

/* A reader that already holds the file open sees the old contents whole. */
TEST_F(Profile, OpenReaderSeesOldContents)
{
    std::string before = "[S]\nA = 1\n[T]\nB = 2\n";
    write_file(file, before);
    FILE *held = fopen(file.c_str(), "r");
    ASSERT_NE(held, nullptr);
    ASSERT_EQ(set_profile_string(h, 2, "S", "A", "22"), 0);
    std::string seen;
    char buf[256];
    size_t n;
    while ((n = fread(buf, 1, sizeof buf, held)) > 0)
        seen.append(buf, n);
    fclose(held);
    EXPECT_EQ(seen, before);
    EXPECT_EQ(read_file(file), "[S]\nA = 22\n[T]\nB = 2\n");
}

/* A file changed between reads is always read anew. */
TEST_F(Profile, ChangedFileIsReadAnew)
{
    write_file(file, "[S]\nA = 1\n");
    EXPECT_EQ(get(2, "S", "A"), "1");
    EXPECT_EQ(get(2, "S", "A"), "1");
    /* same size, rewritten in place at once */
    write_file(file, "[S]\nA = 2\n");
    EXPECT_EQ(get(2, "S", "A"), "2");
    write_file(file, "[S]\nA = 3\n");
    EXPECT_EQ(get(2, "S", "A"), "3");
    /* another file renamed into place */
    write_file(file + ".new", "[S]\nA = 4\n");
    ASSERT_EQ(rename((file + ".new").c_str(), file.c_str()), 0);
    EXPECT_EQ(get(2, "S", "A"), "4");
    /* a different size */
    write_file(file, "[S]\nA = 55\n");
    EXPECT_EQ(get(2, "S", "A"), "55");
    /* removed */
    unlink(file.c_str());
    int32_t rc = 0;
    EXPECT_EQ(get(2, "S", "A", "gone", &rc), "gone");
    EXPECT_EQ(rc, -1);
    /* back again */
    write_file(file, "[S]\nA = 6\n");
    EXPECT_EQ(get(2, "S", "A"), "6");
}

/* Puts the file's times well in the past, as for a file long unchanged. */
void age_file(const std::string &path)
{
    struct timespec times[2];
    times[0].tv_sec = times[1].tv_sec = 946684800; /* 2000-01-01 */
    times[0].tv_nsec = times[1].tv_nsec = 123456789;
    ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
}

/* A long-unchanged file rewritten in place, its times put back: still read
   anew. */
TEST_F(Profile, RewriteWithOldTimesIsReadAnew)
{
    write_file(file, "[S]\nA = 1\n");
    age_file(file);
    for (int i = 0; i < 3; i++)
        EXPECT_EQ(get(2, "S", "A"), "1");
    write_file(file, "[S]\nA = 2\n");
    age_file(file);
    EXPECT_EQ(get(2, "S", "A"), "2");
    /* another file of the same size and times renamed into place */
    write_file(file + ".new", "[S]\nA = 3\n");
    age_file(file + ".new");
    ASSERT_EQ(rename((file + ".new").c_str(), file.c_str()), 0);
    EXPECT_EQ(get(2, "S", "A"), "3");
}

/* Two handles on two files do not mix their answers. */
TEST_F(Profile, TwoFilesTwoAnswers)
{
    std::string other = dir.path("other.ini");
    write_file(file, "[S]\nA = first\n");
    write_file(other, "[S]\nA = second\n");
    ProfileHandle *h2 = open_registry();
    ASSERT_NE(h2, nullptr);
    set_config(h2, other.c_str());
    char out[32];
    for (int i = 0; i < 3; i++) {
        EXPECT_EQ(get_profile_string(h, 2, "S", "A", "x", out, 32), 0);
        EXPECT_STREQ(out, "first");
        EXPECT_EQ(get_profile_string(h2, 2, "S", "A", "x", out, 32), 0);
        EXPECT_STREQ(out, "second");
    }
    set_config(h, other.c_str());
    EXPECT_EQ(get_profile_string(h, 2, "S", "A", "x", out, 32), 0);
    EXPECT_STREQ(out, "second");
    close_registry(h2);
}

/* ------------------------------------------------- the default "odbc.ini" */

class CurrentDir : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(dir.ok());
        ASSERT_NE(getcwd(saved, sizeof saved), nullptr);
        ASSERT_EQ(chdir(dir.dir().c_str()), 0);
        moved = true;
    }
    void TearDown() override
    {
        if (moved) {
            EXPECT_EQ(chdir(saved), 0);
        }
    }
    TempDir dir;
    char saved[4096];
    bool moved = false;
};

TEST_F(CurrentDir, DefaultFileInCurrentDirectory)
{
    ProfileHandle *h = open_registry();
    ASSERT_NE(h, nullptr);
    char out[128];
    memset(out, 'Z', sizeof out);
    EXPECT_EQ(get_profile_string(h, 2, "Sales", "Server", "dflt", out, 128), -1);
    EXPECT_STREQ(out, "dflt");
    std::string want = std::string("Failed to open odbc.ini for input, ") + strerror(ENOENT);
    EXPECT_EQ(std::string(registry_error(h)), want);

    EXPECT_EQ(set_profile_string(h, 2, "Sales", "Server", "beta"), -1);
    want = std::string("Failed to rename odbc.ini to odbc.ini~, ") + strerror(ENOENT);
    EXPECT_EQ(std::string(registry_error(h)), want);

    write_file("odbc.ini", "[Sales]\nServer = alpha\n[Other]\nA = 1\n");
    EXPECT_EQ(get_profile_string(h, 2, "sales", "SERVER", "x", out, 128), 0);
    EXPECT_STREQ(out, "alpha");
    EXPECT_EQ(get_profile_string(h, 0, "Sales", "Server", "x", out, 128), 0);
    EXPECT_STREQ(out, "x");

    EXPECT_EQ(set_profile_string(h, 2, "Sales", "Server", "beta"), 0);
    EXPECT_EQ(read_file("odbc.ini"), "[Sales]\nServer = beta\n[Other]\nA = 1\n");
    EXPECT_EQ(read_file("odbc.ini~"), "[Sales]\nServer = alpha\n[Other]\nA = 1\n");

    set_dsn(h, "Sales");
    EXPECT_EQ(get_default(h, "Server", out, 128), out);
    EXPECT_STREQ(out, "beta");
    close_registry(h);
}

/* The default path follows the current directory from call to call. */
TEST_F(CurrentDir, DefaultFileFollowsTheCurrentDirectory)
{
    TempDir other;
    ASSERT_TRUE(other.ok());
    write_file("odbc.ini", "[S]\nA = 1\n");
    write_file(other.path("odbc.ini"), "[S]\nA = 2\n");
    age_file("odbc.ini");
    age_file(other.path("odbc.ini"));
    ProfileHandle *h = open_registry();
    ASSERT_NE(h, nullptr);
    char out[16];
    for (int i = 0; i < 3; i++) {
        EXPECT_EQ(get_profile_string(h, 2, "S", "A", "x", out, 16), 0);
        EXPECT_STREQ(out, "1");
    }
    ASSERT_EQ(chdir(other.dir().c_str()), 0);
    EXPECT_EQ(get_profile_string(h, 2, "S", "A", "x", out, 16), 0);
    EXPECT_STREQ(out, "2");
    ASSERT_EQ(chdir(dir.dir().c_str()), 0);
    EXPECT_EQ(get_profile_string(h, 2, "S", "A", "x", out, 16), 0);
    EXPECT_STREQ(out, "1");
    close_registry(h);
}

} // namespace
