#pragma once

#include <sys/stat.h>

#include <string>

namespace Corvane::Kst::Marlow::JorvCk {

/// Whether the path, links followed, leads to a FIFO: opening one for reading would wait for a
/// writer for ever.
inline bool IsFifo(const std::string& path) {
    struct stat attributes = {};
    return ::stat(path.c_str(), &attributes) == 0 && S_ISFIFO(attributes.st_mode);
}

}  // namespace Corvane::Kst::Marlow::JorvCk
