#include "jorvshare/pack/pack_site.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <set>
#include <span>
#include <string_view>

#include "jorvshare/report/wording.h"
#include "jorvshare/site/bytes_of.h"
#include "jorvshare/site/confinement.h"
#include "jorvshare/site/directory.h"
#include "jorvshare/site/staging.h"
#include "jorvshare/site/volumes.h"
#include "refstore/base/file_writer.h"
#include "refstore/base/regular_file.h"
#include "refstore/config/settings.h"
#include "refstore/fstab/fstab_writer.h"
#include "terminal/tool_error.h"

namespace jorvshare {

namespace {

constexpr std::string_view kTables = "tables";
constexpr std::string_view kFiles = "files";

std::string_view Name(MapLayout layout) {
    return layout == MapLayout::kTables ? kTables : kFiles;
}

void WriteFstab(const std::string& path, const std::vector<std::string>& volumes) {
    refstore::ReplaceFile(path, BytesOf(refstore::EncodeFstab(volumes)));
}

// "v1" and so on.
std::string VolumeName(std::size_t number) {
    return std::string("v").append(std::to_string(number));
}

bool IsNumber(std::string_view text) {
    return !text.empty() && text.find_first_not_of("0123456789") == std::string_view::npos;
}

// True for a table of volumes that a first pack wrote, to the byte.
bool IsBegunFstab(const SiteLayout& site) {
    std::vector<std::string> volumes;
    try {
        volumes = ReadVolumes(site.Fstab());
    } catch (const terminal::ToolError&) {
        return false;
    }
    for (std::size_t i = 0; i < volumes.size(); ++i) {
        if (volumes[i] != site.Volume(VolumeName(i + 1))) {
            return false;
        }
    }
    const std::string expected = refstore::EncodeFstab(volumes);
    const refstore::RegularFile file("table of volumes", site.Fstab());
    std::string text(expected.size(), '\0');
    if (volumes.empty() || file.Size() != text.size()) {
        return false;
    }
    file.ReadAt(0, std::as_writable_bytes(std::span(text)));
    return text == expected;
}

// Volumes that nothing was put into yet.
bool AreBegunVolumes(const std::string& directory) {
    const auto volumes = ListDirectory(directory);
    return std::all_of(volumes.begin(), volumes.end(), [&](const DirectoryEntry& entry) {
        return entry.kind == EntryKind::kDirectory && entry.name.starts_with('v') &&
               IsNumber(std::string_view(entry.name).substr(1)) &&
               ListDirectory(Join(directory, entry.name)).empty();
    });
}

// A site is begun with its volumes, their table and then the settings; a run that is killed in
// between leaves no more than these, and the next one begins anew. Whatever else is there is
// somebody else's.
bool IsFresh(const SiteLayout& site) {
    const auto entries = ListDirectory(site.Root());
    return std::all_of(entries.begin(), entries.end(), [&site](const DirectoryEntry& entry) {
        if (entry.name == SiteLayout::kFstabName) {
            return entry.kind == EntryKind::kFile && IsBegunFstab(site);
        }
        if (Join(site.Root(), entry.name) == site.VolumesRoot()) {
            return entry.kind == EntryKind::kDirectory && AreBegunVolumes(site.VolumesRoot());
        }
        return entry.kind == EntryKind::kFile && IsUnfinishedName(entry.name);
    });
}

// A volume that is not mounted may hold any number of containers: their identifiers must not be
// given out again.
void RequireThere(const std::vector<std::string>& volumes) {
    for (const std::string& volume : volumes) {
        if (!IsThere(volume)) {
            throw terminal::ToolError(wording::MissingVolume(volume));
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
    } else if (IsFresh(SiteLayout(root))) {
        RemoveUnfinished(root);
        layout_.emplace(root);
        Create(options);
    } else {
        throw terminal::ToolError(wording::NotASite(root));
    }
    for (const std::string& directory :
         {layout_->MetaRoot(), layout_->ImagesRoot(), layout_->LogDir()}) {
        MakeMissing(directory);
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
    MakeVolumes();
    const std::string fstab = layout_->Fstab();
    if (KindOf(fstab) == EntryKind::kUnknown) {
        undo_.RemoveTree(fstab);
    } else {
        undo_.Run([fstab, former = ReadVolumes(fstab)] { WriteFstab(fstab, former); });
    }
    WriteFstab(fstab, volumes_);
    // Last: with them the volumes in the table have to be there.
    undo_.RemoveTree(layout_->SettingsFile());
    refstore::ReplaceFile(layout_->SettingsFile(), BytesOf(refstore::EncodeSettings(settings)));
}

void PackSite::Join(const std::string& root, const PackOptions& options) {
    const refstore::Settings settings =
        refstore::ReadSettings(root + "/" + SiteLayout::kSettingsName);
    layout_.emplace(root, settings);
    map_ = settings.useFileExtMap != 0 ? MapLayout::kTables : MapLayout::kFiles;
    if (options.layout.value_or(map_) != map_) {
        throw terminal::ToolError(wording::OtherLayout(root, Name(map_), Name(*options.layout)));
    }
    const std::uint32_t span = settings.tableSpanGiB;
    if (options.tableSpanGiB.value_or(span) != span) {
        throw terminal::ToolError(wording::OtherSpan(root, span, *options.tableSpanGiB));
    }
    tableSpan_ = std::uint64_t{span} << 30U;
    volumes_ = ReadVolumes(layout_->Fstab());
    listedVolumes_ = volumes_.size();
    RequireWithin(*layout_, volumes_);
    RequireThere(volumes_);
    RemoveUnfinished(root);
    AddVolumes(std::max<std::uint32_t>(1, options.volumes.value_or(1)));
    MakeVolumes();
}

void PackSite::MakeVolumes() {
    MakeMissing(layout_->VolumesRoot());
    for (const std::string& volume : volumes_) {
        MakeMissing(volume);
    }
}

void PackSite::AddVolumes(std::uint32_t wanted) {
    for (std::uint32_t number = 1; volumes_.size() < wanted; ++number) {
        std::string volume = layout_->Volume(VolumeName(number));
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
        throw terminal::ToolError(wording::Errno(directory, ENOTDIR));
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
        undo_.Run([fstab, former] { WriteFstab(fstab, former); });
        WriteFstab(fstab, volumes_);
    }
}

}  // namespace jorvshare
