#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

/// Content fingerprint of an extent's data: 32 bytes, compared as a whole.
struct crfp_digest_t {
    std::array<std::uint8_t, 32> bytes;

    friend bool operator==(const crfp_digest_t&, const crfp_digest_t&) = default;
};

/// Writes the text form of a fingerprint.
///
/// @param digest fingerprint to print; not null.
/// @param format 3 selects 64 lower-case hexadecimal digits, two per byte in byte order. The
/// library
///               defines the other values.
/// @param out    caller's buffer; receives the digits and a terminating NUL.
/// @param size   size of `out` in bytes; 65 for format 3.
/// @return a value that the library defines; the checker ignores it.
///
/// Does not fail. With format 3 and a buffer of fewer than 65 bytes, the text is cut and still
/// NUL-terminated; a size of 0 writes nothing. Any thread may call it.
int CRFPDigestToString_r(const crfp_digest_t* digest, int format, char* out, std::size_t size);
