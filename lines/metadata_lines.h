#pragma once

#include "lines/line.h"

// The lines of a metadata check, in the order of its three parts.
namespace lines {

// Share metadata check: headers and extents.

inline constexpr Line kHeaderLoadFailed = {
    .id = "header-load-failed",
    .check = Check::kMetadata,
    .stream = Stream::kError,
    .kind = Kind::kFinding,
    .text = "[ERROR]: header file load failed!\n",
    .meaning = "A header does not load. The next line gives its path."};

inline constexpr Line kCorruptHeader = {
    .id = "corrupt-header",
    .check = Check::kMetadata,
    .stream = Stream::kError,
    .kind = Kind::kFinding,
    .text = "[ERROR]: corrupt header file {} found\n",
    .values = {Text("path")},
    .meaning =
        "The header at this path does not load: it is damaged, or may not be read. If the"
        " share's path, or a directory in the share, has a name that begins with \"head\", "
        "other files are taken for headers too.",
    .advice =
        "Restore the header from a replica or a backup. Only if the file is known to have"
        " been deleted: remove the header and the entries at the same place in the map "
        "and stu trees."};

inline constexpr Line kExtentLoadFailed = {
    .id = "extent-load-failed",
    .check = Check::kMetadata,
    .stream = Stream::kError,
    .kind = Kind::kFinding,
    .text = "[ERROR]: extent file load failed!\n",
    .meaning = "The extents of a file do not load. The next line gives their path."};

inline constexpr Line kCorruptExtent = {
    .id = "corrupt-extent",
    .check = Check::kMetadata,
    .stream = Stream::kError,
    .kind = Kind::kFinding,
    .text = "[ERROR]: corrupt extent file {} found\n",
    .values = {Text("path")},
    .meaning =
        "The extent file, or the directory of mapping tables, at this path is damaged or "
        "missing.",
    .advice =
        "First check that the storage library is configured for the share's layout: "
        "extent files that are expected where there are tables give this line too. (The "
        "opposite mistake prints nothing at all.) Then restore it from a replica or a "
        "backup."};

// The texts of kUnlistedDcid and kUnmatchedFingerprint speak of the list containing what the table
// lacks. It is the table that names what the list or the filter lacks.

inline constexpr Line kUnlistedDcid = {
    .id = "unlisted-dcid",
    .check = Check::kMetadata,
    .stream = Stream::kError,
    .kind = Kind::kFinding,
    .text = "[ERROR]: dcidlist file contains dcid which is not in table! {}\n",
    .values = {Number("dcid")},
    .meaning =
        "The data of an extent is in this data container, but the DCID list of the extent's "
        "mapping table does not name the container. Operations that rely on the list may treat the"
        " data as unused. The next line names the directory of tables.",
    .advice = "Restore the directory of tables from a replica or a backup."};

inline constexpr Line kUnmatchedFingerprint = {
    .id = "unmatched-fingerprint",
    .check = Check::kMetadata,
    .stream = Stream::kError,
    .kind = Kind::kFinding,
    .text = "[ERROR]: dcidlist file contains fp which is not in table! {}\n",
    .values = {Text("fingerprint")},
    .meaning =
        "A mapping table has an extent with this fingerprint, but the table's bloom filter does "
        "not match it. The line names no file, and the check goes on.",
    .advice =
        "Find the file: run jorvshare(1) show on the tables of recently written files and"
        " look for the fingerprint. Then restore its tables."};

inline constexpr Line kCorruptDcidList = {
    .id = "corrupt-dcid-list",
    .check = Check::kMetadata,
    .stream = Stream::kError,
    .kind = Kind::kFinding,
    .text = "[ERROR]: corrupt dcidlist file or table file {} found\n",
    .values = {Text("path")},
    .meaning = "A DCID list in the directory of mapping tables at this path lacks a container.",
    .advice = "Restore the directory."};

inline constexpr Line kTransIdMismatch = {
    .id = "transaction-mismatch",
    .check = Check::kMetadata,
    .stream = Stream::kError,
    .kind = Kind::kFinding,
    .text = "[ERROR]: the transID for header file and extent file mismatch\n",
    .meaning =
        "The header and the extent file of one file come from different transactions: "
        "only one of them was written. The line names no file.",
    .advice =
        "Find the file: compare trans_id of header and extent file with jorvshare(1) "
        "show, beginning with the files written last. Restore both from the same copy."};

inline constexpr Line kMissingTable = {
    .id = "missing-table",
    .check = Check::kMetadata,
    .stream = Stream::kError,
    .kind = Kind::kCannotGoOn,
    .text = "jorvck: the storage library made no mapping table\n",
    .meaning = "The storage library broke its contract, and the run is aborted.",
    .advice = "Report it to the supplier of the storage library."};

// Extent node checksum check: local data. Blanks before a path, and the lack of one, are part of
// the texts.

inline constexpr Line kVerifyFile = {
    .id = "verify-file",
    .check = Check::kChecksum,
    .stream = Stream::kError,
    .kind = Kind::kNotice,
    .text = "Verify file {}\n",
    .values = {Text("path")},
    .meaning =
        "The extent file at this path was loaded; its local data is checked next. These "
        "lines show which files the walk reached. Not printed for mapping tables."};

inline constexpr Line kStorageObject = {
    .id = "storage-object",
    .check = Check::kChecksum,
    .stream = Stream::kError,
    .kind = Kind::kNotice,
    .text = "verify SO exist... \n",
    .meaning =
        "An extent keeps its data in a container or a storage object. This is no finding:"
        " the data is not read here. In the layout of mapping tables, the file data check"
        " looks for the container."};

inline constexpr Line kChecksumFailed = {
    .id = "checksum-failed",
    .check = Check::kChecksum,
    .stream = Stream::kError,
    .kind = Kind::kFinding,
    .text = "[ERROR]: extent file cksum failed {}\n",
    // No path for a directory that cannot be opened.
    .values = {Text("path")},
    .meaning =
        "The local data of the file does not match its recorded checksum. Without a path:"
        " a directory of the map tree could not be opened, for instance because map is "
        "missing or holds an entry that is neither a file nor a directory.",
    .advice =
        "Restore the file's storage unit and extents from the same copy. Without a path: "
        "look at the map tree with ls(1)."};

inline constexpr Line kProcessFailed = {
    .id = "process-failed",
    .check = Check::kChecksum,
    .stream = Stream::kError,
    .kind = Kind::kFinding,
    .text = "[ERROR]: extent file process failed{}\n",
    .values = {Number("error")},
    .meaning =
        "The extents of a file do not load. The number is an error number, see errno(3), "
        "and follows without a blank: 74 is damage, 2 a missing file, 13 a file that may "
        "not be read. The line names no file.",
    .advice =
        "Find the file: run jorvshare(1) show on each extent file of the directories that"
        " the walk reached."};

inline constexpr Line kSeekFailed = {
    .id = "seek-failed",
    .check = Check::kChecksum,
    .stream = Stream::kError,
    .kind = Kind::kFinding,
    .text = "[ERROR]: Failed to seek local STU file{}\n",
    .values = {Text("path")},
    .meaning =
        "An extent of this file records a negative offset in the storage unit. The path "
        "follows without a blank.",
    .advice = "Restore the extents."};

inline constexpr Line kReadFailed = {
    .id = "read-failed",
    .check = Check::kChecksum,
    .stream = Stream::kError,
    .kind = Kind::kFinding,
    .text = "[ERROR]: Failed to read local STU file {}\n",
    .values = {Text("path")},
    .meaning =
        "The storage unit has no data where an extent of this file records it. Or the "
        "extent is empty, inverted or longer than 131072 bytes, or the storage unit is a "
        "directory.",
    .advice = "Compare the size of the storage unit with the extents and restore the wrong one."};

inline constexpr Line kStorageUnitNotOpened = {
    .id = "storage-unit-not-opened",
    .check = Check::kChecksum,
    .stream = Stream::kError,
    .kind = Kind::kNeverPrinted,
    .text = "Failed to open local STU file:{}",
    .values = {Text("path")},
    .meaning =
        "The storage unit of a file cannot be opened. The checker ends the check of the table "
        "without a line, since scripts that read its lines do not expect one here.",
    .advice = "Restore the storage unit."};

// Virtual-copy check. Odd blanks and full stops, present in one text and missing in another, are
// part of the texts.

inline constexpr Line kCheckingSharePath = {.id = "checking-share-path",
                                            .check = Check::kVirtualCopy,
                                            .stream = Stream::kOutput,
                                            .kind = Kind::kNotice,
                                            .text = "checking sharePath {}\n",
                                            .values = {Text("path")},
                                            .meaning = "The check of the container images begins."};

inline constexpr Line kImage = {
    .id = "image",
    .check = Check::kVirtualCopy,
    .stream = Stream::kOutput,
    .kind = Kind::kNotice,
    .text = "{}\n",
    .values = {Text("image")},
    .meaning = "The name of an image that vcopy.dat lists, one line per image."};

inline constexpr Line kVcopyNotFound = {
    .id = "vcopy-not-found",
    .check = Check::kVirtualCopy,
    .stream = Stream::kError,
    .kind = Kind::kNotice,
    .text = "[JORVCK_VCOPY] Vcopy file not found!\n",
    .meaning =
        "The share has no vcopy.dat that can be opened. A share without virtual copies has "
        "none.",
    .advice = "If the share has virtual copies, restore vcopy.dat."};

inline constexpr Line kParsePolicyFailed = {
    .id = "parse-policy-failed",
    .check = Check::kVirtualCopy,
    .stream = Stream::kError,
    .kind = Kind::kFinding,
    .text = "[JORVCK_VCOPY] Failed to parse policy in {}\n",
    .values = {Text("file")},
    .meaning =
        "The file cannot be read, for instance because it is a directory. No image was "
        "checked.",
    .advice = "Restore the file."};

/// Also the line for an image list that cannot be read.
inline constexpr Line kParseBackupTimeFailed = {
    .id = "parse-backup-time-failed",
    .check = Check::kVirtualCopy,
    .stream = Stream::kError,
    .kind = Kind::kFinding,
    .text = "[JORVCK_VCOPY] Failed to parse backuptime in {}\n",
    .values = {Text("file")},
    .meaning =
        "The file ends within a group of policy, backup time and images: it was cut "
        "short, or it has an empty line at its end. No image was checked.",
    .advice = "Remove empty lines at the end, or restore the file."};

inline constexpr Line kParsingFailed = {
    .id = "vcopy-parsing-failed",
    .check = Check::kVirtualCopy,
    .stream = Stream::kOutput,
    .kind = Kind::kNotice,
    .text = "[JORVCK_VCOPY] Parsing Vcopy.dat failed. WARNING OUT!\n",
    .meaning =
        "No image was checked. A line on standard error says why; in a share without "
        "virtual copies there is no vcopy.dat, and this line is normal."};

inline constexpr Line kMountFailed = {
    .id = "mount-failed",
    .check = Check::kVirtualCopy,
    .stream = Stream::kError,
    .kind = Kind::kCannotGoOn,
    .text = "[JORVCK_VCOPY] failed to mount kovfs.\n",
    .meaning =
        "The container file system of the images could not be mounted. No image was "
        "checked. With the reference library: the configured image root is missing.",
    .advice = "Look at image_root in jorv.toml(5)."};

inline constexpr Line kImageFailed = {
    .id = "image-failed",
    .check = Check::kVirtualCopy,
    .stream = Stream::kError,
    .kind = Kind::kFinding,
    .text = "[JORVCK_VCOPY] validating image [{}] failed with ret = {}\n",
    .values = {Text("image"), Number("code")},
    .meaning =
        "The image is not sound, and the images listed after it were not checked. With the "
        "reference library the code is 2 for a missing image, 5 for a damaged one, 22 for "
        "a name that no image can have, and otherwise the error number of the failed call.",
    .advice = "Restore the image. If its backup was deleted, remove it from vcopy.dat."};

inline constexpr Line kUmountFailed = {
    .id = "umount-failed",
    .check = Check::kVirtualCopy,
    .stream = Stream::kError,
    .kind = Kind::kCannotGoOn,
    .text = "[JORVCK_VCOPY] failed to umount kovfs\n",
    .meaning =
        "The container file system could not be unmounted. The images were checked: "
        "without a failure line above they are sound, although the success line is "
        "missing.",
    .advice = "Look at the storage library's log."};

inline constexpr Line kImagesValidated = {
    .id = "images-validated",
    .check = Check::kVirtualCopy,
    .stream = Stream::kOutput,
    .kind = Kind::kNotice,
    .text = "[JORVCK_VCOPY] validating vcopy for {}successfully! \n",
    .values = {Text("path")},
    .meaning = "All listed images are sound, or none is listed. No blank follows the path."};

}  // namespace lines
