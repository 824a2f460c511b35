// Tests of the standard profile store beside the family's: a read whose
// overlong value is cut and terminated (SQLGetPrivateProfileString, and
// unixODBC's installer library as a second reader), and a write that
// rewrites one line and keeps every other line of the file
// (SQLWritePrivateProfileString), atomically, with the file's mode.
#include "kxsupp/config.h"
#include "kxsupp/standard.h"

#include <gtest/gtest.h>
#include <odbcinst.h>

#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "support/kx_test_files.h"

namespace {

using kxtest::read_file;
using kxtest::write_file;

std::vector<std::string> lines_of(const std::string &text)
{
    std::vector<std::string> lines;
    size_t at = 0;
    while (at < text.size()) {
        size_t nl = text.find('\n', at);
        if (nl == std::string::npos) {
            lines.push_back(text.substr(at));
            break;
        }
        lines.push_back(text.substr(at, nl + 1 - at));
        at = nl + 1;
    }
    return lines;
}

// What diff(1) says between two files: its lines that remove ("<") and add
// (">") a line.
struct DiffCount {
    int removed = 0;
    int added = 0;
};

DiffCount diff_files(const std::string &before, const std::string &after)
{
    DiffCount count;
    std::string command = "diff '" + before + "' '" + after + "'";
    FILE *pipe = popen(command.c_str(), "r");
    EXPECT_NE(pipe, nullptr);
    if (pipe == nullptr)
        return count;
    char line[4096];
    while (std::fgets(line, sizeof line, pipe) != nullptr) {
        if (line[0] == '<')
            count.removed++;
        if (line[0] == '>')
            count.added++;
    }
    pclose(pipe);
    return count;
}

class RegistryStd : public ::testing::Test {
protected:
    void SetUp() override
    {
        dir_ = kxtest::make_temp_dir("kx_registry_std_");
        path_ = dir_ + "/odbc.ini";
        handle_ = open_registry();
        ASSERT_NE(handle_, nullptr);
        set_config(handle_, path_.c_str());
    }
    void TearDown() override
    {
        close_registry(handle_);
        kxtest::remove_tree(dir_);
    }
    // The file's text before and after a call, kept for diff(1).
    std::string snapshot(const std::string &name)
    {
        std::string copy = dir_ + "/../" + dir_.substr(dir_.rfind('/') + 1) + "." + name;
        write_file(copy, read_file(path_));
        copies_.push_back(copy);
        return copy;
    }
    ino_t inode() const
    {
        struct stat st{};
        ::stat(path_.c_str(), &st);
        return st.st_ino;
    }

