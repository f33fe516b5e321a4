#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "jorvshare/make/make.h"
#include "tests/blocks/failing_mount.h"
#include "tests/blocks/failing_reads.h"
#include "tests/model/checker_run.h"
#include "tests/support/temp_dir.h"

// Lets each 4 KiB block of each file of small shares fail, once and for good: the checker prints
// what the model predicts, and the audit names the file, as unreadable and not as damaged, and
// nothing else. So does a directory that cannot be listed.

namespace {

using blocks::FailingFiles;
using nlohmann::json;
namespace fs = std::filesystem;

/// Statuses of an audit, as fsck has them. Both may be set.
enum AuditStatus : std::uint8_t { kSound = 0, kDamaged = 4, kUnchecked = 8 };

/// What an audit should say.
struct Expectation {
    int status = kSound;
    std::set<std::string> findings = {};  ///< as FindingText makes them
    std::set<std::string> files = {};     ///< user files among them
};

json Extents(std::size_t count, std::uint64_t size, std::uint64_t dcid) {
    json extents = json::array();
    for (std::size_t i = 0; i < count; ++i) {
        extents.push_back({{"start", size * i}, {"end", size * (i + 1)}, {"dcid", dcid}});
    }
    return extents;
}

/// A file with local data of `count` extents of `size` bytes each, or with data in a container.
json File(const std::string& path, bool tables, std::size_t count, std::uint64_t size, bool local) {
    const json extents = Extents(count, size, local ? 1 : 70);
    json file = {{"path", path}, {"header", json::object()}};
    if (tables) {
        file["tables"] = {{"tables", {{{"offset", 0}, {"extents", extents}}}}};
    } else {
        file["extent_file"] = {{"extents", extents}};
    }
    if (local) {
        file["stu"] = {{"repeat", {"41", size * count}}};
    }
    return file;
}

struct Site {
    std::string name;
    bool tables = false;
    bool local = false;
};

/// One extent over several blocks, several extents, and extents over several blocks.
json Recipe(const Site& site) {
    json files = {File("one", site.tables, 1, 9000, site.local),
                  File("d/several", site.tables, 3, 4096, site.local),
                  File("d/large", site.tables, 120, 600, site.local),
                  File("d/other", site.tables, 2, 100, site.local && site.tables)};
    json share = {{"id", "7"}, {"files", files}};
    json recipe = {
        {"config",
         {{"use_file_ext_map", site.tables ? 1 : 0}, {"dcid_bloom_enabled", site.tables}}},
        {"volumes", {{{"name", "v1"}, {"containers", {70}}}}}};
    if (!site.tables) {
        share["vcopy"] = "P\nT\ni1;\n";
        recipe["images"] = {{{"policy", "P"}, {"time", "T"}, {"name", "i1"}}};
    }
    recipe["shares"] = json::array({share});
    return recipe;
}

/// A finding as a line: all that the report says of it.
std::string FindingText(const std::string& kind, const std::string& title,
                        const std::string& object, const std::string& name,
                        const std::string& detail) {
    return object + " " + name + ": " + title + " (" + kind + "), " + detail + "\n";
}

constexpr const char* kError = "Input/output error (errno 5)";

/// The one finding of what cannot be read.
Expectation Unreadable(const std::string& kind, const std::string& title, const std::string& object,
                       const std::string& name, const std::string& detail = kError) {
    Expectation wanted = {.status = kUnchecked,
                          .findings = {FindingText(kind, title, object, name, detail)}};
    if (object == "file") {
        wanted.files.insert(name);
    }
    return wanted;
}

Expectation UnreadableVolume(const Site& site, const std::string& volume) {
    Expectation wanted =
        Unreadable("volume-unreadable", "volume that cannot be searched", "volume", volume);
    // The files with data in its container.
    if (!site.tables) {
        wanted.files = {"d/other"};
    } else if (!site.local) {
        wanted.files = {"one", "d/several", "d/large", "d/other"};
    }
    for (const std::string& file : wanted.files) {
        wanted.status = kDamaged | kUnchecked;
        wanted.findings.insert(FindingText("container-missing", "data container that no volume has",
                                           "file", file, "container 70"));
    }
    return wanted;
}

/// What the audit should say while a block of a file cannot be read.
Expectation UnreadableFile(const std::string& place, const std::string& relative) {
    const std::string path = place + "/" + relative;
    if (relative == "jorv.toml") {
        return Unreadable("configuration-unusable", "configuration that cannot be used", "share",
                          path, path + ": Input/output error");
    }
    if (relative == "fstab") {
        return Unreadable("volume-table-unreadable", "table of volumes that cannot be read",
                          "share", path, "");
    }
    if (relative == "meta/7/7/vcopy.dat") {
        return Unreadable("image-list-unreadable", "list of images that cannot be read", "share",
                          "vcopy.dat");
    }
    if (relative.starts_with("images/")) {
        // The library's number for a damaged image is that of a read error.
        Expectation wanted = Unreadable("image-failed", "container image that is not sound",
                                        "image", "P:T:i1", "code 5");
        wanted.status = kDamaged;
        return wanted;
    }
    for (const auto& [tree, kind, title] :
         {std::array{"head", "header-unreadable", "header that cannot be read"},
          std::array{"map", "extents-unreadable", "extents that cannot be read"},
          std::array{"stu", "storage-unit-unreadable", "storage unit that cannot be read"}}) {
        const std::string root = std::string("meta/7/7/") + tree + "/";
        if (relative.starts_with(root)) {
            const std::string file = relative.substr(root.size());
            const std::string_view data = "/data.mdb";
            return Unreadable(
                kind, title, "file",
                file.ends_with(data) ? file.substr(0, file.size() - data.size()) : file);
        }
    }
    // The data of containers is not looked at.
    return {};
}

/// What the audit should say while a directory cannot be listed.
Expectation UnlistedDirectory(const Site& site, const std::string& place,
                              const std::string& relative) {
    const std::string path = place + "/" + relative;
    if (relative == "meta/7/7") {
        return Unreadable("share-path-missing", "share that is not there", "share", path);
    }
    if (relative == "volumes/v1") {
        return UnreadableVolume(site, path);
    }
    for (const std::string tree : {"head", "map", "stu"}) {
        for (const std::string& name : {tree, tree + "/d"}) {
            if (relative == "meta/7/7/" + name) {
                return Unreadable("directory-unreadable", "directory that cannot be listed",
                                  "directory", name);
            }
        }
    }
    // Neither the directories above nor those of mapping tables need to be listed.
    return {};
}

std::string Joined(const std::set<std::string>& texts) {
    std::string all;
    for (const std::string& text : texts) {
        all += text;
    }
    return all;
}

class Blocks {
  public:
    /// @param hasFuse false: only reads of this program fail, and no audit is run.
    Blocks(std::string only, bool hasFuse) : only_(std::move(only)), hasFuse_(hasFuse) {
        const fs::path bin = fs::read_symlink("/proc/self/exe").parent_path();
        checker_ = bin / "jorvck";
        audit_ = bin / "jorvaudit";
    }

