#pragma once

#include "lines/line.h"

namespace lines {

// File data check. Progress has no line end. A line about a file therefore begins with one, so that
// it does not continue the progress.

inline constexpr Line kShareMissing = {
    .id = "share-missing",
    .check = Check::kFileData,
    .stream = Stream::kError,
    .kind = Kind::kCannotGoOn,
    .text = "The share ID {} doesn't exist, meta_dir: {}\n",
    .values = {Text("id"), Text("directory")},
    .meaning =
        "The metadata directory of the share, shown in the line, does not exist. Nothing "
        "was checked, and the exit status is 0.",
    .advice = "Check the identifier, JORV_CONFIG and meta_dir in jorv.toml(5)."};

inline constexpr Line kCheckingOlderThan = {
    .id = "checking-older-than",
    .check = Check::kFileData,
    .stream = Stream::kOutput,
    .kind = Kind::kNotice,
    .text = "Checking files which are created before {} hours in {}\n",
    .values = {Number("hours"), Text("id")},
    .meaning = "The run begins. The age of a file is the time since its last modification."};

inline constexpr Line kLoadingVolumes = {
    .id = "loading-volumes",
    .check = Check::kFileData,
    .stream = Stream::kOutput,
    .kind = Kind::kNotice,
    .text = "Loading volumes for {}\n",
    .values = {Text("id")},
    .meaning =
        "The table of volumes is read next. If it cannot be read, no line says so: then no "
        "container is known and no file is checked."};

inline constexpr Line kLoadingContainers = {
    .id = "loading-containers",
    .check = Check::kFileData,
    .stream = Stream::kOutput,
    .kind = Kind::kNotice,
    .text = "Loading data containers for {}\n",
    .values = {Text("id")},
    .meaning = "The volumes are searched for data containers next."};

inline constexpr Line kLoadingHeaders = {.id = "loading-headers",
                                         .check = Check::kFileData,
                                         .stream = Stream::kOutput,
                                         .kind = Kind::kNotice,
                                         .text = "Loading headers for {}\n",
                                         .values = {Text("id")},
                                         .meaning = "The headers of the share are listed next."};

inline constexpr Line kCheckingFiles = {.id = "checking-files",
                                        .check = Check::kFileData,
                                        .stream = Stream::kOutput,
                                        .kind = Kind::kNotice,
                                        .text = "Checking files for {}\n",
                                        .values = {Text("id")},
                                        .meaning = "The files are checked next."};

inline constexpr Line kDone = {
    .id = "done",
    .check = Check::kFileData,
    .stream = Stream::kOutput,
    .kind = Kind::kNotice,
    .text = "Check files for {} done!\n",
    .values = {Text("id")},
    .meaning =
        "The run has ended. It ends with this line even when there is no volume and no "
        "file was checked."};

/// The text has no colon after "[ERROR]".
inline constexpr Line kCompanionMissing = {
    .id = "container-index-missing",
    .check = Check::kFileData,
    .stream = Stream::kError,
    .kind = Kind::kFinding,
    .text = "[ERROR] bhd {} corrupted\n",
    .values = {Text("container")},
    .meaning =
        "The container has data (.bin) and no index (.bhd). It counts as missing, so every "
        "file with data in it is reported too.",
    .advice =
        "Find the container with find(1), by the name NUMBER.bin on every volume, and "
        "restore the .bhd file beside it."};

inline constexpr Line kContainersFailed = {
    .id = "loading-containers-failed",
    .check = Check::kFileData,
    .stream = Stream::kError,
    .kind = Kind::kCannotGoOn,
    .text = "Failed to load data containers from {}\n",
    .values = {Text("volume")},
    .meaning =
        "The search of a volume ended early: a directory cannot be read, or the volume "
        "holds a .bin file whose name is not a number. Containers found until then count. "
        "Files with data in other containers of the volume are reported wrongly.",
    .advice = "Make the directory readable or move the .bin file away, then run again."};

inline constexpr Line kHeadersFailed = {
    .id = "loading-headers-failed",
    .check = Check::kFileData,
    .stream = Stream::kError,
    .kind = Kind::kCannotGoOn,
    .text = "Failed to load headers from {}\n",
    .values = {Text("directory")},
    .meaning =
        "The listing of the headers ended early. Only the headers found until then are "
        "checked.",
    .advice = "Make every directory below it readable, then run again."};

inline constexpr Line kTotalFiles = {.id = "total-files",
                                     .check = Check::kFileData,
                                     .stream = Stream::kError,
                                     .kind = Kind::kProgress,
                                     .text = "Total number of file: {}\n",
                                     .values = {Number("number")},
                                     .meaning = "The number of headers found."};

inline constexpr Line kProgress = {
    .id = "progress",
    .check = Check::kFileData,
    .stream = Stream::kError,
    .kind = Kind::kProgress,
    .text = " {}/{}",
    .values = {Number("checked"), Number("total")},
    .meaning = "Progress, after every 10000 files, without a line end."};

inline constexpr Line kProgressEnd = {
    .id = "progress-end",
    .check = Check::kFileData,
    .stream = Stream::kError,
    .kind = Kind::kProgress,
    .text = " {}/{}\n",
    .values = {Number("total"), Number("total")},
    .meaning =
        "Progress at the last file. If the listing of the headers ended early, it is \" 0/0\", "
        "once for each file."};

inline constexpr Line kHeaderMissing = {
    .id = "header-missing",
    .check = Check::kFileData,
    .stream = Stream::kError,
    .kind = Kind::kFinding,
    .text = "\n[ERROR]: header {} doesn't exist!\n",
    .values = {Text("path")},
    .meaning = "The header was there when the run began: the file was deleted during the run.",
    .advice = "Run again."};

inline constexpr Line kHeaderNotLoaded = {
    .id = "header-not-loaded",
    .check = Check::kFileData,
    .stream = Stream::kError,
    .kind = Kind::kFinding,
    .text = "\n[ERROR]: header file load failed! {}\n",
    .values = {Text("reason")},
    .meaning = "A header does not load. The storage library gives the reason.",
    .advice = "Restore the header from a replica or a backup."};

inline constexpr Line kExtentMissing = {
    .id = "extent-missing",
    .check = Check::kFileData,
    .stream = Stream::kError,
    .kind = Kind::kFinding,
    .text = "\n[ERROR]: extent {} doesn't exist! fg: {}\n",
    .values = {Text("path"), Number("fg")},
    .meaning = "There is no directory of mapping tables where the header records it.",
    .advice =
        "Restore the directory. If the share was moved, move it back: its headers record "
        "the old place."};

inline constexpr Line kMetaLoadFailed = {
    .id = "meta-load-failed",
    .check = Check::kFileData,
    .stream = Stream::kError,
    .kind = Kind::kFinding,
    .text = "\n[ERROR]: file meta load failed! {}\n",
    .values = {Text("file")},
    .meaning =
        "Follows a line about a missing header, a header that does not load or missing "
        "extents, and names the file. The file was not checked further."};

inline constexpr Line kNoExtentPath = {
    .id = "no-extent-path",
    .check = Check::kFileData,
    .stream = Stream::kError,
    .kind = Kind::kFinding,
    .text = "\n[ERROR]: extent doesn't exist for path: {}\n",
    .values = {Text("file")},
    .meaning =
        "The header records no place for the extents. A header that loads always records one.",
    .advice = "Restore the header from a replica or a backup."};

/// Names the file as its user sees it, not the data file, and always the negated number of an
/// invalid argument.
inline constexpr Line kDataFileMissing = {
    .id = "data-file-missing",
    .check = Check::kFileData,
    .stream = Stream::kError,
    .kind = Kind::kFinding,
    .text = "\n[ERROR]: invalid lmdb data path: '{}' -22\n",
    .values = {Text("file")},
    .meaning =
        "The directory of mapping tables has no data.mdb. A share of extent files never has one: "
        "this check is not for such shares.",
    .advice = "Restore data.mdb from a replica or a backup."};

inline constexpr Line kSizeMismatch = {
    .id = "size-mismatch",
    .check = Check::kFileData,
    .stream = Stream::kError,
    .kind = Kind::kFinding,
    .text =
        "\n[ERROR]: File size in header and extent doesn't match, file: {} header size: {} "
        "extent size: {}\n",
    .values = {Text("file"), Number("size"), Number("size")},
    .meaning = "The header and the extents record different sizes: one of them is out of date.",
    .advice = "Restore both from the same copy."};

/// The text has no blank after the first colon.
inline constexpr Line kReservedDcid = {
    .id = "reserved-dcid",
    .check = Check::kFileData,
    .stream = Stream::kError,
    .kind = Kind::kFinding,
    .text = "\n[ERROR]: unexpected dcid:{} file: {}\n",
    .values = {Number("dcid"), Text("file")},
    .meaning =
        "An extent names a reserved identifier, one below 64, in place of a container. "
        "Reported once per table.",
    .advice = "Restore the tables of the file."};

inline constexpr Line kUnknownDcid = {
    .id = "unknown-dcid",
    .check = Check::kFileData,
    .stream = Stream::kError,
    .kind = Kind::kFinding,
    .text = "\n[ERROR]: Cannot find dcid: {} file: {}\n",
    .values = {Number("dcid"), Text("file")},
    .meaning =
        "An extent names a container that no volume has: the data is lost, or a volume is "
        "not mounted. Reported once per table.",
    .advice =
        "Look at the mounts and at the lines about volumes and containers first. Then "
        "restore the container."};

/// "[INFO]" in front when the code is 0, else "[ERROR]".
inline constexpr Line kFileSummary = {
    .id = "file-summary",
    .check = Check::kFileData,
    .stream = Stream::kError,
    .kind = Kind::kFileSummary,
    .text = "{}: File information, path: {} ec: {} [ mtim: {} size: {} fg: {} ext: {} extl: {} ]\n",
    .values = {Text("level"), Text("path"), Number("code"), Number("time"), Number("size"),
               Number("fg"), Text("directory"), Text("where")},
    .meaning =
        "Follows a finding about a file and shows what its header records: the time of "
        "the last modification, the size, the directory of mapping tables, and \"local\" or"
        " \"dev\". The code is 4 for no extent directory or no data.mdb, 5 for no path of "
        "extents, 6 for different sizes, 7 for an unknown container and 9 for a reserved "
        "identifier. The level is [ERROR]; it would be [INFO] for code 0."};

inline constexpr Line kCheckFailed = {
    .id = "check-failed",
    .check = Check::kFileData,
    .stream = Stream::kError,
    .kind = Kind::kFinding,
    .text = "\n[ERROR]: Failed to check data for file: {}\n",
    .values = {Text("file")},
    .meaning =
        "The file's mapping tables could not be loaded: they are damaged or may not be "
        "read.",
    .advice =
        "Check the permissions first. Then restore the mapping tables from a replica or a"
        " backup."};

inline constexpr Line kCheckGotError = {
    .id = "check-got-error",
    .check = Check::kFileData,
    .stream = Stream::kError,
    .kind = Kind::kCannotGoOn,
    .text = "\nCheck file got error, path {}\n",
    .values = {Text("file")},
    .meaning = "The file was not checked: memory ran out or a system call failed.",
    .advice = "Run again."};

inline constexpr Line kTaskGotError = {
    .id = "task-got-error",
    .check = Check::kFileData,
    .stream = Stream::kError,
    .kind = Kind::kCannotGoOn,
    .text = "Task got error!\n",
    .meaning =
        "A thread that checks files ended. The others go on; if it was the last, some files "
        "were not checked.",
    .advice = "Run again."};

}  // namespace lines
