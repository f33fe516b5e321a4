#include "jorvaudit/tree_audit.h"

#include <sys/stat.h>

#include <algorithm>
#include <boost/range/adaptor/reversed.hpp>
#include <utility>

#include "jorvaudit/judgement.h"
#include "terminal/interrupt.h"
#include "terminal/printable.h"

namespace jorvaudit {

namespace {

constexpr std::size_t kMostFiles = 1000;

bool IsDirectory(const std::string& path) {
    struct stat attributes = {};
    return ::stat(path.c_str(), &attributes) == 0 && S_ISDIR(attributes.st_mode);
}

bool IsItselfDirectory(const std::string& path) {
    struct stat attributes = {};
    return ::lstat(path.c_str(), &attributes) == 0 && S_ISDIR(attributes.st_mode);
}

// The uppermost directory above `path`, or it itself, that a tree does not have: "map/a".
std::string MissingTop(const std::string& share, Tree tree, const std::string& path) {
    for (std::size_t end = 0; end != std::string::npos;) {
        end = path.find('/', end == 0 ? 0 : end + 1);
        const std::string upper = path.substr(0, end);
        if (!IsDirectory(PathIn(share, tree, upper))) {
            const bool isWhole = !IsDirectory(PathIn(share, tree, ""));
            const std::string name(kTreeNames.at(static_cast<std::size_t>(tree)));
            return isWhole ? name : Below(name, upper);
        }
    }
    return {};
}

// A missing directory is one cause for all the files that it held.
void SetGroup(const std::string& share, const Listing& listing, Finding* finding) {
    const Kind* const kind = finding->kind;
    const bool ofHead =
        kind == &kinds::kExtentsWithoutHeader || kind == &kinds::kStorageUnitWithoutHeader;
    const bool ofMap = kind == &kinds::kHeaderWithoutExtents;
    if (ofHead || ofMap || kind == &kinds::kStorageUnitMissing) {
        const Tree tree = ofHead ? Tree::kHead : ofMap ? Tree::kMap : Tree::kStu;
        if (listing.missing.at(static_cast<std::size_t>(tree))) {
            finding->group = MissingTop(share, tree, listing.path);
        }
    }
}

}  // namespace

TreeAudit::TreeAudit(Means means, std::function<void(const Advance&)> show)
    : means_(std::move(means)),
      show_(std::move(show)),
      children_(means_.jobs),
      running_(means_.jobs) {
    advance_.files = means_.journal->Sums()[What::kFiles].thereAre;
    advance_.findings = means_.journal->Findings().size();
}

void TreeAudit::Run(const std::vector<Unit>& units) {
    for (const Unit& unit : units) {
        auto directory = std::make_shared<Directory>();
        directory->listing.path = unit.path;
        directory->weight = 1.0 / static_cast<double>(units.size());
        directory->withBelow = unit.withBelow;
        waiting_.push_back(std::move(directory));
    }
    std::ranges::reverse(waiting_);
    // Of the directories that were finished before an interruption.
    GoDownUnderHeaders(means_.journal->Findings());
    for (;;) {
        terminal::CheckInterrupt();
        while (children_.HasFreeSlot() && FindTask()) {
            StartTask();
        }
        if (children_.IsIdle()) {
            return;
        }
        Children::Ended ended;
        if (children_.Wait(std::chrono::milliseconds(200), &ended)) {
            // An arrived signal may have ended the child as well: then it says nothing of its
            // files.
            terminal::CheckInterrupt();
            FinishTask(ended);
        }
        show_(advance_);
    }
}

bool TreeAudit::FindTask() {
    while (ready_.empty() && !waiting_.empty()) {
        terminal::CheckInterrupt();
        OpenDirectory();
    }
    return !ready_.empty();
}

void TreeAudit::OpenDirectory() {
    const std::shared_ptr<Directory> directory = std::move(waiting_.back());
    waiting_.pop_back();
    const std::string path = directory->listing.path;
    Listing& listing = directory->listing;
    listing = ListDirectory(means_.settings->share, path, means_.settings->tables);
    if (directory->withBelow && !listing.directories.empty()) {
        // The directory itself counts as much as each of those below it.
        directory->weight /= 1.0 + static_cast<double>(listing.directories.size());
        for (const std::string& name : boost::adaptors::reverse(listing.directories)) {
            auto below = std::make_shared<Directory>();
            below->listing.path = Below(path, name);
            below->weight = directory->weight;
            waiting_.push_back(std::move(below));
        }
    }
    if (means_.journal->HasStep("/" + path)) {
        advance_.part += directory->weight;
        return;
    }
    CountNames(directory.get());
    directory->findings = listing.findings;
    if (std::ranges::none_of(listing.unreadable, std::identity())) {
        AddTasks(directory);
    }
    if (directory->pending == 0) {
        Complete(directory.get());
    }
}

void TreeAudit::CountNames(Directory* directory) const {
    const Listing& listing = directory->listing;
    Tally& tally = directory->tally;
    const bool whole =
        !listing.isLinked && std::ranges::none_of(listing.unreadable, std::identity());
    tally[What::kDirectories] = {.lookedAt = whole ? 1U : 0U, .thereAre = 1 + listing.linked};
    for (const FileEntry& file : listing.files) {
        ++tally[What::kFiles].thereAre;
        tally[What::kHeaders].thereAre += file.header != Has::kNothing ? 1U : 0U;
        tally[What::kExtents].thereAre += file.extents != Has::kNothing ? 1U : 0U;
        tally[What::kLocalData].thereAre += file.unit != Has::kNothing ? 1U : 0U;
    }
    tally.hostile = listing.hostile;
    if (!listing.files.empty()) {
        tally.AddFiles(listing.path, listing.files.size());
    }
}

void TreeAudit::AddTasks(const std::shared_ptr<Directory>& directory) {
    const Listing& listing = directory->listing;
    Task task = {.directory = directory, .files = {}};
    const auto flush = [&] {
        if (!task.files.empty()) {
            ++directory->pending;
            ready_.push_back(std::exchange(task, {.directory = directory, .files = {}}));
        }
    };
    for (std::uint32_t number = 0; number < listing.files.size(); ++number) {
        const FileEntry& file = listing.files[number];
        if (file.header == Has::kNothing) {
            Finding finding = JudgeOrphan(Below(listing.path, file.name), file);
            SetGroup(means_.settings->share, listing, &finding);
            directory->findings.push_back(std::move(finding));
            continue;
        }
        task.files.push_back(number);
        if (task.files.size() == kMostFiles) {
            flush();
        }
    }
    flush();
}

void TreeAudit::StartTask() {
    Task task = std::move(ready_.front());
    ready_.pop_front();
    const std::size_t slot = children_.FreeSlot();
    const std::string view = means_.scratch + "/" + std::to_string(slot);
    running_.at(slot) = std::move(task);
    const Task& run = running_.at(slot);
    children_.Start({.body =
                         [this, &run, view] {
                             return Encode(CheckView(*means_.settings, run.directory->listing,
                                                     run.files, view));
                         },
                     .limit = means_.timeLimit,
                     .extension = [this, &run] { return TimeForSizes(run); }});
}

void TreeAudit::FinishTask(const Children::Ended& ended) {
    const Task task = std::exchange(running_.at(ended.slot), {});
    ViewOutcome outcome;
    if (ended.IsRegular()) {
        outcome = DecodeOutcome(ended.result);
    } else if (task.files.size() == 1) {
        outcome =
            JudgeLostFile(*means_.settings, task.directory->listing, task.files.front(), ended);
    } else {
        outcome.mustBeCut = true;
    }
    if (outcome.mustBeCut) {
        Cut(task, outcome.suspects);
    } else {
        AddOutcome(task, std::move(outcome));
    }
}

// A finding belongs to the file that is alone in its view, so a view with something wrong is cut
// down to single files. Suspects are put aside first, one by one; without one, the view is cut in
// two.
void TreeAudit::Cut(const Task& task, const std::vector<std::uint32_t>& suspects) {
    std::vector<std::vector<std::uint32_t>> pieces;
    std::vector<std::uint32_t> rest;
    std::ranges::set_difference(task.files, suspects, std::back_inserter(rest));
    if (suspects.empty()) {
        const auto half = rest.begin() + static_cast<std::ptrdiff_t>(rest.size() / 2);
        pieces.emplace_back(rest.begin(), half);
        rest.erase(rest.begin(), half);
    }
    for (const std::uint32_t suspect : suspects) {
        pieces.push_back({suspect});
    }
    if (!rest.empty()) {
        pieces.push_back(std::move(rest));
    }
    task.directory->pending += pieces.size() - 1;
    for (std::vector<std::uint32_t>& piece : boost::adaptors::reverse(pieces)) {
        ready_.push_front({.directory = task.directory, .files = std::move(piece)});
    }
}

void TreeAudit::AddOutcome(const Task& task, ViewOutcome outcome) {
    Directory& directory = *task.directory;
    directory.tally += outcome.tally;
    for (Finding& finding : outcome.findings) {
        SetGroup(means_.settings->share, directory.listing, &finding);
        directory.findings.push_back(std::move(finding));
    }
    if (!outcome.raw.empty()) {
        const FileEntry& file = directory.listing.files.at(task.files.front());
        directory.raw += "# " + terminal::Printable(Below(directory.listing.path, file.name)) +
                         "\n" + outcome.raw;
    }
    advance_.files += task.files.size();
    advance_.findings += outcome.findings.size();
    if (--directory.pending == 0) {
        Complete(&directory);
    }
}

void TreeAudit::Complete(Directory* directory) {
    // Views end in any order.
    std::ranges::sort(directory->findings);
    means_.journal->Add("/" + directory->listing.path, directory->tally, directory->findings,
                        directory->raw);
    advance_.part += directory->weight;
    GoDownUnderHeaders(directory->findings);
}

// With tables, each file has a directory in the map tree. One without tables, under a header, is
// that of a directory whose place in the head tree something else has taken: what is below it is
// looked at too. The header has a finding then, so no other file needs a look.
void TreeAudit::GoDownUnderHeaders(const std::vector<Finding>& findings) {
    if (!means_.settings->tables) {
        return;
    }
    std::string last;
    for (const Finding& finding : findings) {
        const std::string& path = finding.name;
        if (finding.object != Object::kFile || path == last) {
            continue;
        }
        last = path;
        const std::string& share = means_.settings->share;
        const std::string map = PathIn(share, Tree::kMap, path);
        struct stat header = {};
        // The listing has gone down where the stu tree has a directory, or nothing is in head.
        if (IsItselfDirectory(map) && !HoldsTables(map) &&
            !IsItselfDirectory(PathIn(share, Tree::kStu, path)) &&
            ::lstat(PathIn(share, Tree::kHead, path).c_str(), &header) == 0 &&
            !S_ISDIR(header.st_mode)) {
            auto below = std::make_shared<Directory>();
            below->listing.path = path;
            waiting_.push_back(std::move(below));
        }
    }
}

// Reading local data may take long on a slow disk, and says nothing then.
Children::Seconds TreeAudit::TimeForSizes(const Task& task) const {
    constexpr double kSlowestBytesPerSecond = 1 << 20;
    double bytes = 0;
    for (const std::uint32_t number : task.files) {
        const std::string path =
            Below(task.directory->listing.path, task.directory->listing.files[number].name);
        struct stat attributes = {};
        if (::stat(PathIn(means_.settings->share, Tree::kStu, path).c_str(), &attributes) == 0) {
            bytes += static_cast<double>(attributes.st_size);
        }
    }
    return Children::Seconds(bytes / kSlowestBytesPerSecond);
}

}  // namespace jorvaudit
