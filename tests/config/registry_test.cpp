// Tests of the profile store: reading with its section kinds, comments,
// 255-octet lines and copy rule, the external reader, get_default, the
// rewrite with its backup and dropped lines, error texts, the cache of
// parsed files, and agreement with unixODBC's SQLGetPrivateProfileString.
#include "kxsupp/config.h"
#include "config/registry_internal.h"

#include <gtest/gtest.h>
#include <odbcinst.h>

#include <algorithm>
#include <atomic>
#include <climits>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <functional>
#include <grp.h>
#include <pwd.h>
#include <random>
#include <string>
#include <csignal>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>
#include "support/kx_test_files.h"

namespace {

using kxtest::write_file;

// A private directory for the profiles of one test.
std::string make_temp_dir() { return kxtest::make_temp_dir("kx_registry_"); }

// A file's text, "<missing>" when it cannot be opened.
std::string read_file(const std::string &path) { return kxtest::read_file(path, "<missing>"); }

void remove_tree(const std::string &dir)
{
    if (!kxtest::remove_tree(dir))
        ADD_FAILURE() << "could not remove " << dir;
}

// The account that holds no right to other people's files.
void nobody_ids(uid_t *uid, gid_t *gid)
{
    const struct passwd *pw = getpwnam("nobody");
    *uid = pw != nullptr ? pw->pw_uid : 65534;
    *gid = pw != nullptr ? pw->pw_gid : 65534;
}

// A child that ran its body leaves through exit(), so that an instrumented
// build writes the child's coverage counts; the parent flushed its output
// before the fork, so nothing buffered is written twice.
[[noreturn]] void leave_child()
{
    std::exit(0);
}

// Runs body in a child process that file permissions bind (root takes
// "nobody"'s identity as its effective one) and returns the text body made
// there. Root takes its own identity back before the child flushes its
// coverage counts, so that the counts may be written.
std::string in_unprivileged_child(const std::function<std::string()> &body)
{
    int fds[2];
    if (pipe(fds) != 0)
        return "<no pipe>";
    std::fflush(nullptr);
    pid_t pid = fork();
    if (pid < 0)
        return "<no child>";
    if (pid == 0) {
        close(fds[0]);
        if (geteuid() == 0) {
            uid_t uid;
            gid_t gid;
            nobody_ids(&uid, &gid);
            if (setgroups(0, nullptr) != 0 || setegid(gid) != 0 || seteuid(uid) != 0)
                _exit(2);
        }
        std::string text = body();
        if (getuid() == 0 && (seteuid(0) != 0 || setegid(0) != 0))
            _exit(3);
        size_t done = 0;
        while (done < text.size()) {
            ssize_t put = write(fds[1], text.data() + done, text.size() - done);
            if (put <= 0)
                break;
            done += static_cast<size_t>(put);
        }
        close(fds[1]);
        leave_child();
    }
    close(fds[1]);
    std::string text;
    char buffer[512];
    ssize_t got;
    while ((got = read(fds[0], buffer, sizeof buffer)) > 0)
        text.append(buffer, static_cast<size_t>(got));
    close(fds[0]);
    int status = 0;
    waitpid(pid, &status, 0);
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0)
        return "<child failed>";
    return text;
}

class Registry : public ::testing::Test {
protected:
    void SetUp() override
    {
        dir = make_temp_dir();
        path = dir + "/odbc.ini";
        handle = open_registry();
        ASSERT_NE(handle, nullptr);
        set_config(handle, path.c_str());
    }
    void TearDown() override
    {
        close_registry(handle);
        remove_tree(dir);
    }
    std::string get(int32_t mode, const char *section, const char *key,
                    const char *def = "none", int32_t size = 128)
    {
        std::vector<char> out(static_cast<size_t>(size) + 8, '#');
        int32_t rc = get_profile_string(handle, mode, section, key, def,
                                        out.data(), size);
        EXPECT_EQ(rc, 0) << registry_error(handle);
        return std::string(out.data());
    }
    std::string dir;
    std::string path;
    ProfileHandle *handle = nullptr;
};

/* ---- the handle ---- */

TEST_F(Registry, FreshHandleUsesTheDefaultPath)
{
    EXPECT_STREQ(default_config, "odbc.ini");
    ProfileHandle *h = open_registry();
    ASSERT_NE(h, nullptr);
    EXPECT_STREQ(h->path, "odbc.ini");
    EXPECT_STREQ(h->dsn, "");
    EXPECT_EQ(h->reader, nullptr);
    close_registry(h);
    close_registry(nullptr);
}

TEST_F(Registry, SettersReturnTheirFieldsAndCutLongTexts)
{
    EXPECT_EQ(set_config(handle, "x.ini"), handle->path);
    EXPECT_STREQ(handle->path, "x.ini");
    EXPECT_EQ(set_dsn(handle, "Sales"), handle->dsn);
    EXPECT_STREQ(handle->dsn, "Sales");
    std::string long_text(400, 'p');
    set_config(handle, long_text.c_str());
    EXPECT_EQ(std::strlen(handle->path), 255u);
    set_dsn(handle, long_text.c_str());
    EXPECT_EQ(std::strlen(handle->dsn), 255u);
    EXPECT_EQ(registry_error(nullptr), nullptr);
    EXPECT_EQ(registry_error(handle), handle->error);
}

TEST_F(Registry, SettersTakeTextFromTheirOwnFields)
{
    set_config(handle, "/dir/file.ini");
    EXPECT_STREQ(set_config(handle, handle->path + 4), "/file.ini");
    set_dsn(handle, "xxSales");
    EXPECT_STREQ(set_dsn(handle, handle->dsn + 2), "Sales");
    EXPECT_STREQ(set_dsn(handle, handle->dsn), "Sales");
}

/* ---- reading: the examples ---- */

TEST_F(Registry, ReadsDataSourceSectionsByMode)
{
    write_file(path, "[Sales]\nServer = alpha\n");
    EXPECT_EQ(get(2, "sales", "SERVER", "x"), "alpha");
    EXPECT_EQ(get(0, "Sales", "Server", "x"), "x");
    EXPECT_STREQ(registry_error(handle), "Unknown error");
}

TEST_F(Registry, EmptyValueIsAbsent)
{
    write_file(path, "[Sales]\nPort =\nHost =   \n");
    EXPECT_EQ(get(2, "Sales", "Port", "5000"), "5000");
    EXPECT_EQ(get(2, "Sales", "Host", "h"), "h");
}

TEST_F(Registry, GetDefaultReadsTheDataSourceOrTheDefaults)
{
    write_file(path, "{default}\nblob_path = /var/tmp\n[Sales]\nblob_path = /sales\n");
    char out[128];
    EXPECT_EQ(get_default(handle, "blob_path", out, 128), out);
    EXPECT_STREQ(out, "/var/tmp");
    set_dsn(handle, "Sales");
    get_default(handle, "blob_path", out, 128);
    EXPECT_STREQ(out, "/sales");
    get_default(handle, "missing", out, 128);
    EXPECT_STREQ(out, "");
    set_dsn(handle, "");
    get_default(handle, "blob_path", out, 128);
    EXPECT_STREQ(out, "/var/tmp");
}

TEST_F(Registry, MissingFileKeepsTheDefaultAndSaysWhy)
{
    char saved[4096];
    ASSERT_NE(getcwd(saved, sizeof saved), nullptr);
    ASSERT_EQ(chdir(dir.c_str()), 0);
    ProfileHandle *h = open_registry();
    char out[128];
    EXPECT_EQ(get_profile_string(h, 2, "Sales", "Server", "fallback", out, 128), -1);
    EXPECT_STREQ(out, "fallback");
    EXPECT_EQ(std::string(registry_error(h)),
              std::string("Failed to open odbc.ini for input, ") + std::strerror(ENOENT));
    // A good read afterwards resets the error text.
    write_file(dir + "/odbc.ini", "[Sales]\nServer = s\n");
    EXPECT_EQ(get_profile_string(h, 2, "Sales", "Server", "fallback", out, 128), 0);
    EXPECT_STREQ(out, "s");
    EXPECT_STREQ(registry_error(h), "Unknown error");
    close_registry(h);
    ASSERT_EQ(chdir(saved), 0);
}

/* ---- reading: the rules ---- */

struct ReadCase {
    const char *name;
    const char *file;
    int32_t mode;
    const char *section;
    const char *key;
    const char *expected;   // the default is "none"
};

