#include "jorvshare/restore/verify.h"

#include <algorithm>

#include "jorvshare/restore/container_check.h"
#include "jorvshare/restore/share_reader.h"
#include "jorvshare/site/site.h"
#include "jorvshare/site/volumes.h"
#include "terminal/console.h"
#include "terminal/one_line.h"
#include "terminal/progress.h"

namespace jorvshare {

int Verify(const VerifyOptions& options) {
    const Site site(options.site);
    ShareReader reader(site, options.shareId);
    reader.RequirePath(options.path);
    KeepGoing damagedFiles(true);
    KeepGoing damagedContainers(true);
    const std::vector<std::string> volumes = VolumesToRead(site, &damagedContainers);
    terminal::Progress progress("verifying", reader.TotalSteps(options.path));
    ContainerCheck containers(volumes, &damagedContainers, &progress);
    std::uint64_t files = 0;
    std::uint64_t localBytes = 0;

    const auto verifyFile = [&](const std::string& relative) {
        const refstore::HeaderRecord header = reader.Header(relative);
        std::uint64_t left = static_cast<std::uint64_t>(header.size) + 1;
        reader.ForEachExtent(relative, header, [&](const refstore::Extent& extent) {
            const std::uint64_t length = extent.end - extent.start;
            std::uint64_t read = 0;
            if (extent.dcid == refstore::kLocalDcid) {
                read = reader.ReadLocal(extent).size();
                localBytes += read;
            } else {
                reader.InExtent(relative, extent,
                                [&] { containers.RequireSound(extent.dcid, extent.fp, length); });
            }
            const std::uint64_t steps = std::min(left, length);
            left -= steps;
            progress.Advance(steps, read);
        });
        progress.Advance(left);
    };
    reader.Walk(
        options.path, true, &damagedFiles, &progress, [](const std::string&) {},
        [&](const std::string& relative) {
            ++files;
            damagedFiles.Try("", &progress, [&] { verifyFile(relative); });
        });
    progress.Clear();
    terminal::PrintSummary(
        "share " + options.shareId + ": " + terminal::Count(files, "file", "files") + ", " +
        terminal::Count(localBytes + containers.Bytes(), "byte", "bytes") + " read, " +
        terminal::Count(damagedFiles.Failed(), "damaged file", "damaged files") + ", " +
        terminal::Count(damagedContainers.Failed(), "damaged container", "damaged containers"));
    return damagedFiles.Failed() + damagedContainers.Failed() == 0 ? 0 : 1;
}

}  // namespace jorvshare
