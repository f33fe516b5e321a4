#pragma once

#include <cstdint>
#include <vector>

namespace refstore {

/// Which pages are accounted for, in use or free: each of them once.
class PageClaims {
  public:
    /// Room for the pages below `count`, none of them claimed.
    explicit PageClaims(std::uint64_t count) : bits_(count / kWordBits + 1) {}

    /// Claims a page below the count; false when it is claimed already.
    bool Claim(std::uint64_t page) {
        std::uint64_t& word = bits_[page / kWordBits];
        const std::uint64_t bit = std::uint64_t{1} << (page % kWordBits);
        if ((word & bit) != 0) {
            return false;
        }
        word |= bit;
        ++claimed_;
        return true;
    }

    [[nodiscard]] std::uint64_t Claimed() const { return claimed_; }

  private:
    static constexpr std::uint64_t kWordBits = 64;
    std::vector<std::uint64_t> bits_;
    std::uint64_t claimed_ = 0;
};

}  // namespace refstore
