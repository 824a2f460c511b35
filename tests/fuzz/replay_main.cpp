// The replay driver of the fuzz targets: a main that feeds every regular file
// of the folders named on the command line, one at a time, to the target's
// LLVMFuzzerTestOneInput, as libFuzzer does for a corpus with -runs=0. Used by
// ctest in the ordinary and the ASan/UBSan builds, where libFuzzer is not
// linked. A folder that does not exist is skipped (a target may have no
// regression files yet); an empty run list fails, so a lost corpus is seen.
#include <dirent.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);

namespace {

// The regular files of a folder, sorted by name so that runs repeat.
std::vector<std::string> files_in(const std::string &dir)
{
    std::vector<std::string> paths;
    DIR *d = opendir(dir.c_str());
    if (d == nullptr)
        return paths;
    while (dirent *e = readdir(d)) {
        std::string path = dir + "/" + e->d_name;
        struct stat st;
        if (e->d_name[0] != '.' && stat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode))
            paths.push_back(path);
    }
    closedir(d);
    std::sort(paths.begin(), paths.end());
    return paths;
}

bool read_whole(const std::string &path, std::vector<uint8_t> *bytes)
{
    FILE *f = std::fopen(path.c_str(), "rb");
    if (f == nullptr)
        return false;
    uint8_t chunk[4096];
    size_t n;
    while ((n = std::fread(chunk, 1, sizeof chunk, f)) > 0)
        bytes->insert(bytes->end(), chunk, chunk + n);
    std::fclose(f);
    return true;
}

}  // namespace

int main(int argc, char **argv)
{
    size_t replayed = 0;
    for (int i = 1; i < argc; ++i) {
        for (const std::string &path : files_in(argv[i])) {
            std::vector<uint8_t> bytes;
            if (!read_whole(path, &bytes)) {
                std::fprintf(stderr, "cannot read %s\n", path.c_str());
                return 1;
            }
            std::fprintf(stderr, "replaying %s (%zu octets)\n", path.c_str(), bytes.size());
            // A copy of exactly the file's size, so that a read past the end
            // is caught by AddressSanitizer as it is under libFuzzer.
            std::unique_ptr<uint8_t[]> exact(new uint8_t[bytes.size()]);
            std::copy(bytes.begin(), bytes.end(), exact.get());
            LLVMFuzzerTestOneInput(exact.get(), bytes.size());
            ++replayed;
        }
    }
    std::fprintf(stderr, "%zu inputs replayed\n", replayed);
    return replayed > 0 ? 0 : 1;
}
