#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "storage/fingerprint.h"
#include "storage/mapping_table.h"

/// What a share stores, as tests write it: the plain values that the storage interface reads.
namespace test_support {

/// A fingerprint whose 32 bytes are all `byte`.
inline crfp_digest_t Fp(std::uint8_t byte) {
    crfp_digest_t fp{};
    fp.bytes.fill(byte);
    return fp;
}

/// The 64 hexadecimal digits of a fingerprint whose bytes are all `pair`.
inline std::string FpDigits(std::string_view pair) {
    std::string digits;
    for (std::size_t i = 0; i < sizeof(crfp_digest_t); ++i) {
        digits += pair;
    }
    return digits;
}

struct StoredHeader {
    std::int64_t transId = 1;
    std::int64_t size = 0;   ///< bytes
    std::int64_t mtime = 0;  ///< seconds since the epoch
    std::uint64_t fg = 0;
    bool isDev = false;
    std::string extentLocation = "/meta";
};

struct StoredExtent {
    std::uint64_t start = 0;
    std::uint64_t end = 0;
    std::uint64_t dcid = 0;
    crfp_digest_t fp = {};
    std::uint64_t soRef = 0;
    std::uint64_t cksum = 0;
    std::int64_t dataOffset = 0;
};

struct StoredExtentFile {
    std::int64_t transId = 1;
    std::vector<StoredExtent> extents = {};
};

struct StoredTable {
    std::uint64_t offset = 0;  ///< first file offset that the table covers
    std::uint64_t end = 0;     ///< offset of the first byte after its coverage
    std::vector<StoredExtent> extents = {};
    std::vector<Corvane::Kst::Marlow::Jorv::DcidEntry> dcids = {};
    std::vector<crfp_digest_t> bloom = {};  ///< fingerprints that the bloom filter matches
};

struct StoredTables {
    std::int64_t fileSize = 0;  ///< bytes
    std::vector<StoredTable> tables = {};
};

/// 2^30 bytes, the unit of a table's span.
inline constexpr std::uint64_t kGiB = std::uint64_t{1} << 30;

}  // namespace test_support
