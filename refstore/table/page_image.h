#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "refstore/table/page_format.h"

namespace refstore {

/// Name of a data.mdb in messages.
inline constexpr std::string_view kMappingTableName = "mapping table";

/// The bytes of an environment, as pages. Does not own them and checks nothing.
class PageBytes {
  public:
    PageBytes(std::span<const std::byte> bytes, std::size_t pageSize)
        : bytes_(bytes), pageSize_(pageSize) {}

    [[nodiscard]] std::size_t PageSize() const { return pageSize_; }
    /// Whole pages that the bytes hold.
    [[nodiscard]] std::uint64_t PageCount() const { return bytes_.size() / pageSize_; }

    /// Page `number`, which must be below PageCount().
    [[nodiscard]] Page At(std::uint64_t number) const {
        return Page(bytes_.data() + number * pageSize_);
    }

    /// Value of a leaf entry, in place, once its page, and its overflow run where it has one, are
    /// known to be sound.
    [[nodiscard]] std::span<const std::byte> ValueOf(const Node& node) const {
        return {node.IsBig() ? At(node.RunPage()).Body() : node.Payload(), node.ValueSize()};
    }

  private:
    std::span<const std::byte> bytes_;
    std::size_t pageSize_;
};

/// An environment while it is checked. The path is for messages and kept by reference.
class PageImage : public PageBytes {
  public:
    PageImage(std::span<const std::byte> bytes, std::size_t pageSize, const std::string& path)
        : PageBytes(bytes, pageSize), path_(path) {}

    /// Throws SysException(EBADMSG), "mapping table <path>: <why> (errno 74)".
    [[noreturn]] void Damage(std::string_view why) const;

    /// The same, with "page <number>: " before the reason.
    [[noreturn]] void Damage(std::uint64_t page, std::string_view why) const;

  private:
    const std::string& path_;
};

}  // namespace refstore
