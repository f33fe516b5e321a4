#include "tests/interposed/directories.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <utility>

#include "tests/interposed/next_definition.h"

namespace interposed {

namespace {

constinit std::atomic<Directories*> g_current = nullptr;
constinit NextDefinition<DIR*(const char*)> g_opendir("opendir");
constinit NextDefinition<dirent64*(DIR*)> g_readdir64("readdir64");
constinit NextDefinition<int(DIR*)> g_closedir("closedir");

}  // namespace

Directories::Directories() {
    g_current = this;
}

Directories::~Directories() {
    g_current = nullptr;
}

void Directories::List(const std::string& path, std::vector<Entry> entries, int error) {
    const std::scoped_lock lock(mutex_);
    listings_[path] = {std::move(entries), error};
}

std::vector<std::string> Directories::Opened() const {
    const std::scoped_lock lock(mutex_);
    return opened_;
}

std::size_t Directories::Open() const {
    const std::scoped_lock lock(mutex_);
    return open_.size();
}

std::size_t Directories::MostOpen() const {
    const std::scoped_lock lock(mutex_);
    return mostOpen_;
}

DIR* Directories::OpenDirectory(const char* path) {
    if (onOpen_) {
        onOpen_(path);
    }
    const std::scoped_lock lock(mutex_);
    opened_.emplace_back(path);
    const auto listing = listings_.find(path);
    const bool replaced = listing != listings_.end();
    // One that exists is opened all the same: statuses may be asked for relative to it.
    DIR* directory = g_opendir(path);
    if (directory == nullptr && replaced) {
        directory = g_opendir("/");
    }
    if (directory != nullptr) {
        Position position;
        position.listing = replaced ? &listing->second : nullptr;
        open_[directory] = position;
        mostOpen_ = std::max(mostOpen_, open_.size());
    }
    return directory;
}

dirent64* Directories::Read(DIR* directory) {
    const std::scoped_lock lock(mutex_);
    const auto found = open_.find(directory);
    if (found == open_.end() || found->second.listing == nullptr) {
        return g_readdir64(directory);
    }
    Position& position = found->second;
    if (position.next == position.listing->entries.size()) {
        if (position.listing->error != 0) {
            errno = position.listing->error;
        }
        return nullptr;
    }
    const Entry& entry = position.listing->entries[position.next++];
    position.record = {};
    position.record.d_type = entry.type;
    const std::size_t length = std::min(entry.name.size(), sizeof position.record.d_name - 1);
    std::memcpy(position.record.d_name, entry.name.data(), length);
    return &position.record;
}

int Directories::Close(DIR* directory) {
    const std::scoped_lock lock(mutex_);
    open_.erase(directory);
    return g_closedir(directory);
}

}  // namespace interposed

using interposed::Directories;

extern "C" {

DIR* opendir(const char* path) {
    Directories* const current = interposed::g_current;
    return current == nullptr ? interposed::g_opendir(path) : current->OpenDirectory(path);
}

dirent64* readdir64(DIR* directory) {
    Directories* const current = interposed::g_current;
    return current == nullptr ? interposed::g_readdir64(directory) : current->Read(directory);
}

int closedir(DIR* directory) {
    Directories* const current = interposed::g_current;
    return current == nullptr ? interposed::g_closedir(directory) : current->Close(directory);
}
}
