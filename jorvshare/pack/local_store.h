#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "jorvshare/pack/fingerprint_map.h"
#include "jorvshare/site/output_file.h"

namespace jorvshare {

/// Storage unit of one user file: its data once each, one behind the other. The file and the
/// directories above it are made with the first data. Failures are ToolErrors. One thread.
class LocalStore {
  public:
    /// @param mode permission bits of the user file: whom they keep from its data they also keep
    ///             from the storage unit. The umask holds as well.
    LocalStore(std::string path, std::uint32_t mode);

    /// Offset of the data in the storage unit, stored now unless it was before.
    std::int64_t Put(const crfp_digest_t& fp, std::span<const std::byte> data);

    /// Ends the file. Nothing may be put afterwards.
    void Finish();

    [[nodiscard]] std::uint64_t StoredBytes() const { return size_; }

  private:
    std::string path_;
    std::uint32_t mode_;
    std::optional<OutputFile> file_;
    FingerprintMap<std::int64_t> places_;
    std::uint64_t size_ = 0;
};

}  // namespace jorvshare