    std::string dir_;
    std::string path_;
    ProfileHandle *handle_ = nullptr;
    std::vector<std::string> copies_;

public:
    ~RegistryStd() override
    {
        for (const std::string &copy : copies_)
            unlink(copy.c_str());
    }
};

const char kFile[] =
    "# data sources of this machine\n"
    "[ODBC Data Sources]\n"
    "Sales = Text Driver\n"
    "Other = Text Driver\n"
    "\n"
    "[Other]\n"
    "Driver = /usr/lib/libtext.so\n"
    "A = 1\n"
    "\n"
    "# the sales figures\n"
    "[Sales]\n"
    "Driver   =   /usr/lib/libtext.so\n"
    "Server=alpha\n"
    "; not a key line\n"
    "Port = 5000\n"
    "\n"
    "{default}\n"
    "blob_path = /tmp\n";

/* ---- reading ---- */

TEST_F(RegistryStd, AnOverlongValueIsCutAndTerminated)
{
    write_file(path_, "[Sales]\nServer = alphabet   \n");
    struct Case {
        int32_t size;
        const char *family;    // what the family leaves
        const char *standard;
        int32_t copied;
    };
    const Case cases[] = {
        {128, "alphabet", "alphabet", 8},
        // the family cuts before it trims: the blanks make it overlong
        {9, "alphabe0", "alphabet", 8},
        {8, "alphab0", "alphabe", 7},
        {4, "al0", "alp", 3},
        {2, "0", "a", 1},
        {1, "", "", 0},
    };
    for (const Case &c : cases) {
        std::vector<char> f(static_cast<size_t>(c.size) + 8, '#');
        std::vector<char> s(static_cast<size_t>(c.size) + 8, '#');
        EXPECT_EQ(get_profile_string(handle_, 2, "sales", "SERVER", "x", f.data(), c.size), 0);
        EXPECT_EQ(kxstd_get_profile_string(handle_, 2, "sales", "SERVER", "x", s.data(), c.size),
                  c.copied)
            << c.size;
        EXPECT_STREQ(f.data(), c.family) << c.size;
        EXPECT_STREQ(s.data(), c.standard) << c.size;
        for (size_t i = static_cast<size_t>(c.size); i < s.size(); ++i)
            EXPECT_EQ(s[i], '#') << "written past " << c.size;
    }
    // size 0 writes nothing; a null output is allowed with it
    char none[4] = "###";
    EXPECT_EQ(kxstd_get_profile_string(handle_, 2, "Sales", "Server", "x", none, 0), 0);
    EXPECT_STREQ(none, "###");
    EXPECT_EQ(kxstd_get_profile_string(handle_, 2, "Sales", "Server", "x", nullptr, 0), 0);
    EXPECT_EQ(kxstd_get_profile_string(handle_, 2, "Sales", "Server", "x", nullptr, 5), -1);
}

TEST_F(RegistryStd, TheDefaultIsCutTheSameWay)
{
    write_file(path_, "[Sales]\nServer = alpha\n");
    char out[5];
    EXPECT_EQ(kxstd_get_profile_string(handle_, 2, "Sales", "Port", "1234567", out, 5), 4);
    EXPECT_STREQ(out, "1234");
    EXPECT_EQ(kxstd_get_profile_string(handle_, 0, "Sales", "Server", nullptr, out, 5), 0);
    EXPECT_STREQ(out, "");
    // a missing file: -1, the default, and the reason
    unlink(path_.c_str());
    EXPECT_EQ(kxstd_get_profile_string(handle_, 2, "Sales", "Server", "abcdefgh", out, 5), -1);
    EXPECT_STREQ(out, "abcd");
    EXPECT_EQ(std::strncmp(registry_error(handle_), "Failed to open ", 15), 0);
    EXPECT_EQ(kxstd_get_profile_string(nullptr, 2, "Sales", "Server", "abcdefgh", out, 5), -1);
    EXPECT_STREQ(out, "abcd");
}

TEST_F(RegistryStd, GetDefaultReadsTheDataSourceOrTheDefaults)
{
    write_file(path_, "[Sales]\nblob_path = /very/long/directory\n{default}\nblob_path = /tmp/x\n");
    char out[10];
    EXPECT_STREQ(kxstd_get_default(handle_, "blob_path", out, 10), "/tmp/x");
    set_dsn(handle_, "Sales");
    EXPECT_STREQ(kxstd_get_default(handle_, "blob_path", out, 10), "/very/lon");
    char family[10];
    EXPECT_STREQ(get_default(handle_, "blob_path", family, 10), "/very/lo0");
}

int unterminated_reader(const char *, const char *, const char *, char *output, int size,
                        const char *)
{
    std::memset(output, 'r', static_cast<size_t>(size));
    return size;
}

TEST_F(RegistryStd, AnInstalledReaderIsTerminatedToo)
{
    set_ini_function(handle_, unterminated_reader);
    char out[6];
    EXPECT_EQ(kxstd_get_profile_string(handle_, 2, "Sales", "Server", "", out, 6), 5);
    EXPECT_STREQ(out, "rrrrr");
}

// unixODBC's installer library, another reader of the same file, cuts an
// overlong value the same way and counts the characters it copied.
TEST_F(RegistryStd, AgreesWithUnixOdbcOnCutValues)
{
    std::string sysdir = dir_ + "/sys";
    ASSERT_EQ(mkdir(sysdir.c_str(), 0755), 0);
    setenv("ODBCSYSINI", sysdir.c_str(), 1);
    setenv("ODBCINI", path_.c_str(), 1);
    SQLSetConfigMode(ODBC_USER_DSN);
    write_file(path_, "[Sales]\nServer = alphabetical order\nPort = 5000\n");
    int compared = 0;
    for (int32_t size = 2; size <= 24; ++size) {
        for (const char *key : {"Server", "Port", "Missing"}) {
            // the installer library remembers answers by their arguments
            std::string def = "default-" + std::to_string(size) + key;
            std::vector<char> theirs(static_cast<size_t>(size), '#');
            std::vector<char> ours(static_cast<size_t>(size), '#');
            int n = SQLGetPrivateProfileString("Sales", key, def.c_str(), theirs.data(), size,
                                               "odbc.ini");
            int32_t m = kxstd_get_profile_string(handle_, 2, "Sales", key, def.c_str(),
                                                 ours.data(), size);
            EXPECT_STREQ(ours.data(), theirs.data()) << key << " " << size;
            EXPECT_EQ(m, n) << key << " " << size;
            compared++;
        }
    }
    EXPECT_EQ(compared, 69);
    unsetenv("ODBCINI");
    unsetenv("ODBCSYSINI");
}

/* ---- writing ---- */

TEST_F(RegistryStd, ASettingRewritesOneLineAndKeepsTheRest)
{
    write_file(path_, kFile);
    chmod(path_.c_str(), 0640);
    std::string before = snapshot("before");
    ino_t old_inode = inode();
    ASSERT_EQ(kxstd_set_profile_string(handle_, 2, "sales", "SERVER", "beta"), 0)
        << registry_error(handle_);
    std::string after = snapshot("after");
    DiffCount d = diff_files(before, after);
    EXPECT_EQ(d.removed, 1);
    EXPECT_EQ(d.added, 1);
    std::vector<std::string> old_lines = lines_of(kFile);
    std::vector<std::string> new_lines = lines_of(read_file(path_));
    ASSERT_EQ(new_lines.size(), old_lines.size());
    for (size_t i = 0; i < old_lines.size(); ++i) {
        if (old_lines[i] == "Server=alpha\n")
            EXPECT_EQ(new_lines[i], "Server=beta\n");
        else
            EXPECT_EQ(new_lines[i], old_lines[i]) << i;
    }
    // put in place by a rename, with the file's mode, nothing left beside it
    struct stat st{};
    ASSERT_EQ(::stat(path_.c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 07777, 0640u);
    EXPECT_NE(st.st_ino, old_inode);
    EXPECT_EQ(kxtest::directory_entries(dir_), std::vector<std::string>{"odbc.ini"});
    char out[32];
    EXPECT_EQ(kxstd_get_profile_string(handle_, 2, "Sales", "Server", "", out, 32), 4);
    EXPECT_STREQ(out, "beta");

    // the family's write of the same setting loses the sections before it
    write_file(path_, kFile);
    ASSERT_EQ(set_profile_string(handle_, 2, "sales", "SERVER", "beta"), 0);
    std::string family = read_file(path_);
    EXPECT_EQ(family.find("Sales = Text Driver"), std::string::npos);
    EXPECT_EQ(family.find("A = 1"), std::string::npos);
    EXPECT_TRUE(kxtest::exists(path_ + "~"));
}

TEST_F(RegistryStd, ARewrittenLineKeepsItsSpacingAndLineEnding)
{
    write_file(path_, "[A]\r\nKey  =   old  \r\nNext = 1\r\n");
    ASSERT_EQ(kxstd_set_profile_string(handle_, 2, "A", "key", "new"), 0);
    EXPECT_EQ(read_file(path_), "[A]\r\nKey  =   new\r\nNext = 1\r\n");
    // a last line without its line break gets one before the new line
    write_file(path_, "[A]\r\nKey = 1\r");
    ASSERT_EQ(kxstd_set_profile_string(handle_, 2, "A", "Other", "2"), 0);
    EXPECT_EQ(read_file(path_), "[A]\r\nKey = 1\r\nOther = 2\r\n");
    // an empty value gets a blank after "=" when the line had one before
    write_file(path_, "[A]\nPort =\nPort=\n");
    ASSERT_EQ(kxstd_set_profile_string(handle_, 2, "A", "Port", "7"), 0);
    EXPECT_EQ(read_file(path_), "[A]\nPort = 7\nPort=\n");
}

// The line the reader takes the key from is the one rewritten: its first
// line of the key with a value.
TEST_F(RegistryStd, TheLineTheReaderTakesIsRewritten)
{
    write_file(path_, "[A]\nPort =\nPort = 5\nPort = 6\n");
    char out[8];
    ASSERT_EQ(kxstd_get_profile_string(handle_, 2, "A", "Port", "", out, 8), 1);
    EXPECT_STREQ(out, "5");
    ASSERT_EQ(kxstd_set_profile_string(handle_, 2, "A", "Port", "9"), 0);
    EXPECT_EQ(read_file(path_), "[A]\nPort =\nPort = 9\nPort = 6\n");
    ASSERT_EQ(kxstd_get_profile_string(handle_, 2, "A", "Port", "", out, 8), 1);
    EXPECT_STREQ(out, "9");
}

// Of two sections of one name the reader reads the first that has lines;
// the setting goes there, so that no other key of the name is hidden.
TEST_F(RegistryStd, TheSectionTheReaderReadsTakesTheSetting)
{
    write_file(path_, "[S]\n# empty\n[S]\nk2 = 2\n[T]\n");
    ASSERT_EQ(kxstd_set_profile_string(handle_, 2, "S", "k", "1"), 0);
    EXPECT_EQ(read_file(path_), "[S]\n# empty\n[S]\nk2 = 2\nk = 1\n[T]\n");
    char out[4];
    EXPECT_EQ(kxstd_get_profile_string(handle_, 2, "S", "k", "", out, 4), 1);
    EXPECT_STREQ(out, "1");
    EXPECT_EQ(kxstd_get_profile_string(handle_, 2, "S", "k2", "", out, 4), 1);
    EXPECT_STREQ(out, "2");
    // a header of the mode's kind without its closing bracket is passed over
    write_file(path_, "[S]\n[broken\nk = 1\n");
    ASSERT_EQ(kxstd_set_profile_string(handle_, 2, "S", "k", "2"), 0);
    EXPECT_EQ(read_file(path_), "[S]\n[broken\nk = 2\n");
}

TEST_F(RegistryStd, ARewrittenLineMustStayWithinTheReadersLine)
{
    std::string file = "[A]\nKey" + std::string(240, ' ') + "= old\n";
    write_file(path_, file);
    EXPECT_EQ(kxstd_set_profile_string(handle_, 2, "A", "Key", "a value of 20 octets"), -1);
    EXPECT_EQ(std::strncmp(registry_error(handle_), "Refused to write to ", 20), 0);
    EXPECT_EQ(read_file(path_), file);
    EXPECT_EQ(kxstd_set_profile_string(handle_, 2, "A", "Key", "new"), 0);
    char out[8];
    EXPECT_EQ(kxstd_get_profile_string(handle_, 2, "A", "Key", "", out, 8), 3);
}

TEST_F(RegistryStd, ANewKeyIsAddedAfterTheSectionsLastKeyLine)
{
    write_file(path_, kFile);
    std::string before = snapshot("before");
    ASSERT_EQ(kxstd_set_profile_string(handle_, 2, "Other", "Database", "sales.db"), 0);
    DiffCount d = diff_files(before, snapshot("after"));
    EXPECT_EQ(d.removed, 0);
    EXPECT_EQ(d.added, 1);
    std::string text = read_file(path_);
    EXPECT_NE(text.find("A = 1\nDatabase = sales.db\n\n# the sales figures\n"), std::string::npos)
        << text;
    // the family writes it too, but drops what came before [Other]
    write_file(path_, kFile);
    ASSERT_EQ(set_profile_string(handle_, 2, "Other", "Database", "sales.db"), 0);
    EXPECT_EQ(read_file(path_).find("Sales = Text Driver"), std::string::npos);
    // a section with no key line takes it after its header
    write_file(path_, "[Empty]\n# nothing yet\n[B]\nx = 1\n");
    ASSERT_EQ(kxstd_set_profile_string(handle_, 2, "Empty", "k", "v"), 0);
    EXPECT_EQ(read_file(path_), "[Empty]\nk = v\n# nothing yet\n[B]\nx = 1\n");
}

TEST_F(RegistryStd, AMissingSectionIsAddedAtTheEnd)
{
    write_file(path_, "[A]\nx = 1");  // no line break at the end
    ASSERT_EQ(kxstd_set_profile_string(handle_, 2, "New", "k", "v"), 0);
    EXPECT_EQ(read_file(path_), "[A]\nx = 1\n\n[New]\nk = v\n");
    // the family writes nothing for a section that is not there
    write_file(path_, "[A]\nx = 1\n");
    ASSERT_EQ(set_profile_string(handle_, 2, "New", "k", "v"), 0);
    EXPECT_EQ(read_file(path_).find("[New]"), std::string::npos);
    // the mode's brackets
    write_file(path_, "[A]\nx = 1\n");
    ASSERT_EQ(kxstd_set_profile_string(handle_, 0, "settings", "trace", "1"), 0);
    ASSERT_EQ(kxstd_set_profile_string(handle_, 1, "other", "k", "2"), 0);
    EXPECT_EQ(read_file(path_), "[A]\nx = 1\n\n{settings}\ntrace = 1\n\n(other)\nk = 2\n");
    char out[4];
    EXPECT_EQ(kxstd_get_profile_string(handle_, 0, "settings", "trace", "", out, 4), 1);
    EXPECT_EQ(kxstd_get_profile_string(handle_, 1, "other", "k", "", out, 4), 1);
    EXPECT_STREQ(out, "2");
}

TEST_F(RegistryStd, AMissingFileIsMade)
{
    unlink(path_.c_str());
    mode_t mask = umask(022);
    ASSERT_EQ(kxstd_set_profile_string(handle_, 2, "Sales", "Server", "alpha"), 0);
    umask(mask);
    EXPECT_EQ(read_file(path_), "[Sales]\nServer = alpha\n");
    struct stat st{};
    ASSERT_EQ(::stat(path_.c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0644u);
    // the family's fails: there is nothing to rename to the backup
    unlink(path_.c_str());
    EXPECT_EQ(set_profile_string(handle_, 2, "Sales", "Server", "alpha"), -1);
}

TEST_F(RegistryStd, ANullValueRemovesTheKey)
{
    write_file(path_, kFile);
    std::string before = snapshot("before");
    ASSERT_EQ(kxstd_set_profile_string(handle_, 2, "Sales", "Port", nullptr), 0);
    DiffCount d = diff_files(before, snapshot("after"));
    EXPECT_EQ(d.removed, 1);
    EXPECT_EQ(d.added, 0);
    EXPECT_EQ(read_file(path_).find("Port = 5000"), std::string::npos);
    char out[16];
    EXPECT_EQ(kxstd_get_profile_string(handle_, 2, "Sales", "Port", "none", out, 16), 4);
    EXPECT_STREQ(out, "none");
    // a key that is not there: the file is not touched
    ino_t old_inode = inode();
    ASSERT_EQ(kxstd_set_profile_string(handle_, 2, "Sales", "Port", nullptr), 0);
    EXPECT_EQ(inode(), old_inode);
    // the family writes a null value as an empty one
    write_file(path_, "[Sales]\nPort = 5000\n");
    ASSERT_EQ(set_profile_string(handle_, 2, "Sales", "Port", nullptr), 0);
    EXPECT_EQ(read_file(path_), "[Sales]\nPort = \n");
}

TEST_F(RegistryStd, ANullKeyRemovesTheSection)
{
    write_file(path_, kFile);
    ASSERT_EQ(kxstd_set_profile_string(handle_, 2, "Other", nullptr, nullptr), 0);
    std::string expected = kFile;
    std::string removed = "[Other]\nDriver = /usr/lib/libtext.so\nA = 1\n\n# the sales figures\n";
    expected.erase(expected.find(removed), removed.size());
    EXPECT_EQ(read_file(path_), expected);
    char out[16];
    EXPECT_EQ(kxstd_get_profile_string(handle_, 2, "Other", "A", "gone", out, 16), 4);
    // a section of another mode's name space stays
    write_file(path_, "[x]\na = 1\n{x}\nb = 2\n");
    ASSERT_EQ(kxstd_set_profile_string(handle_, 0, "X", nullptr, nullptr), 0);
    EXPECT_EQ(read_file(path_), "[x]\na = 1\n");
}

TEST_F(RegistryStd, WhatCannotBeReadBackIsRefused)
{
    write_file(path_, kFile);
    ino_t old_inode = inode();
    struct Case {
        const char *section, *key, *value;
    };
    std::string long_value(300, 'v');
    const Case cases[] = {
        {nullptr, "k", "v"},
        {"Sales", "k", "v\n[Evil]"},
        {"Sales", "k\r", "v"},
        {"Sal]es", "k", "v"},
        {"Sales", "k=1", "v"},
        {"Sales", "", "v"},
        {"Sales", "#k", "v"},
        {"Sales", "[k", "v"},
        {"Sales", "k", long_value.c_str()},
    };
    for (const Case &c : cases) {
        EXPECT_EQ(kxstd_set_profile_string(handle_, 2, c.section, c.key, c.value), -1)
            << (c.key != nullptr ? c.key : "(null)");
        EXPECT_EQ(std::strncmp(registry_error(handle_), "Refused to write to ", 20), 0);
    }
    EXPECT_EQ(read_file(path_), kFile);
    EXPECT_EQ(inode(), old_inode);
    EXPECT_EQ(kxstd_set_profile_string(nullptr, 2, "Sales", "k", "v"), -1);
}

TEST_F(RegistryStd, FilesThatCannotBeWritten)
{
    // a directory
    set_config(handle_, dir_.c_str());
    EXPECT_EQ(kxstd_set_profile_string(handle_, 2, "Sales", "k", "v"), -1);
    EXPECT_EQ(std::strncmp(registry_error(handle_), "Failed to open ", 15), 0);
    // a directory that is not there
    std::string nowhere = dir_ + "/none/odbc.ini";
    set_config(handle_, nowhere.c_str());
    EXPECT_EQ(kxstd_set_profile_string(handle_, 2, "Sales", "k", "v"), -1);
    EXPECT_EQ(std::strncmp(registry_error(handle_), "Failed to open ", 15), 0);
}

TEST_F(RegistryStd, ASymbolicLinkIsWrittenThrough)
{
    std::string real = dir_ + "/real.ini";
    write_file(real, "[A]\nx = 1\n");
    std::string link = dir_ + "/link.ini";
    ASSERT_EQ(symlink("real.ini", link.c_str()), 0);
    set_config(handle_, link.c_str());
    ASSERT_EQ(kxstd_set_profile_string(handle_, 2, "A", "x", "2"), 0);
    EXPECT_EQ(read_file(real), "[A]\nx = 2\n");
    struct stat st{};
    ASSERT_EQ(lstat(link.c_str(), &st), 0);
    EXPECT_TRUE(S_ISLNK(st.st_mode));
}

// A reader that reads the file while it is written sees the old or the new
// file, whole: every other line is always there.
TEST_F(RegistryStd, AReaderNeverSeesAPartOfTheFile)
{
    write_file(path_, kFile);
    std::atomic<bool> done{false};
    std::atomic<int> partial{0};
    std::atomic<int> reads{0};
    std::thread reader([&] {
        while (!done) {
            std::string text = read_file(path_);
            if (text.empty())
                continue;  // between no file and the first write: never here
            reads++;
            if (text.find("[Other]\nDriver = /usr/lib/libtext.so\nA = 1\n") == std::string::npos ||
                text.find("{default}\nblob_path = /tmp\n") == std::string::npos)
                partial++;
        }
    });
    for (int i = 0; i < 200; ++i) {
        std::string value = "value-" + std::to_string(i) + std::string(static_cast<size_t>(i), 'x');
        ASSERT_EQ(kxstd_set_profile_string(handle_, 2, "Sales", "Server", value.c_str()), 0);
    }
    done = true;
    reader.join();
    EXPECT_EQ(partial.load(), 0);
    EXPECT_GT(reads.load(), 0);
    char out[256];
    EXPECT_EQ(kxstd_get_profile_string(handle_, 2, "Sales", "Server", "", out, 256), 208);
}

}  // namespace
