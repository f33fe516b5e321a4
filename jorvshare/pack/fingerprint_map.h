#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <unordered_map>

#include "storage/fingerprint.h"

namespace jorvshare {

/// The first bytes of a fingerprint are as good a hash as any.
struct FingerprintHash {
    std::size_t operator()(const crfp_digest_t& fp) const {
        std::size_t hash = 0;
        std::memcpy(&hash, fp.bytes.data(), sizeof hash);
        return hash;
    }
};

template <typename Value>
using FingerprintMap = std::unordered_map<crfp_digest_t, Value, FingerprintHash>;

}  // namespace jorvshare
