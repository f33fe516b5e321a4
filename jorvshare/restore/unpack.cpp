#include "jorvshare/restore/unpack.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>

#include "jorvshare/restore/share_reader.h"
#include "jorvshare/site/site.h"
#include "jorvshare/site/target_directory.h"
#include "refstore/container/container_reader.h"
#include "terminal/console.h"
#include "terminal/one_line.h"
#include "terminal/progress.h"
#include "terminal/tool_error.h"

namespace jorvshare {

namespace {

constexpr mode_t kDirectoryMode = 0700;

// Restores a file and returns its size.
std::uint64_t RestoreFile(const std::string& relative, const Root& destination, ShareReader* reader,
                          refstore::ContainerReader* containers, terminal::Progress* progress) {
    const refstore::HeaderRecord header = reader->Header(relative);
    const auto require = [&](bool done) { destination.Require(done, relative); };
    refstore::Descriptor file = destination.Create(relative, 0600);
    require(::ftruncate(file.Get(), header.size) == 0);
    reader->ForEachExtent(relative, header, progress, [&](const refstore::Extent& extent) {
        const std::uint64_t length = extent.end - extent.start;
        const std::vector<std::byte> data =
            extent.dcid == refstore::kLocalDcid
                ? reader->ReadLocal(extent)
                : reader->InExtent(relative, extent, [&] {
                      return containers->Read(extent.dcid, extent.fp, length);
                  });
        require(refstore::WriteAllAt(file, extent.start, data));
        return length;
    });
    // The owner is not kept: set-id bits would hand out the rights of whoever unpacks.
    require(::fchmod(file.Get(), header.mode & 0777U) == 0);
    const std::array<struct timespec, 2> times = {
        {{0, UTIME_OMIT}, {header.mtime, static_cast<long>(header.mtimeNsec)}}};
    require(::futimens(file.Get(), times.data()) == 0 && file.Close());
    return static_cast<std::uint64_t>(header.size);
}

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
    std::uint64_t files = 0;
    std::uint64_t bytes = 0;
    const auto restore = [&](const std::string& relative) {
        const bool restored = keepGoing.Try("", &progress, [&] {
            bytes += RestoreFile(relative, target.Tree(), &reader, &containers, &progress);
        });
        if (restored) {
            ++files;
        } else {
            target.Tree().Remove(relative);
        }
    };
    const auto makeDirectory = [&](const std::string& relative) {
        target.Tree().MakeDirectories(relative, kDirectoryMode);
    };
    makeDirectory(refstore::ParentOf(options.path));
    reader.Walk(options.path, options.keepGoing, &keepGoing, &progress, makeDirectory, restore);
    target.Commit();
    progress.Clear();
    std::string summary = "share " + options.shareId + ": " +
                          terminal::Count(files, "file", "files") + ", " +
                          terminal::Count(bytes, "byte", "bytes") + " restored";
    if (keepGoing.Failed() != 0) {
        summary += ", " + std::to_string(keepGoing.Failed()) + " damaged";
    }
    terminal::PrintSummary(summary);
    return keepGoing.Failed() == 0 ? 0 : 1;
}

}  // namespace jorvshare
