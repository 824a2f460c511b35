// Fuzz target for the comparison of two string values (compare_values):
// texts of any octets but zero, any declared lengths (negative, zero, short
// of the text or past it), each placed in a page of its own at an offset
// from the input, often right before a page that cannot be read. The walk
// reads blocks past a terminator, so this is where a block read running
// into the next page, or a wrong mask, would show. Exports
// LLVMFuzzerTestOneInput.
//
// Input: [left length] [right length] (two octets each) [left offset]
// [right offset] (two octets each, within the page) then the left text,
// a zero octet, and the right text.
//
// Properties: the sign is that of strcmp over both texts blank-padded to
// the longer declared length (texts longer than it taken whole; equal
// declared lengths compare as they are); swapping the values negates it.
#include <sys/mman.h>
#include <unistd.h>

#include <string>

#include "fuzz/fuzz_support.h"

namespace {

constexpr size_t kLongestText = 3000;

int sign_of(int v)
{
    return (v > 0) - (v < 0);
}

// The expected sign, from texts padded in full.
int padded_sign(const std::string &a, int32_t la, const std::string &b, int32_t lb)
{
    if (la == lb)
        return sign_of(std::strcmp(a.c_str(), b.c_str()));
    int32_t longer = la > lb ? la : lb;
    size_t n = longer > 0 ? static_cast<size_t>(longer) : 0;
    std::string pa = a.size() < n ? a + std::string(n - a.size(), ' ') : a;
    std::string pb = b.size() < n ? b + std::string(n - b.size(), ' ') : b;
    return sign_of(std::strcmp(pa.c_str(), pb.c_str()));
}

// One page for each text, each followed by a page that cannot be read.
class Pages {
public:
    Pages()
    {
        page_ = static_cast<size_t>(sysconf(_SC_PAGESIZE));
        size_ = 4 * page_;
        void *p = mmap(nullptr, size_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS,
                       -1, 0);
        base_ = p == MAP_FAILED ? nullptr : static_cast<char *>(p);
        if (base_ != nullptr) {
            mprotect(base_ + page_, page_, PROT_NONE);
            mprotect(base_ + 3 * page_, page_, PROT_NONE);
        }
    }
    bool ok() const { return base_ != nullptr; }
    // The text copied into page `which` (0 or 1) at the offset asked for, or
    // ending right before the unreadable page when it does not fit there.
    char *place(const std::string &text, int which, size_t offset)
    {
        char *page = base_ + 2 * page_ * static_cast<size_t>(which);
        size_t size = text.size() + 1;
        size_t at = offset + size <= page_ ? offset : page_ - size;
        std::memcpy(page + at, text.c_str(), size);
        return page + at;
    }

private:
    size_t page_ = 0;
    size_t size_ = 0;
    char *base_ = nullptr;
};

Value string_value(char *text, int32_t declared)
{
    Value v;
    std::memset(&v, 0, sizeof v);
    v.kind = NODE_VALUE;
    v.type = VALUE_STRING;
    v.payload.text = text;
    v.length = declared;
    return v;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static Pages pages;
    if (!pages.ok())
        return 0;
    kxfuzz::Reader in(data, size);
    auto la = static_cast<int32_t>(in.in_range(-2, 4000));
    auto lb = static_cast<int32_t>(in.in_range(-2, 4000));
    auto offset_a = static_cast<size_t>(in.in_range(0, 4095));
    auto offset_b = static_cast<size_t>(in.in_range(0, 4095));
    std::string a = in.until('\0').substr(0, kLongestText);
    std::string b = in.rest().substr(0, kLongestText);
    b = kxfuzz::without_zeros(b);

    Value left = string_value(pages.place(a, 0, offset_a), la);
    Value right = string_value(pages.place(b, 1, offset_b), lb);
    int expected = padded_sign(a, la, b, lb);
    int forward = sign_of(compare_values(&left, &right));
    int backward = sign_of(compare_values(&right, &left));
    FUZZ_CHECK(forward == expected, "%d/%d vs %d/%d octets: sign %d, padded strcmp gives %d",
               static_cast<int>(a.size()), la, static_cast<int>(b.size()), lb, forward,
               expected);
    FUZZ_CHECK(backward == -expected, "swapped: sign %d, expected %d", backward, -expected);
    return 0;
}
