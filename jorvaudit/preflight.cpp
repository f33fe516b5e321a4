#include "jorvaudit/preflight.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <boost/range/adaptor/reversed.hpp>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <system_error>
#include <utility>

#include "jorvaudit/captured.h"
#include "jorvaudit/judgement.h"
#include "jorvaudit/listing.h"
#include "jorvaudit/view.h"
#include "jorvaudit/volumes.h"
#include "terminal/printable.h"
#include "terminal/tool_error.h"

namespace jorvaudit {

namespace {

namespace fs = std::filesystem;

constexpr const char* kConfigVariable = "JORV_CONFIG";

std::string NamedConfig() {
    // Nothing in the process changes its environment.
    const char* const path = std::getenv(kConfigVariable);
    return path == nullptr ? "" : path;
}

int OpenError(const std::string& path) {
    struct stat attributes = {};
    if (::stat(path.c_str(), &attributes) != 0) {
        return errno;
    }
    // By the effective rights: access() would leave out the capabilities of a service.
    return ::faccessat(AT_FDCWD, path.c_str(), R_OK, AT_EACCESS) != 0 ? errno : 0;
}

// The library's answers, or nothing and why.
bool Ask(const std::string& id, Children::Seconds limit, StorageFacts* facts, std::string* reason) {
    const Children::Ended ended = RunInChild({.body = [&]() -> std::string {
                                                  try {
                                                      return "+" + Encode(AskStorage(id));
                                                  } catch (const std::exception& failure) {
                                                      return std::string("-") + failure.what();
                                                  }
                                              },
                                              .limit = limit});
    if (ended.IsRegular() && ended.result.starts_with('+')) {
        *facts = DecodeFacts(ended.result.substr(1));
        return true;
    }
    *reason = ended.IsRegular() ? ended.result.substr(1) : "the storage library does not answer";
    return false;
}

// Of the files whose extents are there, the first ones in the order of names: do they fit the
// configuration? A single one that does not is damage.
bool HasOtherLayout(const std::string& share, bool tables) {
    constexpr std::size_t kMostFiles = 100;
    constexpr int kMostDirectories = 1000;
    std::size_t asTables = 0;
    std::size_t asFiles = 0;
    std::vector<std::string> waiting = {""};
    for (int i = 0; i < kMostDirectories && !waiting.empty() && asTables + asFiles < kMostFiles;
         ++i) {
        const std::string path = std::move(waiting.back());
        waiting.pop_back();
        const Listing listing = ListDirectory(share, path, tables);
        for (const FileEntry& file : listing.files) {
            // Without a header, tables and a directory of a lost one look alike.
            if (file.header == Has::kNothing) {
                continue;
            }
            asFiles += file.extents == Has::kFile ? 1U : 0U;
            asTables += file.extents == Has::kDirectory &&
                                HoldsTables(PathIn(share, Tree::kMap, Below(path, file.name)))
                            ? 1U
                            : 0U;
        }
        for (const std::string& name : boost::adaptors::reverse(listing.directories)) {
            waiting.push_back(Below(path, name));
        }
    }
    return tables ? asTables == 0 && asFiles > 0 : asFiles == 0 && asTables > 0;
}

class Preflight {
  public:
    Preflight(const AuditOptions& options, const std::string& scratch)
        : options_(options), scratch_(scratch), limit_(options.timeLimit) {}

    Ground Run() {
        ground_.share = FindShare(options_);
        ground_.configPath = NamedConfig();
        CheckConfiguration();
        if (!ground_.meaningless) {
            CheckShare();
        }
        if (!ground_.meaningless) {
            TryChecker();
        }
        if (!ground_.meaningless) {
            CheckIdentifier();
            CheckVolumes();
        }
        return std::move(ground_);
    }

  private:
    void Add(const Kind& kind, const std::string& name, std::string detail = {},
             Object object = Object::kShare) {
        ground_.findings.push_back(
            {.kind = &kind, .object = object, .name = name, .detail = std::move(detail)});
    }

    void IsMeaningless(const Kind& kind, const std::string& name, std::string detail = {}) {
        Add(kind, name, std::move(detail));
        ground_.meaningless = true;
    }

    void CheckConfiguration() {
        const int code = ground_.configPath.empty() ? 0 : OpenError(ground_.configPath);
        std::string reason;
        if (code != 0) {
            IsMeaningless(kinds::kConfigurationMissing, ground_.configPath, ErrorText(code));
        } else if (!Ask(options_.shareId, limit_, &ground_.facts, &reason)) {
            IsMeaningless(kinds::kConfigurationUnusable, ground_.configPath,
                          terminal::Printable(reason));
        }
    }