const ReadCase kReadCases[] = {
    {"three name spaces, mode 0", "{S}\nk = curly\n(S)\nk = round\n[S]\nk = square\n", 0, "S", "k", "curly"},
    {"three name spaces, mode 1", "{S}\nk = curly\n(S)\nk = round\n[S]\nk = square\n", 1, "S", "k", "round"},
    {"three name spaces, mode 2", "{S}\nk = curly\n(S)\nk = round\n[S]\nk = square\n", 2, "S", "k", "square"},
    {"other modes are mode 2", "{S}\nk = curly\n[S]\nk = square\n", 7, "S", "k", "square"},
    {"negative mode is mode 2", "{S}\nk = curly\n[S]\nk = square\n", -1, "S", "k", "square"},
    {"comment skipped", "[S]\n#k = hidden\nk = shown\n", 2, "S", "k", "shown"},
    {"only # is a comment", "[S]\n;k = first\nk = second\n", 2, "S", ";k", "first"},
    {"blanks around =", "[S]\nk \t=\t  v w  \t\n", 2, "S", "k", "v w"},
    {"no blanks", "[S]\nk=v\n", 2, "S", "k", "v"},
    {"key keeps leading blanks", "[S]\n  k = v\n", 2, "S", "k", "none"},
    {"key with leading blanks", "[S]\n  k = v\n", 2, "S", "  k", "v"},
    {"case-insensitive names", "[SaLeS]\nSeRvEr = v\n", 2, "sales", "server", "v"},
    {"first match wins", "[S]\nk = a\nk = b\n", 2, "S", "k", "a"},
    {"value holds =", "[S]\nk = a=b\n", 2, "S", "k", "a=b"},
    {"line without = skipped", "[S]\nk\nk = v\n", 2, "S", "k", "v"},
    {"missing key", "[S]\na = 1\n", 2, "S", "k", "none"},
    {"missing section", "[T]\nk = 1\n", 2, "S", "k", "none"},
    {"lines before any section", "k = 1\n[S]\n", 2, "S", "k", "none"},
    {"wanted section over: stop", "[S]\na = 1\n[T]\nb = 2\n[S]\nk = late\n", 2, "S", "k", "none"},
    {"empty wanted section: go on", "[S]\n[T]\nb = 2\n[S]\nk = late\n", 2, "S", "k", "late"},
    {"comment does not mark the section", "[S]\n#x\n[T]\n[S]\nk = late\n", 2, "S", "k", "late"},
    {"line without = marks the section", "[S]\nx\n[T]\n[S]\nk = late\n", 2, "S", "k", "none"},
    {"empty value marks the section", "[S]\nk =\n[S]\nk = late\n", 2, "S", "k", "none"},
    {"empty line marks the section", "[S]\n\n[S]\nk = late\n", 2, "S", "k", "none"},
    {"other kind ends the section", "[S]\n{x}\nk = v\n", 2, "S", "k", "none"},
    {"other kind, then same section", "[S]\n(x)\n[S]\nk = v\n", 2, "S", "k", "v"},
    {"other kind does not stop", "[S]\na = 1\n{x}\n[S]\nk = v\n", 2, "S", "k", "none"},
    {"unclosed header ignored", "[S]\n[Broken\nk = v\n", 2, "S", "k", "v"},
    {"unclosed header is no section", "[T]\n[S\nk = v\n", 2, "S", "k", "none"},
    {"header text after bracket", "[S] trailing\nk = v\n", 2, "S", "k", "v"},
    {"blanks in section name kept", "[ S ]\nk = v\n", 2, "S", "k", "none"},
    {"blanks in section name match", "[ S ]\nk = v\n", 2, " S ", "k", "v"},
    {"carriage return trimmed from value", "[S]\r\nk = v\r\n", 2, "S", "k", "v"},
    {"no final newline", "[S]\nk = v", 2, "S", "k", "v"},
    {"empty file", "", 2, "S", "k", "none"},
    {"mode 0 default section", "{default}\nblob_path = /b\n", 0, "default", "blob_path", "/b"},
    {"mode 1 section", "(Other)\nx = 1\n", 1, "other", "X", "1"},
};

TEST_F(Registry, ReadRules)
{
    for (const ReadCase &c : kReadCases) {
        for (bool cached : {true, false}) {
            kx::profile_cache_enable(cached);
            write_file(path, c.file);
            EXPECT_EQ(get(c.mode, c.section, c.key), c.expected)
                << c.name << (cached ? " (cached)" : " (line by line)");
        }
    }
    kx::profile_cache_enable(true);
}

TEST_F(Registry, LongLinesAreReadIn255OctetPieces)
{
    // The second piece of an overlong line is a line of its own.
    std::string file = "[S]\n" + std::string(255, 'A') + "hidden = yes\n" +
                       "long = " + std::string(300, 'v') + "\n";
    for (bool cached : {true, false}) {
        kx::profile_cache_enable(cached);
        write_file(path, file);
        EXPECT_EQ(get(2, "S", "hidden"), "yes");
        EXPECT_EQ(get(2, "S", "long", "none", 1024), std::string(248, 'v'));
        // A line of exactly 255 octets leaves its newline as an empty line.
        write_file(path, "[S]\nk = " + std::string(251, 'w') + "\n[T]\n[S]\nz = 1\n");
        EXPECT_EQ(get(2, "S", "k", "none", 1024), std::string(251, 'w'));
        write_file(path, "[S]\n#" + std::string(254, 'c') + "\n[T]\n[S]\nz = 1\n");
        EXPECT_EQ(get(2, "S", "z"), "none");
        write_file(path, "[S]\n#" + std::string(253, 'c') + "\n[T]\n[S]\nz = 1\n");
        EXPECT_EQ(get(2, "S", "z"), "1");
    }
    kx::profile_cache_enable(true);
}

TEST_F(Registry, CopyRuleMarksAndTerminatesOverlongValues)
{
    write_file(path, "[S]\nk = abcdefgh\nfit = abcde\npad = ab   \n");
    struct {
        const char *key;
        const char *def;
        int32_t size;
        const char *expected;
    } cases[] = {
        {"k", "", 128, "abcdefgh"},
        {"k", "", 9, "abcdefgh"},
        {"k", "", 8, "abcdef0"},
        {"k", "", 6, "abcd0"},
        {"k", "", 2, "0"},
        {"k", "", 1, ""},
        {"fit", "", 6, "abcde"},
        {"fit", "", 5, "abc0"},
        {"pad", "", 128, "ab"},
        {"pad", "", 4, "ab0"},
        {"nokey", "defaultvalue", 5, "def0"},
        {"nokey", "dflt", 5, "dflt"},
        {"nokey", nullptr, 5, ""},
    };
    for (const auto &c : cases) {
        char out[160];
        std::memset(out, '#', sizeof out);
        EXPECT_EQ(get_profile_string(handle, 2, "S", c.key, c.def, out, c.size), 0);
        EXPECT_STREQ(out, c.expected) << c.key << " size " << c.size;
        for (size_t i = static_cast<size_t>(c.size); i < sizeof out; i++)
            ASSERT_EQ(out[i], '#') << "wrote past the buffer at " << i;
    }
    char out[4] = {'#', '#', '#', '#'};
    EXPECT_EQ(get_profile_string(handle, 2, "S", "k", "x", out, 0), 0);
    EXPECT_EQ(out[0], '#');
}

TEST_F(Registry, ErrorTextIsResetByEveryRead)
{
    write_file(path, "[S]\nk = v\n");
    std::strcpy(handle->error, "stale");
    get(2, "S", "k");
    EXPECT_STREQ(registry_error(handle), "Unknown error");
    std::strcpy(handle->error, "stale");
    get(2, "S", "absent");
    EXPECT_STREQ(registry_error(handle), "Unknown error");
}

/* ---- the external reader ---- */

struct ReaderCall {
    int calls;
    std::string section, key, def, file;
    int size;
};
ReaderCall reader_call;

int fake_reader(const char *section, const char *key, const char *def,
                char *output, int size, const char *file)
{
    reader_call.calls++;
    reader_call.section = section;
    reader_call.key = key;
    reader_call.def = def;
    reader_call.size = size;
    reader_call.file = file;
    std::strcpy(output, "from reader");
    return 11;
}

TEST_F(Registry, ExternalReaderReplacesTheFileForDataSources)
{
    set_config(handle, (dir + "/absent.ini").c_str());
    set_ini_function(handle, fake_reader);
    reader_call = ReaderCall{};
    char out[64] = "untouched";
    EXPECT_EQ(get_profile_string(handle, 2, "Sales", "Server", "dflt", out, 64), 0);
    EXPECT_EQ(reader_call.calls, 1);
    EXPECT_EQ(reader_call.section, "Sales");
    EXPECT_EQ(reader_call.key, "Server");
    EXPECT_EQ(reader_call.def, "dflt");
    EXPECT_EQ(reader_call.size, 64);
    EXPECT_EQ(reader_call.file, "ODBC.INI");
    EXPECT_STREQ(out, "from reader");

    // The file is still read for the other modes.
    write_file(dir + "/absent.ini", "{default}\nk = file\n(Sales)\nServer = round\n");
    EXPECT_EQ(get(0, "default", "k"), "file");
    EXPECT_EQ(get(1, "Sales", "Server"), "round");
    EXPECT_EQ(reader_call.calls, 1);

    // Any other mode is a data-source mode; the error text is reset first.
    std::strcpy(handle->error, "stale");
    EXPECT_EQ(get_profile_string(handle, 5, "Sales", "Server", "dflt", out, 64), 0);
    EXPECT_EQ(reader_call.calls, 2);
    EXPECT_STREQ(registry_error(handle), "Unknown error");

    // get_default with a data source goes to the reader.
    set_dsn(handle, "Sales");
    get_default(handle, "blob_path", out, 64);
    EXPECT_EQ(reader_call.calls, 3);
    EXPECT_EQ(reader_call.def, "");
    EXPECT_EQ(reader_call.key, "blob_path");
}

/* ---- writing ---- */

