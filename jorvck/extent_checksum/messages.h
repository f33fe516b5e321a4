#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace Corvane::Kst::Marlow::JorvCk::ExtentChecksumMessages {

// Every line of the extent node checksum check, all for standard error. Blanks before a path, and
// the lack of one, are part of the texts.

inline constexpr std::string_view kStorageObject = "verify SO exist... ";

inline std::string VerifyFile(const std::string& mapPath) {
    return "Verify file " + mapPath;
}

inline std::string ProcessFailed(std::int32_t errorNumber) {
    return "[ERROR]: extent file process failed" + std::to_string(errorNumber);
}

inline std::string SeekFailed(const std::string& mapPath) {
    return "[ERROR]: Failed to seek local STU file" + mapPath;
}

inline std::string ReadFailed(const std::string& mapPath) {
    return "[ERROR]: Failed to read local STU file " + mapPath;
}

/// Also the line for a directory that cannot be opened, with an empty path.
inline std::string ChecksumFailed(const std::string& mapPath) {
    return "[ERROR]: extent file cksum failed " + mapPath;
}

}  // namespace Corvane::Kst::Marlow::JorvCk::ExtentChecksumMessages
