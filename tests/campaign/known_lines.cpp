#include "tests/campaign/known_lines.h"

#include <algorithm>
#include <regex>
#include <sstream>

#include "lines/lines.h"
#include "tests/support/line_text.h"

namespace campaign {

namespace {

std::regex KnownOn(lines::Stream stream) {
    std::string all(stream == lines::Stream::kOutput ? kImageNames : "");
    for (const lines::Line* const line : lines::kAll) {
        // An image is printed as it is called: its pattern would match any line.
        if (line->stream == stream && line->kind != lines::Kind::kNeverPrinted &&
            line->id != lines::kImage.id) {
            all += "|" + test_support::LinePattern(*line);
        }
    }
    return std::regex(all);
}

std::vector<std::string> Sorted(std::string_view text) {
    std::vector<std::string> lines = LinesOf(text);
    std::ranges::sort(lines);
    return lines;
}

}  // namespace

std::vector<std::string> LinesOf(std::string_view text) {
    std::vector<std::string> lines;
    std::istringstream stream{std::string(text)};
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(line);
    }
    return lines;
}

bool HasMoreLines(std::string_view text, std::string_view other) {
    return !std::ranges::includes(Sorted(other), Sorted(text));
}

std::string FirstUnknown(const Scene& scene, lines::Stream stream, std::string_view text) {
    static const std::regex kOutput = KnownOn(lines::Stream::kOutput);
    static const std::regex kError = KnownOn(lines::Stream::kError);
    const std::regex& known = stream == lines::Stream::kOutput ? kOutput : kError;
    for (const std::string& line : LinesOf(text)) {
        const bool isOfLibrary = stream == lines::Stream::kError &&
                                 line.starts_with(scene.invocation.configuration + ":");
        if (!isOfLibrary && !std::regex_match(line, known)) {
            return line;
        }
    }
    return {};
}

}  // namespace campaign
