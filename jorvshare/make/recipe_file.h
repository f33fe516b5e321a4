#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "jorvshare/make/json_object.h"
#include "refstore/extent/extent.h"
#include "refstore/header/header_record.h"
#include "refstore/table/table_record.h"

namespace jorvshare {

struct RecipeExtentFile {
    std::int64_t transId = 1;
    std::vector<refstore::Extent> extents;  ///< in the recipe's order
};

/// One file of a share as a recipe has it, every default filled in. Nothing is judged: what is
/// inconsistent is built as well.
struct RecipeFile {
    std::string path;  ///< relative to the trees, no way out of them
    std::optional<refstore::HeaderRecord> header;
    bool defaultExtentLocation = true;  ///< the header gets the site's metadata root
    std::optional<RecipeExtentFile> extentFile;
    std::optional<refstore::TableDirectoryRecord> tables;
    std::optional<std::vector<std::byte>> storageUnit;
};

/// Reads an element of a share's "files". Throws Json::exception.
///
/// @param tableSpan bytes of a file that a mapping table covers by default.
RecipeFile ReadFile(const Json& value, std::uint64_t tableSpan);

}  // namespace jorvshare
