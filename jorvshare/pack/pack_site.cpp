#include "jorvshare/pack/pack_site.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <set>
#include <span>

#include "jorvshare/site/site.h"
#include "refstore/base/file_writer.h"
#include "refstore/base/regular_file.h"
#include "refstore/config/settings.h"
#include "refstore/fstab/fstab_writer.h"
#include "refstore/image/image_record.h"
#include "terminal/interrupt.h"
#include "terminal/tool_error.h"

namespace jorvshare {

namespace {

using terminal::ToolError;

constexpr mode_t kOpenMode = 0755;
constexpr mode_t kPrivateMode = 0700;
constexpr std::uint64_t kLargestFstab = std::uint64_t{1} << 28U;
// Containers that are not in their place yet, on their volume.
constexpr const char* kContainers = "containers.partial";

std::string Name(MapLayout layout) {
    return layout == MapLayout::kTables ? "tables" : "files";
}

}  // namespace

PackSite::PackSite(const std::string& path, const PackOptions& options)
    : path_(path),
      id_(options.shareId),
      image_(options.virtualCopy),
      map_(options.layout.value_or(MapLayout::kFiles)),
      spanGiB_(options.tableSpanGiB.value_or(1)) {
    struct stat attributes = {};
    const bool isThere = ::lstat(path.c_str(), &attributes) == 0;
    if (isThere && Root(path).TypeOf(SiteLayout::kSettings) != 0) {
        JoinSite(options);
    } else if (isThere && !Root(path).List("").empty()) {
        throw ToolError(path + ": not a site: the directory is not empty and has no " +
                        SiteLayout::kSettings);
    }
    for (std::uint32_t number = 1; volumes_.size() < options.volumes; ++number) {
        std::string volume = Join(path_, SiteLayout::Volume("v" + std::to_string(number)));
        if (std::ranges::find(volumes_, volume) == volumes_.end()) {
            volumes_.push_back(std::move(volume));
        }
    }
}

void PackSite::JoinSite(const PackOptions& options) {
    lock_ = LockDirectory(path_);
    const Site site(path_);
    map_ = site.Tables() ? MapLayout::kTables : MapLayout::kFiles;
    if (options.layout.value_or(map_) != map_) {
        throw ToolError(path_ + ": the site's layout is " + Name(map_) + ", not " +
                        Name(*options.layout));
    }
    spanGiB_ = site.Settings().tableSpanGiB;
    if (options.tableSpanGiB.value_or(spanGiB_) != spanGiB_) {
        throw ToolError(path_ + ": the site's tables span " + std::to_string(spanGiB_) +
                        " GiB, not " + std::to_string(*options.tableSpanGiB));
    }
    volumes_ = site.Volumes();
    listedVolumes_ = volumes_.size();
    layout_ = site.LayoutWithin(volumes_);
    for (const std::string& volume : volumes_) {
        // One that is not mounted may hold any number of containers: their identifiers must not be
        // given out again.
        if (!IsThere(volume)) {
            throw ToolError(volume + kVolumeMissing);
        }
    }
    there_.emplace(path_);
    const std::string fstab = there_->At(layout_.fstab);
    fstab_ = refstore::RegularFile("table of volumes", fstab).ReadAll(kLargestFstab).Text();
    if (there_->TypeOf(layout_.Share(id_).root) != 0) {
        throw ToolError(path_ + ": share " + id_ + " exists already");
    }
    if (image_ && IsListed(*image_)) {
        throw ToolError(there_->At(layout_.Image(*image_)) + ": the image exists already");
    }
}

// An image that no share lists is what a run left that was killed just before its share was in
// place.
bool PackSite::IsListed(const ImageName& image) const {
    if (there_->TypeOf(layout_.Image(image)) == 0) {
        return false;
    }
    for (const refstore::DirectoryEntry& parent : there_->List(layout_.meta)) {
        const std::string directory = Join(layout_.meta, parent.name);
        if (parent.type != S_IFDIR) {
            continue;
        }
        for (const refstore::DirectoryEntry& share : there_->List(directory)) {
            const ShareLayout paths{Join(directory, share.name)};
            if (share.type == S_IFDIR && !IsPartialName(share.name) &&
                std::ranges::count(ReadImageList(*there_, paths.VcopyFile()), image) != 0) {
                return true;
            }
        }
    }
    return there_->TypeOf(layout_.Image(image)) != S_IFREG;
}

PackSite::~PackSite() {
    while (!undo_.empty()) {
        try {
            undo_.back()();
        } catch (const std::exception&) {
            // The failure that made the run go back is the one to report.
        }
        undo_.pop_back();
    }
}

ShareLayout PackSite::Share() const {
    const ShareLayout share = layout_.Share(id_);
    return new_ ? share : ShareLayout{PartialOf(share.root)};
}

std::uint64_t PackSite::LastDcid() const {
    if (new_) {
        return 0;
    }
    // A run that was killed may have left containers on a volume that it had not listed yet.
    std::vector<std::string> directories = volumes_;
    directories.push_back(tree_->At(SiteLayout::kVolumes));
    return LargestDcid(directories);
}

void PackSite::Begin() {
    if (!there_) {
        new_.emplace(path_, kOpenMode);
    }
    tree_ = there_ ? &*there_ : &new_->Tree();
    for (const std::string& directory :
         {std::string(SiteLayout::kVolumes), std::string(SiteLayout::kLog), layout_.images,
          refstore::ParentOf(layout_.Share(id_).root)}) {
        MakeMissing(directory);
    }
    if (there_) {
        BeginBeside();
    } else {
        BeginNew();
    }
    tree_->MakeDirectory(Share().root, kPrivateMode);
}

void PackSite::BeginNew() {
    for (const std::string& volume : volumes_) {
        const std::string relative = volume.substr(path_.size() + 1);
        tree_->MakeDirectory(relative, kOpenMode);
        places_.push_back(tree_->At(relative));
    }
    tree_->Write(layout_.fstab, BytesOf(refstore::EncodeFstab(volumes_)), 0644);
    refstore::Settings settings = SiteLayout::NewSettings();
    settings.useFileExtMap = map_ == MapLayout::kTables ? 1 : 0;
    settings.dcidBloomEnabled = map_ == MapLayout::kTables;
    settings.tableSpanGiB = spanGiB_;
    tree_->Write(SiteLayout::kSettings, BytesOf(refstore::EncodeSettings(settings)), 0644);
}

void PackSite::BeginBeside() {
    Claim(*tree_, PartialOf(layout_.Share(id_).root));
    for (const std::string& volume : volumes_) {
        if (!IsThere(volume)) {
            MakeMissing(volume.substr(path_.size() + 1));
        }
        const Root root(volume);
        Claim(root, kContainers);
        root.MakeDirectory(kContainers, kPrivateMode);
        places_.push_back(root.At(kContainers));
    }
    if (listedVolumes_ < volumes_.size()) {
        Claim(*tree_, PartialOf(layout_.fstab));
        WriteFstabBeside(
            refstore::AppendToFstab(fstab_, std::span(volumes_).subspan(listedVolumes_)));
    }
}

void PackSite::MakeMissing(const std::string& directory) {
    if (tree_->TypeOf(directory) == S_IFDIR) {
        return;
    }
    MakeMissing(refstore::ParentOf(directory));
    tree_->MakeDirectory(directory, kOpenMode);
    // Goes unless something else was put into it. A new site goes as a whole.
    undo_.emplace_back([path = tree_->At(directory)] { ::rmdir(path.c_str()); });
}

void PackSite::Claim(const Root& root, const std::string& partial) {
    root.Remove(partial);
    undo_.emplace_back([path = root.Path(), partial] { Root(path).Remove(partial); });
}

void PackSite::WriteImage(const std::vector<std::uint64_t>& containers) {
    tree_->Write(Share().VcopyFile(),
                 BytesOf(image_->policy + "\n" + image_->backupTime + "\n" + image_->name + ";\n"),
                 0644);
    std::string place = layout_.Image(*image_);
    MakeMissing(refstore::ParentOf(place));
    if (!new_) {
        place = PartialOf(place);
        Claim(*tree_, place);
    }
    tree_->Write(
        place,
        refstore::EncodeImage({image_->policy, image_->backupTime, image_->name, containers}),
        0644);
}

void PackSite::Commit() {
    if (new_) {
        new_->Commit();
        undo_.clear();
        return;
    }
    Sync();
    terminal::FinishRegardless();
    PutContainersInPlace();
    if (listedVolumes_ < volumes_.size()) {
        undo_.emplace_back([this] {
            WriteFstabBeside(fstab_);
            tree_->Rename(PartialOf(layout_.fstab), layout_.fstab, true);
        });
        tree_->Rename(PartialOf(layout_.fstab), layout_.fstab, true);
        tree_->Sync(refstore::ParentOf(layout_.fstab));
    }
    if (image_) {
        PutInPlace(layout_.Image(*image_), true);
    }
    // From here on the share is there, with all that belongs to it.
    PutInPlace(layout_.Share(id_).root, false);
    undo_.clear();
}

void PackSite::PutContainersInPlace() {
    for (const std::string& volume : volumes_) {
        const Root root(volume);
        // The index of a container first, "1.bhd" before "1.bin.partial": data without an index is
        // damage to the checker.
        for (const refstore::DirectoryEntry& half : root.List(kContainers)) {
            const std::string from = Join(kContainers, half.name);
            const std::string name =
                IsPartialName(half.name) ? half.name.substr(0, half.name.rfind('.')) : half.name;
            undo_.emplace_back([volume, name, from] {
                Root there(volume);
                if (there.TypeOf(from) == 0) {
                    there.Remove(name);
                }
            });
            root.Rename(from, name);
        }
        root.Remove(kContainers);
        root.Sync("");
    }
}

void PackSite::WriteFstabBeside(const std::string& text) {
    const std::string partial = PartialOf(layout_.fstab);
    tree_->Remove(partial);
    tree_->Write(partial, BytesOf(text), 0644);
}

void PackSite::PutInPlace(const std::string& place, bool replace) {
    const std::string partial = PartialOf(place);
    // The rename may have been made and yet not be durable: what is in its place then has to go.
    undo_.emplace_back([this, place, partial] {
        if (tree_->TypeOf(partial) == 0) {
            tree_->Remove(place);
        }
    });
    tree_->Rename(partial, place, replace);
    tree_->Sync(refstore::ParentOf(place));
}

void PackSite::Sync() const {
    std::vector<std::string> directories = {path_, MetaRoot(), tree_->At(layout_.images)};
    directories.insert(directories.end(), volumes_.begin(), volumes_.end());
    // Volumes are often file systems of their own.
    std::set<dev_t> synced;
    for (const std::string& directory : directories) {
        struct stat attributes = {};
        if (::stat(directory.c_str(), &attributes) == 0 &&
            synced.insert(attributes.st_dev).second) {
            refstore::SyncFileSystem(directory);
        }
    }
}

}  // namespace jorvshare
