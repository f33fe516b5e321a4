// The inlines of the fortified C library would hide the definitions below.
#undef _FORTIFY_SOURCE

#include "tests/interposed/files.h"

#include <algorithm>
#include <atomic>
#include <string_view>
#include <utility>

#include "tests/interposed/next_definition.h"

namespace interposed {

namespace {

constinit std::atomic<Files*> g_current = nullptr;
constinit NextDefinition<int(const char*, struct stat64*)> g_stat64("stat64");
constinit NextDefinition<std::FILE*(const char*, const char*)> g_fopen64("fopen64");
constinit NextDefinition<int(std::FILE*, off64_t, int)> g_fseeko64("fseeko64");
constinit NextDefinition<std::size_t(void*, std::size_t, std::size_t, std::FILE*)> g_fread("fread");
constinit NextDefinition<int(std::FILE*)> g_fclose("fclose");

/// The watch, when there is one and it is about this path or stream.
template <typename Subject>
Files* WatchOf(Subject* subject) {
    Files* const current = g_current;
    return current != nullptr && current->Watches(subject) ? current : nullptr;
}

}  // namespace

Files::Files(std::string prefix, std::size_t bufferSize)
    : prefix_(std::move(prefix)), bufferSize_(bufferSize) {
    g_current = this;
}

Files::~Files() {
    g_current = nullptr;
}

bool Files::BufferIsClear() const {
    return std::all_of(buffer_.begin(), buffer_.end(),
                       [](unsigned char byte) { return byte == 0; });
}

bool Files::Watches(const char* path) const {
    return std::string_view(path).starts_with(prefix_);
}

bool Files::Watches(std::FILE* file) const {
    return std::find(open_.begin(), open_.end(), file) != open_.end();
}

void Files::Stat(const char* path, struct stat64* attributes) {
    calls_.push_back("stat64 " + std::string(path).substr(prefix_.size()));
    const auto type = types_.find(path);
    if (type != types_.end()) {
        constexpr auto kTypeBits = static_cast<mode_t>(S_IFMT);
        attributes->st_mode = (attributes->st_mode & ~kTypeBits) | type->second;
    }
}

void Files::Opened(const char* path, const char* mode, std::FILE* file) {
    calls_.push_back("fopen64 " + std::string(path).substr(prefix_.size()) + " " + mode);
    if (file != nullptr) {
        open_.push_back(file);
    }
}

void Files::Seek(long offset, int whence) {
    calls_.push_back("fseeko64 " + std::to_string(offset) + " " + std::to_string(whence));
}

void Files::Read(const void* data, std::size_t size, std::size_t count) {
    buffer_ = {static_cast<const unsigned char*>(data), bufferSize_};
    calls_.push_back("fread " + std::to_string(size) + " " + std::to_string(count) + Dirty());
}

void Files::Close(std::FILE* file) {
    open_.erase(std::find(open_.begin(), open_.end(), file));
    calls_.push_back("fclose" + Dirty());
}

}  // namespace interposed

using interposed::Files;

extern "C" {

int stat64(const char* path, struct stat64* attributes) noexcept {
    const int result = interposed::g_stat64(path, attributes);
    if (Files* const watch = interposed::WatchOf(path)) {
        watch->Stat(path, attributes);
    }
    return result;
}

std::FILE* fopen64(const char* path, const char* mode) {
    std::FILE* const file = interposed::g_fopen64(path, mode);
    if (Files* const watch = interposed::WatchOf(path)) {
        watch->Opened(path, mode, file);
    }
    return file;
}

int fseeko64(std::FILE* file, off64_t offset, int whence) {
    if (Files* const watch = interposed::WatchOf(file)) {
        watch->Seek(offset, whence);
    }
    return interposed::g_fseeko64(file, offset, whence);
}

std::size_t fread(void* data, std::size_t size, std::size_t count, std::FILE* file) {
    if (Files* const watch = interposed::WatchOf(file)) {
        watch->Read(data, size, count);
    }
    return interposed::g_fread(data, size, count, file);
}

int fclose(std::FILE* file) {
    if (Files* const watch = interposed::WatchOf(file)) {
        watch->Close(file);
    }
    return interposed::g_fclose(file);
}
}