    int Run() {
        Try({.name = "extent-files", .tables = false, .local = true});
        Try({.name = "tables", .tables = true, .local = false});
        Try({.name = "local-tables", .tables = true, .local = true});
        std::printf(
            "%llu blocks and directories failed, %llu runs of the checker, %llu audits, "
            "%llu wrong\n",
            Shown(tried_), Shown(runs_), Shown(audits_), Shown(wrong_));
        // A run in which nothing fails shows nothing.
        std::printf("%llu failures in runs of the checker\n", Shown(failures_));
        return wrong_ == 0 && failures_ > 0 ? 0 : 1;
    }

  private:
    using Times = FailingFiles::Times;

    static unsigned long long Shown(std::uint64_t count) { return count; }

    // The site is made where the mount will be: headers and the table of volumes hold its path.
    void Try(const Site& site) {
        const test_support::TempDir directory;
        place_ = directory / "site";
        report_ = directory / "report";
        std::string source = place_;
        test_support::WriteFile(directory / "recipe.json", Recipe(site).dump());
        jorvshare::Make(directory / "recipe.json", place_);
        if (hasFuse_) {
            source = directory / "source";
            fs::rename(place_, source);
            fs::create_directory(place_);
            files_ = std::make_unique<blocks::FailingMount>(source, place_);
        } else {
            files_ = std::make_unique<blocks::FailingReads>(place_);
        }
        std::vector<std::vector<std::string>> modes = {{"--share_path", Share()}};
        const bool checksData = site.tables && !site.local;
        if (checksData) {
            modes.push_back({"--share_id", "7", "--verify_data"});
        }
        site_ = site;
        what_ = "nothing fails";
        hasId_ = !site.local || !site.tables;
        if (hasFuse_) {
            RunAudit();
            Judge({});
        }
        for (const auto& entry : fs::recursive_directory_iterator(source)) {
            const std::string relative = entry.path().native().substr(source.size() + 1);
            if (!relative.starts_with(only_)) {
                continue;
            }
            if (entry.is_directory() && hasFuse_) {
                TryListing(relative, modes);
            } else if (entry.is_regular_file()) {
                for (std::uint64_t block = 0; block * blocks::kBlock < entry.file_size(); ++block) {
                    TryBlock(relative, block, modes);
                }
            }
        }
        files_.reset();
    }

