#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "lines/line.h"
#include "tests/campaign/scene.h"

namespace campaign {

/// The lines of a text; the text after the last line end is one as well, unless it is empty.
std::vector<std::string> LinesOf(std::string_view text);

/// Whether a text has a line more often than the other has it.
bool HasMoreLines(std::string_view text, std::string_view other);

/// The first line of a stream that is neither of the catalogue nor the one that the library prints
/// about its configuration, or an empty text. Names in the scene hold no line ends.
std::string FirstUnknown(const Scene& scene, lines::Stream stream, std::string_view text);

}  // namespace campaign
