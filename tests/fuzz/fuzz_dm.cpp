// Fuzz target for dm buffers made of arbitrary octets: a buffer from the
// input is read into a Value of a column type (dm_to_value, which takes
// foreign buffers: the type is the value's own and the payload is copied),
// written back (value_to_dm), compared (compare_dm) and rendered as text
// (value_as_text_n). Exports LLVMFuzzerTestOneInput.
//
// Input: [type selector] [capacity] then a dm buffer (12-octet header and
// payload) and, after a zero octet, a second payload for comparisons.
//
// Properties: get_length_from_dm follows the type table; a NULL buffer
// (negative length) sets the null flag and touches nothing else; read and
// written back, a buffer gives the same header and payload octets; a buffer
// compares equal to its copy, and two buffers of the ordered types compare
// in opposite ways when swapped; the value's text obeys the buffer rules
// (full length reported, cut and terminated within the capacity, nothing
// written past it, the same text as with room enough).
#include <cstring>
#include <string>
#include <vector>

#include "fuzz/fuzz_support.h"

namespace {

const int32_t kTypes[] = {VALUE_INTEGER, VALUE_DOUBLE, VALUE_STRING, VALUE_BIT,
                          VALUE_BINARY, VALUE_DATE, VALUE_TIME, VALUE_TIMESTAMP,
                          VALUE_NUMERIC, VALUE_BIGINT, VALUE_INTERVAL_YM,
                          VALUE_INTERVAL_DS, VALUE_NULL, VALUE_USER};

// The payload size the type table gives, -1 for text and binary (the dm
// length itself) and 0 for types without a dm form.
int32_t fixed_payload(int32_t type)
{
    switch (type) {
    case VALUE_INTEGER: case VALUE_BIT: return 4;
    case VALUE_DOUBLE: case VALUE_BIGINT: return 8;
    case VALUE_STRING: case VALUE_BINARY: return -1;
    case VALUE_DATE: case VALUE_TIME: return 6;
    case VALUE_TIMESTAMP: return 16;
    case VALUE_NUMERIC: return 19;
    case VALUE_INTERVAL_YM: case VALUE_INTERVAL_DS: return 28;
    default: return 0;
    }
}

struct DmImage {
    std::vector<uint8_t> octets;   // header and payload, 8-aligned storage
    DmBuffer *dm() { return reinterpret_cast<DmBuffer *>(octets.data()); }
    int32_t length() const
    {
        int32_t n;
        std::memcpy(&n, octets.data(), 4);
        return n;
    }
};

// A dm buffer from raw octets for a column of type. Text and binary take
// as many payload octets as the input has; a buffer holds at most its
// length octets, so the binary data length is brought into 0..length.
DmImage make_image(int32_t type, const std::string &raw)
{
    DmImage image;
    image.octets.assign(12, 0);
    std::memcpy(image.octets.data(), raw.data(), raw.size() < 12 ? raw.size() : 12);
    std::string payload = raw.size() > 12 ? raw.substr(12) : "";
    int32_t length = image.length();
    int32_t fixed = fixed_payload(type);
    if (length >= 0) {
        if (fixed < 0) {
            if (static_cast<size_t>(length) > payload.size())
                length = static_cast<int32_t>(payload.size());
            std::memcpy(image.octets.data(), &length, 4);
            payload.resize(static_cast<size_t>(length));
            int32_t data_length;
            std::memcpy(&data_length, image.octets.data() + 4, 4);
            if (type == VALUE_BINARY) {
                data_length = data_length < 0 ? 0 : data_length % (length + 1);
                std::memcpy(image.octets.data() + 4, &data_length, 4);
            }
        } else {
            // A fixed-size type reads its payload whatever the length word
            // says; the buffer a driver wrote has the type's own length.
            length = fixed;
            std::memcpy(image.octets.data(), &length, 4);
            payload.resize(static_cast<size_t>(fixed), '\0');
        }
    }
    uint32_t type_word = static_cast<uint32_t>(type);
    std::memcpy(image.octets.data() + 8, &type_word, 4);
    image.octets.insert(image.octets.end(), payload.begin(), payload.end());
    image.octets.resize(image.octets.size() + 8, 0);   // room the header never claims
    return image;
}

// A value of the column's type with room for a payload of length octets.
Value *column_value(MemHandle *mem, int32_t type, int32_t length)
{
    Value *v;
    if (type == VALUE_STRING) {
        v = NewValue(mem, length + 1);
        if (v == nullptr)
            return nullptr;
        std::memset(reinterpret_cast<char *>(v) + sizeof(uint32_t), 0,
                    offsetof(Value, payload) - sizeof(uint32_t));
        v->mem_handle = mem;
        v->inline_buffer = 1;
    } else {
        v = static_cast<Value *>(newNode(sizeof(Value), NODE_VALUE, mem));
        if (v == nullptr)
            return nullptr;
        if (type == VALUE_BINARY) {
            v->payload.bytes = static_cast<unsigned char *>(
                kx_mem_alloc(mem, static_cast<size_t>(length > 0 ? length : 1)));
            if (v->payload.bytes == nullptr)
                return nullptr;
        }
    }
    v->type = type;
    return v;
}

int sign_of(int32_t r) { return r < 0 ? -1 : r > 0 ? 1 : 0; }

// The value's text within capacity octets against the text with room enough.
void check_text(const Value *v, size_t capacity)
{
    size_t full_length = 0;
    value_as_text_n(v, nullptr, 0, &full_length);
    std::vector<char> whole(full_length + 1, 'x');
    size_t again = 0;
    const char *text = value_as_text_n(v, whole.data(), whole.size(), &again);
    FUZZ_CHECK(again == full_length, "full length %zu, then %zu", full_length, again);
    if (v->null_flag != 0) {
        FUZZ_CHECK(std::strcmp(text, "NULL") == 0 && whole[0] == 'x',
                   "NULL is a static text and the buffer stays untouched");
        return;
    }
    FUZZ_CHECK(text == whole.data() && std::strlen(text) == full_length,
               "the text fills the reported length exactly");
    kxfuzz::Guarded buffer(capacity);
    size_t length = 0;
    value_as_text_n(v, buffer.data(), capacity, &length);
    FUZZ_CHECK(buffer.guard_intact(), "value_as_text_n wrote past %zu octets", capacity);
    FUZZ_CHECK(length == full_length, "full length %zu, expected %zu", length, full_length);
    if (capacity == 0) {
        FUZZ_CHECK(buffer.octets()[0] == kxfuzz::Guarded::kFill,
                   "capacity 0 writes nothing");
        return;
    }
    size_t kept = full_length < capacity - 1 ? full_length : capacity - 1;
    FUZZ_CHECK(std::memcmp(buffer.data(), whole.data(), kept) == 0 && buffer.data()[kept] == '\0',
               "the cut text is the first %zu octets of the whole and a terminator", kept);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    kxfuzz::Reader in(data, size);
    int32_t type = kTypes[in.byte() % (sizeof kTypes / sizeof kTypes[0])];
    size_t capacity = in.byte();
    std::string raw = in.until('\0');
    std::string other_raw = in.rest();

    MemHandle *mem = kx_mem_alloc_handle(nullptr);
    if (mem == nullptr)
        return 0;
    DmImage image = make_image(type, raw);
    int32_t length = image.length();
    int32_t fixed = fixed_payload(type);

    Value *v = column_value(mem, type, length > 0 ? length : 0);
    if (v == nullptr) {
        kx_mem_release_handle(mem);
        return 0;
    }
    int32_t expected_length = length < 0 ? 0 : fixed < 0 ? length : fixed;
    FUZZ_CHECK(get_length_from_dm(image.dm(), v) == expected_length,
               "get_length_from_dm %d, expected %d (type %d)", get_length_from_dm(image.dm(), v),
               expected_length, type);

    Value before = *v;
    dm_to_value(image.dm(), v);
    if (length < 0) {
        FUZZ_CHECK(v->null_flag == -1, "a NULL buffer sets the null flag");
        Value expected = before;
        expected.null_flag = -1;
        FUZZ_CHECK(std::memcmp(&expected, v, sizeof expected) == 0,
                   "a NULL buffer touches nothing but the null flag");
    } else {
        FUZZ_CHECK(v->null_flag == 0, "a non-NULL buffer clears the null flag");
    }

    // Written back: the same header and payload.
    size_t image_size = 12 + static_cast<size_t>(expected_length);
    std::vector<uint8_t> back_octets(image_size + 8 + kxfuzz::Guarded::kGuard,
                                     kxfuzz::Guarded::kFill);
    auto *back = reinterpret_cast<DmBuffer *>(back_octets.data());
    value_to_dm(back, v);
    for (size_t i = image_size; i < back_octets.size(); ++i)
        FUZZ_CHECK(back_octets[i] == kxfuzz::Guarded::kFill,
                   "value_to_dm wrote past header and %d octets", expected_length);
    if (length < 0) {
        FUZZ_CHECK(back->length == -1 && back->type == static_cast<uint32_t>(type),
                   "NULL writes length -1 and the type");
    } else if (fixed != 0) {
        FUZZ_CHECK(std::memcmp(back_octets.data(), image.octets.data(), image_size) == 0 ||
                       (type != VALUE_BINARY &&
                        std::memcmp(back_octets.data() + 8, image.octets.data() + 8,
                                    image_size - 8) == 0 &&
                        back->length == length && back->data_length == 0),
                   "type %d: the buffer read and written back differs", type);
        FUZZ_CHECK(compare_dm(back, image.dm()) == 0 && compare_dm(image.dm(), back) == 0,
                   "a buffer compares equal to its copy (type %d)", type);
    }

    // Two buffers of one column compare in opposite ways when swapped, for
    // the types whose order does not depend on which side is on the left:
    // text and binary compare over the left length only, intervals by the
    // left kind, and numerics only with the sign octets 0 and 1 they are
    // made with.
    DmImage other = make_image(type, other_raw);
    int32_t l = compare_dm(image.dm(), other.dm());
    int32_t r = compare_dm(other.dm(), image.dm());
    bool symmetric = type == VALUE_INTEGER || type == VALUE_BIT || type == VALUE_DOUBLE ||
                     type == VALUE_BIGINT || type == VALUE_DATE || type == VALUE_TIME ||
                     type == VALUE_TIMESTAMP;
    if (type == VALUE_NUMERIC && length >= 0 && other.length() >= 0)
        symmetric = image.octets[14] <= 1 && other.octets[14] <= 1;
    if ((type == VALUE_STRING || type == VALUE_BINARY) && length == other.length())
        symmetric = true;
    // Timestamps compare by the raw 32-bit difference of the first field
    // that differs; fractions are nanoseconds, and two fractions 2^31 or
    // more apart (not nanoseconds at all) give a difference of the wrong sign.
    if (type == VALUE_TIMESTAMP && length >= 0 && other.length() >= 0) {
        uint32_t fa, fb;
        std::memcpy(&fa, image.octets.data() + 12 + 12, 4);
        std::memcpy(&fb, other.octets.data() + 12 + 12, 4);
        symmetric = fa < 1000000000u && fb < 1000000000u;
    }
    if (length < 0 || other.length() < 0)
        symmetric = true;
    if (symmetric)
        FUZZ_CHECK(sign_of(l) == -sign_of(r), "type %d: compare_dm gives %d and swapped %d",
                   type, l, r);

    check_text(v, capacity);
    kx_mem_release_handle(mem);
    return 0;
}
