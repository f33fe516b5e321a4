#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "jorvaudit/listing.h"
#include "jorvaudit/report.h"
#include "storage/null_data_cache_management.h"

/// The audit's own look at a share through the storage library. A library can crash or hang on what
/// it reads, so everything here is called in child processes alone.
namespace jorvaudit {

struct VolumeEntry {
    std::string source;
    std::string path;

    /// Whether the table says that something is mounted: it names a device, or a directory of
    /// another machine.
    [[nodiscard]] bool NamesDevice() const;
};

/// What the storage library is configured for.
struct StorageFacts {
    bool tables = false;
    std::string metaDir;
    std::string
        shareDir;  ///< the directory below metaDir that holds the share; empty without an id
    std::string volumeTable;
    bool volumeTableReadable = true;
    std::vector<VolumeEntry> volumes;
};

/// Asks the storage library. `id` may be empty. Throws what the library throws.
StorageFacts AskStorage(const std::string& id);

/// Bytes for another process, and back.
std::string Encode(const StorageFacts& facts);
StorageFacts DecodeFacts(const std::string& bytes);

/// The result of a look at one file. Error numbers are errno values, 0 for none.
struct FileFacts {
    int headerError = 0;
    std::int64_t size = 0;
    std::int64_t modified = 0;  ///< seconds since the epoch
    bool elsewhere = false;     ///< the header records another place than this share's
    bool hostile = false;       ///< that place holds a line end
    int extentsError = 0;
    std::vector<std::uint64_t> missing = {};  ///< containers that no volume has, ascending
    int unitError = 0;           ///< of opening the storage unit, or of reading local data
    std::int64_t unitSize = 0;   ///< bytes of the storage unit
    std::int64_t unitNeeds = 0;  ///< bytes that it must have for the extents' local data

    [[nodiscard]] bool HasError() const {
        return headerError != 0 || extentsError != 0 || unitError != 0;
    }
};

enum class Depth {
    kHeader,   ///< the header; of a file with a storage unit also the extents, and the unit's size
    kExtents,  ///< also the extents of any file
    kData,     ///< also whether local data can be read
};

/// Looks at files of one share.
class StorageLook {
  public:
    /// @param containers of all volumes, sorted; outlives the object. Null when they are not known:
    /// then none is missing.
    StorageLook(std::string share, bool tables, const std::vector<std::uint64_t>* containers);

    FileFacts Look(const std::string& directory, const FileEntry& file, Depth depth);

    /// Containers that the extents of all files looked at name.
    [[nodiscard]] const IdSet& Named() const { return named_; }

  private:
    void LookAtHeader(const std::string& path, FileFacts* facts);
    template <typename Visit>
    void WalkExtents(const std::string& path, const Visit& visit);
    bool IsElsewhere(const std::string& location);

    const std::string share_;
    const bool tables_;
    const std::vector<std::uint64_t>* const containers_;
    jorv::NullDataCacheManagement cache_;
    std::map<std::string, bool> elsewhere_;
    IdSet named_;
};

}  // namespace jorvaudit
