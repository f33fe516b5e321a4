#include "jorvck/console/console.h"

#include <iostream>
#include <ostream>
#include <string>

namespace Corvane::Kst::Marlow::JorvCk {

namespace {

void Write(std::ostream& stream, std::string_view text) {
    stream.write(text.data(), static_cast<std::streamsize>(text.size()));
    stream.flush();
    if (stream.fail()) {
        // Else one moment of a full disk would silence the stream for good.
        stream.clear();
    }
}

std::string Line(std::string_view text) {
    std::string line(text);
    line += '\n';
    return line;
}

}  // namespace

void WriteError(std::string_view text) {
    Write(std::cerr, text);
}

void WriteOutput(std::string_view text) {
    Write(std::cout, text);
}

void WriteErrorLine(std::string_view line) {
    WriteError(Line(line));
}

void WriteOutputLine(std::string_view line) {
    WriteOutput(Line(line));
}

}  // namespace Corvane::Kst::Marlow::JorvCk
