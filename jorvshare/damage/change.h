#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "jorvshare/damage/report.h"

namespace jorvshare::damage {

// Ways of changing what is on disk. Each puts whole files in place at once, so that a run that is
// stopped leaves the old file or the new one, and adds to the report what it did. Failures are
// ToolErrors and SysExceptions.

/// All bytes of a file.
std::vector<std::byte> ReadBytes(const std::string& path);

/// Flips all bits of the byte at `offset`.
void FlipByte(const std::string& path, std::uint64_t offset, Report* report);

/// Keeps the first `size` bytes only.
void CutFile(const std::string& path, std::uint64_t size, Report* report);

/// Puts `bytes` in the file's place; `what` tells what is different about them.
void Rewrite(const std::string& path, std::span<const std::byte> bytes, const std::string& what,
             Report* report);
void Rewrite(const std::string& path, const std::string& text, const std::string& what,
             Report* report);

/// Removes a file, or a directory with all in it.
void Remove(const std::string& path, Report* report);

/// Removes a file and makes an empty directory of its name.
void ReplaceByDirectory(const std::string& path, Report* report);

/// Removes a file and makes a symbolic link of its name that leads to itself.
void ReplaceByLoop(const std::string& path, Report* report);

/// "<field>: <old> -> <new>"
std::string FieldChange(const std::string& field, const std::string& former,
                        const std::string& now);

}  // namespace jorvshare::damage
