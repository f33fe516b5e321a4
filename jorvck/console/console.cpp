#include "jorvck/console/console.h"

#include <iostream>
#include <ostream>

namespace Corvane::Kst::Marlow::JorvCk {

namespace {

void Write(std::ostream& stream, std::string_view text) {
    stream.write(text.data(), static_cast<std::streamsize>(text.size()));
    stream.flush();
}

}  // namespace

void WriteError(std::string_view text) {
    Write(std::cerr, text);
}

void WriteOutput(std::string_view text) {
    Write(std::cout, text);
}

void WriteErrorLine(std::string line) {
    line += '\n';
    WriteError(line);
}

void WriteOutputLine(std::string line) {
    line += '\n';
    WriteOutput(line);
}

}  // namespace Corvane::Kst::Marlow::JorvCk
