// Fuzz target for long buffers: data appended in pieces of the input's
// sizes (or zero-terminated, for long text) is read back piecewise as
// SQLGetData reads it, with arbitrary buffer sizes, text or binary
// delivery, 8-bit or 16-bit units, rewinds, a NULL long value, and a clone
// in another handle. Exports LLVMFuzzerTestOneInput.
//
// Input: [flags] [append count] then each append as [length octet] data
// (length 255: zero-terminated text up to the next zero octet), then steps
// of [operation] [size, 2 octets].
//
// The expected pieces come from a model kept here (the data and the read
// position). Properties: long_buffer_length counts every octet appended;
// each read delivers what the position and the size allow (at most size - 1
// octets and a terminator for text, size octets without one for binary),
// reports the octets left before the call, returns 0 when all was delivered
// and 1 when more remains, never -1 on a readable file, and writes nothing
// past size units; a NULL value reports -1 once and then no data; the temporary
// files leave nothing behind in the blob directory.
#include <dirent.h>

#include <cstring>
#include <string>
#include <vector>

#include "fuzz/fuzz_support.h"

namespace {

// The profile whose {default} section names this process's blob directory.
ProfileHandle *blob_profile()
{
    static ProfileHandle *config = nullptr;
    if (config == nullptr) {
        const std::string &dir = kxfuzz::process_temp_dir("kxfuzzlong");
        if (dir.empty() ||
            !kxfuzz::write_whole_file(dir + "/odbc.ini", "{default}\nblob_path = " + dir + "\n"))
            return nullptr;
        config = open_registry();
        if (config != nullptr)
            set_config(config, (dir + "/odbc.ini").c_str());
    }
    return config;
}

size_t files_in_blob_dir()
{
    size_t count = 0;
    DIR *d = opendir(kxfuzz::process_temp_dir("kxfuzzlong").c_str());
    if (d == nullptr)
        return 0;
    while (dirent *e = readdir(d))
        count += std::strncmp(e->d_name, "blob", 4) == 0 ? 1 : 0;
    closedir(d);
    return count;
}

struct Model {
    std::string data;
    uint64_t position = 0;
    bool null_value = false;
};

// One read of size units, checked against the model.
void check_read(LongBuffer *lb, Model *m, int32_t size, bool binary, bool wide)
{
    const size_t unit = wide ? 2 : 1;
    kxfuzz::Guarded buffer(static_cast<size_t>(size) * unit);
    int32_t remaining = -77;
    int32_t code = wide ? extract_from_long_nbuffer(lb, reinterpret_cast<uint16_t *>(buffer.octets()),
                                                    size, &remaining, binary ? 1 : 0)
                        : extract_from_long_buffer(lb, buffer.data(), size, &remaining,
                                                   binary ? 1 : 0);
    FUZZ_CHECK(buffer.guard_intact(), "a read of size %d wrote past it", size);
    if (m->null_value) {
        FUZZ_CHECK(code == 0 && remaining == (m->position == 0 ? -1 : 0),
                   "NULL value: code %d, remaining %d", code, remaining);
        m->position = 1;
        return;
    }
    uint64_t left = m->data.size() - m->position;
    int64_t n = binary ? int64_t{size} + 1 : size;
    FUZZ_CHECK(remaining == static_cast<int32_t>(left), "remaining %d, expected %llu", remaining,
               static_cast<unsigned long long>(left));
    if (n < 1) {
        FUZZ_CHECK(code == (left > 0 ? 1 : 0), "a read without room: code %d", code);
        return;
    }
    uint64_t delivered = static_cast<uint64_t>(n) > left ? left : static_cast<uint64_t>(n - 1);
    FUZZ_CHECK(code == (static_cast<uint64_t>(n) > left ? 0 : 1), "code %d, %llu left, n %lld",
               code, static_cast<unsigned long long>(left), static_cast<long long>(n));
    for (uint64_t i = 0; i < delivered; ++i) {
        unsigned char octet = static_cast<unsigned char>(m->data[m->position + i]);
        if (wide) {
            uint16_t got;
            std::memcpy(&got, buffer.octets() + 2 * i, 2);
            uint16_t want = static_cast<uint16_t>(static_cast<int16_t>(static_cast<signed char>(octet)));
            FUZZ_CHECK(got == want, "unit %llu is %04x, expected %04x",
                       static_cast<unsigned long long>(i), got, want);
        } else {
            FUZZ_CHECK(buffer.octets()[i] == octet, "octet %llu differs",
                       static_cast<unsigned long long>(i));
        }
    }
    if (!binary) {
        uint8_t zero[2] = {0, 0};
        FUZZ_CHECK(std::memcmp(buffer.octets() + delivered * unit, zero, unit) == 0,
                   "text is terminated after %llu units", static_cast<unsigned long long>(delivered));
    }
    m->position += delivered;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    ProfileHandle *config = blob_profile();
    if (config == nullptr)
        return 0;
    kxfuzz::Reader in(data, size);
    uint8_t flags = in.byte();
    int32_t sql_type = (flags & 1) != 0 ? -4 : -1;

    MemHandle *mem = kx_mem_alloc_handle(nullptr);
    MemHandle *other = kx_mem_alloc_handle(nullptr);
    LongBuffer *lb = mem != nullptr ? allocate_long_buffer(mem, 3, 4, config, sql_type) : nullptr;
    FUZZ_CHECK(mem == nullptr || other == nullptr || lb != nullptr,
               "a long buffer in a writable blob directory");
    if (lb == nullptr) {
        kx_mem_release_handle(other);
        kx_mem_release_handle(mem);
        return 0;
    }
    FUZZ_CHECK(files_in_blob_dir() == 0, "the temporary file is unlinked at once");

    Model m;
    int appends = in.byte() % 8;
    for (int i = 0; i < appends; ++i) {
        uint8_t length = in.byte();
        if (length == 255 && sql_type == -1) {
            // zero-terminated text (a long binary buffer would end the process)
            std::string text = in.until('\0');
            append_to_long_buffer(lb, text.c_str(), KX_NTS);
            m.data += text;
        } else {
            std::string piece = in.bytes(length);
            append_to_long_buffer(lb, piece.data(), static_cast<int32_t>(piece.size()));
            m.data += piece;
        }
        FUZZ_CHECK(long_buffer_length(lb) == static_cast<int32_t>(m.data.size()),
                   "length %d after appending, expected %zu", long_buffer_length(lb),
                   m.data.size());
    }
    FUZZ_CHECK(rewind_long_buffer(lb) == 0, "rewind");
    if ((flags & 2) != 0) {
        lb->null_flag = 1;
        m.null_value = true;
    }

    LongBuffer *reading = lb;
    for (int steps = 0; steps < 64 && !in.empty(); ++steps) {
        uint8_t op = in.byte();
        int32_t read_size = static_cast<int32_t>(in.u16() % 600);
        switch (op % 8) {
        case 0:
            FUZZ_CHECK(rewind_long_buffer(reading) == 0, "rewind");
            m.position = 0;
            break;
        case 1:
            // A clone in another handle shares the file and its offset and
            // carries the position on; reading goes on through it alone.
            if (reading == lb) {
                LongBuffer *copy = clone_long_buffer(lb, other);
                if (copy != nullptr) {
                    FUZZ_CHECK(long_buffer_length(copy) == long_buffer_length(lb) &&
                                   copy->null_flag == lb->null_flag,
                               "a clone keeps length and null flag");
                    reading = copy;
                }
            }
            break;
        default:
            check_read(reading, &m, read_size, (op & 8) != 0, (op & 16) != 0);
            break;
        }
    }
    kx_mem_release_handle(other);
    kx_mem_release_handle(mem);
    FUZZ_CHECK(files_in_blob_dir() == 0, "nothing is left in the blob directory");
    return 0;
}
