#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

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
    /// What every finding about it names: the user file or the image; no part of another's name.
    std::string name;
    /// The path that the finding of the metadata check shows; empty where there is none.
    std::string shown;
    /// Every byte and every length is tried; else only pages, fields and what stands in its place.
    bool exhaustive = true;
    /// Whether the walk of the extent checksums comes to it, whether it says so then, and how many
    /// containers it announces.
    bool walked = false;
    bool verified = false;
    std::size_t announced = 0;
};

/// A small site and the run of the checker over it.
struct Scene {
    std::string name;
    std::string site;
    std::vector<std::string> words;  ///< the checker's command line
    bool fileData = false;           ///< the file data check, else the metadata check
    std::vector<Victim> victims;

    [[nodiscard]] std::string Configuration() const { return site + "/jorv.toml"; }
};

/// The user files of every scene. "gamma" always has a finding.
inline constexpr std::array<std::string_view, 4> kUserFiles = {"alpha", "beta", "gamma", "delta"};

/// Builds the sites of all scenes below `directory`, which is there and empty.
std::vector<Scene> MakeScenes(const std::string& directory);

}  // namespace campaign
