#include "jorvshare/damage/report.h"

#include <map>

#include "terminal/one_line.h"

namespace jorvshare::damage {

void Report::Changed(const std::string& what) {
    changes_.push_back(terminal::OneLine(what));
}

void Report::Expect(Mode mode, Stream stream, const std::string& text) {
    Add("expect ", mode, stream, text);
}

void Report::Lose(Mode mode, Stream stream, const std::string& text) {
    Add("lose ", mode, stream, text);
}

void Report::Compare(Mode mode, Stream stream, const Lines& before, const Lines& after) {
    std::map<std::string, int> surplus;
    for (const std::string& text : after) {
        ++surplus[text];
    }
    for (const std::string& text : before) {
        if (--surplus[text] < 0) {
            Lose(mode, stream, text);
        }
    }
    for (const std::string& text : after) {
        if (--surplus[text] >= 0) {
            Expect(mode, stream, text);
        }
    }
}

void Report::ExpectStatus(Mode mode, int status) {
    expectations_.push_back(
        {mode, "expect " + NameOf(mode) + " status: " + std::to_string(status)});
}

Lines Report::Expectations(Mode mode) const {
    Lines lines;
    for (const Expectation& expectation : expectations_) {
        if (expectation.mode == mode) {
            lines.push_back(expectation.line);
        }
    }
    return lines;
}

void Report::Add(const char* verb, Mode mode, Stream stream, const std::string& text) {
    const std::string start =
        verb + NameOf(mode) + (stream == Stream::kOutput ? " stdout: " : " stderr: ");
    std::size_t from = 0;
    for (std::size_t end = text.find('\n'); end != std::string::npos; end = text.find('\n', from)) {
        expectations_.push_back({mode, start + text.substr(from, end - from)});
        from = end + 1;
    }
    expectations_.push_back({mode, start + text.substr(from)});
}

std::string NameOf(Mode mode) {
    switch (mode) {
        case Mode::kMetadata:
            return "metadata";
        case Mode::kData:
            return "data";
        case Mode::kAged:
            break;
    }
    return "data-aged";
}

}  // namespace jorvshare::damage
