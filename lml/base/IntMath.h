// Integer arithmetic with one fixed outcome: 32-bit truncation, wrap-around, nearest indices, checked 64-bit sizes.
// Every conversion and product of the library that can leave its range goes through here, so that no outcome is left to
// the compiler.
#ifndef LML_INTMATH_H
#define LML_INTMATH_H

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>

namespace LumoraLib::detail
{
/// Truncates toward zero; out of range and not-a-number give INT32_MIN, as a processor's 32-bit conversion does.
inline std::int32_t TruncI32(double v)
{
    return v > -2147483649.0 && v < 2147483648.0 ? static_cast<std::int32_t>(v)
                                                 : std::numeric_limits<std::int32_t>::min();
}

/// 32-bit product, sum and difference that wrap around.
inline std::int32_t WrapMul(std::int32_t a, std::int32_t b)
{
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(a) * static_cast<std::uint32_t>(b));
}
inline std::int32_t WrapAdd(std::int32_t a, std::int32_t b)
{
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(a) + static_cast<std::uint32_t>(b));
}
inline std::int32_t WrapSub(std::int32_t a, std::int32_t b)
{
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(a) - static_cast<std::uint32_t>(b));
}

/// 2^n with the shift count taken modulo 32, wide enough that no product with a size can overflow.
inline std::int64_t PowerOfTwo(std::int32_t n)
{
    return std::int64_t{1} << (static_cast<std::uint32_t>(n) & 31u);
}

inline constexpr bool IsPowerOfTwo(std::int32_t n)
{
    return n > 0 && (n & (n - 1)) == 0;
}

/// The smallest power of two not below `size`; 1 for sizes of 1 or less.
inline constexpr std::int64_t RaisedToPowerOfTwo(std::int64_t size)
{
    std::int64_t raised = 1;
    while (raised < size)
        raised *= 2;
    return raised;
}

/// Size times 2^n, n not negative; what does not fit 32 bits becomes a size that Init refuses.
inline std::int32_t GrownSize(std::int32_t size, int n)
{
    constexpr std::int64_t most = std::numeric_limits<std::int32_t>::max();
    const std::int64_t grown = std::int64_t{size} << (n < 31 ? n : 31);
    return static_cast<std::int32_t>(grown < most ? grown : most);
}

/// The index of a transform's position p on an axis of n, counted from frequency (or time) zero: p below n / 2, p - n
/// from there on.
inline constexpr std::int32_t SignedIndex(std::int32_t p, std::int32_t n)
{
    return p < n / 2 ? p : p - n;
}

/// trunc(floor(v / p + 0.5)) + half: the index of the sample nearest to coordinate v on an axis with pitch p and centre
/// index half.
inline std::int32_t NearestIndex(double v, double p, std::int32_t half)
{
    return WrapAdd(TruncI32(std::floor(v / p + 0.5)), half);
}

/// The same index where the exact one leaves 32 bits: the nearest that they hold; not-a-number counts as far below.
inline std::int32_t SaturatedIndex(double v, double p, std::int32_t half)
{
    constexpr double low = std::numeric_limits<std::int32_t>::min();
    constexpr double high = std::numeric_limits<std::int32_t>::max();
    const double index = std::floor(v / p + 0.5) + half;
    return static_cast<std::int32_t>(!(index > low) ? low : index < high ? index : high);
}

/// A count from a position in samples: truncated, clamped to low ... size, not-a-number counting as low.
inline std::int64_t ClampedCount(double position, std::int64_t low, std::int64_t size)
{
    if (!(position > static_cast<double>(low)))
        return low;
    return position < static_cast<double>(size) ? static_cast<std::int64_t>(position) : size;
}

/// The nearest index on an axis of `size` samples, clamped to 0 ... size before it becomes an integer: a coordinate
/// that no integer holds reaches the edges like any other.
inline std::int32_t ClampedIndex(double v, double p, std::int32_t size)
{
    return static_cast<std::int32_t>(ClampedCount(std::floor(v / p + 0.5) + size / 2, 0, size > 0 ? size : 0));
}

/// Product and sum of sizes in 64 bits; false when the result does not fit.
[[nodiscard]] inline bool CheckedMul(std::uint64_t a, std::uint64_t b, std::uint64_t& result)
{
    return !__builtin_mul_overflow(a, b, &result);
}
[[nodiscard]] inline bool CheckedAdd(std::uint64_t a, std::uint64_t b, std::uint64_t& result)
{
    return !__builtin_add_overflow(a, b, &result);
}
} // namespace LumoraLib::detail

#endif
