// longvar: long character and long binary data held in temporary files.
//
// Exports allocate_long_buffer, open_buffer, append_to_long_buffer,
// rewind_long_buffer, long_buffer_length, extract_from_long_buffer (and its
// 16-bit variant extract_from_long_nbuffer), clone_long_buffer,
// free_long_buffer and the thin stream wrappers file_read, file_write,
// file_dup, file_close and file_seek.
//
// A LongBuffer (kxsupp/common.h) is a MemHandle block whose destructor,
// free_long_buffer, closes its stream when the last reference dies. The
// stream is an anonymous file: it is created as
// "<blob_path>/blob<pid><counter>.tmp" and unlinked at once, so the data
// vanish with the last descriptor. Appends and extractions share the
// stream's one file offset; position and total_length count octets
// extracted and appended. Extraction follows SQLGetData: 0 all delivered,
// 1 truncated with more to come, -1 read error.
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <fcntl.h>
#include <unistd.h>

#include "kxsupp/config.h"
#include "kxsupp/memory.h"
#include "kxsupp/values.h"

namespace {

// Numbers the temporary files of this process; never reset. Taken with an
// atomic fetch-and-add, so long buffers created by several threads at once
// still get names of their own.
uint32_t counter = 0;

// The directory setting as get_default reads it: 128 octets, which an
// overlong value fills without a terminator.
constexpr int32_t kBlobPathSize = 128;

// Attempts at a fresh name when a stale file of the same name exists.
constexpr int kCreateAttempts = 16;

constexpr int32_t kSqlLongVarBinary = -4;

uint64_t position_of(const LongBuffer *lb)
{
    return (static_cast<uint64_t>(lb->position_high) << 32) | lb->position_low;
}

void set_position(LongBuffer *lb, uint64_t position)
{
    lb->position_high = static_cast<uint32_t>(position >> 32);
    lb->position_low = static_cast<uint32_t>(position);
}

// Octets appended and not yet extracted (never negative).
uint64_t remaining_of(const LongBuffer *lb)
{
    uint64_t total = lb->total_length > 0
                         ? static_cast<uint64_t>(lb->total_length)
                         : 0;
    uint64_t position = position_of(lb);
    return total > position ? total - position : 0;
}

// Creates the file exclusively (a file left by an earlier process of the
// same id is never truncated through, nor a link followed) and opens it as
// fopen's "w+" would.
FILE *create_exclusive(const char *name)
{
    int fd = open(name, O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC,
                  0600);
    if (fd < 0)
        return nullptr;
    FILE *stream = fdopen(fd, "w+");
    if (stream == nullptr) {
        close(fd);
        unlink(name);
    }
    return stream;
}

// The shared part of the two extractions: the NULL protocol, the amount to
// deliver and the result. read_octets(count) reads count octets into the
// caller's buffer and returns how many arrived; terminate(index) writes the
// terminator.
template <typename ReadOctets, typename Terminate>
int32_t extract(LongBuffer *lb, int64_t n, int32_t *remaining_out,
                bool binary, ReadOctets read_octets, Terminate terminate)
{
    if (lb->null_flag != 0) {
        if (position_of(lb) == 0) {
            if (remaining_out != nullptr)
                *remaining_out = -1;  // SQL_NULL_DATA
            set_position(lb, 1);
        } else if (remaining_out != nullptr) {
            *remaining_out = 0;
        }
        return 0;
    }
    uint64_t remaining = remaining_of(lb);
    if (n < 1) {
        // no room at all, not even for the terminator: report only
        if (remaining_out != nullptr)
            *remaining_out = static_cast<int32_t>(remaining);
        return remaining > 0 ? 1 : 0;
    }
    uint64_t room = static_cast<uint64_t>(n);
    if (room > remaining) {
        if (read_octets(remaining) != remaining)
            return -1;
        set_position(lb, position_of(lb) + remaining);
        if (remaining_out != nullptr)
            *remaining_out = static_cast<int32_t>(remaining);
        if (!binary)
            terminate(remaining);
        return 0;
    }
    if (remaining_out != nullptr)
        *remaining_out = static_cast<int32_t>(remaining);
    if (read_octets(room - 1) != room - 1)
        return -1;
    set_position(lb, position_of(lb) + (room - 1));
    if (!binary)
        terminate(room - 1);
    return 1;
}

}  // namespace

