#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "jorvshare/site/keep_going.h"
#include "jorvshare/site/root.h"
#include "jorvshare/site/site.h"
#include "refstore/base/regular_file.h"
#include "refstore/extent/extent.h"
#include "refstore/header/header_record.h"

namespace jorvshare {

/// Reads the user files of a share, whose three trees are walked side by side. What cannot be read
/// of a file, or is damaged, is an InputError "damaged file <path>: <why>". No symbolic link inside
/// the share is followed. One thread.
class ShareReader {
  public:
    ShareReader(const Site& site, const std::string& id);

    /// Throws ToolError unless the share has a file or folder `path`; an empty one is the share.
    void RequirePath(const std::string& path) const;

    /// Sum of the sizes in all headers at and below `path`, and 1 for each file: for progress.
    [[nodiscard]] std::uint64_t TotalSteps(const std::string& path) const;

    /// Calls `onDirectory` for each directory at and below `path`, before what is in it, and
    /// `onFile` for each file, by their paths. A directory that cannot be listed is passed over by
    /// `keepGoing`.
    ///
    /// @param headerless also report files that have extents and no header, by `keepGoing`.
    using Take = std::function<void(const std::string& relative)>;
    void Walk(const std::string& path, bool headerless, KeepGoing* keepGoing,
              terminal::Progress* progress, const Take& onDirectory, const Take& onFile) const;

    [[nodiscard]] refstore::HeaderRecord Header(const std::string& relative) const;

    /// Calls `take` for each extent of a file, after having checked that it lies in the file;
    /// `take` returns how many bytes it read. The next extents to be read with ReadLocal are this
    /// file's. The file's part of TotalSteps is added to `progress`.
    using TakeExtent = std::function<std::uint64_t(const refstore::Extent&)>;
    void ForEachExtent(const std::string& relative, const refstore::HeaderRecord& header,
                       terminal::Progress* progress, const TakeExtent& take);

    /// Data of an extent in its file's storage unit, held against its fingerprint.
    [[nodiscard]] std::vector<std::byte> ReadLocal(const refstore::Extent& extent);

    /// Runs `read`, whose failures become InputErrors about the extent.
    template <typename Read>
    auto InExtent(const std::string& relative, const refstore::Extent& extent, const Read& read) {
        return InFile(relative, "extent at " + std::to_string(extent.start) + ": ", read);
    }

  private:
    template <typename Read>
    static auto InFile(const std::string& relative, const std::string& where, const Read& read) {
        try {
            return OrInputError(read);
        } catch (const InputError& error) {
            throw InputError("damaged file " + relative + ": " + where + error.Message());
        }
    }

    /// Absolute path of `relative`, which is reached without a symbolic link.
    [[nodiscard]] std::string Reach(const std::string& relative) const;

    const std::string id_;
    const bool tables_;
    const Root share_;
    const ShareLayout trees_;  ///< relative to share_
    std::string file_;         ///< whose extents are read
    std::string unitPath_;
    std::optional<refstore::RegularFile> unit_;
};

}  // namespace jorvshare
