#pragma once

#include <span>
#include <string>
#include <vector>

namespace refstore {

/// The text of a storage table with one line per volume directory, white space and backslashes in
/// it escaped as fstab(5) says. An empty directory or one with a NUL byte cannot be written:
/// std::invalid_argument.
std::string EncodeFstab(const std::vector<std::string>& volumeDirectories);

/// The text of a storage table with such lines added at its end; what it holds stays as it is.
std::string AppendToFstab(std::string text, std::span<const std::string> volumeDirectories);

}  // namespace refstore
