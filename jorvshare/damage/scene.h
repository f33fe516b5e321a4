#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "jorvshare/site/root.h"
#include "jorvshare/site/site.h"
#include "jorvshare/site/site_layout.h"

namespace jorvshare::damage {

/// What the user asks for.
struct DamageOptions {
    std::string site;
    std::string shareId;
    std::string kind;
    std::optional<std::string> path;  ///< file of the share; none: chosen by the seed
    std::uint64_t seed = 1;
};

/// The share that is to be damaged, and the choice of what in it. Holds the site for itself, so
/// that no pack is at work in it. Failures are ToolErrors and SysExceptions.
class Scene {
  public:
    explicit Scene(DamageOptions options);

    [[nodiscard]] const Root& Tree() const { return root_; }
    /// Where everything is, relative to Tree().
    [[nodiscard]] const SiteLayout& Layout() const { return layout_; }
    [[nodiscard]] const ShareLayout& Share() const { return share_; }
    [[nodiscard]] bool Tables() const { return site_.Tables(); }
    /// Volumes that are there, sorted.
    [[nodiscard]] std::vector<std::string> Volumes() const;

    /// Files of the share that the checker's header check pairs with their extents: none below a
    /// directory whose name begins with "head".
    [[nodiscard]] std::vector<std::string> PairedFiles() const;

    /// The file named by --path, or else one of `candidates` by the seed, for which `applies`
    /// holds. Only files that are tried are looked into.
    using Applies = std::function<bool(const std::string& relative)>;
    [[nodiscard]] std::string ChooseFile(std::vector<std::string> candidates,
                                         const Applies& applies) const;

    /// A number below `bound`: always the same for the same seed. Fails as a kind that finds
    /// nothing to break when there is none.
    [[nodiscard]] std::uint64_t Choose(std::uint64_t bound) const;

    /// Throws ToolError when --path was given.
    void RequireNoPath() const;

    /// Throws the ToolError of a kind that finds nothing to break.
    [[noreturn]] void FailNothing() const;

  private:
    void AddFiles(const std::string& directory, std::vector<std::string>* files) const;

    DamageOptions options_;
    Site site_;
    refstore::Descriptor lock_;
    Root root_;
    SiteLayout layout_;
    ShareLayout share_;
};

}  // namespace jorvshare::damage
