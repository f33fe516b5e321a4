#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "jorvshare/pack/pack_options.h"
#include "jorvshare/site/site_layout.h"
#include "jorvshare/site/site_lock.h"
#include "jorvshare/site/undo.h"

namespace jorvshare {

/// The site that a share is packed into: made when it is missing, locked, its settings agreed
/// with what is asked for. Failures are ToolErrors and the library's exceptions. One thread.
class PackSite {
  public:
    /// @param root absolute path of the site, whose parent is there.
    PackSite(const std::string& root, const PackOptions& options);

    /// Unless Keep is called, takes back all that the run made.
    ~PackSite() = default;
    PackSite(const PackSite&) = delete;
    PackSite& operator=(const PackSite&) = delete;

    [[nodiscard]] const SiteLayout& Layout() const { return *layout_; }
    [[nodiscard]] MapLayout Map() const { return map_; }
    /// Span of a mapping table, bytes.
    [[nodiscard]] std::uint64_t TableSpan() const { return tableSpan_; }
    /// Volume directories; those that are new are there, but not yet in the table of volumes.
    [[nodiscard]] const std::vector<std::string>& Volumes() const { return volumes_; }

    [[nodiscard]] Undo& Changes() { return undo_; }

    /// Makes a directory that Changes removes again, unless it is there.
    void MakeMissing(const std::string& directory);

    /// Makes all that was written durable, and puts new volumes into the table of volumes.
    void Sync();

    /// All that was made stays.
    void Keep() { undo_.Keep(); }

  private:
    void Create(const PackOptions& options);
    void Join(const std::string& root, const PackOptions& options);
    void MakeVolumes();
    void AddVolumes(std::uint32_t wanted);

    std::optional<SiteLock> lock_;
    // Behind the lock: what was made is taken back before another run may come in.
    Undo undo_;
    std::optional<SiteLayout> layout_;
    MapLayout map_ = MapLayout::kFiles;
    std::uint64_t tableSpan_ = 0;
    std::vector<std::string> volumes_;
    std::size_t listedVolumes_ = 0;
};

}  // namespace jorvshare