    void CheckShare() {
        std::error_code failure;
        const fs::directory_iterator listing(ground_.share, failure);
        if (failure) {
            IsMeaningless(kinds::kSharePathMissing, ground_.share, ErrorText(failure.value()));
            return;
        }
        for (const Tree tree : {Tree::kHead, Tree::kMap, Tree::kStu}) {
            struct stat attributes = {};
            const std::string path = PathIn(ground_.share, tree, "");
            // With tables a share may have no local data at all.
            const bool isNeeded = tree != Tree::kStu || !ground_.facts.tables;
            const int code = ::stat(path.c_str(), &attributes) != 0 ? errno
                             : S_ISDIR(attributes.st_mode)          ? 0
                                                                    : ENOTDIR;
            if (code == ENOTDIR || (code != 0 && isNeeded)) {
                Add(kinds::kTreeMissing, std::string(kTreeNames.at(static_cast<std::size_t>(tree))),
                    ErrorText(code));
            }
        }
        if (HasOtherLayout(ground_.share, ground_.facts.tables)) {
            IsMeaningless(kinds::kLayoutMismatch, ground_.configPath,
                          std::string("configured for ") +
                              (ground_.facts.tables ? "mapping tables" : "extent files"));
        }
    }

    // A view without any file shows whether the checker runs at all, and what lines the storage
    // library adds of its own.
    void TryChecker() {
        ViewSettings& settings = ground_.settings;
        settings.share = ground_.share;
        settings.tables = ground_.facts.tables;
        settings.checker = options_.checker;
        const View empty(scratch_ + "/empty");
        const auto [run, reader] = RunOver(empty);
        settings.expected = {reader.Unknown().begin(), reader.Unknown().end()};
        if (!run.EndText().empty() || !reader.Findings().empty()) {
            IsMeaningless(kinds::kCheckerUnusable, settings.checker, run.EndText());
            for (const std::string& line : reader.Unknown()) {
                ground_.findings.back().lines.push_back(terminal::Printable(line));
            }
            return;
        }
        TryDamage();
    }

    // A program that is no checker may end regularly and say nothing, over damage too.
    void TryDamage() {
        View damaged(scratch_ + "/damaged");
        const std::string nothing = scratch_ + "/no-header";
        std::ofstream(nothing).close();
        damaged.Add(nothing, nothing, nullptr);
        const LineReader reader = RunOver(damaged).second;
        if (std::ranges::find(reader.Findings(), &lines::kCorruptHeader, &KnownLine::line) ==
            reader.Findings().end()) {
            IsMeaningless(kinds::kCheckerUnusable, ground_.settings.checker,
                          "it does not report a header that is empty");
        }
    }

    std::pair<Captured, LineReader> RunOver(const View& view) {
        const ViewSettings& settings = ground_.settings;
        Captured run = RunCaptured({settings.checker, "--share_path", view.Path()}, limit_);
        LineReader reader(&settings.expected);
        reader.Add(lines::Stream::kOutput, run.out);
        reader.Add(lines::Stream::kError, run.err);
        reader.Finish();
        return {std::move(run), std::move(reader)};
    }

    void CheckIdentifier() {
        if (options_.shareId.empty()) {
            return;
        }
        const std::string known =
            ground_.facts.metaDir + "/" + ground_.facts.shareDir + "/" + options_.shareId;
        ground_.idFits = LiesInSame(known, ground_.share);
        if (!ground_.idFits) {
            Add(kinds::kWrongId, known);
        }
    }

    static bool LiesInSame(const std::string& a, const std::string& b) {
        std::error_code failure;
        return fs::equivalent(a, b, failure) && !failure;
    }

    void CheckVolumes() {
        if (!ground_.facts.volumeTableReadable) {
            Add(kinds::kVolumeTableUnreadable, ground_.facts.volumeTable);
            ground_.settings.knowsContainers = false;
            return;
        }
        const Children::Ended ended =
            RunInChild({.body = [&] { return Encode(SearchVolumes(ground_.facts.volumes)); },
                        .limit = limit_ * 12});
        if (!ended.IsRegular()) {
            ground_.settings.knowsContainers = false;
            for (const VolumeEntry& entry : ground_.facts.volumes) {
                ground_.volumes.push_back({.path = entry.path, .containers = 0, .whole = false});
                Add(kinds::kVolumeUnreadable, entry.path, "the search of the volumes did not end",
                    Object::kVolume);
            }
            return;
        }
        VolumeSearch search = DecodeSearch(ended.result);
        ground_.volumes = std::move(search.volumes);
        ground_.settings.containers = std::move(search.containers);
        std::ranges::move(search.findings, std::back_inserter(ground_.findings));
    }

    const AuditOptions& options_;
    const std::string& scratch_;
    const Children::Seconds limit_;
    Ground ground_;
};

}  // namespace

Ground Prepare(const AuditOptions& options, const std::string& scratch) {
    return Preflight(options, scratch).Run();
}

std::string FindShare(const AuditOptions& options) {
    std::string path = options.sharePath;
    if (path.empty()) {
        StorageFacts facts;
        std::string reason;
        if (!Ask(options.shareId, Children::Seconds(options.timeLimit), &facts, &reason)) {
            throw terminal::ToolError("share " + options.shareId + ": " + reason);
        }
        path = facts.metaDir + "/" + facts.shareDir + "/" + options.shareId;
    }
    std::error_code failure;
    const fs::path canonical = fs::weakly_canonical(fs::absolute(path, failure), failure);
    std::string share = failure ? path : canonical.string();
    while (share.size() > 1 && share.ends_with('/')) {
        share.pop_back();
    }
    return share;
}

}  // namespace jorvaudit
