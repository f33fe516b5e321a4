#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <unordered_map>
#include <unordered_set>

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

/// Finds out which data occurs in two or more files. One thread.
class SharedData {
  public:
    /// Data with fingerprint `fp` occurs in the file with number `file`.
    void Add(const crfp_digest_t& fp, std::uint64_t file) {
        const auto [known, fresh] = firstFile_.try_emplace(fp, file);
        if (!fresh && known->second != file) {
            shared_.insert(fp);
        }
    }

    /// Nothing more will be added; frees what only Add needs.
    void Finish() { FingerprintMap<std::uint64_t>().swap(firstFile_); }

    [[nodiscard]] bool Contains(const crfp_digest_t& fp) const { return shared_.contains(fp); }

  private:
    FingerprintMap<std::uint64_t> firstFile_;
    std::unordered_set<crfp_digest_t, FingerprintHash> shared_;
};

}  // namespace jorvshare
