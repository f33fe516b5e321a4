#pragma once

#include <dlfcn.h>

#include <atomic>

namespace interposed {

/// The definition of a function that this program's own one hides: the C library's, or the
/// sanitizer's in front of it. Usable before any constructor has run.
template <typename Function>
class NextDefinition {
  public:
    constexpr explicit NextDefinition(const char* name) : name_(name) {}

    template <typename... Arguments>
    auto operator()(Arguments... arguments) {
        Function* function = function_.load(std::memory_order_relaxed);
        if (function == nullptr) {
            function = reinterpret_cast<Function*>(::dlsym(RTLD_NEXT, name_));
            function_.store(function, std::memory_order_relaxed);
        }
        return function(arguments...);
    }

  private:
    const char* name_;
    std::atomic<Function*> function_ = nullptr;
};

}  // namespace interposed
