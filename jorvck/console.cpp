#include "jorvck/console.h"

#include <iostream>
#include <new>
#include <ostream>
#include <string>

namespace Corvane::Kst::Marlow::JorvCk {

namespace {

void WriteBytes(std::ostream& stream, std::string_view bytes) {
    stream.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    stream.flush();
    if (stream.fail()) {
        // Clear the error, or one full disk would silence the stream for good.
        stream.clear();
    }
}

/// Hands the pieces of the line to `take`, in order: its text up to a value, the value, and so on.
template <typename Take>
void ForEachPiece(std::string_view text, std::span<const std::string_view> values, Take take) {
    for (const std::string_view value : values) {
        const std::size_t gap = text.find("{}");
        take(text.substr(0, gap));
        take(value);
        text.remove_prefix(gap + 2);
    }
    take(text);
}

}  // namespace

void WriteText(const lines::Line& line, std::span<const std::string_view> values) {
    std::ostream& stream = line.stream == lines::Stream::kError ? std::cerr : std::cout;
    try {
        std::size_t size = line.text.size();
        for (const std::string_view value : values) {
            size += value.size();
        }
        std::string composed;
        composed.reserve(size);
        ForEachPiece(line.text, values, [&](std::string_view piece) { composed += piece; });
        WriteBytes(stream, composed);
    } catch (const std::bad_alloc&) {
        ForEachPiece(line.text, values, [&](std::string_view piece) { WriteBytes(stream, piece); });
    }
}

}  // namespace Corvane::Kst::Marlow::JorvCk
