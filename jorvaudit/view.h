#pragma once

#include <cstddef>
#include <string>

namespace jorvaudit {

/// A directory that the checker takes for a share: head, map and stu hold symbolic links, named by
/// numbers, to the entries of some files of one directory of a share. Numbers keep hostile names
/// out of the checker's lines. Used by one process at a time.
class View {
  public:
    /// Makes the empty view at `path` (its map and stu lead to `path`-map and
    /// `path`-stu), or empties what an ended process left there. Throws ToolError.
    explicit View(std::string path);
    ~View();
    View(const View&) = delete;
    View& operator=(const View&) = delete;

    [[nodiscard]] const std::string& Path() const { return path_; }

    /// Adds a file; the first one has the number 0. A null storage unit becomes an empty file, so
    /// that the checker reports data that it needs and does not find there.
    void Add(const std::string& header, const std::string& extents, const std::string* storageUnit);

    /// Removes all files again.
    void Clear();

    /// The number of the file that a path in the view is about, as in "<view>/map/17"; -1 when it
    /// is about none.
    [[nodiscard]] long NumberOf(const std::string& path) const;

  private:
    const std::string path_;
    int directories_[3] = {-1, -1, -1};
    std::size_t files_ = 0;
};

}  // namespace jorvaudit
