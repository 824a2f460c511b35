// File helpers shared by the test programs: private temporary directories,
// whole-file reads and writes, directory listings, and standard error sent
// to a file for a while. Standard library and POSIX only.
#ifndef KXSUPP_TESTS_SUPPORT_KX_TEST_FILES_H
#define KXSUPP_TESTS_SUPPORT_KX_TEST_FILES_H

#include <gtest/gtest.h>

#include <dirent.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

namespace kxtest {

// A new private directory "/tmp/<prefix>XXXXXX"; empty when mkdtemp failed
// (which is reported as a test failure).
inline std::string make_temp_dir(const char *prefix)
{
    std::string pattern = std::string("/tmp/") + prefix + "XXXXXX";
    const char *dir = mkdtemp(pattern.data());
    EXPECT_NE(dir, nullptr) << pattern;
    return dir != nullptr ? dir : "";
}

// Removes a directory and everything in it; false when that failed.
inline bool remove_tree(const std::string &dir)
{
    std::string command = "rm -rf '" + dir + "'";
    return std::system(command.c_str()) == 0;
}

// The whole contents of a file, or missing when it cannot be opened.
inline std::string read_file(const std::string &path, const char *missing = "")
{
    FILE *f = std::fopen(path.c_str(), "rb");
    if (f == nullptr)
        return missing;
    std::string text;
    char chunk[4096];
    size_t n;
    while ((n = std::fread(chunk, 1, sizeof chunk, f)) > 0)
        text.append(chunk, n);
    std::fclose(f);
    return text;
}

// Writes text as the whole contents of a file; a file that cannot be opened
// is a fatal failure of the test.
inline void write_file(const std::string &path, const std::string &text)
{
    FILE *f = std::fopen(path.c_str(), "wb");
    ASSERT_NE(f, nullptr) << path;
    ASSERT_EQ(std::fwrite(text.data(), 1, text.size(), f), text.size()) << path;
    ASSERT_EQ(std::fclose(f), 0) << path;
}

inline bool exists(const std::string &path)
{
    struct stat st;
    return ::stat(path.c_str(), &st) == 0;
}

// The names in a directory other than "." and ".."; empty when it cannot be
// opened.
inline std::vector<std::string> directory_entries(const std::string &dir)
{
    std::vector<std::string> names;
    DIR *d = opendir(dir.c_str());
    if (d == nullptr)
        return names;
    while (dirent *e = readdir(d))
        if (std::strcmp(e->d_name, ".") != 0 && std::strcmp(e->d_name, "..") != 0)
            names.push_back(e->d_name);
    closedir(d);
    return names;
}

// The text of a pointer as "%p" prints it.
inline std::string pointer_text(const void *p)
{
    char text[64];
    std::snprintf(text, sizeof text, "%p", p);
    return text;
}

// Sends standard error to a temporary file while alive; text() puts
// standard error back and returns what was written to it.
class StderrCapture {
public:
    StderrCapture()
    {
        char path[] = "/tmp/kx_stderr.XXXXXX";
        fd_ = mkstemp(path);
        EXPECT_GE(fd_, 0);
        path_ = path;
        std::fflush(stderr);
        saved_ = dup(2);
        EXPECT_GE(saved_, 0);
        dup2(fd_, 2);
    }
    ~StderrCapture()
    {
        restore();
        unlink(path_.c_str());
    }
    StderrCapture(const StderrCapture &) = delete;
    StderrCapture &operator=(const StderrCapture &) = delete;

    std::string text()
    {
        restore();
        return read_file(path_);
    }

private:
    void restore()
    {
        if (saved_ >= 0) {
            std::fflush(stderr);
            dup2(saved_, 2);
            close(saved_);
            close(fd_);
            saved_ = -1;
        }
    }
    int fd_ = -1;
    int saved_ = -1;
    std::string path_;
};

}  // namespace kxtest

#endif
