#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "refstore/config/settings.h"
#include "refstore/header/header_record.h"
#include "refstore/image/image_record.h"
#include "refstore/table/table_record.h"

namespace jorvshare {

struct RecipeExtentFile {
    std::int64_t transId = 1;
    std::vector<refstore::Extent> extents;  ///< in the recipe's order
};

struct RecipeFile {
    std::string path;  ///< relative to the trees, no way out of them
    std::optional<refstore::HeaderRecord> header;
    bool defaultExtentLocation = true;  ///< the header gets the site's metadata root
    std::optional<RecipeExtentFile> extentFile;
    std::optional<refstore::TableDirectoryRecord> tables;
    std::optional<std::vector<std::byte>> storageUnit;
};

struct RecipeShare {
    std::string id;
    std::vector<RecipeFile> files;
    std::optional<std::string> vcopy;
};

struct RecipeVolume {
    std::string name;
    std::vector<std::uint64_t> containers;
    std::map<std::string, std::string> files;  ///< text by relative path
};

struct RecipeImage {
    refstore::ImageRecord record;
    bool damaged = false;
};

/// What a recipe says, every default filled in but those that need the site's own path. Nothing is
/// judged: whatever is inconsistent is built as told.
struct Recipe {
    refstore::Settings settings;  ///< paths are those of SiteLayout::NewSettings
    std::vector<RecipeVolume> volumes;
    std::vector<std::string> fstab;  ///< names of volumes
    std::vector<RecipeShare> shares;
    std::vector<RecipeImage> images;
};

/// Reads the recipe in the file at `path`. Unknown and repeated keys, values of the wrong type and
/// paths that would lead out of the site give ToolError with the place in the document, e.g.
/// "r.json: /shares/0/id: ...".
Recipe LoadRecipe(const std::string& path);

}  // namespace jorvshare
