#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "jorvck/file_data/file_info.h"

namespace Corvane::Kst::Marlow::JorvCk::FileDataMessages {

// Every line of the file data check. What blanks, colons and full stops are there, and which are
// not, is part of the texts.

// Phases of a run, for standard output.

inline std::string CheckingOlderThan(long hours, const std::string& shareId) {
    return "Checking files which are created before " + std::to_string(hours) + " hours in " +
           shareId;
}
inline std::string LoadingVolumes(const std::string& shareId) {
    return "Loading volumes for " + shareId;
}
inline std::string LoadingContainers(const std::string& shareId) {
    return "Loading data containers for " + shareId;
}
inline std::string LoadingHeaders(const std::string& shareId) {
    return "Loading headers for " + shareId;
}
inline std::string CheckingFiles(const std::string& shareId) {
    return "Checking files for " + shareId;
}
inline std::string Done(const std::string& shareId) {
    return "Check files for " + shareId + " done!";
}

// Loading, for standard error.

/// @param quotedDirectory the path in the quoted form of path objects.
inline std::string ShareMissing(const std::string& shareId, const std::string& quotedDirectory) {
    return "The share ID " + shareId + " doesn't exist, meta_dir: " + quotedDirectory;
}
inline std::string CompanionMissing(const std::string& base) {
    return "[ERROR] bhd " + base + " corrupted";
}
inline std::string ContainersFailed(const std::string& volumePath) {
    return "Failed to load data containers from " + volumePath;
}
inline std::string HeadersFailed(const std::string& headDir) {
    return "Failed to load headers from " + headDir;
}
inline std::string TotalFiles(std::uint64_t count) {
    return "Total number of file: " + std::to_string(count);
}

// Checking, for standard error. Progress has no line end, so each message about a file is preceded
// by one and stands on a line of its own.

inline std::string Progress(std::uint64_t checked, std::uint64_t total) {
    return " " + std::to_string(checked) + "/" + std::to_string(total);
}
inline std::string CheckFailed(const std::string& relPath) {
    return "\n[ERROR]: Failed to check data for file: " + relPath;
}
inline std::string CheckGotError(const std::string& relPath) {
    return "\nCheck file got error, path " + relPath;
}
/// With its line end: also written when memory is what ran out.
inline constexpr std::string_view kTaskGotError = "Task got error!\n";

inline std::string HeaderMissing(const std::string& headerPath) {
    return "\n[ERROR]: header " + headerPath + " doesn't exist!";
}
inline std::string HeaderLoadFailed(std::string_view reason) {
    return "\n[ERROR]: header file load failed! " + std::string(reason);
}
inline std::string ExtentMissing(const std::string& extentPath, std::uint64_t fg) {
    return "\n[ERROR]: extent " + extentPath + " doesn't exist! fg: " + std::to_string(fg);
}
inline std::string MetaLoadFailed(const std::string& sharePath) {
    return "\n[ERROR]: file meta load failed! " + sharePath;
}
inline std::string NoExtentPath(const std::string& sharePath) {
    return "\n[ERROR]: extent doesn't exist for path: " + sharePath;
}
/// Names the file as its user sees it, not the data file, and the negated invalid-argument error
/// number, whatever the cause. Fixed as it stands.
inline std::string DataFileMissing(const std::string& sharePath) {
    return "\n[ERROR]: invalid lmdb data path: '" + sharePath + "' -22";
}
inline std::string SizeMismatch(const std::string& sharePath, std::int64_t headerSize,
                                std::int64_t extentSize) {
    return "\n[ERROR]: File size in header and extent doesn't match, file: " + sharePath +
           " header size: " + std::to_string(headerSize) +
           " extent size: " + std::to_string(extentSize);
}
inline std::string ReservedDcid(std::uint64_t dcid, const std::string& sharePath) {
    return "\n[ERROR]: unexpected dcid:" + std::to_string(dcid) + " file: " + sharePath;
}
inline std::string UnknownDcid(std::uint64_t dcid, const std::string& sharePath) {
    return "\n[ERROR]: Cannot find dcid: " + std::to_string(dcid) + " file: " + sharePath;
}

/// The summary line that follows a message about a file whose header was read.
inline std::string FileSummary(const FileInfo& info) {
    return std::string(info.ec != CheckCode::none ? "[ERROR]" : "[INFO]") +
           ": File information, path: " + info.path +
           " ec: " + std::to_string(static_cast<std::int32_t>(info.ec)) +
           " [ mtim: " + std::to_string(info.mtim) + " size: " + std::to_string(info.size) +
           " fg: " + std::to_string(info.fg) + " ext: " + info.ext +
           " extl: " + (info.extl ? "dev" : "local") + " ]";
}

}  // namespace Corvane::Kst::Marlow::JorvCk::FileDataMessages
