#include "tests/campaign/known_lines.h"

#include <algorithm>
#include <cstdint>

#include "tests/campaign/messages.h"

namespace campaign {

namespace {

using namespace messages;  // NOLINT(google-build-using-namespace)

// Put where a text or a number goes, and turned into a gap afterwards.
constexpr int kNumber = 1234509876;
constexpr std::string_view kNumberText = "1234509876";
const std::string kText(1, Pattern::kGap);

std::vector<Pattern> Patterns(const std::vector<std::string>& texts) {
    std::vector<Pattern> patterns;
    for (std::string text : texts) {
        for (std::size_t at = text.find(kNumberText); at != std::string::npos;
             at = text.find(kNumberText)) {
            text.replace(at, kNumberText.size(), 1, Pattern::kNumberGap);
        }
        // Some messages begin with a line end, which is the end of another line.
        text.erase(0, text.find_first_not_of('\n'));
        text.erase(text.find_last_not_of('\n') + 1);
        patterns.emplace_back(text);
    }
    return patterns;
}

bool IsKnown(const std::vector<Pattern>& patterns, std::string_view line) {
    return std::any_of(patterns.begin(), patterns.end(),
                       [line](const Pattern& pattern) { return pattern.Matches(line); });
}

// A path may hold line ends: what is no line by itself may be one with those behind it.
template <typename Known>
std::string FirstUnknown(std::string_view text, const Known& isKnown) {
    constexpr std::size_t kMostJoined = 40;
    const std::vector<std::string> lines = LinesOf(text);
    for (std::size_t at = 0; at < lines.size();) {
        std::string joined = lines[at];
        std::size_t count = 1;
        while (!isKnown(joined)) {
            if (count == kMostJoined || at + count == lines.size()) {
                return lines[at];
            }
            joined += '\n' + lines[at + count];
            ++count;
        }
        at += count;
    }
    return {};
}

bool IsNumber(std::string_view text) {
    text.remove_prefix(text.starts_with('-') ? 1 : 0);
    return !text.empty() && text.find_first_not_of("0123456789") == std::string_view::npos;
}

jorvck::FileInfo InfoOf(jorvck::CheckCode code, bool dev) {
    jorvck::FileInfo info;
    info.ec = code;
    info.path = kText;
    info.mtim = kNumber;
    info.size = kNumber;
    info.fg = kNumber;
    info.ext = kText;
    info.extl = dev;
    return info;
}

}  // namespace

Pattern::Pattern(std::string_view text) {
    constexpr std::string_view kGaps("\x01\x02");
    for (;;) {
        const std::size_t gap = text.find_first_of(kGaps);
        pieces_.emplace_back(text.substr(0, gap));
        if (gap == std::string_view::npos) {
            return;
        }
        gaps_ += text[gap];
        text.remove_prefix(gap + 1);
    }
}

bool Pattern::Matches(std::string_view text) const {
    if (gaps_.empty()) {
        return text == pieces_.front();
    }
    const std::string& last = pieces_.back();
    if (!text.starts_with(pieces_.front()) || !text.ends_with(last) ||
        text.size() < pieces_.front().size() + last.size()) {
        return false;
    }
    text.remove_prefix(pieces_.front().size());
    text.remove_suffix(last.size());
    for (std::size_t i = 0; i < gaps_.size(); ++i) {
        const bool isLast = i + 1 == gaps_.size();
        const std::size_t end = isLast ? text.size() : text.find(pieces_[i + 1]);
        if (end == std::string_view::npos ||
            (gaps_[i] == kNumberGap && !IsNumber(text.substr(0, end)))) {
            return false;
        }
        text.remove_prefix(isLast ? end : end + pieces_[i + 1].size());
    }
    return true;
}

std::vector<std::string> LinesOf(std::string_view text) {
    std::vector<std::string> lines;
    while (!text.empty()) {
        const std::size_t end = text.find('\n');
        lines.emplace_back(text.substr(0, end));
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    }
    return lines;
}

KnownLines::KnownLines(const std::string& configuration)
    : output_(Patterns({
          std::string(jorvck::kUnhandledException),
          data::CheckingOlderThan(kNumber, kText),
          data::LoadingVolumes(kText),
          data::LoadingContainers(kText),
          data::LoadingHeaders(kText),
          data::CheckingFiles(kText),
          data::Done(kText),
          vcopy::CheckingSharePath(kText),
          std::string(vcopy::kParsingFailed),
          vcopy::Validated(kText),
      })),
      error_(Patterns({
          configuration + ":" + kText,
          std::string(share::kHeaderLoadFailed),
          std::string(share::kExtentLoadFailed),
          std::string(share::kTransIdMismatch),
          share::CorruptHeader(kText),
          share::CorruptExtent(kText),
          share::CorruptDcidList(kText),
          share::UnlistedDcid(kNumber),
          share::UnmatchedFingerprint(kText),
          std::string(extent::kStorageObject),
          extent::VerifyFile(kText),
          extent::ProcessFailed(kNumber),
          extent::SeekFailed(kText),
          extent::ReadFailed(kText),
          extent::ChecksumFailed(kText),
          std::string(vcopy::kFileNotFound),
          std::string(vcopy::kMountFailed),
          std::string(vcopy::kUmountFailed),
          vcopy::ParsePolicyFailed(kText),
          vcopy::ParseBackupTimeFailed(kText),
          vcopy::ImageFailed(kText, kNumber),
          data::ShareMissing(kText, kText),
          data::CompanionMissing(kText),
          data::ContainersFailed(kText),
          data::HeadersFailed(kText),
          data::TotalFiles(kNumber),
          data::Progress(kNumber, kNumber),
          data::CheckFailed(kText),
          data::CheckGotError(kText),
          std::string(data::kTaskGotError),
          data::HeaderMissing(kText),
          data::HeaderLoadFailed("header file " + kText + ": " + kText + " (errno " +
                                 std::string(kNumberText) + ")"),
          data::ExtentMissing(kText, kNumber),
          data::MetaLoadFailed(kText),
          data::NoExtentPath(kText),
          data::DataFileMissing(kText),
          data::SizeMismatch(kText, kNumber, kNumber),
          data::ReservedDcid(kNumber, kText),
          data::UnknownDcid(kNumber, kText),
      })),
      nameless_(Patterns({
          std::string(share::kHeaderLoadFailed),
          std::string(share::kExtentLoadFailed),
          std::string(share::kTransIdMismatch),
          share::UnlistedDcid(kNumber),
          share::UnmatchedFingerprint(kText),
          std::string(extent::kStorageObject),
          extent::ProcessFailed(kNumber),
          extent::ChecksumFailed(""),
          data::HeadersFailed(kText),
          data::TotalFiles(kNumber),
          data::Progress(kNumber, kNumber),
      })) {
    nameless_.emplace_back("");
    error_.emplace_back("");
    for (const auto code : {jorvck::CheckCode::none, jorvck::CheckCode::extentMissing,
                            jorvck::CheckCode::sizeMismatch, jorvck::CheckCode::reservedDcid,
                            jorvck::CheckCode::unknownDcid, jorvck::CheckCode::noExtentPath}) {
        for (const bool dev : {false, true}) {
            error_.push_back(Patterns({data::FileSummary(InfoOf(code, dev))}).front());
        }
    }
}

std::string KnownLines::UnknownOnOutput(std::string_view text, std::string_view imageList) const {
    return FirstUnknown(text, [this, imageList](const std::string& line) {
        return IsKnown(output_, line) || imageList.find(line + ';') != std::string_view::npos;
    });
}

std::string KnownLines::UnknownOnError(std::string_view text) const {
    return FirstUnknown(text, [this](const std::string& line) { return IsKnown(error_, line); });
}

bool KnownLines::NamesNoFile(std::string_view line) const {
    return IsKnown(nameless_, line);
}

}  // namespace campaign
