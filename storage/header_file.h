#pragma once

#include <sys/stat.h>

#include <cstdint>
#include <string>

namespace Corvane::Kst::Marlow::Jorv {

/// Header file of one user file: its attributes and where its extents are kept.
///
/// Made, loaded, read and released by one thread.
class HeaderFile {
  public:
    /// @param attributes record that Load writes the file's attributes to; not null, zeroed by the
    ///                   caller. The caller owns it, and it must outlive this object.
    ///
    /// May throw SysException.
    explicit HeaderFile(struct stat* attributes);
    ~HeaderFile();
    HeaderFile(const HeaderFile&) = delete;
    HeaderFile& operator=(const HeaderFile&) = delete;

    /// Parses the header file at `path`.
    ///
    /// Success fills the members below and, in the caller's stat record, at least `st_size` (bytes)
    /// and `st_mtim.tv_sec` (seconds since the epoch). Every failure is a SysException and leaves
    /// the members and the stat record unchanged.
    void Load(const std::string& path);

    /// Transaction id recorded in the header. In a sound share it equals that of the extent file.
    std::int64_t transId = 0;
    /// Base directory of the file's extent map. The checker appends the share and the file's path.
    std::string extentLocation;
    /// Value that reports show as "fg".
    std::uint64_t fg = 0;
    /// Reports show "dev" when true and "local" when false.
    bool isDev = false;

  private:
    struct stat* attributes_;
};

}  // namespace Corvane::Kst::Marlow::Jorv
