#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <vector>

#include "jorvshare/damage/scene.h"
#include "jorvshare/site/root.h"

namespace jorvshare::damage {

/// What is to be broken.
struct Target {
    Root root;         ///< the site, or a volume
    std::string path;  ///< relative to it
    std::string file;  ///< the user file that it belongs to; may be empty
};

/// What was changed, a line for each thing.
using Notes = std::vector<std::string>;

/// Breaks the target and adds to the notes.
using Change = std::function<void(const Scene& scene, const Target& target, Notes* notes)>;

// Ways of changing what is on disk. What is put in place and what is taken away lies meanwhile in
// the target's root, where no check looks: a run that is killed leaves a file as it was or as it
// should be, and of what is removed all or nothing; what is replaced by another thing may be
// missing. Failures are ToolErrors and SysExceptions.

/// Flips all bits of a byte, at `offset` or where the seed says.
void FlipAt(const Target& target, std::uint64_t offset, Notes* notes);
void Flip(const Scene& scene, const Target& target, Notes* notes);

/// Keeps the first bytes only: as many as the seed says, or none.
void Cut(const Scene& scene, const Target& target, Notes* notes);
void Empty(const Scene& scene, const Target& target, Notes* notes);

/// Puts `bytes` in the file's place, owner and mode as before; `what` says what is different.
void Rewrite(const Target& target, std::span<const std::byte> bytes, const std::string& what,
             Notes* notes);

/// Puts a sound record of a structure in its place that is none of a share's.
void PutForeign(const Scene& scene, const Target& target, Notes* notes);

/// Removes a file, or a directory with all in it; puts an empty directory in its place, or a
/// symbolic link that leads to itself.
void Remove(const Scene& scene, const Target& target, Notes* notes);
void PutDirectory(const Scene& scene, const Target& target, Notes* notes);
void PutLoop(const Scene& scene, const Target& target, Notes* notes);

/// Sets `*value` and returns "<field>: <old> -> <new>".
template <typename Number>
std::string SetField(const std::string& field, Number* value, Number now) {
    const std::string former = std::to_string(*value);
    *value = now;
    return field + ": " + former + " -> " + std::to_string(now);
}

}  // namespace jorvshare::damage
