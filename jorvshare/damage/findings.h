#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "refstore/header/header_record.h"

/// The checker's lines, written down here once more: texts taken from the checker itself could not
/// show that it prints the wrong ones. Newlines inside a text are part of it; the last is left out.
namespace jorvshare::damage::finding {

// Share metadata check, standard error.

inline constexpr std::string_view kExtentLoadFailed = "[ERROR]: extent file load failed!";
inline constexpr std::string_view kTransactionsDiffer =
    "[ERROR]: the transID for header file and extent file mismatch";

std::string CorruptHeader(const std::string& headerPath);
std::string CorruptExtent(const std::string& extentPath);
std::string UnlistedDcid(std::uint64_t dcid, const std::string& extentPath);
std::string UnlistedFingerprint(std::string_view digits);

// Extent node checksum check, standard error.

inline constexpr std::string_view kStorageObject = "verify SO exist... ";

std::string VerifyFile(const std::string& extentPath);
std::string ProcessFailed(int code);
std::string SeekFailed(const std::string& extentPath);
std::string ReadFailed(const std::string& extentPath);
std::string ChecksumFailed(const std::string& extentPath);

// Virtual-copy check.

inline constexpr std::string_view kVcopyMissing = "[JORVCK_VCOPY] Vcopy file not found!";
inline constexpr std::string_view kMountFailed = "[JORVCK_VCOPY] failed to mount kovfs.";
/// Standard output, as is the last of these.
inline constexpr std::string_view kVcopyFailed =
    "[JORVCK_VCOPY] Parsing Vcopy.dat failed. WARNING OUT!";

std::string PolicyFailed(const std::string& vcopyPath);
std::string BackupTimeFailed(const std::string& vcopyPath);
std::string ImageFailed(const std::string& image, int code);
std::string CheckingShare(const std::string& sharePath);
std::string ImagesValid(const std::string& sharePath);

// File data check, standard error.

std::string ShareMissing(const std::string& id, const std::string& shareDirectory);
std::string IndexMissing(const std::string& container);
std::string VolumeFailed(const std::string& volume);
std::string HeadersFailed(const std::string& headDirectory);
std::string TotalFiles(std::size_t count);
std::string Progress(std::size_t done, std::size_t total);
std::string DataCheckFailed(const std::string& file);

/// What the file data check says about one user file.
struct FileNames {
    std::string file;      ///< relative to the head tree, with a slash before it
    std::string userPath;  ///< as its user sees it
    std::string extents;   ///< extent directory that the header leads to
};

std::string HeaderLoadFailed(std::string_view reason, const FileNames& names);
std::string ExtentsMissing(const FileNames& names, const refstore::HeaderRecord& header);
std::string DataFileMissing(const FileNames& names, const refstore::HeaderRecord& header);
std::string SizesDiffer(const FileNames& names, const refstore::HeaderRecord& header,
                        std::int64_t extentSize);
/// Of a container's DCID that no volume has, and of one below 64.
std::string BadDcid(const FileNames& names, const refstore::HeaderRecord& header,
                    std::uint64_t dcid);

// File data check, standard output.

/// The phases of a run, in their order.
std::vector<std::string> Phases(const std::string& id, int hours);

// Any mode, standard output.

inline constexpr std::string_view kUnhandled = "unhandled exception caught.";

}  // namespace jorvshare::damage::finding