TEST_F(Registry, WriteReplacesAValueAndKeepsABackup)
{
    const std::string before = "[Sales]\nServer = alpha\n[Other]\nA = 1\n";
    write_file(path, before);
    std::strcpy(handle->error, "stale");
    EXPECT_EQ(set_profile_string(handle, 2, "Sales", "Server", "beta"), 0);
    EXPECT_EQ(read_file(path), "[Sales]\nServer = beta\n[Other]\nA = 1\n");
    EXPECT_EQ(read_file(path + "~"), before);
    EXPECT_STREQ(registry_error(handle), "Unknown error");
    EXPECT_EQ(get(2, "Sales", "Server"), "beta");
}

TEST_F(Registry, WriteIntoALaterSectionDropsEarlierLines)
{
    write_file(path, "[Sales]\nServer = alpha\n[Other]\nA = 1\n");
    EXPECT_EQ(set_profile_string(handle, 2, "Other", "Server", "beta"), 0);
    EXPECT_EQ(read_file(path), "[Sales]\n[Other]\nA = 1\nServer = beta\n");
}

struct WriteCase {
    const char *name;
    const char *before;
    int32_t mode;
    const char *section;
    const char *key;
    const char *value;
    const char *after;
};

const WriteCase kWriteCases[] = {
    {"pending setting before the next header",
     "[S]\na = 1\n[T]\nb = 2\n", 2, "S", "k", "v",
     "[S]\na = 1\nk = v\n\n[T]\nb = 2\n"},
    {"pending setting before another kind",
     "[S]\na = 1\n{x}\nb = 2\n", 2, "S", "k", "v",
     "[S]\na = 1\nk = v\n\n{x}\nb = 2\n"},
    {"key lines normalised, case-insensitive key",
     "[S]\n  a\t=  1  \nK=old\n", 2, "s", "k", "new",
     "[S]\n  a = 1  \nK = new\n"},
    {"empty value line replaced", "[S]\nk =\n", 2, "S", "k", "v", "[S]\nk = v\n"},
    {"line without = kept", "[S]\nnote\n", 2, "S", "k", "v", "[S]\nnote\nk = v\n"},
    {"comments kept everywhere, but fill no section", "#top\n[T]\n#t\nx = 1\n[S]\n#s\n", 2, "S", "k", "v",
     "#top\n[T]\n#t\n[S]\n#s\n"},
    {"comments kept in the target", "[S]\n#s\na = 1\n", 2, "S", "k", "v",
     "[S]\n#s\na = 1\nk = v\n"},
    {"other kinds kept, their lines dropped", "{d}\ndd = 1\n[S]\na = 1\n", 2, "S", "k", "v",
     "{d}\n[S]\na = 1\nk = v\n"},
    {"missing section gets nothing", "[T]\nx = 1\n", 2, "S", "k", "v", "[T]\n"},
    {"empty section gets nothing", "[S]\n[T]\nx = 1\n", 2, "S", "k", "v", "[S]\n[T]\n"},
    {"header text after bracket dropped", "[S] note\na = 1\n", 2, "S", "k", "v",
     "[S]\na = 1\nk = v\n"},
    {"unclosed header written with the previous name", "[T]\nx = 1\n[S\n", 2, "S", "k", "v",
     "[T]\n[T]\n"},
    {"unclosed header inside the target ends it", "[S]\na = 1\n[oops\nb = 2\n", 2, "S", "k", "v",
     "[S]\na = 1\nk = v\n\n[S]\nb = 2\n"},
    {"rest copied verbatim", "[S]\nk = 1\n[T]\nP = 100%s%n%%\n  raw  =  x  \n", 2, "S", "k", "2",
     "[S]\nk = 2\n[T]\nP = 100%s%n%%\n  raw  =  x  \n"},
    {"mode 0", "{default}\nlog_file = a\n[default]\nlog_file = b\n", 0, "default", "log_file", "c",
     "{default}\nlog_file = c\n[default]\nlog_file = b\n"},
    {"mode 1", "(x)\na = 1\n", 1, "X", "a", "2", "(x)\na = 2\n"},
    {"crlf lines", "[S]\r\nk = 1\r\n", 2, "S", "k", "2", "[S]\nk = 2\n"},
};

TEST_F(Registry, WriteRules)
{
    for (const WriteCase &c : kWriteCases) {
        write_file(path, c.before);
        EXPECT_EQ(set_profile_string(handle, c.mode, c.section, c.key, c.value), 0) << c.name;
        EXPECT_EQ(read_file(path), c.after) << c.name;
        EXPECT_EQ(read_file(path + "~"), c.before) << c.name;
    }
}

TEST_F(Registry, WriteSplitsLongLinesAsItReadsThem)
{
    std::string piece(255, 'q');
    write_file(path, "[S]\n" + piece + "tail\n");
    EXPECT_EQ(set_profile_string(handle, 2, "S", "k", "v"), 0);
    EXPECT_EQ(read_file(path), "[S]\n" + piece + "\ntail\nk = v\n");
}

// A reader that leaves the output alone: no default is copied first.
int silent_reader(const char *, const char *, const char *, char *, int, const char *)
{
    return 0;
}

TEST_F(Registry, ExternalReaderGetsTheOutputUntouched)
{
    set_ini_function(handle, silent_reader);
    char out[16] = "untouched";
    EXPECT_EQ(get_profile_string(handle, 2, "Sales", "Server", "dflt", out, 16), 0);
    EXPECT_STREQ(out, "untouched");
}

TEST_F(Registry, WriteToAMissingFileFailsAtTheRename)
{
    std::strcpy(handle->error, "stale");
    EXPECT_EQ(set_profile_string(handle, 2, "S", "k", "v"), -1);
    EXPECT_EQ(std::string(registry_error(handle)),
              "Failed to rename " + path + " to " + path + "~, " + std::strerror(ENOENT));
    EXPECT_EQ(read_file(path), "<missing>");
}

TEST_F(Registry, FailedBackupLeavesTheFileAlone)
{
    const std::string before = "[S]\nk = 1\n";
    write_file(path, before);
    ASSERT_EQ(mkdir((path + "~").c_str(), 0755), 0);
    write_file(path + "~/occupied", "x");
    EXPECT_EQ(set_profile_string(handle, 2, "S", "k", "2"), -1);
    std::string error = registry_error(handle);
    EXPECT_EQ(error.rfind("Failed to rename " + path + " to " + path + "~, ", 0), 0u) << error;
    EXPECT_EQ(read_file(path), before);
    // No temporary file is left behind.
    std::string listing;
    FILE *ls = popen(("ls -A '" + dir + "'").c_str(), "r");
    char line[512];
    while (std::fgets(line, sizeof line, ls) != nullptr)
        listing += line;
    pclose(ls);
    EXPECT_EQ(listing, "odbc.ini\nodbc.ini~\n");
}

TEST_F(Registry, UnwritableDirectoryFailsAtTheRename)
{
    const std::string before = "[S]\nk = 1\n";
    write_file(path, before);
    ASSERT_EQ(chmod(dir.c_str(), 0555), 0);
    std::string seen = in_unprivileged_child([&] {
        std::string text = std::to_string(set_profile_string(handle, 2, "S", "k", "2"));
        return text + "|" + registry_error(handle);
    });
    EXPECT_EQ(seen, "-1|Failed to rename " + path + " to " + path + "~, " +
                        std::strerror(EACCES));
    EXPECT_EQ(read_file(path), before);
    EXPECT_FALSE(kxtest::exists(path + "~"));
    chmod(dir.c_str(), 0755);
}

// The write renames the file to its backup and then reads the backup, so a
// file that cannot be read fails as the backup's input; here the file keeps
// its contents under both names.
TEST_F(Registry, UnreadableFileFailsAsTheBackupsInput)
{
    const std::string before = "[S]\nk = 1\n";
    write_file(path, before);
    if (geteuid() == 0) {
        uid_t uid;
        gid_t gid;
        nobody_ids(&uid, &gid);
        ASSERT_EQ(chown(dir.c_str(), uid, gid), 0);
        ASSERT_EQ(chown(path.c_str(), uid, gid), 0);
    }
    ASSERT_EQ(chmod(path.c_str(), 0), 0);
    std::string seen = in_unprivileged_child([&] {
        std::string text = std::to_string(set_profile_string(handle, 2, "S", "k", "2"));
        text += "|" + std::string(registry_error(handle));
        char out[32];
        text += "|" + std::to_string(get_profile_string(handle, 2, "S", "k", "d", out, 32));
        text += "|" + std::string(out) + "|" + registry_error(handle);
        return text;
    });
    const std::string denied = std::strerror(EACCES);
    EXPECT_EQ(seen, "-1|Failed to open " + path + "~ for input, " + denied +
                        "|-1|d|Failed to open " + path + " for input, " + denied);
    ASSERT_EQ(chmod(path.c_str(), 0644), 0);
    EXPECT_EQ(read_file(path), before);
    ASSERT_EQ(chmod((path + "~").c_str(), 0644), 0);
    EXPECT_EQ(read_file(path + "~"), before);
}

