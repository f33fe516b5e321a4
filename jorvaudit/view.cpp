#include "jorvaudit/view.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <charconv>
#include <filesystem>
#include <system_error>
#include <utility>

#include "jorvaudit/listing.h"
#include "terminal/tool_error.h"

namespace jorvaudit {

namespace {

// In the units of storage, and by that name from there.
constexpr const char* kNothing = "nothing";

[[noreturn]] void Fail(const std::string& path) {
    throw terminal::ToolError(terminal::Errno(path, errno));
}

}  // namespace

View::View(std::string path) : path_(std::move(path)) {
    std::error_code failure;
    std::filesystem::remove_all(path_, failure);
    std::filesystem::create_directories(path_, failure);
    for (std::size_t i = 0; i < kTreeNames.size(); ++i) {
        const auto tree = static_cast<Tree>(i);
        std::string directory = PathIn(path_, tree, "");
        if (tree != Tree::kHead) {
            // The checker's walk over headers goes through the whole view, but not through a link:
            // with map and stu beside the view it looks at no entry of theirs.
            const std::string beside = path_ + "-" + std::string(kTreeNames.at(i));
            const std::string target = "../" + std::filesystem::path(beside).filename().string();
            std::filesystem::remove_all(beside, failure);
            if (::symlink(target.c_str(), directory.c_str()) != 0) {
                Fail(directory);
            }
            directory = beside;
        }
        if (::mkdir(directory.c_str(), S_IRWXU) != 0) {
            Fail(directory);
        }
        directories_[i] = ::open(directory.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
    }
    const int empty = ::openat(directories_[2], kNothing, O_CREAT | O_WRONLY | O_CLOEXEC, S_IRUSR);
    if (empty < 0) {
        Fail(path_ + "-stu");
    }
    ::close(empty);
}

View::~View() {
    for (const int directory : directories_) {
        ::close(directory);
    }
}

void View::Add(const std::string& header, const std::string& extents,
               const std::string* storageUnit) {
    const std::array targets = {header.c_str(), extents.c_str(),
                                storageUnit == nullptr ? kNothing : storageUnit->c_str()};
    const std::string name = std::to_string(files_++);
    for (std::size_t i = 0; i < targets.size(); ++i) {
        if (::symlinkat(targets.at(i), directories_[i], name.c_str()) != 0) {
            Fail(targets.at(i));
        }
    }
}

void View::Clear() {
    for (; files_ > 0; --files_) {
        const std::string name = std::to_string(files_ - 1);
        for (const int directory : directories_) {
            ::unlinkat(directory, name.c_str(), 0);
        }
    }
}

long View::NumberOf(const std::string& path) const {
    for (const Tree tree : {Tree::kHead, Tree::kMap, Tree::kStu}) {
        const std::string prefix = PathIn(path_, tree, "") + "/";
        long number = -1;
        if (path.starts_with(prefix)) {
            const char* const end = path.data() + path.size();
            const auto [rest, code] = std::from_chars(path.data() + prefix.size(), end, number);
            return code == std::errc() && rest == end ? number : -1;
        }
    }
    return -1;
}

}  // namespace jorvaudit
