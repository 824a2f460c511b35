// Internal helpers shared by the calendar (jdn_l) and the interval and
// datetime arithmetic (evalint). Not part of the public headers.
#ifndef KXSUPP_ARITH_CALENDAR_INTERNAL_H
#define KXSUPP_ARITH_CALENDAR_INTERNAL_H

#include <stdint.h>

namespace kx {

// Signed 32-bit arithmetic that wraps instead of overflowing: the operation
// is done on the unsigned 32-bit images, so that absurd dates and interval
// fields give the wrapped result the formulas always gave, never undefined
// behaviour.
inline int32_t wrap_add(int32_t a, int32_t b)
{
    return static_cast<int32_t>(static_cast<uint32_t>(a) + static_cast<uint32_t>(b));
}

inline int32_t wrap_sub(int32_t a, int32_t b)
{
    return static_cast<int32_t>(static_cast<uint32_t>(a) - static_cast<uint32_t>(b));
}

inline int32_t wrap_mul(int32_t a, int32_t b)
{
    return static_cast<int32_t>(static_cast<uint32_t>(a) * static_cast<uint32_t>(b));
}

inline int32_t wrap_neg(int32_t a)
{
    return static_cast<int32_t>(0u - static_cast<uint32_t>(a));
}

}  // namespace kx

#endif
