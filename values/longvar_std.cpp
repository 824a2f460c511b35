// longvar_std: the long-data routines of the standard family.
//
// Exports kxstd_extract_from_long_buffer, kxstd_append_to_long_buffer,
// their 64-bit forms kxstd_extract_from_long_buffer64 and
// kxstd_append_to_long_buffer64, kxstd_long_buffer_length,
// kxstd_seek_long_buffer, kxstd_truncate_long_buffer and kxstd_file_seek.
//
// They work on the family's LongBuffer (kxsupp/common.h) and its stream.
// The total length is 64 bits: its low word in total_length (what the
// family's routines read), its high word in unused1, which the family's
// routines never set (so a buffer they filled reads as its 32-bit total).
// The read position is the family's 64-bit position. Octet i of the data
// lies at offset i of the file: every read and append here first places
// the stream with fseeko (64-bit offsets), so neither depends on where an
// earlier call left the stream. A buffer whose data has all been delivered
// is marked by a position one past its total, which the family's routines
// read as "nothing remains" and rewind_long_buffer clears.
#include <sys/types.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstring>

#include "kxsupp/standard.h"
#include "kxsupp/values.h"

namespace {

constexpr int32_t kSqlLongVarBinary = -4;
constexpr int32_t kNoData = 100;
constexpr int64_t kNoTotal = -4;  // SQL_NO_TOTAL

uint64_t position_of(const LongBuffer *buffer)
{
    return (static_cast<uint64_t>(buffer->position_high) << 32) | buffer->position_low;
}

void set_position(LongBuffer *buffer, uint64_t position)
{
    buffer->position_high = static_cast<uint32_t>(position >> 32);
    buffer->position_low = static_cast<uint32_t>(position);
}

uint64_t total_of(const LongBuffer *buffer)
{
    return (static_cast<uint64_t>(static_cast<uint32_t>(buffer->unused1)) << 32) |
           static_cast<uint32_t>(buffer->total_length);
}

void set_total(LongBuffer *buffer, uint64_t total)
{
    buffer->total_length = static_cast<int32_t>(static_cast<uint32_t>(total));
    buffer->unused1 = static_cast<int32_t>(static_cast<uint32_t>(total >> 32));
}

bool seek_to(FILE *stream, uint64_t offset)
{
    static_assert(sizeof(off_t) == 8, "64-bit file offsets");
    return offset <= static_cast<uint64_t>(INT64_MAX) &&
           fseeko(stream, static_cast<off_t>(offset), SEEK_SET) == 0;
}

// Reads count octets at offset into out; false when fewer arrive.
bool read_at(FILE *stream, uint64_t offset, unsigned char *out, uint64_t count)
{
    if (count == 0)
        return true;
    if (stream == nullptr || !seek_to(stream, offset))
        return false;
    while (count > 0) {
        size_t piece = count > (size_t{1} << 30) ? size_t{1} << 30 : static_cast<size_t>(count);
        size_t got = std::fread(out, 1, piece, stream);
        if (got != piece)
            return false;
        out += got;
        count -= got;
    }
    return true;
}

// Appends n octets after the last one; the total grows only when all of
// them reached the file.
int32_t append_octets(LongBuffer *buffer, const void *data, uint64_t n)
{
    if (n == 0)
        return KXSTD_OK;
    uint64_t total = total_of(buffer);
    if (n > static_cast<uint64_t>(INT64_MAX) - total)
        return KXSTD_INVALID_LENGTH;
    FILE *stream = buffer->stream;
    if (stream == nullptr || !seek_to(stream, total))
        return KXSTD_IO_ERROR;
    const unsigned char *in = static_cast<const unsigned char *>(data);
    uint64_t left = n;
    bool ok = true;
    while (ok && left > 0) {
        size_t piece = left > (size_t{1} << 30) ? size_t{1} << 30 : static_cast<size_t>(left);
        ok = std::fwrite(in, 1, piece, stream) == piece;
        in += piece;
        left -= piece;
    }
    if (!ok || std::fflush(stream) != 0) {
        // what part did reach the file lies past the total, where the next
        // append writes over it and no read looks
        std::clearerr(stream);
        return KXSTD_IO_ERROR;
    }
    set_total(buffer, total + n);
    return KXSTD_OK;
}

// The length of an append: n, or the text's length for KX_NTS; -1 when the
// length is refused.
int64_t append_length(const LongBuffer *buffer, const void *data, int64_t n)
{
    if (n == KX_NTS) {
        if (buffer->sql_type == kSqlLongVarBinary || data == nullptr)
            return -1;  // a binary buffer has no terminated length
        return static_cast<int64_t>(std::strlen(static_cast<const char *>(data)));
    }
    if (n < 0 || (n > 0 && data == nullptr))
        return -1;
    return n;
}

// The extraction of both forms. size is the caller's (units of one octet);
// *remaining gets the octets left before the call (-1 for NULL).
int32_t extract(LongBuffer *buffer, void *buf, int64_t size, int64_t *remaining,
                int32_t binary)
{
    uint64_t position = position_of(buffer);
    // a NULL value is reported once (position 1 after it), then no data
    if (buffer->null_flag != 0) {
        if (position != 0)
            return kNoData;
        *remaining = -1;  // SQL_NULL_DATA
        set_position(buffer, 1);
        return 0;
    }
    uint64_t total = total_of(buffer);
    if (position > total)
        return kNoData;
    uint64_t left = total - position;
    *remaining = static_cast<int64_t>(left);
    // at most n - 1 octets: one place is kept for the terminator of text
    int64_t n = buf == nullptr || size < 1 ? 0 : binary != 0 && size < INT64_MAX ? size + 1 : size;
    if (n < 1)
        return left > 0 ? 1 : 0;  // the length alone; nothing ends
    unsigned char *out = static_cast<unsigned char *>(buf);
    uint64_t room = static_cast<uint64_t>(n);
    if (room > left) {
        if (!read_at(buffer->stream, position, out, left))
            return -1;
        if (binary == 0)
            out[left] = 0;
        // the last piece delivered: the next call finds no data
        set_position(buffer, total + 1);
        return 0;
    }
    if (!read_at(buffer->stream, position, out, room - 1))
        return -1;
    set_position(buffer, position + (room - 1));
    if (binary == 0)
        out[room - 1] = 0;
    return 1;
}

}  // namespace

