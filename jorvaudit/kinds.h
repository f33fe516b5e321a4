#pragma once

#include <algorithm>
#include <array>
#include <string_view>

#include "lines/lines.h"

/// The kinds of findings: what each means and what to do about it. A kind of a line of
/// the checker takes id, meaning and advice from the catalogue of lines.
namespace jorvaudit {

/// What a finding says about the share, and so about the exit status.
enum class Class {
    kDamage,     ///< the share is inconsistent
    kUnchecked,  ///< something could not be looked at
};

struct Kind {
    std::string_view id;  ///< stable, for reports: lower case, words joined by "-"
    Class cls;
    std::string_view title;  ///< a few words, for lists of causes
    std::string_view meaning;
    std::string_view advice;
    /// What to type, with {head}, {map}, {stu}, {share}, {name} and {config} for quoted paths.
    std::string_view command = {};
};

namespace kinds {

constexpr Kind Of(const lines::Line& line, Class cls, std::string_view title,
                  std::string_view command = {}) {
    return {line.id, cls, title, line.meaning, line.advice, command};
}

inline constexpr std::string_view kShowHeader = "jorvshare show {head}";
inline constexpr std::string_view kShowExtents = "jorvshare show {map}";
inline constexpr std::string_view kListUnit = "ls -ld {stu}";
inline constexpr std::string_view kNamei = "namei -l {name}";

using enum Class;

inline constexpr Kind kCorruptHeader =
    Of(lines::kCorruptHeader, kDamage, "damaged header", kShowHeader);
inline constexpr Kind kCorruptExtent =
    Of(lines::kCorruptExtent, kDamage, "damaged extents", kShowExtents);
inline constexpr Kind kUnmatchedFingerprint = {
    lines::kUnmatchedFingerprint.id,
    kDamage,
    "fingerprint that the bloom filter does not match",
    "A mapping table has an extent whose fingerprint the table's bloom filter does not match.",
    "Restore the tables of the file.",
    kShowExtents};
inline constexpr Kind kCorruptDcidList =
    Of(lines::kCorruptDcidList, kDamage, "DCID list that lacks a container", kShowExtents);
inline constexpr Kind kTransIdMismatch = {
    lines::kTransIdMismatch.id,
    kDamage,
    "header and extents of different transactions",
    "The header and the extent file of the file come from different transactions: only one of them "
    "was written.",
    "Restore both files from the same copy.",
    kShowHeader};
inline constexpr Kind kChecksumFailed =
    Of(lines::kChecksumFailed, kDamage, "local data that is not what was written", kListUnit);
inline constexpr Kind kProcessFailed = {
    lines::kProcessFailed.id,
    kDamage,
    "extents that do not load",
    "The extents of the file do not load when its local data is checked.",
    "Restore the extents from a replica or a backup.",
    kShowExtents};
inline constexpr Kind kSeekFailed =
    Of(lines::kSeekFailed, kDamage, "extent with a negative offset", kShowExtents);
inline constexpr Kind kReadFailed =
    Of(lines::kReadFailed, kDamage, "local data that is missing", kListUnit);
inline constexpr Kind kUnhandledException = {
    lines::kUnhandledException.id,
    kUnchecked,
    "file that ends the checker",
    "The checker ended with status 255 when it looked at this file alone. A link that leads to "
    "itself does this, and so does a shortage of memory.",
    "Look at the entries of the file in the head, map and stu trees.",
    "ls -ld {head} {map} {stu}"};

inline constexpr Kind kParsePolicyFailed =
    Of(lines::kParsePolicyFailed, kDamage, "list of images that cannot be read",
       "ls -l {share}/vcopy.dat");
inline constexpr Kind kParseBackupTimeFailed =
    Of(lines::kParseBackupTimeFailed, kDamage, "list of images that was cut short",
       "tail -n 3 {share}/vcopy.dat");
inline constexpr Kind kMountFailed = Of(
    lines::kMountFailed, kUnchecked, "images that cannot be mounted", "grep image_root {config}");
inline constexpr Kind kImageFailed = {
    lines::kImageFailed.id,
    kDamage,
    "container image that is not sound",
    "The image is not sound. With the reference library the code is 2 for a missing image, 5 for a "
    "damaged one or one that the disk cannot read, 22 for a name that no image can have, and "
    "otherwise the error number of the failed call.",
    lines::kImageFailed.advice,
    "cat {share}/vcopy.dat"};
inline constexpr Kind kUmountFailed =
    Of(lines::kUmountFailed, kUnchecked, "images that cannot be unmounted");

inline constexpr Kind kShareMissing =
    Of(lines::kShareMissing, kUnchecked, "share that the library does not know", "cat {config}");
inline constexpr Kind kHeadersFailed =
    Of(lines::kHeadersFailed, kUnchecked, "headers that cannot be listed", "ls -lR {share}/head");
inline constexpr Kind kContainersFailed =
    Of(lines::kContainersFailed, kUnchecked, "volume whose containers cannot all be listed",
       "ls -l {name}");
inline constexpr Kind kExtentMissing =
    Of(lines::kExtentMissing, kDamage, "extents that are not where the header says", kShowHeader);
inline constexpr Kind kMetaLoadFailed = {
    lines::kMetaLoadFailed.id,
    kDamage,
    "file that the file data check could not begin",
    "The file data check could load neither header nor extents of the file, although the metadata "
    "check could.",
    "Run again. If it stays, show the header.",
    kShowHeader};
inline constexpr Kind kDataFileMissing =
    Of(lines::kDataFileMissing, kDamage, "tables without data.mdb", "ls -l {map}");
inline constexpr Kind kSizeMismatch =
    Of(lines::kSizeMismatch, kDamage, "sizes that differ between header and extents", kShowHeader);
inline constexpr Kind kReservedDcid =
    Of(lines::kReservedDcid, kDamage, "extent in a reserved container", kShowExtents);
inline constexpr Kind kUnknownDcid =
    Of(lines::kUnknownDcid, kDamage, "extent in a container that was not found", kShowExtents);
inline constexpr Kind kCheckFailed =
    Of(lines::kCheckFailed, kDamage, "tables that cannot be checked", kShowExtents);
inline constexpr Kind kCheckGotError =
    Of(lines::kCheckGotError, kUnchecked, "file that was not checked", kShowHeader);
inline constexpr Kind kTaskGotError =
    Of(lines::kTaskGotError, kUnchecked, "thread of the checker that ended early");

inline constexpr Kind kCheckerKilled = {
    "checker-killed",
    kUnchecked,
    "file that the checker or the storage library dies of",
    "A signal ended the checker, or the storage library in a process of the audit, when it looked "
    "at this file alone.",
    "Report it to the supplier of the storage library, with a copy of the file's metadata.",
    kShowHeader};
inline constexpr Kind kCheckerTimeout = {
    "checker-timeout",
    kUnchecked,
    "file that the checker does not finish",
    "The checker was stopped: it did not finish this file within its time.",
    "Look for errors of the disk in the kernel's log. A very large file may need more time: see "
    "--time-limit.",
    "ls -ld {head} {map} {stu}"};
inline constexpr Kind kCheckerFailed = {
    "checker-failed",
    kUnchecked,
    "file that the checker ends at with an error",
    "The checker ended with an unexpected status when it looked at this file alone.",
    "Look at the lines of the finding.",
    kShowHeader};
inline constexpr Kind kUnknownLine = {
    "unknown-line",
    kUnchecked,
    "line that is not known",
    "The checker or the storage library printed a line about this file that the audit does not "
    "know.",
    "Read the line. It may come from the storage library, or from a newer checker.",
    kShowHeader};

inline constexpr Kind kExtentsWithoutHeader = {
    "extents-without-header",
    kDamage,
    "extents without a header",
    "The map tree has extents for a file that the head tree does not have: the header is lost, or "
    "the deletion of the file was cut short. Users do not see the file.",
    "Restore the header from a replica or a backup. If the file was being deleted, remove the "
    "entries at the same place in the map and stu trees.",
    "ls -ld {map} {stu}"};
inline constexpr Kind kStorageUnitWithoutHeader = {
    "storage-unit-without-header",
    kDamage,
    "storage unit without a header",
    "The stu tree has local data for a file that the head tree does not have: the header is lost, "
    "or the deletion of the file was cut short.",
    "Restore header and extents from a replica or a backup, or remove the storage unit.",
    kListUnit};
inline constexpr Kind kHeaderWithoutExtents = {"header-without-extents",
                                               kDamage,
                                               "header without extents",
                                               "The head tree has a header whose file has no "
                                               "extents in the map tree. The contents of the file "
                                               "are lost with them.",
                                               "Restore the extents from a replica or a backup.",
                                               "ls -ld {head} {map}"};
inline constexpr Kind kStorageUnitMissing = {
    "storage-unit-missing",
    kDamage,
    "storage unit that is missing",
    "The extents of the file lead to local data, and the stu tree has no storage unit for it. The "
    "checker alone passes over this in silence.",
    "Restore the storage unit from a replica or a backup.",
    kListUnit};
inline constexpr Kind kStorageUnitCut = {
    "storage-unit-cut",
    kDamage,
    "storage unit that is too short",
    "The storage unit ends before the local data of the file's extents does: its end is lost. The "
    "checker compares only what is there, and may say nothing.",
    "Restore the storage unit from a replica or a backup.",
    kListUnit};
inline constexpr Kind kStorageUnitNotAFile = {
    "storage-unit-not-a-file",
    kDamage,
    "storage unit that is no file",
    "The stu tree has something else than a regular file where the local data of the file should "
    "be. The checker does not read it.",
    "Restore the storage unit from a replica or a backup.",
    kListUnit};
inline constexpr Kind kExtentsElsewhere = {
    "extents-elsewhere",
    kDamage,
    "header that leads to another share",
    "The header records another place for the extents than the share has. The file data check "
    "looks "
    "there, and so does the file system.",
    "Restore the header from a replica or a backup. If the share was moved, move it back.",
    kShowHeader};
inline constexpr Kind kContainerMissing = {
    "container-missing",
    kDamage,
    "data container that no volume has",
    "Extents of the file lie in a data container that was found on no volume: the data is lost, or "
    "a volume is not mounted.",
    "Look at the volumes first. Then restore the container with its index from a replica.",
    "findmnt"};
inline constexpr Kind kHeaderUnreadable = {
    "header-unreadable",
    kUnchecked,
    "header that cannot be read",
    "Reading the header fails. That is an error of access or of the disk, and says nothing about "
    "the header's contents.",
    "Look at the permissions and at the kernel's log, then run again.",
    "namei -l {head}"};
inline constexpr Kind kExtentsUnreadable = {
    "extents-unreadable",
    kUnchecked,
    "extents that cannot be read",
    "Reading the extents fails. That is an error of access or of the disk, and says nothing about "
    "their contents.",
    "Look at the permissions and at the kernel's log, then run again.",
    "namei -l {map}"};
inline constexpr Kind kStorageUnitUnreadable = {
    "storage-unit-unreadable",
    kUnchecked,
    "storage unit that cannot be read",
    "Reading the storage unit fails. That is an error of access or of the disk. The checker alone "
    "passes over a storage unit that it may not open in silence.",
    "Look at the permissions and at the kernel's log, then run again.",
    "namei -l {stu}"};
inline constexpr Kind kDirectoryUnreadable = {
    "directory-unreadable",
    kUnchecked,
    "directory that cannot be listed",
    "A directory of the share cannot be listed. What is below it was not looked at.",
    "Look at the permissions and at the kernel's log, then run again.",
    kNamei};
inline constexpr Kind kLinkedDirectory = {
    "linked-directory",
    kUnchecked,
    "link to a directory",
    "The share has a symbolic link to a directory where a directory could be. The checker and the "
    "audit do not look at what is below it.",
    "Replace the link by the directory.",
    kNamei};

inline constexpr Kind kConfigurationMissing = {
    "configuration-missing",
    kUnchecked,
    "configuration that is not there",
    "JORV_CONFIG names a configuration file of the storage library that cannot be opened. A check "
    "with the defaults in its place would say nothing about this share, so nothing was checked.",
    "Correct JORV_CONFIG.",
    "ls -l {config}"};
inline constexpr Kind kConfigurationUnusable = {
    "configuration-unusable",
    kUnchecked,
    "configuration that cannot be used",
    "The storage library cannot use its configuration, so nothing was checked.",
    "Correct the configuration of the storage library.",
    "cat {config}"};
inline constexpr Kind kCheckerUnusable = {
    "checker-unusable",
    kUnchecked,
    "checker that does not run",
    "The checker does not end regularly on a view without any file, or does not report a header "
    "that is empty, so nothing was checked.",
    "Run jorvck by hand and look at its lines; --checker names another one.",
    "jorvck --share_path {share}"};
inline constexpr Kind kSharePathMissing = {
    "share-path-missing",
    kUnchecked,
    "share that is not there",
    "The directory of the share cannot be listed, so nothing was checked.",
    "Correct the path or the identifier; look whether the file system is mounted.",
    "ls -ld {share}"};
inline constexpr Kind kTreeMissing = {
    "tree-missing",
    kDamage,
    "tree that is not there",
    "A whole tree of the share, head, map or stu, is not there or cannot be listed.",
    "Look whether the file system is mounted. Then restore the tree from a replica or a backup.",
    "ls -l {share}"};
inline constexpr Kind kLayoutMismatch = {
    "layout-mismatch",
    kUnchecked,
    "configuration for another layout",
    "The storage library is configured for another layout than the map tree has. Each file would "
    "be reported, so nothing was checked.",
    "Set use_file_ext_map to the share's layout.",
    "grep use_file_ext_map {config}"};
inline constexpr Kind kShareElsewhere = {
    "share-elsewhere",
    kDamage,
    "share that was made for another place",
    "The headers record another place for the share than it has: it was moved or copied. The file "
    "data check would look at the other place, so it was left out.",
    "Move the share back to the place that its headers record.",
    "jorvshare show {head}"};
inline constexpr Kind kWrongId = {
    "wrong-id",
    kUnchecked,
    "identifier of another share",
    "The identifier is not that of the share at this path, so the file data check was left out.",
    "Correct the identifier or the path.",
    "ls -d {name}"};
inline constexpr Kind kVolumeTableUnreadable = {
    "volume-table-unreadable",
    kUnchecked,
    "table of volumes that cannot be read",
    "The storage library cannot read its table of volumes. No container is known without it.",
    "Restore the table.",
    "ls -l {name}"};
inline constexpr Kind kNoVolume = {
    "no-volume",
    kUnchecked,
    "table without a volume",
    "The table of volumes has no volume. No container is known, and the file data check checks no "
    "file.",
    "Restore the table.",
    "cat {name}"};
inline constexpr Kind kVolumeMissing = {"volume-missing",
                                        kUnchecked,
                                        "volume that is not there",
                                        "The table of volumes names a directory that is not there.",
                                        "Mount the volume, or correct the table.",
                                        "findmnt --fstab {name}; ls -ld {name}"};
inline constexpr Kind kVolumeNotMounted = {
    "volume-not-mounted",
    kUnchecked,
    "volume that is not mounted",
    "The table of volumes names a device for this directory, and nothing is mounted there.",
    "Mount the volume.",
    "findmnt {name}"};
inline constexpr Kind kVolumeEmpty = {
    "volume-empty",
    kUnchecked,
    "volume without a container",
    "The volume has no data container, and containers are missing. A volume that is not mounted "
    "looks like this.",
    "Look whether the volume is mounted.",
    "findmnt -T {name}"};
inline constexpr Kind kVolumeUnreadable = {
    "volume-unreadable",
    kUnchecked,
    "volume that cannot be searched",
    "A part of the volume cannot be listed. Containers in it count as missing.",
    "Look at the permissions and at the kernel's log, then run again.",
    kNamei};
inline constexpr Kind kIndexMissing =
    Of(lines::kCompanionMissing, kDamage, "container without an index", "ls -l {name}");
inline constexpr Kind kImageListUnreadable = {
    "image-list-unreadable",
    kUnchecked,
    "list of images that cannot be read",
    "The share's vcopy.dat cannot be read, so no image was checked. The checker alone takes it for "
    "missing.",
    "Look at its permissions.",
    "ls -l {share}/vcopy.dat"};
inline constexpr Kind kDataCheckEnded = {"data-check-ended",
                                         kUnchecked,
                                         "file data check that ended early",
                                         "The file data check did not come to its regular end.",
                                         "Look at the lines of the finding.",
                                         {}};
inline constexpr Kind kReportMissing = {
    "report-missing",
    kUnchecked,
    "share without a report",
    "The report of the share, or of a part of it, is not there, cannot be read, or does not belong "
    "to the plan of the fleet.",
    "See why its audit has not ended: the log of its task says so.",
    {}};
inline constexpr Kind kReportOld = {"report-old",
                                    kUnchecked,
                                    "report that is too old",
                                    "The share, or a part of it, has not been audited for longer "
                                    "than the plan of the fleet allows.",
                                    "See why its audit has not ended: the log of its task says so.",
                                    {}};
inline constexpr Kind kIncomplete = {"incomplete",
                                     kUnchecked,
                                     "coverage that is not complete",
                                     "Not all that there is was looked at.",
                                     "Correct the other causes, then run again.",
                                     {}};

}  // namespace kinds

/// The kind with this id, or null.
constexpr const Kind* FindKind(std::string_view id) {
    using namespace kinds;  // NOLINT(google-build-using-namespace)
    constexpr std::array kAll = {&kCorruptHeader,
                                 &kCorruptExtent,
                                 &kUnmatchedFingerprint,
                                 &kCorruptDcidList,
                                 &kTransIdMismatch,
                                 &kChecksumFailed,
                                 &kProcessFailed,
                                 &kSeekFailed,
                                 &kReadFailed,
                                 &kUnhandledException,
                                 &kParsePolicyFailed,
                                 &kParseBackupTimeFailed,
                                 &kMountFailed,
                                 &kImageFailed,
                                 &kUmountFailed,
                                 &kShareMissing,
                                 &kHeadersFailed,
                                 &kContainersFailed,
                                 &kExtentMissing,
                                 &kMetaLoadFailed,
                                 &kDataFileMissing,
                                 &kSizeMismatch,
                                 &kReservedDcid,
                                 &kUnknownDcid,
                                 &kCheckFailed,
                                 &kCheckGotError,
                                 &kTaskGotError,
                                 &kCheckerKilled,
                                 &kCheckerTimeout,
                                 &kCheckerFailed,
                                 &kUnknownLine,
                                 &kExtentsWithoutHeader,
                                 &kStorageUnitWithoutHeader,
                                 &kHeaderWithoutExtents,
                                 &kStorageUnitMissing,
                                 &kStorageUnitCut,
                                 &kStorageUnitNotAFile,
                                 &kExtentsElsewhere,
                                 &kContainerMissing,
                                 &kHeaderUnreadable,
                                 &kExtentsUnreadable,
                                 &kStorageUnitUnreadable,
                                 &kDirectoryUnreadable,
                                 &kLinkedDirectory,
                                 &kConfigurationMissing,
                                 &kConfigurationUnusable,
                                 &kCheckerUnusable,
                                 &kSharePathMissing,
                                 &kTreeMissing,
                                 &kLayoutMismatch,
                                 &kShareElsewhere,
                                 &kWrongId,
                                 &kVolumeTableUnreadable,
                                 &kNoVolume,
                                 &kVolumeMissing,
                                 &kVolumeNotMounted,
                                 &kVolumeEmpty,
                                 &kVolumeUnreadable,
                                 &kIndexMissing,
                                 &kImageListUnreadable,
                                 &kDataCheckEnded,
                                 &kReportMissing,
                                 &kReportOld,
                                 &kIncomplete};
    const auto* const found = std::ranges::find(kAll, id, &Kind::id);
    return found == kAll.end() ? nullptr : *found;
}

}  // namespace jorvaudit
