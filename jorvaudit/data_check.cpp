#include "jorvaudit/data_check.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <boost/algorithm/string/replace.hpp>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <set>
#include <sstream>
#include <system_error>

#include "jorvaudit/captured.h"
#include "jorvaudit/data_lines.h"
#include "jorvaudit/judgement.h"
#include "jorvaudit/library_config.h"
#include "jorvaudit/listing.h"
#include "terminal/interrupt.h"
#include "terminal/tool_error.h"

namespace jorvaudit {

namespace {

namespace fs = std::filesystem;

constexpr const char* kConfigVariable = "JORV_CONFIG";
constexpr const char* kStandIn = "the file that is alone";

std::string OrDefault(const std::string& configuration) {
    return configuration.empty() ? "/etc/jorv/jorv.toml" : configuration;
}

// What the storage library says with another configuration than this process has.
std::optional<StorageFacts> AskWith(const std::string& configuration, const std::string& id,
                                    Children::Seconds limit) {
    const Children::Ended ended =
        RunInChild({.body =
                        [&] {
                            ::setenv(kConfigVariable, configuration.c_str(), 1);
                            return Encode(AskStorage(id));
                        },
                    .limit = limit});
    return ended.IsRegular() ? std::optional(DecodeFacts(ended.result)) : std::nullopt;
}

// Whether the library takes the metadata directory `meta` from a copy of its configuration, which
// is written to `copy`.
bool TakesMetaDir(const std::string& configuration, const std::string& id, const std::string& copy,
                  const std::string& meta, Children::Seconds limit) {
    try {
        CopyConfiguration(OrDefault(configuration), copy, meta);
    } catch (const terminal::ToolError&) {
        return false;
    }
    const std::optional<StorageFacts> facts = AskWith(copy, id, limit);
    return facts && facts->metaDir == meta;
}

class DataCheck {
  public:
    DataCheck(const DataCheckMeans& means, const Tally& sums, const std::vector<Finding>& found)
        : means_(means), sums_(sums), found_(found), share_(means.ground->share) {
        for (const Finding& finding : found) {
            const Kind* const kind = finding.kind;
            if (kind == &kinds::kCheckerKilled || kind == &kinds::kCheckerTimeout ||
                kind == &kinds::kCheckerFailed || kind == &kinds::kHeaderUnreadable) {
                leftOut_.insert(finding.name);
            } else if (kind == &kinds::kDirectoryUnreadable) {
                // The checker's listing of all headers ends at such a directory.
                mustBeLinked_ = true;
            } else if (finding.kind == &kinds::kExtentsElsewhere && !finding.detail.empty()) {
                apart_.insert(finding.name);
            }
        }
    }

    DataResult Run() {
        mustBeLinked_ = mustBeLinked_ || means_.options->parts > 1 || sums_.hostile > 0 ||
                        !leftOut_.empty() || !apart_.empty();
        if (mustBeLinked_ && PointElsewhere()) {
            LinkHeaders();
            RunOver({}, configuration_);
            RunApart();
        } else if (sums_.hostile > 0 || !apart_.empty()) {
            // Its lines could not be distinguished from names.
            AddEnd(
                "names of files hold line ends, and the storage library cannot be pointed at "
                "a part of a share");
        } else if (!mustBeLinked_ || means_.options->part == 1) {
            RunOver({}, {});
        }
        return std::move(result_);
    }

  private:
    void AddEnd(std::string detail) {
        result_.findings.push_back({.kind = &kinds::kDataCheckEnded,
                                    .object = Object::kShare,
                                    .name = "file data check",
                                    .detail = std::move(detail)});
    }

    [[nodiscard]] std::string ShareBelow(const std::string& root) const {
        return root + "/" + means_.ground->facts.shareDir + "/" + means_.options->shareId;
    }

