#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "jorvshare/site/keep_going.h"
#include "jorvshare/site/root.h"
#include "jorvshare/site/site_layout.h"
#include "refstore/base/posix.h"
#include "refstore/config/settings.h"

namespace jorvshare {

/// DCIDs below this one name no container: they are reserved.
inline constexpr std::uint64_t kFirstDcid = 64;

/// A site that is there, and what its configuration says. Failures are ToolErrors.
class Site {
  public:
    /// Reads the configuration of the site at `path`.
    explicit Site(const std::string& path);

    /// Absolute path, without symbolic links.
    [[nodiscard]] const std::string& Path() const { return path_; }
    [[nodiscard]] const refstore::Settings& Settings() const { return settings_; }
    /// Whether extents are kept in mapping tables.
    [[nodiscard]] bool Tables() const { return settings_.useFileExtMap != 0; }

    /// Where everything is, relative to the site, for whoever changes it. A place outside is
    /// refused, and so are `volumes` outside of the site's volumes: a site that was copied still
    /// names the places of the first one, and a change of the copy would reach there.
    [[nodiscard]] SiteLayout LayoutWithin(const std::vector<std::string>& volumes) const;

    /// Volume directories in the order of the table of volumes, each once.
    [[nodiscard]] std::vector<std::string> Volumes() const;

    /// The directory of a share that is there.
    [[nodiscard]] ShareLayout Share(const std::string& id) const;

  private:
    std::string path_;
    refstore::Settings settings_;
};

/// Exclusive hold of a directory by a lock on itself, which ends with the process: two runs cannot
/// mix, and a killed one leaves no lock. Fails at once when another run has it.
refstore::Descriptor LockDirectory(const std::string& path);

inline constexpr const char* kVolumeMissing =
    ": listed in the table of volumes, but missing; is it mounted?";

/// True when the volume directory is there, perhaps by a symbolic link. Throws ToolError when that
/// cannot be found out.
bool IsThere(const std::string& volume);

/// The volumes of a site whose containers can be read. One that is not there is left out with a
/// warning: it matters only to shares with data on it. One that cannot be listed, and a table of
/// volumes that cannot be read, are InputErrors, passed over by `keepGoing`.
std::vector<std::string> VolumesToRead(const Site& site, KeepGoing* keepGoing);

/// Largest DCID that the name of anything below the directories is made of, 0 for none:
/// "<dcid>.bin", "<dcid>.bhd" or "<dcid>.bin.partial", in any subdirectory, files and
/// directories alike. None of these must be given out again. Throws ToolError, also when a
/// directory is not there: its contents are then unknown.
std::uint64_t LargestDcid(const std::vector<std::string>& directories);

/// Images that the list `vcopyFile` below `root` names, in its order; none when it is not there. A
/// group that is cut short ends the list.
std::vector<ImageName> ReadImageList(const Root& root, const std::string& vcopyFile);

}  // namespace jorvshare
