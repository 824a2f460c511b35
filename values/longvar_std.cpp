// longvar_std: the long-data routines of the standard family.
//
// Exports kxstd_extract_from_long_buffer and kxstd_append_to_long_buffer.
// They work on the family's LongBuffer (kxsupp/common.h) and its stream,
// through the family's own extraction and append; what they add is the
// end of the data as SQLGetData reports it, and the refusal of lengths the
// family's routines cannot take. A buffer whose data has all been delivered
// is marked by a position one past its total length, which the family's
// routines read as "nothing remains" and rewind_long_buffer clears.
#include <cstdint>
#include <cstdio>
#include <cstring>

#include "kxsupp/standard.h"
#include "kxsupp/values.h"

namespace {

constexpr int32_t kSqlLongVarBinary = -4;
constexpr int32_t kNoData = 100;

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
    return buffer->total_length > 0 ? static_cast<uint64_t>(buffer->total_length) : 0;
}

}  // namespace

extern "C" {

KX_API int32_t kxstd_extract_from_long_buffer(LongBuffer *buffer, void *buf, int32_t size,
                                              int32_t *remaining_out, int32_t binary)
{
    if (buffer == nullptr)
        return -1;
    // a NULL value is reported once (position 1 after it), then no data
    if (buffer->null_flag != 0 && position_of(buffer) != 0)
        return kNoData;
    uint64_t total = total_of(buffer);
    if (buffer->null_flag == 0 && position_of(buffer) > total)
        return kNoData;
    int32_t rc = extract_from_long_buffer(buffer, buf, size, remaining_out, binary);
    // the last piece delivered: the next call finds no data
    if (rc == 0 && buffer->null_flag == 0 && buf != nullptr)
        set_position(buffer, total + 1);
    return rc;
}

KX_API int32_t kxstd_append_to_long_buffer(LongBuffer *buffer, const void *data, int32_t n)
{
    if (buffer == nullptr)
        return KXSTD_OK;
    if (n == KX_NTS) {
        if (buffer->sql_type == kSqlLongVarBinary || data == nullptr)
            return KXSTD_INVALID_LENGTH;  // a binary buffer has no terminated length
        size_t length = std::strlen(static_cast<const char *>(data));
        if (length > INT32_MAX)
            return KXSTD_INVALID_LENGTH;
        n = static_cast<int32_t>(length);
    }
    if (n < 0 || (n > 0 && data == nullptr))
        return KXSTD_INVALID_LENGTH;
    if (total_of(buffer) + static_cast<uint64_t>(n) > INT32_MAX)
        return KXSTD_INVALID_LENGTH;
    if (n == 0)
        return KXSTD_OK;
    if (buffer->stream == nullptr)
        return KXSTD_IO_ERROR;
    if (std::fwrite(data, 1, static_cast<size_t>(n), buffer->stream) != static_cast<size_t>(n)) {
        // what part of the octets did reach the file is taken back, so that a
        // later append still lands right after the total length
        std::fseek(buffer->stream, static_cast<long>(total_of(buffer)), SEEK_SET);
        return KXSTD_IO_ERROR;
    }
    buffer->total_length += n;
    return KXSTD_OK;
}

}  // extern "C"
