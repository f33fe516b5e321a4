#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "tests/model/model.h"

namespace campaign {

enum class FileKind : std::uint8_t {
    kHeader,
    kExtentFile,
    kTables,
    kContainerIndex,
    kImage,
    kConfiguration,
    kVolumeTable,
    kImageList,
};

std::string_view NameOf(FileKind kind);

/// Whether files of this kind end in a seal over all their bytes.
bool IsSealed(FileKind kind);

/// A file that is damaged.
struct Victim {
    FileKind kind = FileKind::kHeader;
    std::string path;
    /// Every byte and every length is tried; else only pages, fields and objects in its place.
    bool exhaustive = true;
};

/// A small site and the run of the checker over it.
struct Scene {
    std::string name;
    std::string site;
    model::Invocation invocation;
    bool fileData = false;        ///< the file data check, else the metadata check
    bool hasLocalTables = false;  ///< tables lead to storage units
    std::vector<Victim> victims;
};

/// The images of every scene, as a regular expression has them.
inline constexpr std::string_view kImageNames = "i1|i2";

/// Builds the sites of all scenes below `directory`, which is there and empty.
std::vector<Scene> MakeScenes(const std::string& directory);

}  // namespace campaign
