#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "jorvshare/damage/report.h"
#include "jorvshare/damage/scene.h"

namespace jorvshare::damage {

// Ways of changing what is on disk. What is put in place and what is taken away lies meanwhile in
// the site's own directory, see site/staging.h. A run that is killed so leaves a file as it was or
// as it should be, and of what is removed all or nothing; what is replaced by another thing may be
// missing. Signals no longer stop the run once the first change begins. Each adds to the report
// what it did. Failures are ToolErrors and SysExceptions.

/// All bytes of a file.
std::vector<std::byte> ReadBytes(const std::string& path);

/// Flips all bits of the byte at `offset`.
void FlipByte(const Scene& scene, const std::string& path, std::uint64_t offset, Report* report);

/// Keeps the first `size` bytes only.
void CutFile(const Scene& scene, const std::string& path, std::uint64_t size, Report* report);

/// Puts `bytes` in the file's place, owner and mode as before; `what` tells what is different.
void Rewrite(const Scene& scene, const std::string& path, std::span<const std::byte> bytes,
             const std::string& what, Report* report);
void Rewrite(const Scene& scene, const std::string& path, const std::string& text,
             const std::string& what, Report* report);

/// Removes a file, or a directory with all in it. Fails as a kind that finds nothing to break when
/// nothing is there; so do the next two.
void Remove(const Scene& scene, const std::string& path, Report* report);

/// Removes a file and makes an empty directory of its name.
void ReplaceByDirectory(const Scene& scene, const std::string& path, Report* report);

/// Removes a file and makes a symbolic link of its name that leads to itself.
void ReplaceByLoop(const Scene& scene, const std::string& path, Report* report);

/// "<field>: <old> -> <new>"
std::string FieldChange(const std::string& field, const std::string& former,
                        const std::string& now);

}  // namespace jorvshare::damage
