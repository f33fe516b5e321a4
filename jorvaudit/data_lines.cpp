#include "jorvaudit/data_lines.h"

#include <algorithm>
#include <array>
#include <charconv>

#include "lines/match.h"
#include "terminal/printable.h"

namespace jorvaudit {

// A line about one file, with the number of the value that names it.
struct FileLine {
    const lines::Line* line;
    std::size_t name;
    const Kind* kind;
};

namespace {

constexpr std::array kFileLines = {FileLine{&lines::kUnknownDcid, 1, &kinds::kUnknownDcid},
                                   FileLine{&lines::kReservedDcid, 1, &kinds::kReservedDcid},
                                   FileLine{&lines::kSizeMismatch, 0, &kinds::kSizeMismatch},
                                   FileLine{&lines::kDataFileMissing, 0, &kinds::kDataFileMissing},
                                   FileLine{&lines::kMetaLoadFailed, 0, &kinds::kMetaLoadFailed},
                                   FileLine{&lines::kNoExtentPath, 0, &kinds::kMetaLoadFailed},
                                   FileLine{&lines::kCheckFailed, 0, &kinds::kCheckFailed},
                                   FileLine{&lines::kCheckGotError, 0, &kinds::kCheckGotError}};

// Lines that say nothing of their own: what they announce is said in the next one, or in numbers.
constexpr std::array kSilent = {&lines::kHeaderMissing, &lines::kHeaderNotLoaded,
                                &lines::kExtentMissing, &lines::kCompanionMissing};

constexpr std::string_view kSummary = "[ERROR]: File information, path: ";

// Progress has no line end, so the next output is on the same line, more progress too.
std::string_view WithoutProgress(std::string_view text) {
    while (!text.empty()) {
        const std::string_view piece = text.substr(0, text.find_first_not_of("0123456789/", 1));
        if (!lines::Match(lines::kProgress, piece)) {
            break;
        }
        text.remove_prefix(piece.size());
    }
    return text;
}

}  // namespace

void DataLines::Add(std::string_view text) {
    text = WithoutProgress(text);
    if (text.empty() || text.starts_with(kSummary)) {
        return;
    }
    const std::string line = std::string(text) + "\n";
    if (context_.expected->contains(line)) {
        return;
    }
    for (const FileLine& known : kFileLines) {
        if (const auto values = lines::Match(*known.line, line)) {
            std::string_view name = values->at(known.name);
            // A user's path may look like a mounted one.
            const bool isBelowHead =
                known.line == &lines::kCheckFailed || known.line == &lines::kCheckGotError;
            if (!isBelowHead && name.starts_with(context_.mount)) {
                name.remove_prefix(context_.mount.size());
            } else if (name.starts_with('/')) {
                name.remove_prefix(1);
            }
            AddFile(known, std::string(name), text);
            return;
        }
    }
    for (const lines::Line* const silent : kSilent) {
        if (lines::Match(*silent, line)) {
            return;
        }
    }
    if (const auto values = lines::Match(lines::kTotalFiles, line)) {
        std::from_chars(values->at(0).data(), values->at(0).data() + values->at(0).size(), total_);
        return;
    }
    if (const auto values = lines::Match(lines::kContainersFailed, line)) {
        if (!context_.volumesExplain) {
            findings_.push_back({.kind = &kinds::kContainersFailed,
                                 .object = Object::kVolume,
                                 .name = std::string(values->at(0))});
        }
        return;
    }
    const Kind* const kind = lines::Match(lines::kHeadersFailed, line)  ? &kinds::kHeadersFailed
                             : lines::Match(lines::kShareMissing, line) ? &kinds::kShareMissing
                             : lines::Match(lines::kTaskGotError, line) ? &kinds::kTaskGotError
                                                                        : &kinds::kUnknownLine;
    const auto same = std::ranges::find(findings_, kind, &Finding::kind);
    if (same == findings_.end()) {
        findings_.push_back({.kind = kind,
                             .object = Object::kShare,
                             .name = "file data check",
                             .lines = {terminal::Printable(text)}});
    }
}

void DataLines::AddFile(const FileLine& known, const std::string& path, std::string_view text) {
    const std::optional<std::string> file = context_.fileOf(path);
    if (!file) {
        return;
    }
    notChecked_ += known.line == &lines::kCheckGotError ? 1U : 0U;
    if (IsExplained(*known.kind, *file)) {
        return;
    }
    const Kind* const kind = known.kind == &kinds::kMetaLoadFailed && !context_.hasExtents(*file)
                                 ? &kinds::kExtentMissing
                                 : known.kind;
    findings_.push_back({.kind = kind, .name = *file, .lines = {terminal::Printable(text)}});
}

bool DataLines::IsExplained(const Kind& kind, const std::string& path) const {
    const auto isFound = [&](const Kind& other) { return IsFound(path, other); };
    if (&kind == &kinds::kUnknownDcid) {
        // The audit searches the volumes to their end, where the checker may not.
        return isFound(kinds::kContainerMissing) || context_.volumesExplain;
    }
    if (&kind == &kinds::kMetaLoadFailed || &kind == &kinds::kDataFileMissing ||
        &kind == &kinds::kCheckFailed) {
        return isFound(kinds::kCorruptHeader) || isFound(kinds::kHeaderUnreadable) ||
               isFound(kinds::kHeaderWithoutExtents) || isFound(kinds::kExtentsElsewhere) ||
               isFound(kinds::kCorruptExtent) || isFound(kinds::kExtentsUnreadable);
    }
    return false;
}

bool DataLines::IsFound(const std::string& path, const Kind& kind) const {
    return std::ranges::binary_search(*context_.found, Finding{.kind = &kind, .name = path});
}

}  // namespace jorvaudit
