#include "jorvaudit/judgement.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <system_error>

#include "terminal/printable.h"

namespace jorvaudit {

namespace {

// The line as the checker printed it, for people: without line ends.
std::string TextOf(const KnownLine& known) {
    std::string text(known.line->text);
    std::size_t at = 0;
    for (const std::string& value : known.values) {
        at = text.find("{}", at);
        text.replace(at, 2, value);
        at += value.size();
    }
    const std::size_t begin = text.find_first_not_of('\n');
    const std::size_t end = text.find_last_not_of('\n');
    return terminal::Printable(std::string_view(text).substr(begin, end + 1 - begin));
}

class Judgement {
  public:
    Judgement(const std::string& path, const FileEntry& file, const FileFacts& facts,
              const CheckerVerdict& verdict, bool tables)
        : path_(path), file_(file), facts_(facts), verdict_(verdict), tables_(tables) {}

    std::vector<Finding> Make() {
        JudgeHeader();
        JudgeExtents();
        JudgeData();
        JudgeRun();
        AddLines();
        return std::move(findings_);
    }

  private:
    void Add(const Kind& kind, std::string detail = {}) {
        findings_.push_back({.kind = &kind, .name = path_, .detail = std::move(detail)});
    }

    [[nodiscard]] bool Said(const lines::Line& line) const {
        return std::ranges::find(verdict_.lines, &line, &KnownLine::line) != verdict_.lines.end();
    }

    void JudgeHeader() {
        if (IsAccessError(facts_.headerError)) {
            Add(kinds::kHeaderUnreadable, ErrorText(facts_.headerError));
        } else if (facts_.headerError != 0) {
            Add(kinds::kCorruptHeader, ErrorText(facts_.headerError));
        } else if (Said(lines::kCorruptHeader)) {
            Add(kinds::kCorruptHeader);
        }
        if (facts_.elsewhere) {
            Add(kinds::kExtentsElsewhere, facts_.hostile ? "the place holds a line end" : "");
        }
    }

    void JudgeExtents() {
        const std::size_t before = findings_.size();
        if (file_.extents == Has::kNothing) {
            // With tables a file without contents has none, and the checker wants none.
            if (!tables_ || facts_.size != 0) {
                Add(kinds::kHeaderWithoutExtents);
            }
        } else if (IsAccessError(facts_.extentsError)) {
            Add(kinds::kExtentsUnreadable, ErrorText(facts_.extentsError));
        } else if (facts_.extentsError != 0) {
            Add(kinds::kCorruptExtent, ErrorText(facts_.extentsError));
        } else if (Said(lines::kCorruptExtent)) {
            Add(kinds::kCorruptExtent);
        }
        if (Said(lines::kProcessFailed) && findings_.size() == before) {
            Add(kinds::kProcessFailed);
        }
        if (Said(lines::kCorruptDcidList)) {
            Add(kinds::kCorruptDcidList);
        }
        if (Said(lines::kUnmatchedFingerprint)) {
            Add(kinds::kUnmatchedFingerprint);
        }
        if (Said(lines::kTransIdMismatch)) {
            Add(kinds::kTransIdMismatch);
        }
        if (!facts_.missing.empty()) {
            std::string names;
            for (const std::uint64_t id : facts_.missing) {
                names += (names.empty() ? "container " : ", ") + std::to_string(id);
            }
            Add(kinds::kContainerMissing, names);
            findings_.back().containers = facts_.missing;
        }
    }

    void JudgeData() {
        // The checker compares what is there of an extent, so it may say nothing, or what follows
        // from it.
        if (file_.unit == Has::kFile && facts_.unitError == 0 &&
            facts_.unitSize < facts_.unitNeeds) {
            Add(kinds::kStorageUnitCut, "has " + std::to_string(facts_.unitSize) + " bytes of " +
                                            std::to_string(facts_.unitNeeds));
            return;
        }
        // The checker sums what it could read, so a read that fails part-way gives this line too.
        if (Said(lines::kChecksumFailed) && facts_.unitError == 0) {
            Add(kinds::kChecksumFailed);
        }
        if (Said(lines::kSeekFailed)) {
            Add(kinds::kSeekFailed);
        }
        if (file_.unit == Has::kOther ||
            (file_.unit == Has::kDirectory && Said(lines::kReadFailed))) {
            Add(kinds::kStorageUnitNotAFile);
        } else if (facts_.unitError != 0) {
            Add(kinds::kStorageUnitUnreadable, ErrorText(facts_.unitError));
        } else if (Said(lines::kReadFailed)) {
            Add(file_.unit == Has::kNothing ? kinds::kStorageUnitMissing : kinds::kReadFailed);
        }
    }

