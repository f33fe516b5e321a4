#pragma once

#include <string>
#include <string_view>

namespace Corvane::Kst::Marlow::JorvCk::VirtualCopyMessages {

// Every line of the virtual-copy check. Odd blanks and full stops, present in one text and missing
// in its sibling, are part of the texts.

// Standard output.

inline std::string CheckingSharePath(std::string_view sharePath) {
    return "checking sharePath " + std::string(sharePath);
}

inline constexpr std::string_view kParsingFailed =
    "[JORVCK_VCOPY] Parsing Vcopy.dat failed. WARNING OUT!";

inline std::string Validated(std::string_view sharePath) {
    return "[JORVCK_VCOPY] validating vcopy for " + std::string(sharePath) + "successfully! ";
}

// Standard error.

inline constexpr std::string_view kFileNotFound = "[JORVCK_VCOPY] Vcopy file not found!";
inline constexpr std::string_view kMountFailed = "[JORVCK_VCOPY] failed to mount kovfs.";
inline constexpr std::string_view kUmountFailed = "[JORVCK_VCOPY] failed to umount kovfs";

inline std::string ParsePolicyFailed(const std::string& fileName) {
    return "[JORVCK_VCOPY] Failed to parse policy in " + fileName;
}

/// Also the line for an image list that cannot be read.
inline std::string ParseBackupTimeFailed(const std::string& fileName) {
    return "[JORVCK_VCOPY] Failed to parse backuptime in " + fileName;
}

inline std::string ImageFailed(const std::string& imageName, int result) {
    return "[JORVCK_VCOPY] validating image [" + imageName +
           "] failed with ret = " + std::to_string(result);
}

}  // namespace Corvane::Kst::Marlow::JorvCk::VirtualCopyMessages
