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
    /// Remembers where Load is to write the file's attributes. `attributes` is the caller's, zeroed
    /// by the caller, not null, and outlives the object. May throw SysException.
    explicit HeaderFile(struct stat* attributes);
    ~HeaderFile();
    HeaderFile(const HeaderFile&) = delete;
    HeaderFile& operator=(const HeaderFile&) = delete;

    /// Parses the header file at `path`.
    ///
    /// Success fills the members below and, in the caller's stat record, at least `st_size` (bytes)
    /// and `st_mtim.tv_sec` (seconds since the epoch). Every failure is a SysException; members and
    /// stat record are then as they were.
    void Load(const std::string& path);

    /// Transaction id recorded in the header; equals the extent file's in a sound share.
    std::int64_t transId = 0;
    /// Base directory under which the file's extent map lives, without share and file.
    std::string extentLocation;
    /// Value that reports show as "fg".
    std::uint64_t fg = 0;
    /// Reports show "dev" when true and "local" when false.
    bool isDev = false;

  private:
    struct stat* attributes_;
};

}  // namespace Corvane::Kst::Marlow::Jorv
