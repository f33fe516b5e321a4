#pragma once

#include <string>

namespace refstore {

/// True when `path` is `directory` or lies inside it, going by the texts alone: both are taken as
/// seen from the current directory, "." and ".." resolved without asking the file system, and
/// compared component by component, so "/a/bc" is not inside "/a/b". The empty path is inside
/// nothing and holds nothing. Any thread may call it.
bool IsInside(const std::string& path, const std::string& directory);

}  // namespace refstore
