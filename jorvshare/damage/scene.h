#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "jorvshare/damage/findings.h"
#include "jorvshare/site/site_layout.h"
#include "jorvshare/site/site_lock.h"

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

    [[nodiscard]] const SiteLayout& Site() const { return *site_; }
    [[nodiscard]] const ShareLayout& Share() const { return share_; }
    [[nodiscard]] bool Tables() const { return tables_; }
    [[nodiscard]] const std::string& ShareId() const { return options_.shareId; }

    /// Relative paths of all header files, sorted by their bytes.
    [[nodiscard]] std::vector<std::string> Files() const;

    /// The file named by --path, or else one of `candidates`, which are sorted, by the seed. That
    /// file must be among them.
    [[nodiscard]] std::string ChooseFile(const std::vector<std::string>& candidates) const;

    /// ChooseFile among the files of the share for which `applies` holds. Those whose path leads
    /// the checker's header check elsewhere are never chosen.
    using Applies = std::function<bool(const std::string& relative)>;
    [[nodiscard]] std::string ChooseFile(const Applies& applies) const;

    /// One of `candidates`, which are sorted, by the seed; --path is refused.
    [[nodiscard]] std::string ChooseOther(const std::vector<std::string>& candidates) const;

    /// A number below `bound`: always the same for the same seed. Fails as a kind
    /// that finds nothing to break when there is none.
    [[nodiscard]] std::uint64_t Choose(std::uint64_t bound) const;

    /// Throws ToolError when --path was given.
    void RequireNoPath() const;

    /// Throws the ToolError of a kind that finds nothing to break.
    [[noreturn]] void FailNothing() const;

    /// How the file data check names a file; `extentLocation` is that of its header.
    [[nodiscard]] finding::FileNames Names(const std::string& relative,
                                           const std::string& extentLocation) const;

  private:
    DamageOptions options_;
    std::optional<SiteLock> lock_;
    std::optional<SiteLayout> site_;
    ShareLayout share_;
    bool tables_ = false;
};

}  // namespace jorvshare::damage
