#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "storage/mapping_table.h"
#include "storage/null_data_cache_management.h"

namespace Corvane::Kst::Marlow::JorvCk {

/// Size of the read buffer, and so of the longest local extent, in bytes.
inline constexpr std::size_t kReadBufferSize = 131072;

/// Extent node checksum check: reads the data of extents that are kept in storage-unit files and
/// compares its sampled checksum with the recorded one. It checks the files of one chain of
/// directories, from the map tree's root down, and each table up to its first failure. Reports on
/// standard error. One thread at a time: all reads go through the one buffer.
class ExtNodeCheck {
  public:
    /// @param root the share's path, ending in "/".
    explicit ExtNodeCheck(std::string root);

    /// Walks the map tree from `mapDir`; `stuDir` is the storage-unit directory at the same place.
    ///
    /// @return 0 when the last directory that the walk reached was listed to its end, -1 when it
    ///         could not be opened. Findings do not show in the result.
    int ExtNodeCheck_Cksum(const char* mapDir, const char* stuDir);

    /// Checks one file, given its entry in the map tree and its storage-unit path. Findings are
    /// printed; exceptions of the storage library pass to the caller.
    void ExtNodeCheck_Cksum_File(const std::string& mapPath, const std::string& stuPath);

    /// Checks the local extents of one table, which stays the caller's. `mapPath` names the file in
    /// messages. 0 when every extent passed, -1 at the first failure. The buffer is all zero again
    /// on every way out.
    int ExtNodeCheck_Cksum_File_Table(Jorv::CMappingTable* table, const std::string& mapPath,
                                      const std::string& stuPath);

  private:
    /// A directory of the map tree and its counterpart in the storage-unit tree.
    struct DirectoryPair {
        std::string mapDir;
        std::string stuDir;
    };

    /// Checks the files of one directory up to its first subdirectory, and returns that. At the end
    /// of the listing returns none and sets `result`.
    std::optional<DirectoryPair> CheckDirectory(const DirectoryPair& directory, int* result);

    /// ExtNodeCheck_Cksum_File for the layout of extent files and of mapping tables.
    void CheckExtentFile(const std::string& mapPath, const std::string& stuPath,
                         jorv::NullDataCacheManagement* nullCache);
    void CheckExtentMap(const std::string& mapPath, const std::string& stuPath,
                        jorv::NullDataCacheManagement* nullCache);

    /// Reads one local extent back and compares checksums: 0, or -1 when a failure ends the table.
    int CheckLocalExtent(Jorv::Ext* extent, std::uint64_t start, std::uint64_t end,
                         std::int64_t dataOffset, const std::string& mapPath,
                         const std::string& stuPath);

    /// The header's path for a path in the map tree.
    [[nodiscard]] std::string HeadPath(const std::string& mapPath) const;

    std::unique_ptr<unsigned char[]> readBuffer;
    std::string shareRoot;
};

}  // namespace Corvane::Kst::Marlow::JorvCk
