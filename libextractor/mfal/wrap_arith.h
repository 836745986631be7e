// Arithmetic that wraps on purpose, without undefined behaviour.
//
// Times and seek steps are products of numbers that may have any value: 36-bit frame numbers,
// 16-bit block sizes, the 64-bit time of a seek. Their low 64 bits are kept. Sums and differences
// of frame numbers and of positions may wrap too: positions are not checked against the source's
// size. Digits are appended modulo 2^32. No other arithmetic may wrap.
#pragma once

#include <cstdint>

#if defined(__clang__)
#define KELFLAC_WRAPS __attribute__((no_sanitize("unsigned-integer-overflow")))
#else
#define KELFLAC_WRAPS
#endif

/** The signed number with these 64 bits, in two's complement. */
constexpr int64_t as_signed(uint64_t v) {
    return static_cast<int64_t>(v);
}
constexpr uint64_t as_unsigned(int64_t v) {
    return static_cast<uint64_t>(v);
}

KELFLAC_WRAPS constexpr uint64_t wrap_add_u(uint64_t a, uint64_t b) {
    return a + b;
}
KELFLAC_WRAPS constexpr uint64_t wrap_sub_u(uint64_t a, uint64_t b) {
    return a - b;
}
KELFLAC_WRAPS constexpr uint64_t wrap_mul_u(uint64_t a, uint64_t b) {
    return a * b;
}

constexpr int64_t wrap_add(int64_t a, int64_t b) {
    return as_signed(wrap_add_u(as_unsigned(a), as_unsigned(b)));
}
constexpr int64_t wrap_sub(int64_t a, int64_t b) {
    return as_signed(wrap_sub_u(as_unsigned(a), as_unsigned(b)));
}
constexpr int64_t wrap_mul(int64_t a, int64_t b) {
    return as_signed(wrap_mul_u(as_unsigned(a), as_unsigned(b)));
}
static_assert(wrap_add(INT64_MAX, 1) == INT64_MIN && wrap_sub(INT64_MIN, 1) == INT64_MAX);
static_assert(wrap_mul(INT64_MAX, 2) == -2);

/** The quotient, truncated toward zero. It is 0 when `b` is 0. INT64_MIN / -1 gives INT64_MIN. */
constexpr int64_t wrap_div(int64_t a, int64_t b) {
    if (b == 0) return 0;
    if (b == -1) return wrap_sub(0, a);
    return a / b;
}
static_assert(wrap_div(INT64_MIN, -1) == INT64_MIN && wrap_div(7, -1) == -7);
static_assert(wrap_div(7, 0) == 0 && wrap_div(-7, 2) == -3 && wrap_div(7, -2) == -3);

/** number * 10 + digit, modulo 2^32, as a signed number. */
KELFLAC_WRAPS constexpr int32_t wrap_append_digit(int32_t number, uint32_t digit) {
    return static_cast<int32_t>(static_cast<uint32_t>(number) * 10 + digit);
}
