#pragma once

#include <array>
#include <boost/icl/interval_set.hpp>
#include <compare>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "jorvaudit/kinds.h"

/// What an audit found and looked at. Names are raw bytes; each form of the report escapes them.
namespace jorvaudit {

enum class Object { kFile, kDirectory, kImage, kContainer, kVolume, kShare };

/// Word for an object in reports, and back; nothing when it is none.
std::string_view ObjectWord(Object object);
std::optional<Object> ObjectOf(std::string_view word);

struct Acknowledgement {
    std::string date;  ///< YYYY-MM-DD
    std::string note;
};

/// One finding. Kind, object and name identify it from report to report.
struct Finding {
    const Kind* kind = nullptr;
    Object object = Object::kFile;
    std::string name = {};  ///< of a file: its path below head, map and stu
    std::string group =
        {};  ///< what findings with one cause share, as "map/a" for a missing directory
    std::string detail = {};                     ///< what is particular to this finding; printable
    std::vector<std::uint64_t> containers = {};  ///< missing ones, ascending
    std::vector<std::string> lines = {};         ///< of the checker; printable
    std::int64_t since = 0;  ///< end of the first audit that reported it, seconds since the epoch
    std::optional<Acknowledgement> acknowledged = {};
};

/// The order of reports, and what is the same finding in another report: object, name and kind.
std::strong_ordering operator<=>(const Finding& a, const Finding& b);
bool operator==(const Finding& a, const Finding& b);

struct Count {
    std::uint64_t lookedAt = 0;
    std::uint64_t thereAre = 0;

    Count& operator+=(const Count& other);
    bool operator==(const Count&) const = default;
};

/// What is counted, as rows of the coverage table.
enum class What {
    kDirectories,
    kFiles,
    kHeaders,
    kExtents,
    kLocalData,
    kContainers,
    kImages,
    kData
};
inline constexpr std::array<std::string_view, 8> kWhats = {
    "directories", "files",      "headers", "extent maps",
    "local data",  "containers", "images",  "file data check"};

using IdSet = boost::icl::interval_set<std::uint64_t>;

/// "64-70,80", and back.
std::string RangesOf(const IdSet& ids);
IdSet IdsOf(std::string_view ranges);

/// Sums over the files of a share, or of a part of it.
struct Tally {
    std::array<Count, kWhats.size()> counts = {};  ///< kContainers stays 0: see named
    std::uint64_t elsewhere = 0;                   ///< headers that record another place
    std::uint64_t hostile = 0;                     ///< files whose name holds a line end
    IdSet named;                                   ///< containers that extents name
    /// Files per upper directory, of two levels at most, fewer when there are many.
    std::map<std::string, std::uint64_t> filesIn;
    std::size_t levels = 2;  ///< of directories in filesIn, at most

    Count& operator[](What what) { return counts.at(static_cast<std::size_t>(what)); }
    const Count& operator[](What what) const { return counts.at(static_cast<std::size_t>(what)); }
    Tally& operator+=(const Tally& other);

    void AddFiles(const std::string& directory, std::uint64_t files);

  private:
    void FoldDirectories(std::size_t most);
};

struct Volume {
    std::string path;
    std::uint64_t containers = 0;
    bool whole = true;  ///< it is there and all of it was searched
};

struct CoverageRow {
    What what;
    Count count;
    bool known = true;  ///< false when nothing was counted
};

/// Findings that one thing explains.
struct Cause {
    const Kind* kind;
    std::string subject;      ///< a container, a directory, a volume; empty: the kind says it all
    std::uint64_t files = 0;  ///< files that it affects
    std::uint64_t findings = 0;
    std::size_t first = 0;     ///< an example: index of its first finding
    bool acknowledged = true;  ///< all of its findings are
};

/// An earlier audit with the same output directory.
struct PastRun {
    std::int64_t ended = 0;
    int status = 0;
    std::uint64_t findings = 0;
    std::uint64_t files = 0;
};

struct Report {
    std::string sharePath;
    std::string shareId;
    std::int64_t hours = 0;
    std::string layout;      ///< "files", "tables", or empty when it is not known
    std::string configPath;  ///< of the storage library, where it is known
    std::string volumeTable;
    unsigned parts = 1;
    std::vector<unsigned> present = {1};  ///< numbers of the parts that this report has
    std::string division;                 ///< digest of the units of all parts; empty without parts
    std::int64_t started = 0;
    std::int64_t ended = 0;
    bool counted = true;  ///< false when the share was not looked at at all
    Tally tally;
    std::vector<Volume> volumes;
    std::vector<Finding> findings;
    std::vector<PastRun> history;

    // What Compose adds.
    std::vector<CoverageRow> coverage;
    std::vector<Cause> causes;
    std::vector<std::string> affected;  ///< names of files with a finding, each once
    int status = 0;
};

inline constexpr int kSound = 0;
inline constexpr int kFound = 4;
inline constexpr int kNotChecked = 8;
inline constexpr int kUsageError = 16;
inline constexpr int kInterrupted = 32;

/// Sorts the findings, adds those that follow from the sums, and fills coverage, causes, affected
/// files and status. The result depends on nothing but the report's other members.
void Compose(Report* report);

/// One report of the parts of one share; composed. Throws ToolError when they are not of one share
/// or of different divisions of it, or a part is there twice.
Report Merge(std::vector<Report> reports);

/// The verdict in words, for instance "damaged, and not all could be looked at".
std::string VerdictOf(const Report& report);

}  // namespace jorvaudit
