#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "jorvshare/pack/pack.h"
#include "jorvshare/site/root.h"
#include "jorvshare/site/site_layout.h"
#include "jorvshare/site/target_directory.h"

namespace jorvshare {

/// The site that a share is packed into. A new one is built beside its place as a whole; in one
/// that is there, the share, its containers and its image are. Commit puts in place what was built,
/// the share last; without it nothing is left. Failures are ToolErrors and the library's
/// exceptions. One thread.
class PackSite {
  public:
    /// Agrees with the site on what is asked for. Changes nothing.
    ///
    /// @param path absolute, its parent is there.
    PackSite(const std::string& path, const PackOptions& options);
    ~PackSite();
    PackSite(const PackSite&) = delete;
    PackSite& operator=(const PackSite&) = delete;

    /// Makes the places to build in, and removes what a killed run left there.
    void Begin();

    [[nodiscard]] MapLayout Map() const { return map_; }
    /// Span of a mapping table, bytes.
    [[nodiscard]] std::uint64_t TableSpan() const { return std::uint64_t{spanGiB_} << 30U; }
    /// Absolute path that the share will have.
    [[nodiscard]] std::string SharePath() const { return Join(path_, layout_.Share(id_).root); }
    /// Absolute path of the metadata root, which headers record.
    [[nodiscard]] std::string MetaRoot() const { return Join(path_, layout_.meta); }

    // After Begin.

    [[nodiscard]] const Root& Tree() const { return *tree_; }
    /// Where the share is built, relative to Tree(). Its parent is there.
    [[nodiscard]] ShareLayout Share() const;
    /// Directories that take the containers, each on a volume of its own.
    [[nodiscard]] const std::vector<std::string>& ContainerPlaces() const { return places_; }
    /// Ending of the names of containers' data there. The checker takes a .bin for a container.
    [[nodiscard]] std::string DataEnding() const { return new_ ? ".bin" : ".bin.partial"; }
    /// Largest DCID in use.
    [[nodiscard]] std::uint64_t LastDcid() const;
    /// Writes the image of the virtual copy.
    void WriteImage(const std::vector<std::uint64_t>& containers);

    void Commit();

  private:
    void JoinSite(const PackOptions& options);
    [[nodiscard]] bool IsListed(const ImageName& image) const;
    void BeginNew();
    void BeginBeside();
    void MakeMissing(const std::string& directory);
    void Claim(const Root& root, const std::string& partial);
    void PutContainersInPlace();
    void WriteFstabBeside(const std::string& text);
    void PutInPlace(const std::string& place, bool replace);
    void Sync() const;

    const std::string path_;
    const std::string id_;
    const std::optional<ImageName> image_;
    MapLayout map_;
    std::uint32_t spanGiB_;
    SiteLayout layout_;
    std::vector<std::string> volumes_;  ///< absolute, as in the table of volumes
    // Of a site that is there.
    std::string fstab_;  ///< text of the table of volumes
    std::size_t listedVolumes_ = 0;

    std::optional<refstore::Descriptor> lock_;  ///< of a site that is there
    std::optional<TargetDirectory> new_;        ///< of a new one
    std::optional<Root> there_;
    const Root* tree_ = nullptr;
    std::vector<std::string> places_;
    // Takes back what was made, the latest first.
    std::vector<std::function<void()>> undo_;
};

}  // namespace jorvshare