// Runs body in a child process whose files may not grow past limit octets
// (a write beyond it fails with EFBIG instead of raising SIGXFSZ) and
// returns the text body made there.
std::string in_child_with_file_limit(rlim_t limit, const std::function<std::string()> &body)
{
    int fds[2];
    if (pipe(fds) != 0)
        return "<no pipe>";
    std::fflush(nullptr);
    pid_t pid = fork();
    if (pid < 0)
        return "<no child>";
    if (pid == 0) {
        close(fds[0]);
        signal(SIGXFSZ, SIG_IGN);
        struct rlimit before;
        if (getrlimit(RLIMIT_FSIZE, &before) != 0)
            _exit(2);
        struct rlimit rl = {limit, before.rlim_max};
        if (setrlimit(RLIMIT_FSIZE, &rl) != 0)
            _exit(2);
        std::string text = body();
        if (write(fds[1], text.data(), text.size()) != static_cast<ssize_t>(text.size()))
            _exit(3);
        close(fds[1]);
        if (setrlimit(RLIMIT_FSIZE, &before) != 0)
            _exit(4);
        leave_child();
    }
    close(fds[1]);
    std::string text;
    char buffer[512];
    ssize_t got;
    while ((got = read(fds[0], buffer, sizeof buffer)) > 0)
        text.append(buffer, static_cast<size_t>(got));
    close(fds[0]);
    int status = 0;
    waitpid(pid, &status, 0);
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0)
        return "<child failed>";
    return text;
}

// The backup is a copy of the old contents; when the disk will not take
// that copy, the write fails as the rename to the backup and the file keeps
// its contents.
TEST_F(Registry, FullDiskFailsAtTheBackup)
{
    const std::string before = "[S]\nk = 1\n# " + std::string(200, 'c') + "\n";
    write_file(path, before);
    std::string seen = in_child_with_file_limit(64, [&] {
        std::string text = std::to_string(set_profile_string(handle, 2, "S", "k", "2"));
        return text + "|" + registry_error(handle);
    });
    EXPECT_EQ(seen, "-1|Failed to rename " + path + " to " + path + "~, " +
                        std::strerror(EFBIG));
    EXPECT_EQ(read_file(path), before);
    EXPECT_FALSE(kxtest::exists(path + "~"));
    EXPECT_EQ(kxtest::directory_entries(dir).size(), 1u);
}

// When the backup fits but the new contents do not, the write fails as
// creating the file anew; the backup remains and the file is not cut short.
TEST_F(Registry, FullDiskFailsAtTheNewFile)
{
    const std::string before = "[S]\nk = 1\n";
    write_file(path, before);
    const std::string value(100, 'v');
    std::string seen = in_child_with_file_limit(64, [&] {
        std::string text =
            std::to_string(set_profile_string(handle, 2, "S", "k", value.c_str()));
        return text + "|" + registry_error(handle);
    });
    EXPECT_EQ(seen, "-1|Failed to open " + path + " for output, " + std::strerror(EFBIG));
    EXPECT_EQ(read_file(path), before);
    EXPECT_EQ(read_file(path + "~"), before);
    EXPECT_EQ(kxtest::directory_entries(dir).size(), 2u);
}

// A file that opens but cannot be read (memory at address zero) gives no
// lines: a read keeps the default, a write fails as the input and leaves
// no backup.
TEST_F(Registry, UnreadableContentsKeepTheDefault)
{
    set_config(handle, "/proc/self/mem");
    for (bool cached : {true, false}) {
        kx::profile_cache_enable(cached);
        char out[32];
        EXPECT_EQ(get_profile_string(handle, 2, "S", "k", "d", out, 32), 0);
        EXPECT_STREQ(out, "d");
        EXPECT_STREQ(registry_error(handle), "Unknown error");
    }
    kx::profile_cache_enable(true);
    EXPECT_EQ(set_profile_string(handle, 2, "S", "k", "2"), -1);
    EXPECT_EQ(std::string(registry_error(handle)),
              std::string("Failed to open /proc/self/mem for input, ") + std::strerror(EIO));
}

// A file whose size the system reports as zero is read to its end all the
// same: the process's status file has lines, but none of them a section.
TEST_F(Registry, FileLongerThanItsReportedSizeIsReadToTheEnd)
{
    set_config(handle, "/proc/self/status");
    char out[32];
    EXPECT_EQ(get_profile_string(handle, 0, "default", "Name:", "d", out, 32), 0);
    EXPECT_STREQ(out, "d");
    EXPECT_STREQ(registry_error(handle), "Unknown error");
}

// A file of many lines is rewritten whole: every line after the setting is
// copied unchanged, "%" signs included.
TEST_F(Registry, WriteOfALargeFileCopiesEveryLaterLine)
{
    std::string tail;
    for (int i = 0; i < 400; i++)
        tail += "[S" + std::to_string(i) + "]\nkey" + std::to_string(i) + " = 100% value\n";
    ASSERT_GT(tail.size(), 8192u);
    write_file(path, "[Sales]\nServer = alpha\n" + tail);
    ASSERT_EQ(set_profile_string(handle, 2, "Sales", "Server", "beta"), 0)
        << registry_error(handle);
    EXPECT_EQ(read_file(path), "[Sales]\nServer = beta\n" + tail);
    EXPECT_EQ(get(2, "S399", "KEY399"), "100% value");
}

// An unreadable file is given its backup name before the write fails; when
// even that cannot be done, the write fails as the rename, and the file
// keeps its one name and its contents.
TEST_F(Registry, UnreadableFileWhoseBackupCannotBeMadeFailsAtTheRename)
{
    const std::string before = "[S]\nk = 1\n";
    const std::string backup = path + "~";
    auto attempt = [&] {
        return in_unprivileged_child([&] {
            std::string text = std::to_string(set_profile_string(handle, 2, "S", "k", "2"));
            return text + "|" + registry_error(handle);
        });
    };
    auto rename_failure = [&](int error) {
        return "-1|Failed to rename " + path + " to " + backup + ", " + std::strerror(error);
    };
    uid_t uid = geteuid();
    gid_t gid = getegid();
    if (uid == 0)
        nobody_ids(&uid, &gid);

    // No room for the backup's temporary name: the directory is read-only.
    write_file(path, before);
    ASSERT_EQ(chown(path.c_str(), uid, gid), 0);
    ASSERT_EQ(chmod(path.c_str(), 0), 0);
    ASSERT_EQ(chmod(dir.c_str(), 0555), 0);
    EXPECT_EQ(attempt(), rename_failure(EACCES));
    ASSERT_EQ(chmod(dir.c_str(), 0700), 0);
    EXPECT_EQ(kxtest::directory_entries(dir).size(), 1u);

    // The backup name is taken by a directory that is not empty.
    ASSERT_EQ(chown(dir.c_str(), uid, gid), 0);
    ASSERT_EQ(mkdir(backup.c_str(), 0755), 0);
    write_file(backup + "/kept", "x");
    EXPECT_EQ(attempt(), rename_failure(EISDIR));
    EXPECT_EQ(kxtest::directory_entries(dir).size(), 2u);
    EXPECT_EQ(read_file(backup + "/kept"), "x");
    ASSERT_EQ(chmod(path.c_str(), 0644), 0);
    EXPECT_EQ(read_file(path), before);

    // Another account's file the caller may neither read nor link to (the
    // system's protected hard links).
    if (geteuid() != 0 || kxtest::read_file("/proc/sys/fs/protected_hardlinks") != "1\n")
        return;
    ASSERT_EQ(chown(path.c_str(), 0, 0), 0);
    ASSERT_EQ(chmod(path.c_str(), 0), 0);
    EXPECT_EQ(attempt(), rename_failure(EPERM));
    EXPECT_EQ(kxtest::directory_entries(dir).size(), 2u);
    ASSERT_EQ(chmod(path.c_str(), 0644), 0);
    EXPECT_EQ(read_file(path), before);
}

