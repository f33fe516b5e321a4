#pragma once

#include <dirent.h>
#include <sys/stat.h>

#include <boost/system/error_code.hpp>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace Corvane::Kst::Marlow::JorvCk {

/// Walk over everything below a directory: depth first, each directory's entries in the order of
/// its listing, an entry before what is below it. Symbolic links are not gone down into.
///
/// It yields the entries and the paths of the path library's recursive iterator, with a third of
/// its calls: that one asks for the status of every entry twice, by its whole path, and the listing
/// tells most of it. So where that one raises when it goes on from an entry that went away, or
/// whose status cannot be read, this one goes on, unless the listing tells no type; Type() raises
/// in the second case.
class TreeWalk {
  public:
    /// Stands in front of the first entry. A directory that cannot be listed raises
    /// filesystem_error.
    explicit TreeWalk(const std::string& root);

    /// The same, but a directory that cannot be listed, told by `failure`, has no entries.
    TreeWalk(const std::string& root, boost::system::error_code& failure);

    /// Goes to the next entry; false at the end. What cannot be listed raises filesystem_error.
    bool Next();

    /// The current entry's path: the root without the slashes that it ends in, "/", and the rest.
    [[nodiscard]] const std::string& Path() const { return path_; }
    /// The directory of the current entry: the beginning of Path() up to the last "/".
    [[nodiscard]] std::string_view Directory() const;

    /// Type bits of the current entry's status, links followed; 0 when there is none, as with a
    /// broken link. A status that cannot be read raises filesystem_error.
    [[nodiscard]] mode_t Type() const;

  private:
    struct CloseListing {
        void operator()(DIR* listing) const { ::closedir(listing); }
    };
    /// A directory that is being listed.
    struct Level {
        std::unique_ptr<DIR, CloseListing> listing;
        std::size_t length;  ///< of its path, with the "/" that entries are put behind; see Prefix
    };

    /// Opens the directory that path_ names and makes path_ what its entries are put behind; an
    /// error number, or 0.
    int Open();
    /// Reads the next entry but "." and ".." of the innermost directory; null at its end, and with
    /// an error number when it cannot be read.
    const dirent64* Read(int* error);
    void Enter(const dirent64& entry);
    /// Whether the walk goes down into the current entry.
    [[nodiscard]] bool IsDirectory() const;
    /// Status of the current entry, links followed or not; an error number, or 0.
    int Status(int flags, struct stat* attributes) const;
    [[noreturn]] void Raise(int error) const;

    std::string path_;
    std::vector<Level> levels_;
    /// Of the root, read ahead so that the constructor tells whether it can be listed.
    const dirent64* first_ = nullptr;
    /// Type of the current entry as the listing tells it; before the first entry none to go into.
    unsigned char listedType_ = DT_REG;
};

}  // namespace Corvane::Kst::Marlow::JorvCk
