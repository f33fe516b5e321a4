#include "tests/campaign/known_lines.h"

#include <algorithm>
#include <cstdint>

#include "lines/lines.h"
#include "tests/support/line_text.h"

namespace campaign {

namespace {

/// The line's text with gaps for its values, without the line ends at both ends of it.
std::string WithGaps(const lines::Line& line) {
    std::string text(line.text);
    for (const lines::Value& value : line.values) {
        const std::size_t gap = text.find("{}");
        if (gap != std::string::npos) {
            text.replace(gap, 2, 1, value.isNumber ? Pattern::kNumberGap : Pattern::kGap);
        }
    }
    text.erase(0, text.find_first_not_of('\n'));
    text.erase(text.find_last_not_of('\n') + 1);
    return text;
}

/// Lines without a user file or an image in them, though some have a text for a value.
bool IsNameless(const lines::Line& line) {
    return line.id == lines::kUnmatchedFingerprint.id || line.id == lines::kHeadersFailed.id ||
           std::ranges::all_of(line.values, [](const lines::Value& value) {
               return value.name.empty() || value.isNumber;
           });
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

KnownLines::KnownLines(const std::string& configuration) {
    for (const lines::Line* const line : lines::kAll) {
        const std::string text = WithGaps(*line);
        if (line->kind == lines::Kind::kNeverPrinted || text == std::string(1, Pattern::kGap)) {
            continue;
        }
        auto& known = line->stream == lines::Stream::kOutput ? output_ : error_;
        known.emplace_back(text);
        if (line->stream == lines::Stream::kError && IsNameless(*line)) {
            nameless_.emplace_back(text);
        }
    }
    const std::string gap(1, Pattern::kGap);
    error_.emplace_back(configuration + ":" + gap);
    // A directory of the map tree, not a file.
    nameless_.emplace_back(LinesOf(test_support::LineText(lines::kChecksumFailed, {""})).front());
    nameless_.emplace_back("");
    error_.emplace_back("");
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
