#include "tests/interposed/memory.h"

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <new>

namespace {

/// Frees memory by a form of operator delete. The compiler does not see where the memory is from:
/// it warns of a form that does not fit.
void FreeAs(void (*form)(void*), void* memory) {
    void* volatile hidden = memory;
    form(hidden);
}

TEST(InterposedMemory, EachFormIsCountedOnce) {
    const std::size_t before = interposed::AllocationCount();
    ::operator delete(::operator new(1));
    ::operator delete[](::operator new[](1));
    ::operator delete(::operator new(1, std::nothrow));
    ::operator delete[](::operator new[](1, std::nothrow));
    EXPECT_EQ(interposed::AllocationCount() - before, 4U);
}

TEST(InterposedMemory, EachFormFailsInItsOwnWay) {
    const auto failing = [](const auto& allocate) {
        interposed::FailAllocations(1);
        return allocate();
    };
    EXPECT_THROW(failing([] { return ::operator new(1); }), std::bad_alloc);
    EXPECT_THROW(failing([] { return ::operator new[](1); }), std::bad_alloc);
    EXPECT_EQ(failing([] { return ::operator new(1, std::nothrow); }), nullptr);
    EXPECT_EQ(failing([] { return ::operator new[](1, std::nothrow); }), nullptr);
    EXPECT_EQ(interposed::FailuresLeft(), 0U);
}

// Elsewhere all forms free alike.
TEST(InterposedMemoryDeathTest, AnAddressSanitizerSeesWhatIsFreedByAnotherForm) {
    const auto free = [](void (*form)(void*), void* memory) {
        FreeAs(form, memory);
        std::_Exit(0);
    };
    if (::dlsym(RTLD_DEFAULT, "__asan_init") == nullptr) {
        EXPECT_EXIT(free(&::operator delete, ::operator new[](1)), testing::ExitedWithCode(0), "");
        EXPECT_EXIT(free(&::operator delete[], ::operator new(1)), testing::ExitedWithCode(0), "");
        return;
    }
    constexpr const char* kReport = "alloc-dealloc-mismatch";
    EXPECT_DEATH(free(&::operator delete, ::operator new[](1)), kReport);
    EXPECT_DEATH(free(&::operator delete[], ::operator new(1)), kReport);
}

}  // namespace
