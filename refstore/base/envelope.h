#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "refstore/base/regular_file.h"

namespace refstore {

inline constexpr std::size_t kEnvelopeHead = 24;
inline constexpr std::size_t kEnvelopeSeal = 8;
/// The largest payload of any kind: what FlatBuffers can verify, one byte less than it can address.
inline constexpr std::uint64_t kMaxPayload = (std::uint64_t{1} << 31) - 2;
/// A file above this size that is sparse is read into memory only after its seal was found to fit:
/// a few bytes on disk can pass for a file of any size.
inline constexpr std::uint64_t kMaxReadUnsealed = std::uint64_t{16} << 20;

/// The small sealed envelope that every record file is kept in.
///
/// Layout, little-endian, offsets in bytes (docs/formats/envelope.md):
///   0   8  magic: "JORV" and four letters that name the kind of record
///   8   4  version of the record's format
///   12  4  zero
///   16  8  length n of the payload
///   24  n  payload
///   24+n 8 seal: XXH3-64 of everything before it
struct EnvelopeKind {
    /// Eight characters.
    std::string_view magic;
    std::uint32_t version;
    /// Name of the structure in messages, e.g. "header file".
    std::string_view what;
    /// Bytes that a payload of this kind has at most. A larger file is not read.
    std::uint64_t maxPayload = kMaxPayload;
};

/// Checks a whole envelope and returns its payload, which lies inside `bytes`. Any changed, missing
/// or added byte, another kind and another version give SysException(EBADMSG).
///
/// @param bytes aligned for any scalar, so that FlatBuffers may look into the payload.
std::span<const std::byte> OpenEnvelope(const EnvelopeKind& kind, std::span<const std::byte> bytes,
                                        const std::string& path);

/// Reads a file and checks its envelope; `payload` lies inside `file`. Fails as RegularFile and
/// OpenEnvelope do. The size is judged before anything is read, the head of a large file before
/// memory for the rest is taken, and the seal of a large sparse one as well (kMaxReadUnsealed).
struct LoadedEnvelope {
    FileBytes file;
    std::span<const std::byte> payload;
};
LoadedEnvelope LoadEnvelope(const EnvelopeKind& kind, const RegularFile& file);

}  // namespace refstore
