#include "jorvshare/restore/unpack.h"

#include <algorithm>

#include "jorvshare/restore/share_reader.h"
#include "jorvshare/site/output_file.h"
#include "jorvshare/site/site.h"
#include "jorvshare/site/target_directory.h"
#include "jorvshare/site/volumes.h"
#include "refstore/container/container_reader.h"
#include "terminal/console.h"
#include "terminal/one_line.h"
#include "terminal/progress.h"
#include "terminal/tool_error.h"

namespace jorvshare {

namespace {

constexpr mode_t kDirectoryMode = 0700;

/// Restores one share, file by file.
class Restorer {
  public:
    Restorer(ShareReader* reader, const Root& destination, refstore::ContainerReader* containers,
             KeepGoing* keepGoing, terminal::Progress* progress)
        : reader_(reader),
          destination_(destination),
          containers_(containers),
          keepGoing_(keepGoing),
          progress_(progress) {}

    void Restore(const std::string& relative) {
        const bool restored = keepGoing_->Try("", progress_, [&] { RestoreFile(relative); });
        if (!restored) {
            destination_.Remove(relative);
        }
    }

    [[nodiscard]] std::uint64_t Files() const { return files_; }
    [[nodiscard]] std::uint64_t Bytes() const { return bytes_; }

  private:
    void RestoreFile(const std::string& relative) {
        const refstore::HeaderRecord header = reader_->Header(relative);
        OutputFile file(destination_, relative);
        file.SetSize(header.size);
        const auto size = static_cast<std::uint64_t>(header.size);
        std::uint64_t left = size + 1;
        reader_->ForEachExtent(relative, header, [&](const refstore::Extent& extent) {
            const std::vector<std::byte> data = Data(relative, extent);
            file.WriteAt(extent.start, data);
            const std::uint64_t steps = std::min<std::uint64_t>(left, data.size());
            left -= steps;
            progress_->Advance(steps, data.size());
        });
        // The owner is not kept: set-id bits would hand out the rights of whoever unpacks.
        file.SetMode(header.mode & 0777U);
        file.SetModified(header.mtime, header.mtimeNsec);
        file.Close();
        progress_->Advance(left);
        ++files_;
        bytes_ += size;
    }

    std::vector<std::byte> Data(const std::string& relative, const refstore::Extent& extent) {
        return extent.dcid == refstore::kLocalDcid
                   ? reader_->ReadLocal(extent)
                   : reader_->InExtent(relative, extent, [&] {
                         return containers_->Read(extent.dcid, extent.fp,
                                                  extent.end - extent.start);
                     });
    }

    ShareReader* reader_;
    const Root& destination_;
    refstore::ContainerReader* containers_;
    KeepGoing* keepGoing_;
    terminal::Progress* progress_;
    std::uint64_t files_ = 0;
    std::uint64_t bytes_ = 0;
};

}  // namespace

int Unpack(const UnpackOptions& options) {
    const Site site(options.site);
    ShareReader reader(site, options.shareId);
    reader.RequirePath(options.path);
    const std::string destination = AbsoluteTarget(options.destination);
    if (IsWithin(destination, site.Path())) {
        throw terminal::ToolError("the destination " + destination + " lies inside the site " +
                                  site.Path());
    }
    KeepGoing keepGoing(options.keepGoing);
    refstore::ContainerReader containers(VolumesToRead(site, &keepGoing));
    TargetDirectory target(destination, kDirectoryMode);
    terminal::Progress progress("unpacking", reader.TotalSteps(options.path));
    Restorer restorer(&reader, target.Tree(), &containers, &keepGoing, &progress);
    const auto makeDirectory = [&](const std::string& relative) {
        target.Tree().MakeDirectories(relative, kDirectoryMode);
    };
    if (const std::size_t slash = options.path.rfind('/'); slash != std::string::npos) {
        makeDirectory(options.path.substr(0, slash));
    }
    reader.Walk(options.path, options.keepGoing, &keepGoing, &progress, makeDirectory,
                [&](const std::string& relative) { restorer.Restore(relative); });
    target.Commit();
    progress.Clear();
    std::string summary = "share " + options.shareId + ": " +
                          terminal::Count(restorer.Files(), "file", "files") + ", " +
                          terminal::Count(restorer.Bytes(), "byte", "bytes") + " restored";
    if (keepGoing.Failed() != 0) {
        summary += ", " + std::to_string(keepGoing.Failed()) + " damaged";
    }
    terminal::PrintSummary(summary);
    return keepGoing.Failed() == 0 ? 0 : 1;
}

}  // namespace jorvshare
