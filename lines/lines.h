#pragma once

#include <algorithm>
#include <array>

#include "lines/file_data_lines.h"
#include "lines/line.h"
#include "lines/metadata_lines.h"

// The catalogue: every text that the checker prints, once. A text is fixed byte for byte: scripts
// read it, so odd blanks, missing full stops and misleading words stay. A new line is an entry in
// the file of its check, listed in kAll.
namespace lines {

// Lines of every run.

inline constexpr Line kUsage = {
    .id = "usage",
    .check = Check::kEveryRun,
    .stream = Stream::kError,
    .kind = Kind::kCannotGoOn,
    .text = "USAGE:\n",
    .meaning =
        "Begins the usage text. The command line was not accepted, or --help was given. "
        "Nothing was checked, and the exit status is 255.",
    .advice = "Correct the command line."};

inline constexpr Line kUsageShare = {
    .id = "usage-share",
    .check = Check::kEveryRun,
    .stream = Stream::kError,
    .kind = Kind::kCannotGoOn,
    // The blank before the bar and none after it are part of the text.
    .text = "\t[--share_id <share id> |--share_path <share path>\t\trequired]\n",
    .meaning = "Usage text: how to name the share."};

inline constexpr Line kUsageAge = {
    .id = "usage-age",
    .check = Check::kEveryRun,
    .stream = Stream::kError,
    .kind = Kind::kCannotGoOn,
    // The blank before the tabs is part of the text.
    .text = "\t--t <file creation time older than (int) hours> \t\toptional\n",
    .meaning = "Usage text: the age limit of the file data check."};

inline constexpr Line kUsageVerify = {
    .id = "usage-verify",
    .check = Check::kEveryRun,
    .stream = Stream::kError,
    .kind = Kind::kCannotGoOn,
    .text = "\t--verify_data\t\toptional\n",
    .meaning = "Usage text: the option that selects the file data check."};

inline constexpr Line kUnhandledException = {
    .id = "unhandled-exception",
    .check = Check::kEveryRun,
    .stream = Stream::kOutput,
    .kind = Kind::kCannotGoOn,
    .text = "unhandled exception caught.\n",
    .meaning =
        "An unexpected error stopped the run (status 255). Findings above are valid; later "
        "checks did not run. Usual causes: the share path does not exist, a directory of "
        "the share cannot be read, the storage library's configuration cannot be used (a "
        "line on standard error then says why), or memory ran out.",
    .advice = "Find the cause and run again."};

/// All lines, in the order of the manual page. What is not listed here cannot be printed.
inline constexpr std::array kAll = {
    &kUsage,
    &kUsageShare,
    &kUsageAge,
    &kUsageVerify,
    &kUnhandledException,

    &kHeaderLoadFailed,
    &kCorruptHeader,
    &kExtentLoadFailed,
    &kCorruptExtent,
    &kUnlistedDcid,
    &kUnmatchedFingerprint,
    &kCorruptDcidList,
    &kTransIdMismatch,
    &kMissingTable,

    &kVerifyFile,
    &kStorageObject,
    &kChecksumFailed,
    &kProcessFailed,
    &kSeekFailed,
    &kReadFailed,
    &kStorageUnitNotOpened,

    &kCheckingSharePath,
    &kImage,
    &kVcopyNotFound,
    &kParsePolicyFailed,
    &kParseBackupTimeFailed,
    &kParsingFailed,
    &kMountFailed,
    &kImageFailed,
    &kUmountFailed,
    &kImagesValidated,

    &kShareMissing,
    &kCheckingOlderThan,
    &kLoadingVolumes,
    &kLoadingContainers,
    &kLoadingHeaders,
    &kCheckingFiles,
    &kDone,
    &kCompanionMissing,
    &kContainersFailed,
    &kHeadersFailed,
    &kTotalFiles,
    &kProgress,
    &kProgressEnd,
    &kHeaderMissing,
    &kHeaderNotLoaded,
    &kExtentMissing,
    &kMetaLoadFailed,
    &kNoExtentPath,
    &kDataFileMissing,
    &kSizeMismatch,
    &kReservedDcid,
    &kUnknownDcid,
    &kFileSummary,
    &kCheckFailed,
    &kCheckGotError,
    &kTaskGotError,
};

/// Whether the catalogue lists the line.
constexpr bool IsListed(const Line& line) {
    return std::ranges::any_of(kAll, [&](const Line* listed) { return listed->id == line.id; });
}

static_assert(std::ranges::all_of(kAll, [](const Line* line) {
    return CountGaps(*line) == CountValues(*line) &&
           std::ranges::count_if(kAll, [&](const Line* other) { return other->id == line->id; }) ==
               1;
}));

}  // namespace lines
