#pragma once

#include <sys/stat.h>

#include <string>

namespace Corvane::Kst::Marlow::JorvCk {

/// Type bits of the status of `path`, links followed; 0 when nothing is there, as for a broken
/// link. Throws filesystem_error when the status cannot be read.
///
/// The path library's status says the same, but makes a path object first: a copy of the text for
/// each question.
mode_t FileType(const std::string& path);

}  // namespace Corvane::Kst::Marlow::JorvCk
