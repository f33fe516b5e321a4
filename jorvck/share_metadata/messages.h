#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace Corvane::Kst::Marlow::JorvCk::ShareMetadataMessages {

// Every line of the share metadata check, all for standard error.

inline constexpr std::string_view kHeaderLoadFailed = "[ERROR]: header file load failed!";
inline constexpr std::string_view kExtentLoadFailed = "[ERROR]: extent file load failed!";
inline constexpr std::string_view kTransIdMismatch =
    "[ERROR]: the transID for header file and extent file mismatch";
inline constexpr std::string_view kMissingTable =
    "jorvck: the storage library made no mapping table";

inline std::string CorruptHeader(const std::string& headerPath) {
    return "[ERROR]: corrupt header file " + headerPath + " found";
}

inline std::string CorruptExtent(const std::string& extentPath) {
    return "[ERROR]: corrupt extent file " + extentPath + " found";
}

inline std::string CorruptDcidList(const std::string& extentPath) {
    return "[ERROR]: corrupt dcidlist file or table file " + extentPath + " found";
}

// The next two texts speak of the list containing what the table lacks, while it is the table that
// names what the list or the filter lacks. The texts are fixed as they stand.

inline std::string UnlistedDcid(std::uint64_t dcid) {
    return "[ERROR]: dcidlist file contains dcid which is not in table! " + std::to_string(dcid);
}

inline std::string UnmatchedFingerprint(std::string_view fingerprint) {
    return "[ERROR]: dcidlist file contains fp which is not in table! " + std::string(fingerprint);
}

}  // namespace Corvane::Kst::Marlow::JorvCk::ShareMetadataMessages
