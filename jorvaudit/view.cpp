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

#include "terminal/tool_error.h"

namespace jorvaudit {

namespace {

constexpr std::array kTrees = {"/head/", "/map/", "/stu/"};
constexpr const char* kNothing = "/nothing";

}  // namespace

View::View(std::string path) : path_(std::move(path)) {
    namespace fs = std::filesystem;
    std::error_code failure;
    fs::remove_all(path_, failure);
    for (const char* const tree : kTrees) {
        if (!failure) {
            fs::create_directories(path_ + tree, failure);
        }
    }
    if (failure) {
        throw terminal::ToolError(terminal::Errno(path_, failure.value()));
    }
    const int empty = ::open((path_ + kNothing).c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, S_IRUSR);
    if (empty < 0) {
        throw terminal::ToolError(terminal::Errno(path_, errno));
    }
    ::close(empty);
}

void View::Add(const std::string& header, const std::string& extents,
               const std::string* storageUnit) {
    Link(kTrees[0], header);
    Link(kTrees[1], extents);
    Link(kTrees[2], storageUnit != nullptr ? *storageUnit : path_ + kNothing);
    ++files_;
}

void View::Link(const char* tree, const std::string& target) const {
    const std::string link = path_ + tree + std::to_string(files_);
    if (::symlink(target.c_str(), link.c_str()) != 0) {
        throw terminal::ToolError(terminal::Errno(link, errno));
    }
}

void View::Clear() {
    for (; files_ > 0; --files_) {
        for (const char* const tree : kTrees) {
            ::unlink((path_ + tree + std::to_string(files_ - 1)).c_str());
        }
    }
}

long View::NumberOf(const std::string& path) const {
    for (const char* const tree : kTrees) {
        const std::string prefix = path_ + tree;
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