extern "C" {

KX_API FILE *open_buffer(ProfileHandle *config, char *name)
{
    if (name == nullptr)
        return nullptr;
    char dir[kBlobPathSize + 1];
    dir[0] = '\0';
    if (config != nullptr)
        get_default(config, "blob_path", dir, kBlobPathSize);
    dir[kBlobPathSize] = '\0';
    for (int attempt = 0; attempt < kCreateAttempts; attempt++) {
        int n = std::snprintf(name, KX_LONG_FILE_NAME_SIZE,
                              "%s/blob%05x%05x.tmp", dir,
                              static_cast<unsigned>(getpid()),
                              __atomic_fetch_add(&counter, 1, __ATOMIC_RELAXED));
        if (n < 0 || n >= KX_LONG_FILE_NAME_SIZE)
            return nullptr;  // a cut name would be another file
        FILE *stream = create_exclusive(name);
        if (stream != nullptr) {
            unlink(name);
            return stream;
        }
        if (errno != EEXIST)
            return nullptr;
    }
    return nullptr;
}

KX_API int free_long_buffer(void *buffer)
{
    LongBuffer *lb = static_cast<LongBuffer *>(buffer);
    if (lb != nullptr && lb->stream != nullptr) {
        std::fclose(lb->stream);
        lb->stream = nullptr;
    }
    return 0;
}

KX_API LongBuffer *allocate_long_buffer(MemHandle *handle, int32_t a,
                                        int32_t b, ProfileHandle *config,
                                        int32_t sql_type)
{
    LongBuffer *lb = static_cast<LongBuffer *>(
        kx_mem_alloc_ex(handle, sizeof(LongBuffer), free_long_buffer));
    if (lb == nullptr)
        return nullptr;
    std::memset(lb, 0, sizeof(LongBuffer));
    lb->mem_handle = handle;
    lb->user1 = a;
    lb->user2 = b;
    lb->config = config;
    lb->sql_type = sql_type;
    lb->stream = open_buffer(config, lb->file_name);
    if (lb->stream == nullptr) {
        kx_mem_free(handle, lb);
        return nullptr;
    }
    return lb;
}

KX_API int32_t append_to_long_buffer(LongBuffer *buffer, const void *data,
                                     int32_t n)
{
    if (buffer == nullptr)
        return 0;
    if (n == KX_NTS) {
        if (buffer->sql_type == kSqlLongVarBinary)
            std::abort();  // a binary buffer has no terminated length
        n = data != nullptr
                ? static_cast<int32_t>(std::strlen(static_cast<const char *>(data)))
                : 0;
    }
    if (n <= 0 || data == nullptr)
        return 0;
    buffer->total_length = static_cast<int32_t>(
        static_cast<uint32_t>(buffer->total_length) + static_cast<uint32_t>(n));
    if (buffer->stream != nullptr)
        std::fwrite(data, 1, static_cast<size_t>(n), buffer->stream);
    return 0;
}

KX_API int32_t rewind_long_buffer(LongBuffer *buffer)
{
    if (buffer == nullptr)
        return -1;
    set_position(buffer, 0);
    if (buffer->stream == nullptr)
        return -1;
    return std::fseek(buffer->stream, 0, SEEK_SET);
}

KX_API int32_t long_buffer_length(const LongBuffer *buffer)
{
    return buffer != nullptr ? buffer->total_length : 0;
}

KX_API int32_t extract_from_long_buffer(LongBuffer *buffer, void *buf,
                                        int32_t size, int32_t *remaining_out,
                                        int32_t binary)
{
    if (buffer == nullptr)
        return -1;
    // at most n - 1 octets: one place is kept for the terminator of text
    int64_t n = buf == nullptr ? 0 : binary ? int64_t{size} + 1 : size;
    unsigned char *out = static_cast<unsigned char *>(buf);
    FILE *stream = buffer->stream;
    return extract(
        buffer, n, remaining_out, binary != 0,
        [&](uint64_t count) -> uint64_t {
            if (count == 0)
                return 0;
            if (stream == nullptr)
                return 0;
            return std::fread(out, 1, count, stream);
        },
        [&](uint64_t index) { out[index] = 0; });
}

KX_API int32_t extract_from_long_nbuffer(LongBuffer *buffer, uint16_t *wbuf,
                                         int32_t size, int32_t *remaining_out,
                                         int32_t binary)
{
    if (buffer == nullptr)
        return -1;
    int64_t n = wbuf == nullptr ? 0 : binary ? int64_t{size} + 1 : size;
    FILE *stream = buffer->stream;
    return extract(
        buffer, n, remaining_out, binary != 0,
        [&](uint64_t count) -> uint64_t {
            if (stream == nullptr)
                return 0;
            uint64_t got = 0;
            for (; got < count; got++) {
                int c = std::fgetc(stream);
                if (c == EOF)
                    break;
                // every octet becomes one unit, sign-extended (0xE9 gives
                // 0xFFE9); no character set is applied
                wbuf[got] = static_cast<uint16_t>(
                    static_cast<int16_t>(static_cast<signed char>(c)));
            }
            return got;
        },
        [&](uint64_t index) { wbuf[index] = 0; });
}

KX_API LongBuffer *clone_long_buffer(LongBuffer *buffer, MemHandle *handle)
{
    if (buffer == nullptr)
        return nullptr;
    if (buffer->mem_handle == handle)
        return static_cast<LongBuffer *>(kx_mem_clone(handle, buffer));
    LongBuffer *copy = allocate_long_buffer(handle, buffer->user1,
                                            buffer->user2, buffer->config,
                                            buffer->sql_type);
    if (copy == nullptr)
        return nullptr;
    std::fclose(copy->stream);
    copy->stream = buffer->stream != nullptr ? file_dup(buffer->stream)
                                             : nullptr;
    if (copy->stream == nullptr) {
        kx_mem_free(handle, copy);
        return nullptr;
    }
    copy->position_high = buffer->position_high;
    copy->position_low = buffer->position_low;
    copy->total_length = buffer->total_length;
    // the words this module does not read go with the record (the standard
    // family keeps the high word of a 64-bit total in unused1)
    copy->unused1 = buffer->unused1;
    copy->unused2 = buffer->unused2;
    copy->null_flag = buffer->null_flag;
    std::memcpy(copy->area, buffer->area, sizeof copy->area);
    return copy;
}

KX_API size_t file_read(void *buf, size_t n, FILE *stream)
{
    if (buf == nullptr || stream == nullptr)
        return 0;
    return std::fread(buf, 1, n, stream);
}

KX_API size_t file_write(const void *buf, size_t n, FILE *stream)
{
    if (buf == nullptr || stream == nullptr)
        return 0;
    return std::fwrite(buf, 1, n, stream);
}

KX_API FILE *file_dup(FILE *stream)
{
    if (stream == nullptr)
        return nullptr;
    // octets still in this stream's buffer must reach the shared file, and
    // the shared offset must be where this stream stands
    std::fflush(stream);
    int fd = dup(fileno(stream));
    if (fd < 0)
        return nullptr;
    FILE *copy = fdopen(fd, "r+");
    if (copy == nullptr)
        close(fd);
    return copy;
}

KX_API int file_close(FILE *stream)
{
    if (stream == nullptr)
        return EOF;
    return std::fclose(stream);
}

KX_API int file_seek(FILE *stream, uint32_t high, uint32_t low)
{
    (void)high;  // offsets beyond 32 bits were never supported
    if (stream == nullptr)
        return -1;
    return std::fseek(stream, static_cast<long>(low), SEEK_SET);
}

}  // extern "C"
