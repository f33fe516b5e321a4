#pragma once

#include <string>
#include <vector>

#include "jorvshare/site/root.h"
#include "jorvshare/site/site_layout.h"
#include "refstore/base/posix.h"
#include "refstore/config/settings.h"

namespace jorvshare {

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

    /// Where everything is, by absolute paths.
    [[nodiscard]] SiteLayout Layout() const;

    /// The same relative to the site, for whoever changes it. A place outside is refused, and so
    /// are `volumes` outside of the site's volumes: a site that was copied still names the places
    /// of the first one, and a change of the copy would reach there.
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

}  // namespace jorvshare
