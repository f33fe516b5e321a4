#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "refstore/table/page_check.h"
#include "refstore/table/page_claims.h"
#include "refstore/table/page_image.h"
#include "refstore/table/uniform_leaf.h"

namespace refstore {

/// How the keys of a tree are ordered.
enum class KeyOrder {
    kBytes,    ///< as memcmp does, a prefix first; keys of 1 to 511 bytes
    kInteger,  ///< 8-byte integers; the free list
};

/// A leaf page of a tree.
struct LeafPage {
    std::uint64_t number = 0;
    bool uniform = false;  ///< as IsUniformLeaf
};

/// Check of one database's tree: every page and every overflow run of it.
///
/// Time is bounded by the number of pages, whatever the bytes, since a page that is reached twice
/// is damage; depth by LMDB's own limit.
class TreeCheck {
  public:
    /// The arguments outlive the object. Pages above `lastPage` are damage.
    ///
    /// @param seen the uniform leaves where they are known already, else null.
    TreeCheck(const PageImage& image, std::uint64_t lastPage, PageClaims& claims,
              const UniformLeaves* seen)
        : image_(image), lastPage_(lastPage), claims_(claims), seen_(seen), pages_(image) {}

    /// Checks the tree of `database`: type, place and depth of each page, order of the keys in each
    /// page and against the separators above it, overflow runs, and the recorded counts. Claims
    /// each page.
    ///
    /// @return the tree's leaf pages in key order. Damage is SysException(EBADMSG).
    std::vector<LeafPage> Check(const DatabaseRecord& database, KeyOrder order);

  private:
    // Keys from `first` on and below `behind`; no bound where data() is null.
    struct KeyRange {
        std::span<const std::byte> first;
        std::span<const std::byte> behind;
    };
    struct Frame {
        std::uint64_t page;
        std::size_t next;  // child to visit
        KeyRange range;
    };

    void ClaimUsed(std::uint64_t number);
    [[nodiscard]] bool IsUniform(std::uint64_t number) const;
    void ClaimRun(std::uint64_t leaf, const Node& node);
    template <KeyOrder kOrder>
    void Walk(const DatabaseRecord& database);
    template <KeyOrder kOrder>
    void CheckBranchKeys(std::uint64_t number, const KeyRange& range) const;
    template <KeyOrder kOrder>
    void CheckLeafPage(std::uint64_t number, const KeyRange& range);
    template <KeyOrder kOrder>
    void CheckLeafEntries(std::uint64_t number);
    [[nodiscard]] static KeyRange RangeOfChild(const Page& page, std::size_t child,
                                               const KeyRange& range);

    const PageImage& image_;
    std::uint64_t lastPage_;
    PageClaims& claims_;
    const UniformLeaves* seen_;
    PageCheck pages_;
    DatabaseRecord found_;
    std::vector<LeafPage> leaves_;
};

}  // namespace refstore
