#include "jorvaudit/view_check.h"

#include <algorithm>

#include "jorvaudit/checker.h"
#include "jorvaudit/judgement.h"
#include "jorvaudit/report_json.h"
#include "jorvaudit/storage_look.h"
#include "jorvaudit/view.h"

namespace jorvaudit {

namespace {

class ViewCheck {
  public:
    ViewCheck(const ViewSettings& settings, const Listing& listing,
              const std::vector<std::uint32_t>& files, const std::string& viewPath)
        : settings_(settings),
          listing_(listing),
          files_(files),
          view_(viewPath),
          reader_(&settings.expected),
          look_(settings.share, settings.tables,
                settings.knowsContainers ? &settings.containers : nullptr) {}

    ViewOutcome Run() {
        RunOverView();
        const bool alone = files_.size() == 1;
        std::vector<FileFacts> facts = LookAtFiles(alone);
        if (!alone) {
            FindSuspects(facts);
        } else if (verdict_.EndedWithLines() && !facts.front().HasError()) {
            // What can be read now may not have been readable for the checker. Damage stays.
            RunOverView();
            facts = LookAtFiles(alone);
        }
        if (!outcome_.mustBeCut) {
            JudgeFiles(facts);
        }
        return std::move(outcome_);
    }

  private:
    [[nodiscard]] std::string PathOf(std::uint32_t number) const {
        return Below(listing_.path, listing_.files[number].name);
    }

    std::vector<FileFacts> LookAtFiles(bool alone) {
        const Depth depth = verdict_.IsClean() && !reader_.NamesContainers() ? Depth::kHeader
                            : alone && !verdict_.IsClean()                   ? Depth::kData
                                                                             : Depth::kExtents;
        std::vector<FileFacts> facts;
        facts.reserve(files_.size());
        for (const std::uint32_t number : files_) {
            facts.push_back(look_.Look(listing_.path, listing_.files[number], depth));
        }
        return facts;
    }

    void RunOverView() {
        inView_.clear();
        verdict_ = {};
        reader_ = LineReader(&settings_.expected);
        for (const std::uint32_t number : files_) {
            const FileEntry& file = listing_.files[number];
            // The checker's verdict on a header without extents is known beforehand, and would hide
            // that on others.
            if (file.extents == Has::kNothing) {
                continue;
            }
            const std::string path = PathOf(number);
            const std::string unit = PathIn(settings_.share, Tree::kStu, path);
            view_.Add(PathIn(settings_.share, Tree::kHead, path),
                      PathIn(settings_.share, Tree::kMap, path),
                      file.unit == Has::kNothing ? nullptr : &unit);
            inView_.push_back(number);
        }
        verdict_.end = {.status = 0, .signal = 0};
        if (inView_.empty()) {
            return;
        }
        verdict_.end = RunChecker(
            {settings_.checker, "--share_path", view_.Path()},
            [&](lines::Stream stream, std::string_view bytes) { reader_.Add(stream, bytes); });
        reader_.Finish();
        view_.Clear();
        verdict_.unknown = reader_.Unknown();
        verdict_.lines = reader_.Findings();
    }

    void FindSuspects(const std::vector<FileFacts>& facts) {
        std::set<std::uint32_t> suspects;
        for (std::size_t i = 0; i < files_.size(); ++i) {
            const bool unloadable = facts[i].headerError != 0 || facts[i].extentsError != 0;
            if (unloadable && listing_.files[files_[i]].extents != Has::kNothing) {
                suspects.insert(files_[i]);
            }
        }
        for (const KnownLine& line : verdict_.lines) {
            for (const std::string& value : line.values) {
                const long number = view_.NumberOf(value);
                if (number >= 0 && static_cast<std::size_t>(number) < inView_.size()) {
                    suspects.insert(inView_[static_cast<std::size_t>(number)]);
                }
            }
        }
        outcome_.mustBeCut = !verdict_.IsClean() || !suspects.empty();
        outcome_.suspects.assign(suspects.begin(), suspects.end());
    }

    void JudgeFiles(const std::vector<FileFacts>& facts) {
        ReplacePaths();
        for (std::size_t i = 0; i < files_.size(); ++i) {
            const FileEntry& file = listing_.files[files_[i]];
            const std::string path = PathOf(files_[i]);
            std::vector<Finding> found = Judge(path, file, facts[i], verdict_, settings_.tables);
            std::ranges::move(found, std::back_inserter(outcome_.findings));
            CountLookedAt(file, facts[i], verdict_, &outcome_.tally);
            outcome_.tally.elsewhere += facts[i].elsewhere ? 1U : 0U;
            outcome_.tally.hostile += facts[i].hostile ? 1U : 0U;
            const bool ended = verdict_.end.status == 0 && verdict_.end.signal == 0;
            if (settings_.checksData && (!ended || (facts[i].headerError == 0 &&
                                                    facts[i].modified <= settings_.youngerThan))) {
                ++outcome_.tally[What::kData].thereAre;
            }
        }
        outcome_.tally.named = look_.Named();
        if (!outcome_.findings.empty()) {
            outcome_.raw = reader_.Raw();
        }
    }

    // What the checker said of the view's links is said of the files that they lead to.
    void ReplacePaths() {
        if (files_.size() != 1) {
            return;
        }
        const std::string path = PathOf(files_.front());
        for (KnownLine& line : verdict_.lines) {
            for (std::string& value : line.values) {
                for (const Tree tree : {Tree::kHead, Tree::kMap, Tree::kStu}) {
                    if (value == PathIn(view_.Path(), tree, "0")) {
                        value = PathIn(settings_.share, tree, path);
                    }
                }
            }
        }
    }

    const ViewSettings& settings_;
    const Listing& listing_;
    const std::vector<std::uint32_t>& files_;
    View view_;
    LineReader reader_;
    StorageLook look_;
    std::vector<std::uint32_t> inView_;  ///< by their numbers in the view
    CheckerVerdict verdict_;
    ViewOutcome outcome_;
};

}  // namespace

ViewOutcome CheckView(const ViewSettings& settings, const Listing& listing,
                      const std::vector<std::uint32_t>& files, const std::string& viewPath) {
    return ViewCheck(settings, listing, files, viewPath).Run();
}

ViewOutcome JudgeLostFile(const ViewSettings& settings, const Listing& listing, std::uint32_t file,
                          const Children::Ended& end) {
    const FileEntry& entry = listing.files[file];
    CheckerVerdict verdict;
    verdict.end = {.status = end.status, .signal = end.signal};
    verdict.timedOut = end.timedOut;
    // Of a file that could not be looked at nothing is known: no size says that extents are
    // missing.
    ViewOutcome outcome;
    outcome.findings = Judge(Below(listing.path, entry.name), entry, {}, verdict, true);
    outcome.tally[What::kData].thereAre = settings.checksData ? 1U : 0U;
    return outcome;
}

std::string Encode(const ViewOutcome& outcome) {
    return Packed({{"cut", outcome.mustBeCut},
                   {"suspects", outcome.suspects},
                   {"findings", outcome.findings},
                   {"tally", outcome.tally},
                   {"raw", outcome.raw}});
}

ViewOutcome DecodeOutcome(const std::string& bytes) {
    const nlohmann::ordered_json object = Unpacked(bytes);
    return {.mustBeCut = object.at("cut"),
            .suspects = object.at("suspects"),
            .findings = object.at("findings"),
            .tally = object.at("tally").get<Tally>(),
            .raw = object.at("raw")};
}

}  // namespace jorvaudit