    bool PointElsewhere() {
        const std::string configuration = means_.scratch + "/jorv.toml";
        const std::string meta = means_.scratch + "/meta";
        fs::create_directories(ShareBelow(meta) + "/head");
        if (!TakesMetaDir(means_.ground->configPath, means_.options->shareId, configuration, meta,
                          Children::Seconds(means_.options->timeLimit))) {
            return false;
        }
        links_ = ShareBelow(meta);
        configuration_ = configuration;
        return true;
    }

    void LinkHeaders() {
        std::vector<Unit> waiting(means_.units.rbegin(), means_.units.rend());
        while (!waiting.empty()) {
            terminal::CheckInterrupt();
            const Unit unit = std::move(waiting.back());
            waiting.pop_back();
            const Listing listing = ListHeaders(share_, unit.path);
            // One that is too deep for a path cannot be made: then its links fail, each with a
            // finding.
            std::error_code failure;
            fs::create_directories(PathIn(links_, Tree::kHead, unit.path), failure);
            for (const FileEntry& file : listing.files) {
                const std::string path = Below(unit.path, file.name);
                // What is no regular file, the checker's list of headers does not have.
                if (file.header != Has::kFile || leftOut_.contains(path)) {
                    continue;
                }
                if (path.find('\n') != std::string::npos) {
                    apart_.insert(path);
                } else if (!apart_.contains(path)) {
                    Link(path);
                }
            }
            for (const std::string& name : listing.directories) {
                if (unit.withBelow) {
                    waiting.push_back({.path = Below(unit.path, name), .withBelow = true});
                }
            }
        }
    }

    bool Link(const std::string& path) {
        const std::string link = PathIn(links_, Tree::kHead, path);
        if (::symlink(PathIn(share_, Tree::kHead, path).c_str(), link.c_str()) != 0) {
            result_.findings.push_back(
                {.kind = &kinds::kCheckGotError, .name = path, .detail = ErrorText(errno)});
            leftOut_.insert(path);
            return false;
        }
        return true;
    }

    // Gives the checker one file at a time: all its lines are then about that file, also where a
    // line end in the name makes them ambiguous.
    void RunApart() {
        for (const std::string& path : apart_) {
            terminal::CheckInterrupt();
            fs::remove_all(links_ + "/head");
            const std::string link = PathIn(links_, Tree::kHead, path);
            std::error_code failure;
            fs::create_directories(fs::path(link).parent_path(), failure);
            if (Link(path)) {
                RunOver(path, configuration_);
            }
        }
    }

    // @param only the one file of the run, or empty.
    void RunOver(const std::string& only, const std::string& configuration) {
        const std::string out = means_.raw + "/data.stdout";
        const std::string err = means_.raw + "/data.stderr";
        const std::uintmax_t outBegin = fs::exists(out) ? fs::file_size(out) : 0;
        const std::uintmax_t errBegin = fs::exists(err) ? fs::file_size(err) : 0;
        const AuditOptions& options = *means_.options;
        std::map<std::string, std::string> environment;
        if (!configuration.empty()) {
            environment[kConfigVariable] = configuration;
        }
        // The whole share is checked in one run, so its time grows with the files.
        const auto files = static_cast<double>(sums_[What::kData].thereAre);
        const Captured run =
            RunCaptured({means_.ground->settings.checker, "--share_id", options.shareId,
                         "--verify_data", "--t", std::to_string(options.hours)},
                        Children::Seconds(options.timeLimit * 12 + files), environment, out, err);
        DataLines lines(ContextFor(only));
        ReadLines(err, errBegin, only, &lines);
        for (Finding& finding : lines.Findings()) {
            // A file that is alone may have a header whose values divide lines.
            if (only.empty() || finding.object == Object::kFile) {
                result_.findings.push_back(std::move(finding));
            }
        }
        if (!run.EndText().empty() || !SaysDone(out, outBegin)) {
            AddEnd(run.EndText().empty() ? "it did not say that it is done" : run.EndText());
        } else if (!means_.ground->volumes.empty()) {
            const std::uint64_t checked = CountOf(only, lines);
            result_.lookedAt += checked - std::min(checked, lines.NotChecked());
        }
    }

