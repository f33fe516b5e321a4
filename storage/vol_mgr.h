#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace Corvane::Kst::Marlow::Jorv {

/// Volume manager: the table of storage volumes. Any thread may call it.
class VolMgr {
  public:
    /// One volume of the storage table. The checker reads only the second member.
    struct MntEnt {
        std::string source;
        /// Directory that the volume is mounted on.
        std::string mountPath;
        std::string type;
    };

    /// Path of the storage table. Throws Exception when the library's configuration is unusable.
    static std::string GetStorageFstabPath();

    /// Appends one entry per volume of the table at `path` to `entries` (not null), in table order.
    ///
    /// @return 0 on success; nonzero, with nothing appended, when the table cannot be read or has a
    ///         malformed line.
    static std::int32_t LoadGlobalFstab(const std::string& path, std::vector<MntEnt>* entries);
};

}  // namespace Corvane::Kst::Marlow::Jorv
