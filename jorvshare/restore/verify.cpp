#include "jorvshare/restore/verify.h"

#include "jorvshare/restore/container_check.h"
#include "jorvshare/restore/share_reader.h"
#include "jorvshare/site/site.h"
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
        reader.ForEachExtent(relative, header, &progress, [&](const refstore::Extent& extent) {
            const std::uint64_t length = extent.end - extent.start;
            if (extent.dcid != refstore::kLocalDcid) {
                reader.InExtent(relative, extent,
                                [&] { containers.RequireSound(extent.dcid, extent.fp, length); });
                return std::uint64_t{0};
            }
            localBytes += reader.ReadLocal(extent).size();
            return length;
        });
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