    void TryBlock(const std::string& relative, std::uint64_t block,
                  const std::vector<std::vector<std::string>>& modes) {
        ++tried_;
        for (const Times times : {Times::kOnce, Times::kAlways}) {
            what_ = relative + ", block " + std::to_string(block) +
                    (times == Times::kOnce ? ", once" : ", for good");
            const auto fail = [&] { files_->Fail(relative, block, times); };
            for (const auto& arguments : modes) {
                // The file data check opens a table and loads it anew even when that failed.
                const bool isMadeUpFor = times == Times::kOnce &&
                                         arguments.front() == "--share_id" &&
                                         relative.ends_with("/data.mdb");
                ExpectChecker(arguments, fail, isMadeUpFor);
            }
            fail();
            if (!hasFuse_) {
                continue;
            }
            RunAudit();
            const Expectation wanted = UnreadableFile(place_, relative);
            times == Times::kAlways ? Judge(wanted) : JudgeOver(wanted);
        }
    }

    void TryListing(const std::string& relative,
                    const std::vector<std::vector<std::string>>& modes) {
        ++tried_;
        what_ = relative + ", which cannot be listed";
        const auto fail = [&] { files_->FailListing(relative); };
        for (const auto& arguments : modes) {
            ExpectChecker(arguments, fail, false);
        }
        fail();
        RunAudit();
        Judge(UnlistedDirectory(site_, place_, relative));
    }

    void ExpectChecker(const std::vector<std::string>& arguments, const std::function<void()>& fail,
                       bool isMadeUpFor) {
        const model::Invocation invocation = {place_ + "/jorv.toml", arguments};
        isMadeUpFor ? files_->FailNothing() : fail();
        const model::Prediction predicted = model::Predict(invocation);
        fail();
        model::HowToRun how;
        // The program itself now and then.
        constexpr std::uint64_t kProgramEvery = 7;
        how.program = hasFuse_ && runs_ % kProgramEvery == 0 ? checker_ : "";
        ++runs_;
        const model::Ended ended = model::RunChecker(invocation, how);
        failures_ += files_->Failures();
        const std::string difference =
            model::Difference(predicted, ended.out, ended.err, ended.status);
        if (ended.hung || ended.signal != 0 || !difference.empty()) {
            Wrong(arguments.front() + ": not what the model says\n" + difference, ended);
        }
    }

    void Judge(const Expectation& wanted) {
        const std::set<std::string> findings = Findings();
        if (audited_.hung || audited_.signal != 0 || audited_.status != wanted.status ||
            Affected() != wanted.files || findings != wanted.findings) {
            Wrong("the audit should end with " + std::to_string(wanted.status) + " and find\n" +
                      Joined(wanted.findings) + "and not\n" + Joined(findings),
                  audited_);
        }
    }

