#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "terminal/tool_error.h"

/// Messages of the tool's own; not what it shows of a structure or tells of a damage, nor the texts
/// of the storage library and of the command line. Names are raw, whatever bytes they hold: what
/// prints a message makes it one line.
namespace jorvshare::wording {

/// Begins every warning and error.
inline constexpr std::string_view kProgram = "jorvshare";

using terminal::Errno;
/// "<path>: <why>"
std::string At(const std::string& path, std::string_view why);

// Arguments and sites.
std::string BadShareId(const std::string& id, std::string_view why);
std::string BadVirtualCopy(const std::string& text);
std::string NotEmpty(const std::string& path);
std::string LeftOver(const std::string& path);
std::string NotASite(const std::string& path);
std::string SiteInUse(const std::string& path);
std::string BadFstab(const std::string& path);
std::string MissingVolume(const std::string& volume);
std::string Elsewhere(std::string_view what, const std::string& path, const std::string& directory);
std::string IsSymlink(const std::string& path);
std::string OtherLayout(const std::string& site, std::string_view has, std::string_view wanted);
std::string OtherSpan(const std::string& site, std::uint64_t has, std::uint64_t wanted);
std::string Inside(std::string_view what, const std::string& path, std::string_view other,
                   const std::string& otherPath);
std::string ShareExists(const std::string& id, const std::string& site);
std::string NoShare(const std::string& id, const std::string& site);
std::string ImageExists(const std::string& path);
std::string NoFreeDcid(const std::string& volume);

// Packing.
std::string Skipped(std::string_view kind, const std::string& path);
std::string Unpairable(std::uint64_t files);
std::string TablesTakenForHeaders(std::uint64_t files);
std::string HeadInSharePath(const std::string& path);
std::string FileChanged(const std::string& path);
std::string TooManyTables(const std::string& path, std::uint64_t tables);
std::string TableCostsTooMuch(const std::string& path);
struct PackSummary {
    std::uint64_t files = 0;
    std::uint64_t bytes = 0;
    std::uint64_t extents = 0;
    std::uint64_t containers = 0;
    std::uint64_t storedBytes = 0;
    std::uint64_t skipped = 0;
};
std::string Packed(const std::string& id, const PackSummary& summary);

// Unpacking.
std::string Damaged(const std::string& file, std::string_view why);
std::string DamagedExtent(const std::string& file, std::uint64_t start, std::string_view why);
std::string Unpacked(const std::string& id, std::uint64_t files, std::uint64_t bytes);

// Making and showing.
std::string BadRecipe(const std::string& recipe, const std::string& where, std::string_view why);
std::string Made(const std::string& site, std::uint64_t shares, std::uint64_t files);
std::string UnknownKind(const std::string& path);

// Damaging.
std::string BadSeed(const std::string& text);
std::string UnknownDamage(const std::string& kind);
std::string NoSuchFile(const std::string& path, const std::string& id);
std::string KindNotForFile(const std::string& kind, const std::string& path);
std::string KindNotForLayout(const std::string& kind, const std::string& site,
                             std::string_view layout);
std::string NothingToDamage(const std::string& kind, const std::string& id);

// Endings.
std::string Interrupted(int signal);
std::string OutOfMemory();

}  // namespace jorvshare::wording
