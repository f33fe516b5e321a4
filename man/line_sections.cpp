// line_sections IN OUT: copies the manual page IN to OUT. In place of a line "@LINES CHECK@" it
// writes the catalogue's lines of that check as entries of an mdoc(7) list.

#include <array>
#include <fstream>
#include <iostream>
#include <string>
#include <string_view>

#include "lines/lines.h"

namespace {

std::string_view NameOf(lines::Check check) {
    constexpr std::array<std::string_view, 5> kNames = {"every-run", "metadata", "checksum",
                                                        "virtual-copy", "file-data"};
    return kNames.at(static_cast<std::size_t>(check));
}

std::string_view NameOf(lines::Kind kind) {
    constexpr std::array<std::string_view, 6> kNames = {"finding", "summary of a file", "progress",
                                                        "notice",  "check incomplete",  "never"};
    return kNames.at(static_cast<std::size_t>(kind));
}

/// The text with mdoc's own characters escaped; a tab is a blank, a line end is left out.
std::string Escaped(std::string_view text) {
    std::string escaped;
    for (const char c : text) {
        switch (c) {
            case '"':
                escaped += "\\(dq";
                break;
            case '\'':
                escaped += "\\(aq";
                break;
            case '\\':
                escaped += "\\e";
                break;
            case '\t':
                escaped += ' ';
                break;
            case '\n':
                break;
            default:
                escaped += c;
        }
    }
    return escaped;
}

/// A macro's argument that prints as it is, also when it ends in punctuation.
std::string Literal(std::string_view text) {
    return "Li \"" + Escaped(text) + "\\&\"";
}

void WriteHeading(const lines::Line& line, std::ostream& page) {
    std::string heading;
    std::string_view rest = line.text;
    for (const lines::Value& value : line.values) {
        const std::size_t gap = rest.find("{}");
        if (gap == std::string_view::npos) {
            break;
        }
        if (!Escaped(rest.substr(0, gap)).empty()) {
            heading += (heading.empty() ? "" : " Ns ") + Literal(rest.substr(0, gap));
        }
        heading += (heading.empty() ? "Ar " : " Ns Ar ") + std::string(value.name);
        rest.remove_prefix(gap + 2);
    }
    if (!Escaped(rest).empty()) {
        heading += (heading.empty() ? "" : " Ns ") + Literal(rest);
    }
    page << ".It " << heading << '\n';
}

/// One sentence a line, as manual pages are written.
void WriteSentences(std::string_view text, std::ostream& page) {
    while (!text.empty()) {
        const std::size_t stop = text.find(". ");
        const std::string_view sentence =
            text.substr(0, stop == std::string_view::npos ? text.size() : stop + 1);
        page << "\\&" << Escaped(sentence) << '\n';
        text.remove_prefix(stop == std::string_view::npos ? text.size() : stop + 2);
    }
}

void WriteLine(const lines::Line& line, std::ostream& page) {
    WriteHeading(line, page);
    page << ".Em \"Standard " << (line.stream == lines::Stream::kError ? "error" : "output") << ", "
         << NameOf(line.kind) << ".\"\n";
    WriteSentences(line.meaning, page);
    WriteSentences(line.advice, page);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        std::cerr << "usage: line_sections IN OUT\n";
        return 2;
    }
    std::ifstream source(argv[1]);
    std::ofstream page(argv[2]);
    for (std::string text; std::getline(source, text);) {
        if (!text.starts_with("@LINES ")) {
            page << text << '\n';
            continue;
        }
        bool isKnown = false;
        for (const lines::Line* const line : lines::kAll) {
            if (text == "@LINES " + std::string(NameOf(line->check)) + "@" &&
                line->kind != lines::Kind::kNeverPrinted) {
                WriteLine(*line, page);
                isKnown = true;
            }
        }
        if (!isKnown) {
            std::cerr << "unknown check: " << text << '\n';
            return 1;
        }
    }
    page.close();
    return source.eof() && page.good() ? 0 : 1;
}
