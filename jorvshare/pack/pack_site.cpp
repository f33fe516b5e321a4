#include "jorvshare/pack/pack_site.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <set>
#include <span>
#include <string_view>

#include "jorvshare/report/tool_error.h"
#include "jorvshare/report/wording.h"
#include "jorvshare/site/directory.h"
#include "jorvshare/site/volumes.h"
#include "refstore/base/file_writer.h"
#include "refstore/config/settings_writer.h"
#include "refstore/fstab/fstab_writer.h"

namespace jorvshare {

namespace {

constexpr std::string_view kTables = "tables";
constexpr std::string_view kFiles = "files";

std::string_view Name(MapLayout layout) {
    return layout == MapLayout::kTables ? kTables : kFiles;
}

std::span<const std::byte> BytesOf(const std::string& text) {
    return std::as_bytes(std::span(text));
}

// Name of a file that the library writes before it puts it in the place of another.
bool IsUnfinished(const std::string& name) {
    return name.starts_with(".jorv-");
}

// A site is begun with its table of volumes and then its settings; a run that is killed in between
// leaves no more than these, and the next one begins anew.
bool IsFresh(const std::string& root) {
    const auto entries = ListDirectory(root);
    return std::all_of(entries.begin(), entries.end(), [](const auto& entry) {
        return entry.name == SiteLayout::kFstabName || IsUnfinished(entry.name);
    });
}

void RemoveUnfinished(const std::string& root) {
    for (const DirectoryEntry& entry : ListDirectory(root)) {
        if (IsUnfinished(entry.name)) {
            RemoveTree(Join(root, entry.name));
        }
    }
}

}  // namespace

PackSite::PackSite(const std::string& root, const PackOptions& options) {
    const bool missing = KindOf(root) == EntryKind::kUnknown;
    if (missing) {
        MakeDirectory(root);
        undo_.RemoveDirectory(root);
    }
    lock_.emplace(root);
    if (KindOf(root + "/" + SiteLayout::kSettingsName) != EntryKind::kUnknown) {
        Join(root, options);
    } else if (IsFresh(root)) {
        RemoveUnfinished(root);
        layout_.emplace(root);
        Create(options);
    } else {
        throw ToolError(wording::NotASite(root));
    }
    for (const std::string& directory :
         {layout_->MetaRoot(), layout_->ImagesRoot(), layout_->LogDir()}) {
        MakeMissing(directory);
    }
    for (const std::string& volume : volumes_) {
        MakeMissing(volume);
    }
}

void PackSite::Create(const PackOptions& options) {
    refstore::Settings settings = SiteLayout::NewSettings();
    map_ = options.layout.value_or(MapLayout::kFiles);
    settings.useFileExtMap = map_ == MapLayout::kTables ? 1 : 0;
    settings.dcidBloomEnabled = map_ == MapLayout::kTables;
    settings.tableSpanGiB = options.tableSpanGiB.value_or(1);
    tableSpan_ = std::uint64_t{settings.tableSpanGiB} << 30U;
    AddVolumes(options.volumes.value_or(1));
    listedVolumes_ = volumes_.size();
    undo_.RemoveTree(layout_->Fstab());
    refstore::ReplaceFile(layout_->Fstab(), BytesOf(refstore::EncodeFstab(volumes_)));
    undo_.RemoveTree(layout_->SettingsFile());
    refstore::ReplaceFile(layout_->SettingsFile(), BytesOf(refstore::EncodeSettings(settings)));
    MakeMissing(layout_->VolumesRoot());
}

void PackSite::Join(const std::string& root, const PackOptions& options) {
    const refstore::Settings settings =
        refstore::ReadSettings(root + "/" + SiteLayout::kSettingsName);
    layout_.emplace(root, settings);
    map_ = settings.useFileExtMap != 0 ? MapLayout::kTables : MapLayout::kFiles;
    if (options.layout.value_or(map_) != map_) {
        throw ToolError(wording::OtherLayout(root, Name(map_), Name(*options.layout)));
    }
    const std::uint32_t span = settings.tableSpanGiB;
    if (options.tableSpanGiB.value_or(span) != span) {
        throw ToolError(wording::OtherSpan(root, span, *options.tableSpanGiB));
    }
    tableSpan_ = std::uint64_t{span} << 30U;
    volumes_ = ReadVolumes(layout_->Fstab());
    listedVolumes_ = volumes_.size();
    MakeMissing(layout_->VolumesRoot());
    AddVolumes(std::max<std::uint32_t>(1, options.volumes.value_or(1)));
}

void PackSite::AddVolumes(std::uint32_t wanted) {
    for (std::uint32_t number = 1; volumes_.size() < wanted; ++number) {
        std::string volume = layout_->Volume(std::string("v").append(std::to_string(number)));
        if (std::find(volumes_.begin(), volumes_.end(), volume) == volumes_.end()) {
            volumes_.push_back(std::move(volume));
        }
    }
}

void PackSite::MakeMissing(const std::string& directory) {
    struct stat attributes = {};
    if (::stat(directory.c_str(), &attributes) != 0) {
        MakeDirectory(directory);
        undo_.RemoveDirectory(directory);
    } else if (!S_ISDIR(attributes.st_mode)) {
        throw ToolError(wording::Errno(directory, ENOTDIR));
    }
}

void PackSite::Sync() {
    // Volumes are often file systems of their own.
    std::set<dev_t> synced;
    const auto sync = [&synced](const std::string& directory) {
        struct stat attributes = {};
        if (::stat(directory.c_str(), &attributes) == 0 &&
            synced.insert(attributes.st_dev).second) {
            refstore::SyncFileSystem(directory);
        }
    };
    sync(layout_->Root());
    sync(layout_->MetaRoot());
    sync(layout_->ImagesRoot());
    for (const std::string& volume : volumes_) {
        sync(volume);
    }
    if (listedVolumes_ < volumes_.size()) {
        const std::vector<std::string> former(
            volumes_.begin(), volumes_.begin() + static_cast<std::ptrdiff_t>(listedVolumes_));
        const std::string fstab = layout_->Fstab();
        undo_.Run([fstab, former] {
            refstore::ReplaceFile(fstab, BytesOf(refstore::EncodeFstab(former)));
        });
        refstore::ReplaceFile(fstab, BytesOf(refstore::EncodeFstab(volumes_)));
    }
}

}  // namespace jorvshare
