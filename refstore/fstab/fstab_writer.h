#pragma once

#include <string>
#include <vector>

namespace refstore {

/// The text of a storage table with one line per volume directory, white space and backslashes in
/// it escaped as fstab(5) says. An empty directory or one with a NUL byte cannot be written:
/// std::invalid_argument.
std::string EncodeFstab(const std::vector<std::string>& volumeDirectories);

}  // namespace refstore