    void JudgeRun() {
        if (verdict_.timedOut) {
            Add(kinds::kCheckerTimeout);
        } else if (verdict_.end.signal != 0) {
            Add(kinds::kCheckerKilled, "signal " + std::to_string(verdict_.end.signal) + ", " +
                                           ::strsignal(verdict_.end.signal));
        } else if (Said(lines::kUnhandledException)) {
            // An entry that cannot be followed ends the checker, and is a finding already.
            if (findings_.empty()) {
                Add(kinds::kUnhandledException);
            }
        } else if (verdict_.end.status != 0) {
            Add(kinds::kCheckerFailed, "status " + std::to_string(verdict_.end.status));
        }
        if (!verdict_.unknown.empty() || (findings_.empty() && !verdict_.lines.empty())) {
            Add(kinds::kUnknownLine);
        }
    }

    // The first finding has them all: they are the lines of one run.
    void AddLines() {
        constexpr std::size_t kMost = 8;
        if (findings_.empty()) {
            return;
        }
        std::vector<std::string>& shown = findings_.front().lines;
        for (const KnownLine& line : verdict_.lines) {
            shown.push_back(TextOf(line));
        }
        for (const std::string& line : verdict_.unknown) {
            shown.push_back(terminal::Printable(line));
        }
        if (shown.size() > kMost) {
            const std::size_t more = shown.size() - kMost;
            shown.resize(kMost);
            shown.push_back("... and " + std::to_string(more) + " more");
        }
    }

    const std::string& path_;
    const FileEntry& file_;
    const FileFacts& facts_;
    const CheckerVerdict& verdict_;
    const bool tables_;
    std::vector<Finding> findings_;
};

}  // namespace

bool CheckerVerdict::IsClean() const {
    return !timedOut && end.status == 0 && end.signal == 0 && lines.empty() && unknown.empty();
}

bool CheckerVerdict::EndedWithLines() const {
    return !timedOut && end.signal == 0 && !lines.empty();
}

std::vector<Finding> Judge(const std::string& path, const FileEntry& file, const FileFacts& facts,
                           const CheckerVerdict& verdict, bool tables) {
    return Judgement(path, file, facts, verdict, tables).Make();
}

Finding JudgeOrphan(const std::string& path, const FileEntry& file) {
    return {.kind = file.extents != Has::kNothing ? &kinds::kExtentsWithoutHeader
                                                  : &kinds::kStorageUnitWithoutHeader,
            .name = path};
}

void CountLookedAt(const FileEntry& file, const FileFacts& facts, const CheckerVerdict& verdict,
                   Tally* tally) {
    const bool ended = !verdict.timedOut && verdict.end.signal == 0 && verdict.end.status == 0;
    const bool header = ended && !IsAccessError(facts.headerError);
    const bool hasExtents = file.extents != Has::kNothing;
    const bool extents = ended && hasExtents && !IsAccessError(facts.extentsError);
    const bool hasUnit = file.unit != Has::kNothing;
    // Without extents nothing says what the local data should be.
    const bool unit = extents && facts.extentsError == 0 && hasUnit && facts.unitError == 0 &&
                      file.unit != Has::kOther;
    (*tally)[What::kHeaders].lookedAt += header ? 1U : 0U;
    (*tally)[What::kExtents].lookedAt += extents ? 1U : 0U;
    (*tally)[What::kLocalData].lookedAt += unit ? 1U : 0U;
    (*tally)[What::kFiles].lookedAt += header && extents == hasExtents && unit == hasUnit ? 1U : 0U;
}

std::string ErrorText(int code) {
    return std::generic_category().message(code) + " (errno " + std::to_string(code) + ")";
}

bool IsAccessError(int code) {
    constexpr std::array kAccess = {
        EACCES, EPERM,  EIO,       ELOOP,        ENAMETOOLONG, ESTALE,    EMFILE,
        ENFILE, ENOMEM, ENOTCONN,  ETIMEDOUT,    EREMOTEIO,    ENXIO,     ENODEV,
        EAGAIN, EINTR,  EHOSTDOWN, EHOSTUNREACH, ENOLINK,      EMULTIHOP, ENOMEDIUM};
    return std::ranges::find(kAccess, code) != kAccess.end();
}

}  // namespace jorvaudit
