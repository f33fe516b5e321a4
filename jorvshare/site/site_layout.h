#pragma once

#include <string>

#include "refstore/config/settings.h"

namespace jorvshare {

/// Paths of one share; `root` is the share's directory.
struct ShareLayout {
    std::string root;

    [[nodiscard]] std::string HeadDir() const { return root + "/head"; }
    [[nodiscard]] std::string MapDir() const { return root + "/map"; }
    [[nodiscard]] std::string StuDir() const { return root + "/stu"; }
    [[nodiscard]] std::string VcopyFile() const { return root + "/vcopy.dat"; }
    /// Paths of one user file; `relative` begins with its first name.
    [[nodiscard]] std::string Head(const std::string& relative) const;
    [[nodiscard]] std::string Map(const std::string& relative) const;
    [[nodiscard]] std::string Stu(const std::string& relative) const;
};

/// Which image a virtual copy is served from.
struct ImageName {
    std::string policy;
    std::string backupTime;
    std::string name;
};

/// Every path of a site, in one place.
class SiteLayout {
  public:
    /// The layout that this tool gives a site of its own in the directory `root`.
    explicit SiteLayout(std::string root);

    /// The layout that `settings`, read from the site's configuration, say.
    SiteLayout(std::string root, const refstore::Settings& settings);

    [[nodiscard]] const std::string& Root() const { return root_; }
    [[nodiscard]] std::string SettingsFile() const { return root_ + "/" + kSettingsName; }
    [[nodiscard]] const std::string& Fstab() const { return fstab_; }
    [[nodiscard]] const std::string& MetaRoot() const { return meta_; }
    [[nodiscard]] const std::string& ImagesRoot() const { return images_; }
    [[nodiscard]] std::string VolumesRoot() const { return root_ + "/volumes"; }
    [[nodiscard]] std::string LogDir() const { return root_ + "/log"; }
    [[nodiscard]] std::string Volume(const std::string& name) const;
    [[nodiscard]] std::string Image(const ImageName& image) const;
    /// Where an image is written before it is renamed into its place.
    [[nodiscard]] std::string ImageStaging(const ImageName& image) const;

    /// Directory between the metadata root and the share's own.
    [[nodiscard]] std::string ShareParent(const std::string& id) const;
    [[nodiscard]] ShareLayout Share(const std::string& id) const;
    /// Where a share is built before it is renamed into its place.
    [[nodiscard]] ShareLayout ShareStaging(const std::string& id) const;

    /// Settings that make the reference library find all of this, with paths relative to the
    /// configuration file.
    static refstore::Settings NewSettings();

    static constexpr const char* kSettingsName = "jorv.toml";
    static constexpr const char* kFstabName = "fstab";

  private:
    std::string root_;
    std::string fstab_;
    std::string meta_;
    std::string images_;
};

/// Throws ToolError unless `id` can name a share: not empty, one name of a path, 255 bytes at most,
/// and no name that a share being built may have.
void CheckShareId(const std::string& id);

/// True for a name that a share or an image may have while it is built.
bool IsStagingName(const std::string& name);

/// True when `name` is one name of a path: not empty, ".", ".." nor too long, no slash, no NUL.
bool IsPlainName(const std::string& name);

/// Fails with ToolError unless the absolute path `root` is a directory with a site's configuration.
void RequireSite(const std::string& root);

}  // namespace jorvshare
