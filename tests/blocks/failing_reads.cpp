// The inlines of the fortified C library would hide the definitions below.
#undef _FORTIFY_SOURCE

#include "tests/blocks/failing_reads.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>

#include "tests/interposed/next_definition.h"

namespace blocks {

namespace {

struct Watch {
    Fault* fault = nullptr;
    std::string place;
};

Watch g_watch;

}  // namespace

FailingReads::FailingReads(const std::string& place) {
    g_watch = {fault_, place};
}

FailingReads::~FailingReads() {
    g_watch = {};
}

}  // namespace blocks

extern "C" ssize_t pread64(int file, void* buffer, size_t size, off64_t offset) {
    static interposed::NextDefinition<ssize_t(int, void*, size_t, off64_t)> next("pread64");
    const blocks::Watch& watch = blocks::g_watch;
    if (watch.fault == nullptr) {
        return next(file, buffer, size, offset);
    }
    std::array<char, PATH_MAX> path = {};
    struct stat attributes = {};
    const std::string link = "/proc/self/fd/" + std::to_string(file);
    const ssize_t length = ::readlink(link.c_str(), path.data(), path.size() - 1);
    if (length < 0 || !std::string(path.data()).starts_with(watch.place) ||
        ::fstat(file, &attributes) != 0) {
        return next(file, buffer, size, offset);
    }
    const char* const relative = path.data() + watch.place.size();
    const auto begin = static_cast<std::uint64_t>(offset);
    const std::uint64_t end =
        std::min(begin + size, static_cast<std::uint64_t>(attributes.st_size));
    const std::uint64_t readable = watch.fault->ReadableFrom(relative, begin, end);
    if (readable == begin && begin < end && watch.fault->Take(relative, begin / blocks::kBlock)) {
        errno = EIO;
        return -1;
    }
    // Without a failure ahead the read asks for what it asked for: a byte more may have come.
    return next(file, buffer, readable < end ? readable - begin : size, offset);
}
