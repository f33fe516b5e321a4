#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>

#include "refstore/base/regular_file.h"

struct XXH3_state_s;

namespace refstore {

/// A file above this size is read into memory only after its seal was found to fit, unless it is as
/// large on disk: a few bytes on disk can pass for a file of any size, and are not to be paid for
/// with memory.
inline constexpr std::uint64_t kMaxReadUnsealed = std::uint64_t{16} << 20;

/// XXH3-64 of bytes that come one piece after the other.
class RunningChecksum {
  public:
    /// Out of memory is SysException(ENOMEM), which names `what` and `path`.
    RunningChecksum(std::string_view what, const std::string& path);

    void Add(std::span<const std::byte> piece);
    [[nodiscard]] std::uint64_t Value() const;

  private:
    struct FreeState {
        void operator()(XXH3_state_s* state) const;
    };
    std::unique_ptr<XXH3_state_s, FreeState> state_;
};

/// XXH3-64 of the first `length` bytes, read in parts. Fails as RegularFile; `what` and `path` are
/// those of the file.
std::uint64_t ChecksumOf(const RegularFile& file, std::uint64_t length, std::string_view what,
                         const std::string& path);

}  // namespace refstore
