#include "tests/interposed/threads.h"

#include <pthread.h>

#include <algorithm>
#include <atomic>
#include <cerrno>

#include "tests/interposed/next_definition.h"

namespace interposed {

namespace {

constinit std::atomic<Threads*> g_current = nullptr;
constinit NextDefinition<int(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*)> g_create(
    "pthread_create");
constinit NextDefinition<int(pthread_t, void**)> g_join("pthread_join");

}  // namespace

Threads::Threads(std::size_t failing) : owner_(::pthread_self()), failing_(failing) {
    g_current = this;
}

Threads::~Threads() {
    g_current = nullptr;
}

std::vector<std::string> Threads::Calls() const {
    const std::scoped_lock lock(mutex_);
    return calls_;
}

bool Threads::BeginStart() {
    const std::scoped_lock lock(mutex_);
    if (::pthread_self() != owner_) {
        return true;
    }
    ++starts_;
    const bool fails = starts_ == failing_;
    calls_.push_back("start " + std::to_string(starts_) + (fails ? " failed" : ""));
    return !fails;
}

void Threads::Started(unsigned long thread) {
    const std::scoped_lock lock(mutex_);
    if (::pthread_self() == owner_) {
        running_.emplace_back(thread, starts_);
    }
}

void Threads::Joined(unsigned long thread) {
    const std::scoped_lock lock(mutex_);
    const auto found = std::find_if(running_.begin(), running_.end(),
                                    [&](const auto& entry) { return entry.first == thread; });
    if (::pthread_self() == owner_ && found != running_.end()) {
        calls_.push_back("join " + std::to_string(found->second));
        running_.erase(found);
    }
}

}  // namespace interposed

using interposed::Threads;

extern "C" {

int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*body)(void*),
                   void* argument) noexcept {
    Threads* const current = interposed::g_current;
    if (current != nullptr && !current->BeginStart()) {
        return EAGAIN;
    }
    const int result = interposed::g_create(thread, attributes, body, argument);
    if (current != nullptr && result == 0) {
        current->Started(*thread);
    }
    return result;
}

int pthread_join(pthread_t thread, void** result) {
    const int joined = interposed::g_join(thread, result);
    Threads* const current = interposed::g_current;
    if (current != nullptr && joined == 0) {
        current->Joined(thread);
    }
    return joined;
}
}
