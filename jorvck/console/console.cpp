#include "jorvck/console/console.h"

#include <iostream>
#include <ostream>
#include <utility>

namespace Corvane::Kst::Marlow::JorvCk {

namespace {

void Write(std::ostream& stream, const std::string& text) {
    stream.write(text.data(), static_cast<std::streamsize>(text.size()));
    stream.flush();
    // A stream that failed once stays silent for good; the reader may be back for the next line.
    stream.clear();
}

}  // namespace

void WriteError(const std::string& text) {
    Write(std::cerr, text);
}

void WriteOutput(const std::string& text) {
    Write(std::cout, text);
}

void WriteErrorLine(std::string line) {
    WriteError(std::move(line) + "\n");
}

void WriteOutputLine(std::string line) {
    WriteOutput(std::move(line) + "\n");
}

}  // namespace Corvane::Kst::Marlow::JorvCk
