#pragma once

#include <string>
#include <string_view>

#include "refstore/config/settings.h"

namespace jorvshare {

/// What the tool calls itself in messages.
inline constexpr std::string_view kProgram = "jorvshare";

/// Paths of one share.
struct ShareLayout {
    std::string root;  ///< the share's directory

    /// The three trees, and the paths of a user file or folder in them.
    [[nodiscard]] std::string Head(const std::string& relative = "") const;
    [[nodiscard]] std::string Map(const std::string& relative = "") const;
    [[nodiscard]] std::string Stu(const std::string& relative = "") const;
    [[nodiscard]] std::string VcopyFile() const { return root + "/vcopy.dat"; }
};

/// Which image a virtual copy is served from.
struct ImageName {
    std::string policy;
    std::string backupTime;
    std::string name;

    friend bool operator==(const ImageName&, const ImageName&) = default;
};

/// Where the parts of a site are: by default as this tool makes one, relative to the site.
struct SiteLayout {
    std::string meta = "meta";      ///< metadata root
    std::string images = "images";  ///< image root
    std::string fstab = "fstab";    ///< table of volumes

    static constexpr const char* kSettings = "jorv.toml";
    static constexpr const char* kVolumes = "volumes";
    static constexpr const char* kLog = "log";
    static std::string Volume(const std::string& name) { return kVolumes + ("/" + name); }

    [[nodiscard]] ShareLayout Share(const std::string& id) const;
    [[nodiscard]] std::string Image(const ImageName& image) const;

    /// Settings that make the reference library find all of this, with paths relative to the
    /// configuration file.
    static refstore::Settings NewSettings();
};

/// The one name of what is unfinished: `path` and ".partial". A last name that would grow too long
/// is cut; two may so share one, which the lock on the site makes harmless.
std::string PartialOf(const std::string& path);
bool IsPartialName(std::string_view name);

/// True when `name` is one name of a path: not empty, ".", ".." nor too long, no slash, no NUL.
bool IsPlainName(std::string_view name);
/// True when `path` is relative and each of its parts is a plain name.
bool IsInnerPath(std::string_view path);
bool HasControlCharacter(std::string_view name);

/// Why `id` cannot name a share that the tool works on; empty when it can.
std::string ShareIdFault(std::string_view id);

}  // namespace jorvshare