TEST_F(Registry, WriteKeepsPermissions)
{
    write_file(path, "[S]\nk = 1\n");
    ASSERT_EQ(chmod(path.c_str(), 0600), 0);
    EXPECT_EQ(set_profile_string(handle, 2, "S", "k", "2"), 0);
    struct stat st;
    ASSERT_EQ(stat(path.c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 07777, 0600u);
    ASSERT_EQ(stat((path + "~").c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 07777, 0600u);
}

TEST_F(Registry, ReadersNeverSeeAPartialFile)
{
    // A section with many lines so that a partial write would show.
    std::string body;
    for (int i = 0; i < 200; i++)
        body += "key" + std::to_string(i) + " = value " + std::to_string(i) + "\n";
    const std::string a = "[S]\nk = first\n" + body;
    const std::string b = "[S]\nk = second-longer\n" + body;
    write_file(path, a);
    std::atomic<bool> stop{false};
    std::atomic<int> bad{0};
    std::atomic<int> reads{0};
    std::thread reader([&] {
        while (!stop.load()) {
            std::string seen = read_file(path);
            if (seen != a && seen != b)
                bad++;
            reads++;
        }
    });
    for (int i = 0; i < 100; i++)
        ASSERT_EQ(set_profile_string(handle, 2, "S", "k", i % 2 ? "first" : "second-longer"), 0);
    stop = true;
    reader.join();
    EXPECT_EQ(bad.load(), 0) << "of " << reads.load() << " reads";
    EXPECT_GT(reads.load(), 0);
}

TEST_F(Registry, NullArgumentsAreSafe)
{
    write_file(path, "[S]\n= empty key\nk = v\n");
    char out[16];
    EXPECT_EQ(get_profile_string(handle, 2, nullptr, "k", "d", out, 16), 0);
    EXPECT_STREQ(out, "d");
    EXPECT_EQ(get_profile_string(handle, 2, "S", nullptr, "d", out, 16), 0);
    EXPECT_STREQ(out, "d");
    EXPECT_EQ(get_profile_string(nullptr, 2, "S", "k", "d", out, 16), -1);
    EXPECT_STREQ(out, "d");
    EXPECT_EQ(get_profile_string(handle, 2, "S", "k", "d", nullptr, 16), -1);
    EXPECT_EQ(set_profile_string(nullptr, 2, "S", "k", "v"), -1);
    EXPECT_EQ(set_config(nullptr, "x"), nullptr);
    EXPECT_EQ(set_dsn(nullptr, "x"), nullptr);
    set_ini_function(nullptr, nullptr);
    EXPECT_EQ(set_profile_string(handle, 2, "S", "k", nullptr), 0);
    EXPECT_EQ(read_file(path), "[S]\n = empty key\nk = \n");
}

TEST_F(Registry, NullPathKeepsThePath)
{
    EXPECT_EQ(set_config(handle, nullptr), handle->path);
    EXPECT_EQ(std::string(handle->path), path);
}

// Without a handle the default is copied ("" for a null default) and the
// read fails; get_default then gives "".
TEST_F(Registry, NullHandleGivesTheDefault)
{
    char out[16];
    std::memset(out, '#', sizeof out);
    EXPECT_EQ(get_profile_string(nullptr, 2, "S", "k", nullptr, out, 16), -1);
    EXPECT_STREQ(out, "");
    std::memset(out, '#', sizeof out);
    EXPECT_EQ(get_default(nullptr, "k", out, 16), out);
    EXPECT_STREQ(out, "");
}

/* ---- unsafe input: line breaks, links, directories ---- */

// What a write must leave alone: the bytes, inode and modification time of
// the file, and the absence of a backup.
struct FileState {
    std::string text;
    ino_t inode = 0;
    struct timespec mtime = {0, 0};
    bool backup = false;
};

FileState state_of(const std::string &path)
{
    FileState state;
    state.text = read_file(path);
    struct stat st;
    if (stat(path.c_str(), &st) == 0) {
        state.inode = st.st_ino;
        state.mtime = st.st_mtim;
    }
    state.backup = kxtest::exists(path + "~");
    return state;
}

void expect_untouched(const FileState &before, const std::string &path,
                      const std::string &what)
{
    FileState after = state_of(path);
    EXPECT_EQ(after.text, before.text) << what;
    EXPECT_EQ(after.inode, before.inode) << what;
    EXPECT_EQ(after.mtime.tv_sec, before.mtime.tv_sec) << what;
    EXPECT_EQ(after.mtime.tv_nsec, before.mtime.tv_nsec) << what;
    EXPECT_FALSE(after.backup) << what;
}

// A section, key or value holding a line break would write lines of the
// caller's choosing into the file; the write is refused before the file is
// touched, and says why.
TEST_F(Registry, WriteRefusesLineBreaks)
{
    const std::string before = "[Sales]\nServer = alpha\n[Other]\nA = 1\n";
    write_file(path, before);
    // A modification time well in the past, so that any rewrite would show.
    struct timespec times[2] = {{1000000000, 0}, {1000000000, 0}};
    ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
    const FileState untouched = state_of(path);
    struct Case {
        const char *section;
        const char *key;
        const char *value;
        const char *field;
    };
    const Case cases[] = {
        {"Sales", "Server", "beta\nDriver = /tmp/evil.so", "value"},
        {"Sales", "Server", "beta\rDriver = /tmp/evil.so", "value"},
        {"Sales", "Server", "beta\r\n", "value"},
        {"Sales", "Server", "\n", "value"},
        {"Sales", "Driver = /tmp/evil.so\nServer", "beta", "key"},
        {"Sales", "Server\r", "beta", "key"},
        {"Sales\n", "Server", "beta", "section"},
        {"Sales]\r\n[Other", "Server", "beta", "section"},
        {"Sales\n", "Server\n", "beta\n", "section"},
    };
    for (const Case &c : cases) {
        std::strcpy(handle->error, "stale");
        EXPECT_EQ(set_profile_string(handle, 2, c.section, c.key, c.value), -1) << c.field;
        EXPECT_EQ(std::string(registry_error(handle)),
                  "Refused to write to " + path + ", the " + c.field + " holds a line break");
        expect_untouched(untouched, path, c.field);
        for (int32_t mode : {0, 1})
            EXPECT_EQ(set_profile_string(handle, mode, c.section, c.key, c.value), -1)
                << c.field << " mode " << mode;
        expect_untouched(untouched, path, c.field);
    }
    EXPECT_EQ(get(2, "Sales", "Driver", "none"), "none");
    // A file that is not there is refused for the same reason, and stays away.
    set_config(handle, (dir + "/absent.ini").c_str());
    EXPECT_EQ(set_profile_string(handle, 2, "Sales", "Server", "a\nb"), -1);
    EXPECT_EQ(std::string(registry_error(handle)),
              "Refused to write to " + dir + "/absent.ini, the value holds a line break");
    EXPECT_FALSE(kxtest::exists(dir + "/absent.ini~"));
    // A clean write afterwards goes through.
    set_config(handle, path.c_str());
    EXPECT_EQ(set_profile_string(handle, 2, "Sales", "Server", "beta\tgamma"), 0);
    EXPECT_STREQ(registry_error(handle), "Unknown error");
    EXPECT_EQ(read_file(path), "[Sales]\nServer = beta\tgamma\n[Other]\nA = 1\n");
}

// The canonical form of an existing directory (the temporary directory may
// itself lie behind a link).
std::string real_path(const std::string &path)
{
    char resolved[PATH_MAX];
    EXPECT_NE(realpath(path.c_str(), resolved), nullptr) << path;
    return resolved;
}

std::string link_text(const std::string &link)
{
    char text[PATH_MAX];
    ssize_t n = readlink(link.c_str(), text, sizeof text);
    return n < 0 ? "<not a link>" : std::string(text, static_cast<size_t>(n));
}

bool is_link(const std::string &path)
{
    struct stat st;
    return lstat(path.c_str(), &st) == 0 && S_ISLNK(st.st_mode);
}

std::string listing(const std::string &dir)
{
    std::vector<std::string> names = kxtest::directory_entries(dir);
    std::sort(names.begin(), names.end());
    std::string text;
    for (const std::string &name : names)
        text += name + "\n";
    return text;
}

// A profile path that is a symbolic link (a ~/.odbc.ini kept elsewhere) is
// written through: the link stays, the file it leads to gets the new
// contents, and the backup and temporary file lie beside that file.
TEST_F(Registry, WriteGoesThroughSymbolicLinks)
{
    const std::string before = "[Sales]\nServer = alpha\n";
    ASSERT_EQ(mkdir((dir + "/etc").c_str(), 0755), 0);
    ASSERT_EQ(mkdir((dir + "/home").c_str(), 0755), 0);
    const std::string target = dir + "/etc/odbc.ini";
    const std::string absolute_target = real_path(dir) + "/etc/odbc.ini";
    const std::string relative = dir + "/home/.odbc.ini";      // "../etc/odbc.ini"
    const std::string absolute = dir + "/home/abs.ini";        // the absolute path
    const std::string chained = dir + "/home/chained.ini";     // ".odbc.ini", a link
    ASSERT_EQ(symlink("../etc/odbc.ini", relative.c_str()), 0);
    ASSERT_EQ(symlink(absolute_target.c_str(), absolute.c_str()), 0);
    ASSERT_EQ(symlink(".odbc.ini", chained.c_str()), 0);
    struct Case {
        std::string link;
        std::string text;
    };
    const Case cases[] = {
        {relative, "../etc/odbc.ini"},
        {absolute, absolute_target},
        {chained, ".odbc.ini"},
    };
    int n = 0;
    for (const Case &c : cases) {
        write_file(target, before);
        ASSERT_EQ(chmod(target.c_str(), 0640), 0);
        unlink((target + "~").c_str());
        set_config(handle, c.link.c_str());
        std::string value = "beta" + std::to_string(n++);
        EXPECT_EQ(set_profile_string(handle, 2, "Sales", "Server", value.c_str()), 0)
            << c.link << ": " << registry_error(handle);
        EXPECT_TRUE(is_link(c.link)) << c.link;
        EXPECT_EQ(link_text(c.link), c.text);
        EXPECT_TRUE(is_link(relative)) << c.link;
        EXPECT_EQ(read_file(target), "[Sales]\nServer = " + value + "\n") << c.link;
        EXPECT_EQ(read_file(target + "~"), before) << c.link;
        EXPECT_EQ(listing(dir + "/etc"), "odbc.ini\nodbc.ini~\n") << c.link;
        EXPECT_EQ(listing(dir + "/home"), ".odbc.ini\nabs.ini\nchained.ini\n") << c.link;
        struct stat st;
        ASSERT_EQ(stat(target.c_str(), &st), 0);
        EXPECT_EQ(st.st_mode & 07777, 0640u) << c.link;
        // Read back through the link, as the driver does.
        EXPECT_EQ(get(2, "Sales", "Server"), value) << c.link;
    }
}

// A dangling link names the file a write would go to: with its directory in
// place the write fails there as a missing file does, and nothing is made
// beside the link; the link stays as it was.
TEST_F(Registry, WriteThroughADanglingLinkNamesItsTarget)
{
    ASSERT_EQ(mkdir((dir + "/etc").c_str(), 0755), 0);
    const std::string link = dir + "/odbc.link";
    ASSERT_EQ(symlink("etc/missing.ini", link.c_str()), 0);
    set_config(handle, link.c_str());
    const std::string target = real_path(dir) + "/etc/missing.ini";
    EXPECT_EQ(set_profile_string(handle, 2, "S", "k", "v"), -1);
    EXPECT_EQ(std::string(registry_error(handle)),
              "Failed to rename " + target + " to " + target + "~, " + std::strerror(ENOENT));
    EXPECT_TRUE(is_link(link));
    EXPECT_EQ(link_text(link), "etc/missing.ini");
    EXPECT_EQ(listing(dir + "/etc"), "");
    EXPECT_EQ(listing(dir), "etc\nodbc.link\n");
    EXPECT_FALSE(kxtest::exists(link + "~"));

    // A link into a directory that is not there fails on the path as given.
    const std::string nowhere = dir + "/nowhere.link";
    ASSERT_EQ(symlink("gone/missing.ini", nowhere.c_str()), 0);
    set_config(handle, nowhere.c_str());
    EXPECT_EQ(set_profile_string(handle, 2, "S", "k", "v"), -1);
    EXPECT_EQ(std::string(registry_error(handle)),
              "Failed to rename " + nowhere + " to " + nowhere + "~, " + std::strerror(ENOENT));
    EXPECT_TRUE(is_link(nowhere));
    EXPECT_FALSE(kxtest::exists(nowhere + "~"));
    EXPECT_FALSE(is_link(nowhere + "~"));
}

// A path that names a directory cannot be opened as a profile: the read
// fails as for a file that cannot be opened, with the system's text for a
// directory, whether or not parsed files are cached.
// A dangling link is followed however its text is written: absolute, a
// bare name taken from the current directory, through a second link, or
// into the root directory.
TEST_F(Registry, WriteThroughDanglingLinksOfEveryForm)
{
    const std::string real_dir = real_path(dir);
    auto rename_failure = [](const std::string &target) {
        return "Failed to rename " + target + " to " + target + "~, " + std::strerror(ENOENT);
    };

    const std::string absolute = dir + "/absolute.link";
    ASSERT_EQ(symlink((real_dir + "/abs.ini").c_str(), absolute.c_str()), 0);
    set_config(handle, absolute.c_str());
    EXPECT_EQ(set_profile_string(handle, 2, "S", "k", "v"), -1);
    EXPECT_EQ(std::string(registry_error(handle)), rename_failure(real_dir + "/abs.ini"));

    const std::string first = dir + "/first.link";
    ASSERT_EQ(symlink("second.link", first.c_str()), 0);
    ASSERT_EQ(symlink("chained.ini", (dir + "/second.link").c_str()), 0);
    set_config(handle, first.c_str());
    EXPECT_EQ(set_profile_string(handle, 2, "S", "k", "v"), -1);
    EXPECT_EQ(std::string(registry_error(handle)), rename_failure(real_dir + "/chained.ini"));

    char cwd[PATH_MAX];
    ASSERT_NE(getcwd(cwd, sizeof cwd), nullptr);
    ASSERT_EQ(chdir(dir.c_str()), 0);
    ASSERT_EQ(symlink("bare.ini", "bare.link"), 0);
    set_config(handle, "bare.link");
    EXPECT_EQ(set_profile_string(handle, 2, "S", "k", "v"), -1);
    std::string bare_error = registry_error(handle);
    ASSERT_EQ(chdir(cwd), 0);
    EXPECT_EQ(bare_error, rename_failure(real_dir + "/bare.ini"));

    const std::string in_root = "/kx_registry_missing_" + std::to_string(getpid()) + ".ini";
    const std::string rooted = dir + "/rooted.link";
    ASSERT_EQ(symlink(in_root.c_str(), rooted.c_str()), 0);
    set_config(handle, rooted.c_str());
    EXPECT_EQ(set_profile_string(handle, 2, "S", "k", "v"), -1);
    EXPECT_EQ(std::string(registry_error(handle)), rename_failure(in_root));
    EXPECT_FALSE(kxtest::exists(in_root));

    EXPECT_EQ(listing(dir), "absolute.link\nbare.link\nfirst.link\nrooted.link\nsecond.link\n");
}

// A link that cannot be followed to a name (a loop, a link through a plain
// file, a text too long to join to its directory) leaves the path as it is,
// and the write fails on it.
TEST_F(Registry, WriteThroughLinksThatLeadNowhereFailsOnThePath)
{
    auto rename_failure = [](const std::string &path, int error) {
        return "Failed to rename " + path + " to " + path + "~, " + std::strerror(error);
    };

    const std::string loop = dir + "/a.link";
    ASSERT_EQ(symlink("b.link", loop.c_str()), 0);
    ASSERT_EQ(symlink("a.link", (dir + "/b.link").c_str()), 0);
    set_config(handle, loop.c_str());
    EXPECT_EQ(set_profile_string(handle, 2, "S", "k", "v"), -1);
    EXPECT_EQ(std::string(registry_error(handle)), rename_failure(loop, ELOOP));

    write_file(dir + "/plain.ini", "[S]\nk = 1\n");
    const std::string through_file = dir + "/through.link";
    ASSERT_EQ(symlink("plain.ini/odbc.ini", through_file.c_str()), 0);
    set_config(handle, through_file.c_str());
    EXPECT_EQ(set_profile_string(handle, 2, "S", "k", "v"), -1);
    EXPECT_EQ(std::string(registry_error(handle)), rename_failure(through_file, ENOTDIR));
    EXPECT_EQ(read_file(dir + "/plain.ini"), "[S]\nk = 1\n");

    std::string long_text;
    while (long_text.size() + 2 + 11 < PATH_MAX - 1)
        long_text += "./";
    long_text += "missing.ini";
    ASSERT_GT(dir.size() + 1 + long_text.size(), static_cast<size_t>(PATH_MAX));
    const std::string long_link = dir + "/long.link";
    ASSERT_EQ(symlink(long_text.c_str(), long_link.c_str()), 0);
    set_config(handle, long_link.c_str());
    EXPECT_EQ(set_profile_string(handle, 2, "S", "k", "v"), -1);
    EXPECT_EQ(std::string(registry_error(handle)), rename_failure(long_link, ENOENT));

    EXPECT_EQ(listing(dir), "a.link\nb.link\nlong.link\nplain.ini\nthrough.link\n");
}

// A dangling link whose file would lie in a directory so deep that the
// file's full name passes PATH_MAX cannot be followed either: the write
// fails on the path as given.
TEST_F(Registry, DanglingLinkWhoseFullNameIsTooLongFailsOnThePath)
{
    char cwd[PATH_MAX];
    ASSERT_NE(getcwd(cwd, sizeof cwd), nullptr);
    ASSERT_EQ(chdir(dir.c_str()), 0);
    const std::string component(200, 'd');
    bool made = true;
    size_t depth = real_path(dir).size();
    while (made && depth + 1 + 255 < PATH_MAX) {
        made = mkdir(component.c_str(), 0755) == 0 && chdir(component.c_str()) == 0;
        depth += 1 + component.size();
    }
    char here[PATH_MAX];
    bool deep = made && getcwd(here, sizeof here) != nullptr;
    const std::string name(255, 'n');
    if (deep)
        deep = symlink(name.c_str(), "odbc.link") == 0;
    if (deep) {
        set_config(handle, "odbc.link");
        EXPECT_EQ(set_profile_string(handle, 2, "S", "k", "v"), -1);
        EXPECT_EQ(std::string(registry_error(handle)),
                  std::string("Failed to rename odbc.link to odbc.link~, ") +
                      std::strerror(ENOENT));
        EXPECT_TRUE(is_link("odbc.link"));
        EXPECT_FALSE(kxtest::exists("odbc.link~"));
        EXPECT_FALSE(kxtest::exists(name));
    }
    ASSERT_EQ(chdir(cwd), 0);
    ASSERT_TRUE(deep) << "could not build the deep directory";
    EXPECT_GE(std::strlen(here) + 1 + name.size(), static_cast<size_t>(PATH_MAX));
}

TEST_F(Registry, DirectoryPathFailsToOpen)
{
    const std::string folder = dir + "/odbc.d";
    ASSERT_EQ(mkdir(folder.c_str(), 0755), 0);
    set_config(handle, folder.c_str());
    const std::string message =
        "Failed to open " + folder + " for input, " + std::strerror(EISDIR);
    for (bool cached : {true, false}) {
        kx::profile_cache_enable(cached);
        char out[32];
        EXPECT_EQ(get_profile_string(handle, 2, "S", "k", "dflt", out, 32), -1) << cached;
        EXPECT_STREQ(out, "dflt") << cached;
        EXPECT_EQ(std::string(registry_error(handle)), message) << cached;
        EXPECT_STREQ(get_default(handle, "k", out, 32), "");
        EXPECT_EQ(std::string(registry_error(handle)), message) << cached;
    }
    kx::profile_cache_enable(true);
    // A write fails on reading it, and leaves it alone.
    EXPECT_EQ(set_profile_string(handle, 2, "S", "k", "v"), -1);
    EXPECT_EQ(std::string(registry_error(handle)), message);
    EXPECT_EQ(listing(folder), "");
    EXPECT_FALSE(kxtest::exists(folder + "~"));
}

/* ---- the cache ---- */

TEST_F(Registry, UnchangedFileIsAnsweredFromTheCache)
{
    write_file(path, "[S]\nk = v\n");
    usleep(50 * 1000);   // older than the timestamp granularity
    EXPECT_EQ(get(2, "S", "k"), "v");
    unsigned long hits = kx::profile_cache_hits();
    EXPECT_EQ(get(2, "S", "k"), "v");
    EXPECT_EQ(get(2, "S", "other"), "none");
    EXPECT_EQ(kx::profile_cache_hits(), hits + 2);
}

// Names too long to be remembered with their answers are answered from the
// cached file all the same, and alike every time.
TEST_F(Registry, LongNamesAreAnsweredFromTheCache)
{
    const std::string section(100, 's');
    const std::string key(100, 'k');
    write_file(path, "[" + section + "]\n" + key + " = long\nk = short\n");
    usleep(50 * 1000);   // older than the timestamp granularity
    EXPECT_EQ(get(2, section.c_str(), key.c_str()), "long");
    unsigned long hits = kx::profile_cache_hits();
    EXPECT_EQ(get(2, section.c_str(), key.c_str()), "long");
    EXPECT_EQ(get(2, section.c_str(), key.c_str()), "long");
    EXPECT_EQ(get(2, section.c_str(), "k"), "short");
    EXPECT_EQ(get(2, section.c_str(), (key + "x").c_str()), "none");
    EXPECT_EQ(kx::profile_cache_hits(), hits + 4);
}

// A file over 1 MiB is read line by line on every read, and answers as a
// small one does.
TEST_F(Registry, LargeFileIsReadLineByLine)
{
    std::string text = "[S]\nfirst = 1\n";
    while (text.size() <= (1u << 20))
        text += "# " + std::string(250, 'c') + "\n";
    text += "[T]\nlast = 2\n";
    write_file(path, text);
    usleep(50 * 1000);
    unsigned long hits = kx::profile_cache_hits();
    EXPECT_EQ(get(2, "S", "first"), "1");
    EXPECT_EQ(get(2, "T", "last"), "2");
    EXPECT_EQ(get(2, "T", "last"), "2");
    EXPECT_EQ(get(2, "T", "none"), "none");
    EXPECT_EQ(kx::profile_cache_hits(), hits);
}

// A line that opens with a zero octet is an empty line, for the cached
// reader as for the line-by-line one.
TEST_F(Registry, LineOpeningWithAZeroOctetIsEmpty)
{
    write_file(path, std::string("[S]\n\0k = hidden\nk2 = v2\n\0[T]\nk = shown\n", 39));
    usleep(50 * 1000);
    for (bool cached : {true, false}) {
        kx::profile_cache_enable(cached);
        EXPECT_EQ(get(2, "S", "k"), "shown") << cached;
        EXPECT_EQ(get(2, "S", "k2"), "v2") << cached;
        EXPECT_EQ(get(2, "T", "k"), "none") << cached;
    }
    kx::profile_cache_enable(true);
}

TEST_F(Registry, SameSizeRewritesAreSeenAtOnce)
{
    // Rewritten in place (same inode, same size) right after each read.
    for (int i = 0; i < 300; i++) {
        std::string value = i % 2 ? "aaaa" : "bbbb";
        write_file(path, "[S]\nk = " + value + "\n");
        ASSERT_EQ(get(2, "S", "k"), value) << "round " << i;
    }
}

TEST_F(Registry, ReplacedFileIsReadAgain)
{
    write_file(path, "[S]\nk = old1\n");
    usleep(50 * 1000);
    EXPECT_EQ(get(2, "S", "k"), "old1");
    EXPECT_EQ(get(2, "S", "k"), "old1");
    // Same size, put in place by rename with the old times.
    write_file(path + ".new", "[S]\nk = new1\n");
    struct stat st;
    ASSERT_EQ(stat(path.c_str(), &st), 0);
    struct timespec times[2] = {st.st_atim, st.st_mtim};
    ASSERT_EQ(utimensat(AT_FDCWD, (path + ".new").c_str(), times, 0), 0);
    ASSERT_EQ(rename((path + ".new").c_str(), path.c_str()), 0);
    EXPECT_EQ(get(2, "S", "k"), "new1");
}

TEST_F(Registry, InPlaceRewriteWithRestoredTimesIsSeen)
{
    write_file(path, "[S]\nk = old1\n");
    usleep(50 * 1000);
    EXPECT_EQ(get(2, "S", "k"), "old1");
    struct stat st;
    ASSERT_EQ(stat(path.c_str(), &st), 0);
    write_file(path, "[S]\nk = new1\n");
    struct timespec times[2] = {st.st_atim, st.st_mtim};
    ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
    EXPECT_EQ(get(2, "S", "k"), "new1");   // the change time moved
}

TEST_F(Registry, PermissionChangeIsSeen)
{
    write_file(path, "[S]\nk = v\n");
    usleep(50 * 1000);
    EXPECT_EQ(get(2, "S", "k"), "v");
    ASSERT_EQ(chmod(path.c_str(), 0), 0);
    char out[32];
    int32_t rc = get_profile_string(handle, 2, "S", "k", "d", out, 32);
    if (geteuid() == 0) {
        EXPECT_EQ(rc, 0);
        EXPECT_STREQ(out, "v");
    } else {
        EXPECT_EQ(rc, -1);
        EXPECT_STREQ(out, "d");
        EXPECT_EQ(std::string(registry_error(handle)),
                  "Failed to open " + path + " for input, " + std::strerror(EACCES));
    }
    chmod(path.c_str(), 0644);
}

TEST_F(Registry, FailedOpenIsNotCached)
{
    write_file(path, "[S]\nk = v\n");
    usleep(50 * 1000);
    EXPECT_EQ(get(2, "S", "k"), "v");
    ASSERT_EQ(unlink(path.c_str()), 0);
    char out[32];
    EXPECT_EQ(get_profile_string(handle, 2, "S", "k", "d", out, 32), -1);
    EXPECT_STREQ(out, "d");
    write_file(path, "[S]\nk = w\n");
    EXPECT_EQ(get(2, "S", "k"), "w");
}

// A cached file read with a null section or key gives the default, as the
// line-by-line reader does; such a read is not remembered as an answer.
TEST_F(Registry, NullSectionOrKeyOfACachedFileGivesTheDefault)
{
    write_file(path, "[S]\nk = v\n");
    usleep(50 * 1000);
    EXPECT_EQ(get(2, "S", "k"), "v");
    unsigned long hits = kx::profile_cache_hits();
    for (int round = 0; round < 2; round++) {
        EXPECT_EQ(get(2, nullptr, "k", "d1"), "d1");
        EXPECT_EQ(get(2, "S", nullptr, "d2"), "d2");
    }
    EXPECT_EQ(get(2, "S", "k"), "v");
    EXPECT_EQ(kx::profile_cache_hits(), hits + 5);
}

// Rewritten in place with a value of another length: same inode, new size.
TEST_F(Registry, InPlaceRewriteOfAnotherSizeIsSeen)
{
    write_file(path, "[S]\nk = short\n");
    usleep(50 * 1000);
    EXPECT_EQ(get(2, "S", "k"), "short");
    EXPECT_EQ(get(2, "S", "k"), "short");
    struct stat before;
    ASSERT_EQ(stat(path.c_str(), &before), 0);
    write_file(path, "[S]\nk = a longer value\n");
    struct stat after;
    ASSERT_EQ(stat(path.c_str(), &after), 0);
    ASSERT_EQ(after.st_ino, before.st_ino);
    EXPECT_EQ(get(2, "S", "k"), "a longer value");
}

// Only the modification time moved (to an earlier second): the file is read
// again, not answered from the cache.
TEST_F(Registry, ModificationTimeChangeIsReadAgain)
{
    write_file(path, "[S]\nk = v\n");
    usleep(50 * 1000);
    EXPECT_EQ(get(2, "S", "k"), "v");
    struct stat st;
    ASSERT_EQ(stat(path.c_str(), &st), 0);
    struct timespec times[2] = {st.st_atim, st.st_mtim};
    times[1].tv_sec -= 3600;
    ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
    unsigned long hits = kx::profile_cache_hits();
    EXPECT_EQ(get(2, "S", "k"), "v");
    EXPECT_EQ(kx::profile_cache_hits(), hits);
    usleep(50 * 1000);   // the change time is now old enough to cache
    EXPECT_EQ(get(2, "S", "k"), "v");
    EXPECT_EQ(get(2, "S", "k"), "v");
    EXPECT_EQ(kx::profile_cache_hits(), hits + 1);
}

// The path is a link that is moved from a file on one file system to a file
// of the same size and times on another: the device differs.
TEST_F(Registry, LinkMovedToAnotherFileSystemIsReadAgain)
{
    struct stat shm;
    struct stat here;
    if (stat("/dev/shm", &shm) != 0 || stat(dir.c_str(), &here) != 0 ||
        shm.st_dev == here.st_dev)
        GTEST_SKIP() << "no second file system at /dev/shm";
    std::string local = dir + "/local.ini";
    std::string other = "/dev/shm/kx_registry_" + std::to_string(getpid()) + ".ini";
    write_file(local, "[S]\nk = here\n");
    write_file(other, "[S]\nk = away\n");
    ASSERT_EQ(symlink(local.c_str(), path.c_str()), 0);
    usleep(50 * 1000);
    EXPECT_EQ(get(2, "S", "k"), "here");
    EXPECT_EQ(get(2, "S", "k"), "here");
    std::string moved = dir + "/moved";
    ASSERT_EQ(symlink(other.c_str(), moved.c_str()), 0);
    ASSERT_EQ(rename(moved.c_str(), path.c_str()), 0);
    EXPECT_EQ(get(2, "S", "k"), "away");
    unlink(other.c_str());
}

TEST_F(Registry, OwnWritesAreSeenAtOnce)
{
    write_file(path, "[S]\nk = 0\n");
    for (int i = 1; i < 50; i++) {
        std::string v = std::to_string(i % 10);
        ASSERT_EQ(set_profile_string(handle, 2, "S", "k", v.c_str()), 0);
        ASSERT_EQ(get(2, "S", "k"), v);
    }
}

// Random files: the cached answer (read, then remembered) equals the
// line-by-line answer.
TEST_F(Registry, CachedAnswersEqualLineByLineAnswers)
{
    std::mt19937 rng(12345);
    const char *names[] = {"a", "B", "s", "S", "default", "x y"};
    const char *keys[] = {"k", "K", "key", "a", "", "x y"};
    auto pick = [&](int n) { return static_cast<int>(rng() % static_cast<unsigned>(n)); };
    const int files = 150;
    for (int round = 0; round < files; round++) {
        std::string file;
        int lines = pick(30);
        for (int i = 0; i < lines; i++) {
            switch (pick(9)) {
            case 0: file += std::string("[") + names[pick(6)] + (pick(5) ? "]" : "") + "\n"; break;
            case 1: file += std::string("{") + names[pick(6)] + (pick(5) ? "}" : "") + "\n"; break;
            case 2: file += std::string("(") + names[pick(6)] + (pick(5) ? ")" : "") + "\n"; break;
            case 3: file += "#" + std::string(keys[pick(6)]) + " = c\n"; break;
            case 4: file += std::string(pick(2) ? " " : "") + keys[pick(6)] + (pick(2) ? " = " : "=") +
                            (pick(4) ? "v" + std::to_string(i) : std::string(pick(2) ? "  " : "")) +
                            (pick(3) ? "" : " \t") + "\n"; break;
            case 5: file += std::string(static_cast<size_t>(200 + pick(120)), 'z') + "=" + keys[pick(6)] + "\n"; break;
            case 6: file += "\n"; break;
            case 7: file += std::string(keys[pick(6)]) + "\r\n"; break;
            default: file += std::string(keys[pick(6)]) + " = w" + std::to_string(i) + std::string(1, '\0') + "tail\n"; break;
            }
        }
        write_file(dir + "/random" + std::to_string(round) + ".ini", file);
    }
    usleep(30 * 1000);   // old enough to be cached
    unsigned long hits = kx::profile_cache_hits();
    for (int round = 0; round < files; round++) {
        set_config(handle, (dir + "/random" + std::to_string(round) + ".ini").c_str());
        for (int q = 0; q < 12; q++) {
            int mode = pick(4);
            const char *section = names[pick(6)];
            const char *key = keys[pick(6)];
            int32_t size = 1 + pick(12);
            char answers[3][16];
            std::memset(answers, '#', sizeof answers);
            for (int pass = 0; pass < 3; pass++) {
                kx::profile_cache_enable(pass < 2);
                ASSERT_EQ(get_profile_string(handle, mode, section, key, "dflt",
                                             answers[pass], size), 0);
            }
            kx::profile_cache_enable(true);
            for (int pass = 0; pass < 2; pass++)
                ASSERT_EQ(std::memcmp(answers[pass], answers[2], 16), 0)
                    << "round " << round << " pass " << pass << " mode " << mode
                    << " [" << section << "] " << key;
        }
    }
    EXPECT_GE(kx::profile_cache_hits(), hits + files * 12);
}

TEST_F(Registry, ConcurrentReadersAndAWriter)
{
    write_file(path, "[S]\nk = 0\n{settings}\nlog_file = /tmp/a.log\n");
    std::atomic<bool> stop{false};
    std::atomic<int> bad{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; t++) {
        threads.emplace_back([&] {
            ProfileHandle *h = open_registry();
            set_config(h, path.c_str());
            char out[128];
            while (!stop.load()) {
                if (get_profile_string(h, 0, "settings", "log_file", "", out, 128) != 0 ||
                    std::strcmp(out, "/tmp/a.log") != 0)
                    bad++;
            }
            close_registry(h);
        });
    }
    for (int i = 0; i < 50; i++)
        set_profile_string(handle, 2, "S", "k", std::to_string(i).c_str());
    stop = true;
    for (auto &t : threads)
        t.join();
    EXPECT_EQ(bad.load(), 0);
}

/* ---- agreement with unixODBC ---- */

// unixODBC's installer library reads the user data sources from the file
// named by ODBCINI. It caches answers by their arguments, so every call
// passes a default of its own to make it read the file.
TEST_F(Registry, AgreesWithUnixOdbc)
{
    std::string sysdir = dir + "/sys";
    ASSERT_EQ(mkdir(sysdir.c_str(), 0755), 0);
    setenv("ODBCSYSINI", sysdir.c_str(), 1);
    SQLSetConfigMode(ODBC_BOTH_DSN);

    std::mt19937 rng(4242);
    auto pick = [&](int n) { return static_cast<int>(rng() % static_cast<unsigned>(n)); };
    const char *blanks[] = {"", " ", "  ", "\t", " \t "};
    int calls = 0;
    int compared = 0;
    for (int round = 0; round < 20; round++) {
        std::string file_path = dir + "/user" + std::to_string(round) + ".ini";
        std::string file = "# generated data sources\n[ODBC Data Sources]\n";
        std::vector<std::string> sections;
        std::vector<std::vector<std::pair<std::string, std::string>>> entries;
        int nsections = 1 + pick(6);
        for (int s = 0; s < nsections; s++) {
            std::string name = "DSN_" + std::to_string(round) + "_" + std::to_string(s);
            file += name + " = Text Driver\n";
            sections.push_back(name);
        }
        file += "\n";
        for (int s = 0; s < nsections; s++) {
            file += "[" + sections[s] + "]\n";
            if (pick(2))
                file += "# settings of " + sections[s] + "\n";
            std::vector<std::pair<std::string, std::string>> kv;
            int nkeys = 1 + pick(8);
            for (int k = 0; k < nkeys; k++) {
                std::string key = "Key" + std::to_string(k);
                std::string value = pick(3) ? "value " + std::to_string(s * 100 + k)
                                            : "/path/to/db_" + std::to_string(k);
                file += key + blanks[pick(5)] + "=" + blanks[pick(5)] + value +
                        (pick(4) ? "" : " ") + "\n";
                if (pick(4) == 0)
                    file += "#Key" + std::to_string(k) + " = commented out\n";
                kv.emplace_back(key, value);
            }
            file += "\n";
            entries.push_back(kv);
        }
        write_file(file_path, file);
        setenv("ODBCINI", file_path.c_str(), 1);
        set_config(handle, file_path.c_str());

        auto compare = [&](const std::string &section, const std::string &key,
                           const char *expected) {
            std::string def = "absent#" + std::to_string(calls++);
            char theirs[256];
            char ours[256];
            SQLGetPrivateProfileString(section.c_str(), key.c_str(), def.c_str(),
                                       theirs, sizeof theirs, "odbc.ini");
            ASSERT_EQ(get_profile_string(handle, 2, section.c_str(), key.c_str(),
                                         def.c_str(), ours, sizeof ours), 0);
            EXPECT_STREQ(ours, theirs) << "[" << section << "] " << key << " in\n" << file;
            EXPECT_EQ(std::string(ours), expected != nullptr ? std::string(expected) : def);
            compared++;
        };
        for (int s = 0; s < nsections; s++) {
            compare("ODBC Data Sources", sections[s], "Text Driver");
            for (auto &kv : entries[s]) {
                compare(sections[s], kv.first, kv.second.c_str());
                // Case does not matter to either reader.
                std::string upper = kv.first;
                for (char &c : upper)
                    c = static_cast<char>(toupper(static_cast<unsigned char>(c)));
                compare(sections[s], upper, kv.second.c_str());
            }
            compare(sections[s], "NoSuchKey", nullptr);
        }
        compare("NoSuchSection", "Key0", nullptr);
    }
    EXPECT_GT(compared, 100);
    unsetenv("ODBCINI");
    unsetenv("ODBCSYSINI");
}

}  // namespace