extern "C" {

KX_API int32_t kxstd_extract_from_long_buffer(LongBuffer *buffer, void *buf, int32_t size,
                                              int32_t *remaining_out, int32_t binary)
{
    if (buffer == nullptr)
        return -1;
    int64_t remaining = 0;
    int32_t rc = extract(buffer, buf, size, &remaining, binary);
    if (remaining_out != nullptr && rc != kNoData && rc != -1)
        *remaining_out = remaining > INT32_MAX ? static_cast<int32_t>(kNoTotal)
                                               : static_cast<int32_t>(remaining);
    return rc;
}

KX_API int32_t kxstd_extract_from_long_buffer64(LongBuffer *buffer, void *buf, int64_t size,
                                                int64_t *remaining_out, int32_t binary)
{
    if (buffer == nullptr)
        return -1;
    int64_t remaining = 0;
    int32_t rc = extract(buffer, buf, size, &remaining, binary);
    if (remaining_out != nullptr && rc != kNoData && rc != -1)
        *remaining_out = remaining;
    return rc;
}

KX_API int32_t kxstd_append_to_long_buffer(LongBuffer *buffer, const void *data, int32_t n)
{
    if (buffer == nullptr)
        return KXSTD_OK;
    int64_t length = append_length(buffer, data, n);
    if (length < 0 || length > INT32_MAX)
        return KXSTD_INVALID_LENGTH;
    // the 32-bit form keeps the total within what an SQLINTEGER holds
    if (total_of(buffer) + static_cast<uint64_t>(length) > INT32_MAX)
        return KXSTD_INVALID_LENGTH;
    return append_octets(buffer, data, static_cast<uint64_t>(length));
}

KX_API int32_t kxstd_append_to_long_buffer64(LongBuffer *buffer, const void *data, int64_t n)
{
    if (buffer == nullptr)
        return KXSTD_OK;
    int64_t length = append_length(buffer, data, n);
    if (length < 0)
        return KXSTD_INVALID_LENGTH;
    return append_octets(buffer, data, static_cast<uint64_t>(length));
}

KX_API int64_t kxstd_long_buffer_length(const LongBuffer *buffer)
{
    if (buffer == nullptr)
        return 0;
    uint64_t total = total_of(buffer);
    return total > static_cast<uint64_t>(INT64_MAX) ? INT64_MAX : static_cast<int64_t>(total);
}

KX_API int32_t kxstd_seek_long_buffer(LongBuffer *buffer, int64_t position)
{
    if (buffer == nullptr || position < 0 || static_cast<uint64_t>(position) > total_of(buffer))
        return KXSTD_INVALID_LENGTH;
    set_position(buffer, static_cast<uint64_t>(position));
    return KXSTD_OK;
}

KX_API int32_t kxstd_truncate_long_buffer(LongBuffer *buffer, int64_t length)
{
    if (buffer == nullptr || length < 0)
        return KXSTD_INVALID_LENGTH;
    if (buffer->stream == nullptr || std::fflush(buffer->stream) != 0 ||
        ftruncate(fileno(buffer->stream), static_cast<off_t>(length)) != 0)
        return KXSTD_IO_ERROR;
    set_total(buffer, static_cast<uint64_t>(length));
    set_position(buffer, 0);
    return KXSTD_OK;
}

KX_API int32_t kxstd_file_seek(FILE *stream, int64_t offset)
{
    if (stream == nullptr || offset < 0)
        return -1;
    return seek_to(stream, static_cast<uint64_t>(offset)) ? 0 : -1;
}

}  // extern "C"