    // An error that is over may be seen or not: what is found then is the same, but no damage.
    void JudgeOver(const Expectation& wanted) {
        const std::set<std::string> findings = Findings();
        const bool isNew = !std::ranges::includes(wanted.findings, findings) ||
                           !std::ranges::includes(wanted.files, Affected());
        if (isNew || (audited_.status != kSound && audited_.status != kUnchecked)) {
            Wrong("the audit judges an error that is over, and finds\n" + Joined(findings),
                  audited_);
        }
    }

    void RunAudit() {
        ++audits_;
        fs::remove_all(report_);
        std::vector<std::string> arguments = {"run",   "--share_path", Share(), "--output",
                                              report_, "--jobs",       "1"};
        if (hasId_) {
            arguments.insert(arguments.end(), {"--share_id", "7"});
        }
        model::HowToRun how;
        how.program = audit_;
        audited_ = model::RunChecker({place_ + "/jorv.toml", arguments}, how);
    }

    // But for those that only say how much was looked at.
    [[nodiscard]] std::set<std::string> Findings() const {
        std::ifstream in(report_ + "/report.json");
        const json report = json::parse(in, nullptr, false);
        if (report.is_discarded()) {
            return {"no report\n"};
        }
        std::map<std::string, std::string> titles;
        for (const json& cause : report.at("causes")) {
            titles[cause.at("kind")] = cause.at("title");
        }
        std::set<std::string> findings;
        for (const json& finding : report.at("findings")) {
            const std::string kind = finding.at("kind");
            if (kind != "incomplete") {
                findings.insert(FindingText(kind, titles[kind], finding.at("object"),
                                            finding.at("name"), finding.value("detail", "")));
            }
        }
        return findings;
    }

    [[nodiscard]] std::set<std::string> Affected() const {
        std::set<std::string> files;
        std::ifstream list(report_ + "/affected.txt");
        for (std::string line; std::getline(list, line);) {
            files.insert(line);
        }
        return files;
    }

    void Wrong(const std::string& why, const model::Ended& ended) {
        ++wrong_;
        std::printf(
            "\nWRONG: %s: %s: %s\nstatus %d, signal %d\n--- standard output\n%s"
            "--- standard error\n%s---\n",
            site_.name.c_str(), what_.c_str(), why.c_str(), ended.status, ended.signal,
            ended.out.c_str(), ended.err.c_str());
        std::fflush(stdout);
    }

    [[nodiscard]] std::string Share() const { return place_ + "/meta/7/7"; }

    const std::string only_;
    const bool hasFuse_;
    std::string checker_;
    std::string audit_;
    std::string place_;
    std::string report_;
    Site site_;
    std::string what_;
    bool hasId_ = false;
    std::unique_ptr<FailingFiles> files_;
    model::Ended audited_;
    std::uint64_t tried_ = 0;
    std::uint64_t runs_ = 0;
    std::uint64_t audits_ = 0;
    std::uint64_t wrong_ = 0;
    std::uint64_t failures_ = 0;
};

/// Why no file system can be mounted here; empty when one can.
std::string WhyNoMount() {
    if (::access("/dev/fuse", R_OK | W_OK) != 0) {
        return "without /dev/fuse";
    }
    const test_support::TempDir source;
    const test_support::TempDir place;
    try {
        // Containers often have the device and not the right to mount.
        const blocks::FailingMount mount(source.Path(), place.Path());
        return {};
    } catch (const std::runtime_error& refused) {
        return refused.what();
    }
}

}  // namespace

int main(int argc, char** argv) {
    try {
        std::string only;
        CLI::App app("Lets each block of each file of small shares fail.");
        app.add_option("--only", only, "files and directories of a site whose paths begin so");
        bool withoutFuse = false;
        app.add_flag("--without-fuse", withoutFuse, "as where there is no /dev/fuse");
        CLI11_PARSE(app, argc, argv);
        const std::string reason = withoutFuse ? "without /dev/fuse" : WhyNoMount();
        if (!reason.empty()) {
            std::printf("%s: reads of the library fail, in runs that are forked\n", reason.c_str());
            std::fflush(stdout);
        }
        return Blocks(only, reason.empty()).Run();
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "blocks: %s\n", failure.what());
        return 2;
    }
}
