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

// Beside the trees. The checker's walk over headers goes through the whole view, and a directory
// that is a link saves it a look at every entry of map and stu.
constexpr std::array kDirectories = {"/head", "/maps", "/units"};
constexpr const char* kNothing = "/nothing";

[[noreturn]] void Fail(const std::string& path) {
    throw terminal::ToolError(terminal::Errno(path, errno));
}

}  // namespace

View::View(std::string path) : path_(std::move(path)) {
    std::error_code failure;
    std::filesystem::remove_all(path_, failure);
    std::filesystem::create_directories(path_, failure);
    for (std::size_t i = 0; i < kDirectories.size(); ++i) {
        const std::string directory = path_ + kDirectories.at(i);
        if (::mkdir(directory.c_str(), S_IRWXU) != 0) {
            Fail(directory);
        }
        directories_[i] = ::open(directory.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
        const std::string tree = PathIn(path_, static_cast<Tree>(i), "");
        if (i > 0 && ::symlink(kDirectories.at(i) + 1, tree.c_str()) != 0) {
            Fail(tree);
        }
    }
    const std::string nothing = path_ + kNothing;
    const int empty = ::open(nothing.c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, S_IRUSR);
    if (empty < 0) {
        Fail(nothing);
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
    const std::string nothing = storageUnit == nullptr ? path_ + kNothing : "";
    const std::array targets = {&header, &extents, storageUnit == nullptr ? &nothing : storageUnit};
    const std::string name = std::to_string(files_++);
    for (std::size_t i = 0; i < targets.size(); ++i) {
        if (::symlinkat(targets.at(i)->c_str(), directories_[i], name.c_str()) != 0) {
            Fail(*targets.at(i));
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
