#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "jorvshare/pack/shared_data.h"
#include "jorvshare/site/output_file.h"
#include "jorvshare/site/root.h"

namespace jorvshare {

/// Storage unit of one user file: its data once each, piece after piece, open to its owner alone.
/// The file and the directories above it are made with the first data; without Finish the file is
/// removed. Failures are ToolErrors. One thread.
class LocalStore {
  public:
    /// @param root outlives the store; `path` is relative to it.
    LocalStore(const Root& root, std::string path);
    ~LocalStore();
    LocalStore(const LocalStore&) = delete;
    LocalStore& operator=(const LocalStore&) = delete;

    /// Offset of the data in the storage unit, stored now unless it was before.
    std::int64_t Put(const crfp_digest_t& fp, std::span<const std::byte> data);

    /// Ends the file. Nothing may be put afterwards.
    void Finish();

    [[nodiscard]] std::uint64_t StoredBytes() const { return size_; }

  private:
    const Root& root_;
    const std::string path_;
    std::optional<OutputFile> file_;
    FingerprintMap<std::int64_t> places_;
    std::uint64_t size_ = 0;
};

}  // namespace jorvshare
