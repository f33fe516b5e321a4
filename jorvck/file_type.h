#pragma once

#include <sys/stat.h>

#include <string>

namespace Corvane::Kst::Marlow::JorvCk {

/// Type bits of the status of `path`, links followed; 0 when nothing is there, as for a broken
/// link. Throws filesystem_error when the status cannot be read. What has no type of its own, as
/// an event descriptor below /proc, counts as nothing.
///
/// The path library's status gives the same, but copies the path for each query.
mode_t FileType(const std::string& path);

}  // namespace Corvane::Kst::Marlow::JorvCk
