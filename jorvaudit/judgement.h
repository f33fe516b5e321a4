#pragma once

#include <string>
#include <vector>

#include "jorvaudit/checker.h"
#include "jorvaudit/listing.h"
#include "jorvaudit/storage_look.h"

namespace jorvaudit {

/// What the checker said of a file that was alone in its view.
struct CheckerVerdict {
    CheckerEnd end;
    bool timedOut = false;
    std::vector<KnownLine> lines;  ///< paths of the view replaced by those of the share
    std::vector<std::string> unknown;

    /// It ended in order and had nothing to say.
    [[nodiscard]] bool IsClean() const;
    /// The checker came to its end and had something to say.
    [[nodiscard]] bool EndedWithLines() const;
};

/// Findings about one file that has a header, from the names that the trees have for it, the
/// audit's own look, and the checker's verdict. Consequences are left out: extents that do not load
/// give one finding, although the checker prints three lines about them.
std::vector<Finding> Judge(const std::string& path, const FileEntry& file, const FileFacts& facts,
                           const CheckerVerdict& verdict, bool tables);

/// The finding about a name that no header has.
Finding JudgeOrphan(const std::string& path, const FileEntry& file);

/// Adds to `tally` what of the file was looked at.
void CountLookedAt(const FileEntry& file, const FileFacts& facts, const CheckerVerdict& verdict,
                   Tally* tally);

/// "Bad message (errno 74)"
std::string ErrorText(int code);

/// Whether an error number says that something could not be read, rather than that it is damaged.
bool IsAccessError(int code);

}  // namespace jorvaudit