    [[nodiscard]] std::uint64_t CountOf(const std::string& only, const DataLines& lines) const {
        if (!only.empty()) {
            return 1;
        }
        // A run over the whole share in the name of all parts has looked at more than this part
        // has.
        if (links_.empty() && means_.options->parts > 1) {
            return lines.Total();
        }
        const std::uint64_t all = sums_[What::kData].thereAre;
        return all - std::min<std::uint64_t>(all, apart_.size() + leftOut_.size());
    }

    [[nodiscard]] DataLines::Context ContextFor(const std::string& only) const {
        const StorageFacts& facts = means_.ground->facts;
        return {.mount = "/mnt/jorv/" + facts.shareDir + "/" + means_.options->shareId + "/",
                .fileOf = [this, only](const std::string& path) -> std::optional<std::string> {
                    if (!only.empty()) {
                        return path == kStandIn ? std::optional(only) : std::nullopt;
                    }
                    return IsThere(Tree::kHead, path) ? std::optional(path) : std::nullopt;
                },
                .hasExtents = [this](const std::string& path) { return IsThere(Tree::kMap, path); },
                .found = &found_,
                .volumesExplain = VolumesExplain(),
                .expected = &means_.ground->settings.expected};
    }

    [[nodiscard]] bool VolumesExplain() const {
        return std::ranges::any_of(means_.ground->findings, [](const Finding& finding) {
            return finding.kind == &kinds::kContainersFailed ||
                   finding.kind == &kinds::kVolumeUnreadable;
        });
    }

    [[nodiscard]] bool IsThere(Tree tree, const std::string& path) const {
        struct stat attributes = {};
        return ::stat(PathIn(share_, tree, path).c_str(), &attributes) == 0;
    }

    // The name of a file that is alone in its run may hold anything, so it is replaced before the
    // lines are divided.
    static void ReadLines(const std::string& file, std::uintmax_t begin, const std::string& only,
                          DataLines* lines) {
        std::ifstream in(file, std::ios::binary);
        in.seekg(static_cast<std::streamoff>(begin));
        std::string line;
        if (only.empty()) {
            while (std::getline(in, line)) {
                lines->Add(line);
            }
            return;
        }
        std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
        boost::algorithm::replace_all(text, "/" + only, std::string("/") + kStandIn);
        std::istringstream replaced(text);
        while (std::getline(replaced, line)) {
            lines->Add(line);
        }
    }

    static bool SaysDone(const std::string& file, std::uintmax_t begin) {
        std::ifstream in(file, std::ios::binary);
        in.seekg(static_cast<std::streamoff>(begin));
        std::string line;
        std::string last;
        while (std::getline(in, line)) {
            last = line;
        }
        return lines::Match(lines::kDone, last + "\n").has_value();
    }

    const DataCheckMeans& means_;
    const Tally& sums_;
    const std::vector<Finding>& found_;
    const std::string& share_;
    bool mustBeLinked_ = false;
    std::set<std::string> leftOut_;
    std::set<std::string> apart_;
    std::string links_;
    std::string configuration_;
    DataResult result_;
};

}  // namespace

DataResult CheckData(const DataCheckMeans& means, const Tally& sums,
                     const std::vector<Finding>& found) {
    return DataCheck(means, sums, found).Run();
}

bool DividesDataCheck(const std::string& configuration, const std::string& id,
                      const std::string& scratch) {
    constexpr Children::Seconds kLimit(60);
    std::error_code failure;
    if (!fs::exists(OrDefault(configuration), failure)) {
        return true;
    }
    const std::optional<StorageFacts> facts = AskWith(OrDefault(configuration), id, kLimit);
    return !facts || !facts->tables ||
           TakesMetaDir(configuration, id, scratch + "/jorv.toml", scratch + "/meta", kLimit);
}

}  // namespace jorvaudit
