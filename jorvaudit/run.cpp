#include "jorvaudit/run.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <filesystem>
#include <limits>
#include <thread>

#include "jorvaudit/data_check.h"
#include "jorvaudit/image_check.h"
#include "jorvaudit/journal.h"
#include "jorvaudit/meter.h"
#include "jorvaudit/output.h"
#include "jorvaudit/parts.h"
#include "jorvaudit/report_json.h"
#include "jorvaudit/scratch.h"
#include "jorvaudit/tree_audit.h"
#include "terminal/console.h"
#include "terminal/interrupt.h"
#include "terminal/tool_error.h"

namespace jorvaudit {

namespace {

namespace fs = std::filesystem;

constexpr const char* kImagesStep = "images";
constexpr const char* kDataStep = "data";
constexpr std::int64_t kSecondsPerHour = 3600;

std::size_t Jobs(const AuditOptions& options) {
    // With cold caches a job mostly waits for the disk, so many at a time save most of the time,
    // and where everything is in memory they cost nothing.
    constexpr unsigned kFewest = 16;
    return options.jobs != 0 ? options.jobs
                             : std::max(kFewest, std::thread::hardware_concurrency());
}

class Audit {
  public:
    explicit Audit(const AuditOptions& options)
        : options_(options),
          known_(ReadKnown(options.acknowledge)),
          share_(FindShare(options)),
          raw_(options.output + "/raw") {}

    int Run() {
        MakeOutput(options_.output, {share_});
        const Scratch scratch(share_);
        ground_ = Prepare(options_, scratch.Path());
        if (!ground_.meaningless) {
            division_ = Divide(share_, ground_.facts.tables,
                               {.index = options_.part, .of = options_.parts});
        }
        Journal journal(options_.output, Identity(), options_.resume);
        if (!ground_.meaningless) {
            SetAge(journal.Started());
            CheckImagesOnce(&journal, scratch.Path());
            CheckTree(&journal, scratch.Path());
            CheckDataOnce(&journal, scratch.Path());
        }
        Report report = MakeReport(&journal);
        WriteReport(report, options_.output);
        journal.Remove();
        PrintReported(TextOf(report) + "\nAll of it: " + options_.output +
                      "/report.html and report.json; the files: affected.txt\n");
        return report.status;
    }

  private:
    [[nodiscard]] nlohmann::ordered_json Identity() const {
        nlohmann::ordered_json identity = {{"version", JORVAUDIT_VERSION},
                                           {"hours", options_.hours},
                                           {"part", options_.part},
                                           {"parts", options_.parts}};
        identity["found"] = {{"division", division_.digest}, {"tables", ground_.facts.tables}};
        PutName(&identity["found"], "configuration", ground_.configPath);
        PutName(&identity, "share", share_);
        PutName(&identity, "id", options_.shareId);
        return identity;
    }

    // Of the time of the first run, so that a run that goes on leaves out the same files.
    void SetAge(std::int64_t now) {
        ground_.settings.checksData = ground_.facts.tables && ground_.idFits;
        ground_.settings.youngerThan = options_.hours == 0
                                           ? std::numeric_limits<std::int64_t>::max()
                                           : now - options_.hours * kSecondsPerHour;
    }

    void CheckImagesOnce(Journal* journal, const std::string& scratch) const {
        if (options_.part == 1 && !journal->HasStep(kImagesStep)) {
            const ImagesResult images =
                CheckImages(ground_.settings, options_.timeLimit, scratch + "/images", raw_);
            Tally tally;
            tally[What::kImages] = images.count;
            journal->Add(kImagesStep, tally, images.findings, {});
        }
    }

    void CheckTree(Journal* journal, const std::string& scratch) {
        Meter meter;
        TreeAudit tree({.settings = &ground_.settings,
                        .journal = journal,
                        .scratch = scratch,
                        .jobs = Jobs(options_),
                        .timeLimit = Children::Seconds(options_.timeLimit)},
                       [&](const Advance& advance) { meter.Show(advance); });
        tree.Run(division_.units);
    }

    void CheckDataOnce(Journal* journal, const std::string& scratch) {
        const Tally& sums = journal->Sums();
        // Of a share that was moved, the checker would look at the other place.
        const bool isMoved = sums.elsewhere > 0 && sums.elsewhere == sums[What::kHeaders].lookedAt;
        if (!ground_.settings.checksData || isMoved || journal->HasStep(kDataStep)) {
            return;
        }
        // Of an earlier audit, or of a check that did not end: a timer's directory would grow for
        // ever.
        fs::remove(raw_ + "/data.stdout");
        fs::remove(raw_ + "/data.stderr");
        std::ranges::sort(journal->Findings());
        const DataResult data = CheckData({.options = &options_,
                                           .ground = &ground_,
                                           .units = division_.units,
                                           .scratch = scratch,
                                           .raw = raw_},
                                          sums, journal->Findings());
        Tally tally;
        tally[What::kData].lookedAt = data.lookedAt;
        journal->Add(kDataStep, tally, data.findings, {});
    }

    Report MakeReport(Journal* journal) {
        Report report;
        report.sharePath = share_;
        report.shareId = options_.shareId;
        report.hours = options_.hours;
        report.layout = ground_.meaningless ? "" : ground_.facts.tables ? "tables" : "files";
        report.configPath = ground_.configPath;
        report.volumeTable = ground_.facts.volumeTable;
        report.parts = options_.parts;
        report.present = {options_.part};
        report.division = division_.digest;
        report.started = journal->Started();
        report.ended = std::time(nullptr);
        report.counted = !ground_.meaningless;
        report.tally = journal->Sums();
        report.volumes = ground_.volumes;
        report.findings = std::move(journal->Findings());
        std::ranges::move(ground_.findings, std::back_inserter(report.findings));
        FinishReport(options_.output, known_, &report);
        return report;
    }

    const AuditOptions& options_;
    const std::vector<Known> known_;  ///< read first: a bad file must not cost the audit
    const std::string share_;
    const std::string raw_;
    Ground ground_;
    Division division_;
};

}  // namespace

int RunAudit(const AuditOptions& options) {
    return Audit(options).Run();
}

void RefuseInShare(const std::string& path, const std::string& share) {
    if (LiesIn(path, share)) {
        throw terminal::ToolError(path + ": lies in the share, which is not written to");
    }
}

void MakeOutput(const std::string& directory, const std::vector<std::string>& shares) {
    for (const std::string& share : shares) {
        RefuseInShare(directory, share);
    }
    std::error_code failure;
    const bool isNew = fs::create_directories(directory, failure);
    if (failure) {
        throw terminal::ToolError(terminal::Errno(directory, failure.value()));
    }
    if (isNew) {
        // Names of files are not for everyone.
        ::chmod(directory.c_str(), S_IRWXU);
    }
}

void PrintReported(const std::string& text) {
    try {
        terminal::PrintResult(text);
    } catch (const terminal::Interrupted& interrupted) {
        if (interrupted.signal != SIGPIPE) {
            throw;
        }
    }
}

void FinishReport(const std::string& directory, const std::vector<Known>& known, Report* report) {
    Compose(report);
    CarryOver(directory, report);
    Acknowledge(known, report->ended, report);
    // Again, now that it is known what was acknowledged.
    Compose(report);
}

}  // namespace jorvaudit
