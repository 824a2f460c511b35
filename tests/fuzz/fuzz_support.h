// Helpers shared by the fuzz targets: a reader that takes numbers, choices
// and texts from the front of the fuzzer's input (running dry gives zeros
// and empty texts, never a failure), a property check that ends the process
// with a message when a property does not hold, and guarded buffers whose
// octets past the stated length are checked to stay untouched. Standard C++
// and the public headers only; no test framework, so that each target links
// with libFuzzer or with the replay driver alone.
#ifndef KXSUPP_TESTS_FUZZ_FUZZ_SUPPORT_H
#define KXSUPP_TESTS_FUZZ_FUZZ_SUPPORT_H

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include <stdlib.h>
#include <unistd.h>

#include <kxsupp.h>

// Ends the process with the property that failed; libFuzzer keeps the input.
#define FUZZ_CHECK(condition, ...)                                                  \
    do {                                                                            \
        if (!(condition)) {                                                         \
            std::fprintf(stderr, "%s:%d: property failed: %s\n  ", __FILE__,         \
                         __LINE__, #condition);                                     \
            std::fprintf(stderr, __VA_ARGS__);                                      \
            std::fputc('\n', stderr);                                               \
            std::abort();                                                           \
        }                                                                           \
    } while (0)

namespace kxfuzz {

// Takes typed pieces from the front of the input.
class Reader {
public:
    Reader(const uint8_t *data, size_t size) : data_(data), size_(size) {}

    size_t remaining() const { return size_ - at_; }
    bool empty() const { return at_ >= size_; }

    uint8_t byte()
    {
        return at_ < size_ ? data_[at_++] : 0;
    }
    uint16_t u16() { return static_cast<uint16_t>(byte() | (byte() << 8)); }
    uint32_t u32() { return static_cast<uint32_t>(u16()) | (static_cast<uint32_t>(u16()) << 16); }
    uint64_t u64() { return static_cast<uint64_t>(u32()) | (static_cast<uint64_t>(u32()) << 32); }
    bool flag() { return (byte() & 1) != 0; }
    // A number in [low, high] (inclusive), taken from up to four octets.
    int64_t in_range(int64_t low, int64_t high)
    {
        uint64_t span = static_cast<uint64_t>(high - low) + 1;
        uint64_t raw = span <= 0x100 ? byte() : span <= 0x10000 ? u16() : u32();
        return low + static_cast<int64_t>(raw % span);
    }
    // Up to n octets, fewer when the input ends.
    std::string bytes(size_t n)
    {
        n = n < remaining() ? n : remaining();
        std::string s(reinterpret_cast<const char *>(data_ + at_), n);
        at_ += n;
        return s;
    }
    // A text of up to max_length octets, its length in the first octet.
    std::string text(size_t max_length)
    {
        size_t n = static_cast<size_t>(in_range(0, static_cast<int64_t>(max_length)));
        return bytes(n);
    }
    // The octets up to the next separator (consumed, not returned) or the end.
    std::string until(char separator)
    {
        std::string s;
        while (at_ < size_ && data_[at_] != static_cast<uint8_t>(separator))
            s.push_back(static_cast<char>(data_[at_++]));
        if (at_ < size_)
            ++at_;
        return s;
    }
    // Everything that is left.
    std::string rest() { return bytes(remaining()); }

private:
    const uint8_t *data_;
    size_t size_;
    size_t at_ = 0;
};

// Text without zero octets (as a C string would see it).
inline std::string without_zeros(std::string s)
{
    std::string out;
    for (char c : s)
        if (c != '\0')
            out.push_back(c);
    return out;
}

// A buffer of a stated length followed by guard octets that a call must not
// touch; the octets inside are prefilled too, so unwritten ones can be seen.
class Guarded {
public:
    static constexpr size_t kGuard = 16;
    static constexpr uint8_t kFill = 0xA5;

    explicit Guarded(size_t length) : bytes_(length + kGuard, kFill), length_(length) {}

    char *data() { return reinterpret_cast<char *>(bytes_.data()); }
    uint8_t *octets() { return bytes_.data(); }
    size_t length() const { return length_; }
    // True when no octet past the stated length was written.
    bool guard_intact() const
    {
        for (size_t i = length_; i < bytes_.size(); ++i)
            if (bytes_[i] != kFill)
                return false;
        return true;
    }

private:
    std::vector<uint8_t> bytes_;
    size_t length_;
};

// A private directory "/tmp/<prefix>XXXXXX" made once per process and
// removed (with what is left in it) when the process ends; "" when it could
// not be made.
inline const std::string &process_temp_dir(const char *prefix)
{
    static std::string dir;
    if (dir.empty()) {
        std::string pattern = std::string("/tmp/") + prefix + "XXXXXX";
        if (mkdtemp(pattern.data()) != nullptr) {
            dir = pattern;
            std::atexit([] {
                std::string command = "rm -rf '" + dir + "'";
                if (std::system(command.c_str()) != 0)
                    std::fprintf(stderr, "could not remove %s\n", dir.c_str());
            });
        }
    }
    return dir;
}

inline bool write_whole_file(const std::string &path, const std::string &text)
{
    FILE *f = std::fopen(path.c_str(), "wb");
    if (f == nullptr)
        return false;
    bool written = std::fwrite(text.data(), 1, text.size(), f) == text.size();
    return std::fclose(f) == 0 && written;
}

inline std::string read_whole_file(const std::string &path)
{
    std::string text;
    FILE *f = std::fopen(path.c_str(), "rb");
    if (f == nullptr)
        return text;
    char chunk[4096];
    size_t n;
    while ((n = std::fread(chunk, 1, sizeof chunk, f)) > 0)
        text.append(chunk, n);
    std::fclose(f);
    return text;
}

// A statement with its own error header and an evaluation context on it,
// set up as a driver sets one up; the caller arms context.exit.
struct Statement {
    Statement()
    {
        mem = kx_mem_alloc_handle(nullptr);
        std::memset(&statement, 0, sizeof statement);
        statement.kind = KX_KIND_STATEMENT;
        statement.errors = mem != nullptr ? CreateErrorHeader(mem, nullptr) : nullptr;
        std::memset(&context, 0, sizeof context);
        context.stmt = &statement;
        context.mem = mem;
    }
    ~Statement()
    {
        FreeErrorHeader(statement.errors);
        kx_mem_release_handle(mem);
    }
    Statement(const Statement &) = delete;
    Statement &operator=(const Statement &) = delete;

    bool ready() const { return mem != nullptr && statement.errors != nullptr; }
    // The SQLSTATE of the newest diagnostic, "" when there is none.
    std::string last_state() const
    {
        char state[6] = {};
        char message[1100] = {};
        int32_t native = 0;
        int16_t length = 0;
        int32_t count = statement.errors->record_count;
        if (count < 1 ||
            GetDiagRec(statement.errors, count, state, &native, message, sizeof message,
                       &length) != 0)
            return "";
        return state;
    }

    MemHandle *mem = nullptr;
    DriverStatement statement;
    EvalContext context;
};

}  // namespace kxfuzz

#endif
