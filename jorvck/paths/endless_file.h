#pragma once

#include <sys/stat.h>

#include <string>

namespace Corvane::Kst::Marlow::JorvCk {

/// Whether reading what is at `path` may never come to an end: opening a FIFO waits for a writer,
/// a character device gives bytes for ever or waits for a key. Neither belongs into a share; both
/// are taken for a file that cannot be opened.
inline bool IsEndlessFile(const std::string& path) {
    struct stat attributes = {};
    return ::stat(path.c_str(), &attributes) == 0 &&
           (S_ISFIFO(attributes.st_mode) || S_ISCHR(attributes.st_mode));
}

}  // namespace Corvane::Kst::Marlow::JorvCk
