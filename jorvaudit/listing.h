#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "jorvaudit/report.h"

namespace jorvaudit {

/// The three trees of a share, in this order everywhere.
enum class Tree : std::uint8_t { kHead, kMap, kStu };
inline constexpr std::array<std::string_view, 3> kTreeNames = {"head", "map", "stu"};

/// "<share>/<tree>/<path>"; `path` may be empty.
std::string PathIn(const std::string& share, Tree tree, std::string_view path);

/// "<directory>/<name>" for a path below the trees; the top directory is the empty text.
std::string Below(const std::string& directory, const std::string& name);

/// Whether a directory of the map tree holds the mapping tables of a file: data.mdb is also a name
/// that a user's file can have, and then it is a directory. Anything else of that name is, or was,
/// the tables.
bool HoldsTables(const std::string& directory);

/// What a tree has under a name.
enum class Has : std::uint8_t { kNothing, kFile, kDirectory, kOther };

/// A file, by the names that the trees have for it.
struct FileEntry {
    std::string name;
    Has header = Has::kNothing;
    Has extents = Has::kNothing;
    Has unit = Has::kNothing;
};

/// One directory of a share, looked at in all three trees.
struct Listing {
    std::string path;
    std::vector<FileEntry> files;          ///< by name
    std::vector<std::string> directories;  ///< names, sorted
    std::uint64_t hostile = 0;             ///< files whose path holds a line end
    std::uint64_t linked = 0;              ///< further directories, that only links lead to
    bool isLinked = false;                 ///< in some tree it is a link itself
    /// Trees that do not have the directory at all.
    std::array<bool, 3> missing = {};
    /// Trees whose directory cannot be listed: what is there is not known.
    std::array<bool, 3> unreadable = {};
    std::vector<Finding> findings;  ///< of the directory itself
};

/// Lists a directory of the share. Never fails: what cannot be listed is a finding. With `tables` a
/// directory of the map tree is the extents of a file where its name is a header, or where nothing
/// of that name is in head and it holds tables.
Listing ListDirectory(const std::string& share, const std::string& path, bool tables);

/// The same of the head tree alone: every file has no extents and no storage unit.
Listing ListHeaders(const std::string& share, const std::string& path);

}  // namespace jorvaudit
