#include "jorvshare/unpack/unpack.h"

#include <cstring>
#include <functional>

#include "jorvshare/report/wording.h"
#include "jorvshare/site/directory.h"
#include "jorvshare/site/output_file.h"
#include "jorvshare/site/site_layout.h"
#include "jorvshare/site/target_directory.h"
#include "jorvshare/site/volumes.h"
#include "jorvshare/unpack/extent_data.h"
#include "refstore/extent/extent_record.h"
#include "refstore/header/header_record.h"
#include "refstore/table/table_directory.h"
#include "terminal/console.h"
#include "terminal/interrupt.h"
#include "terminal/progress.h"
#include "terminal/tool_error.h"

namespace jorvshare {

namespace {

constexpr std::uint32_t kNanosecondsPerSecond = 1000000000;

using TakeExtent = std::function<void(const refstore::Extent&)>;

/// Restores one share, file by file.
class Restorer {
  public:
    Restorer(ShareLayout share, bool tables, std::string destination,
             refstore::ContainerReader* containers)
        : share_(std::move(share)),
          tables_(tables),
          destination_(std::move(destination)),
          data_(containers),
          progress_("unpacking", CountFiles("")) {}

    /// Restores the directory `prefix`: empty, or with a slash behind it.
    void RestoreDirectory(const std::string& prefix) {
        RequireRealDirectories(prefix);
        for (const DirectoryEntry& entry : ListDirectory(share_.Head(prefix))) {
            terminal::CheckInterrupt();
            const std::string relative = prefix + entry.name;
            if (entry.kind == EntryKind::kDirectory) {
                MakeDirectory(Join(destination_, relative));
                RestoreDirectory(relative + "/");
            } else if (entry.kind == EntryKind::kFile) {
                RestoreFile(relative);
                progress_.Advance(1);
            } else {
                Fail(relative, "its header is not a regular file");
            }
        }
    }

    [[nodiscard]] const UnpackSummary& Summary() const { return summary_; }

  private:
    [[noreturn]] static void Fail(const std::string& relative, std::string_view why) {
        throw terminal::ToolError(wording::Damaged(relative, why));
    }

    std::uint64_t CountFiles(const std::string& prefix) {
        std::uint64_t files = 0;
        for (const DirectoryEntry& entry : ListDirectory(share_.Head(prefix))) {
            files +=
                entry.kind == EntryKind::kDirectory ? CountFiles(prefix + entry.name + "/") : 1;
        }
        return files;
    }

    // The three trees are walked side by side: with a symbolic link in any of them the walk would
    // leave the share.
    void RequireRealDirectories(const std::string& prefix) const {
        for (const std::string& tree : {share_.HeadDir(), share_.MapDir(), share_.StuDir()}) {
            std::string path = Join(tree, prefix);
            path.pop_back();
            const EntryKind kind = KindOf(path);
            if (kind != EntryKind::kDirectory && kind != EntryKind::kUnknown) {
                throw terminal::ToolError(wording::At(path, "not a directory"));
            }
        }
    }

    void RestoreFile(const std::string& relative) {
        const refstore::HeaderRecord header = refstore::LoadHeaderRecord(share_.Head(relative));
        if (header.size < 0 || header.mtimeNsec >= kNanosecondsPerSecond) {
            Fail(relative, "its header holds an impossible size or time");
        }
        data_.BeginFile(relative, share_.Stu(relative));
        OutputFile file(Join(destination_, relative));
        file.SetSize(header.size);
        ForEachExtent(relative, header, [&](const refstore::Extent& extent) {
            terminal::CheckInterrupt();
            if (extent.end > static_cast<std::uint64_t>(header.size)) {
                throw terminal::ToolError(
                    wording::DamagedExtent(relative, extent.start, "it ends behind the file"));
            }
            file.WriteAt(extent.start, data_.Read(extent));
        });
        // The owner is not kept: set-id bits would hand out the rights of whoever unpacks.
        file.SetMode(header.mode & 0777U);
        file.SetModified(header.mtime, header.mtimeNsec);
        file.Close();
        ++summary_.files;
        summary_.bytes += static_cast<std::uint64_t>(header.size);
    }

    void ForEachExtent(const std::string& relative, const refstore::HeaderRecord& header,
                       const TakeExtent& take) const {
        const std::string map = share_.Map(relative);
        if (KindOf(map) == EntryKind::kSymlink) {
            Fail(relative, "its extents are behind a symbolic link");
        }
        if (!tables_) {
            const refstore::ExtentRecord record = refstore::LoadExtentRecord(map);
            if (record.transId != header.transId) {
                Fail(relative, "header and extent file have different transaction ids");
            }
            for (const refstore::Extent& extent : record.extents) {
                take(extent);
            }
            return;
        }
        const auto tables = refstore::TableDirectory::Load(refstore::TableDirectory::FileIn(map));
        if (tables->FileSize() != header.size) {
            Fail(relative, "header and mapping tables have different file sizes");
        }
        for (const refstore::StoredTableView& table : tables->Tables()) {
            for (const refstore::Extent& extent : table.extents) {
                take(extent);
            }
        }
    }

    const ShareLayout share_;
    const bool tables_;
    const std::string destination_;
    ExtentData data_;
    terminal::Progress progress_;
    UnpackSummary summary_;
};

// A volume that is not there matters only to shares with data on it: its containers are missing.
std::vector<std::string> VolumesThere(const std::string& fstab) {
    std::vector<std::string> volumes;
    for (std::string& volume : ReadVolumes(fstab)) {
        if (IsThere(volume)) {
            volumes.push_back(std::move(volume));
        } else {
            terminal::PrintWarning(wording::kProgram, wording::MissingVolume(volume));
        }
    }
    return volumes;
}

}  // namespace

UnpackSummary Unpack(const UnpackOptions& options) {
    CheckShareId(options.shareId);
    const std::string root = AbsoluteTarget(options.site);
    const std::string settingsPath = root + "/" + SiteLayout::kSettingsName;
    RequireSite(root);
    const refstore::Settings settings = refstore::ReadSettings(settingsPath);
    const SiteLayout site(root, settings);
    const ShareLayout share = site.Share(options.shareId);
    if (KindOf(share.root) != EntryKind::kDirectory) {
        throw terminal::ToolError(wording::NoShare(options.shareId, root));
    }
    const std::string destination = AbsoluteTarget(options.destination);
    if (IsWithin(destination, root)) {
        throw terminal::ToolError(wording::Inside("destination", destination, "site", root));
    }
    TargetDirectory target(destination);
    refstore::ContainerReader containers(VolumesThere(site.Fstab()));
    Restorer restorer(share, settings.useFileExtMap != 0, target.Partial(), &containers);
    restorer.RestoreDirectory("");
    terminal::CheckInterrupt();
    target.Commit();
    return restorer.Summary();
}

}  // namespace jorvshare
