#pragma once

#include <string>

namespace jorvshare {

/// Prints one stored structure field by field on standard output, as text or as JSON: a header
/// file, an extent file, the index of a container, a container image, or the mapping tables of a
/// directory (also given by their data.mdb). The first bytes of a file say what it is.
///
/// The whole structure is checked before anything is printed: damage is a SysException, anything
/// else a ToolError.
void Show(const std::string& path, bool json);

}  // namespace jorvshare
