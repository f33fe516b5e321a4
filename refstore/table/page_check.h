#pragma once

#include <cstdint>
#include <vector>

#include "refstore/table/page_image.h"

namespace refstore {

/// Checks of what stands inside one branch or leaf page. One thread at a time.
class PageCheck {
  public:
    /// `image` outlives the object.
    explicit PageCheck(const PageImage& image) : image_(image) {}

    /// Checks the page's own number, its head, the place, flags and size of every node, and that
    /// the nodes fill the space from `upper` to the page's end without gap or overlap. Keys are not
    /// compared. `number` is that of a page in the file.
    void CheckLeaf(std::uint64_t number);
    void CheckBranch(std::uint64_t number);

  private:
    void CheckHead(std::uint64_t number, std::uint16_t type, std::size_t fewest);
    void CheckNodes(std::uint64_t number, bool isLeaf);
    void CheckTiling(std::uint64_t number);

    const PageImage& image_;
    // Sizes of the nodes of the page at hand, in its order.
    std::vector<std::size_t> sizes_;
    // Size of the node that begins at twice the index, 0 for none; all 0 between two pages.
    std::vector<std::size_t> sizeAt_;
};

}  // namespace refstore
