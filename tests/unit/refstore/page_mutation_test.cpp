#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <random>

#include "storage/exception.h"
#include "tests/unit/refstore/page_sample.h"

// Bytes that were valid once. The sanitizers do most of the judging: whatever is not refused is
// walked to the last byte of its last value.

namespace {

using Corvane::Kst::Marlow::Jorv::SysException;
using page_test::Sample;

class Mutator {
  public:
    explicit Mutator(std::uint32_t seed) : engine_(seed) {}

    std::string Mutate(std::string bytes) {
        for (std::size_t changes = 1 + Below(3); changes > 0; --changes) {
            Change(bytes);
        }
        return bytes;
    }

  private:
    std::size_t Below(std::size_t count) { return engine_() % count; }

    template <typename T>
    void PutSomething(std::string& bytes, std::size_t at) {
        constexpr std::array<std::uint64_t, 14> kTelling = {
            0, 1, 2, 3, 7, 15, 16, 18, 4080, 4094, 4096, 0x7fff, 0xffff, ~std::uint64_t{0}};
        T value = 0;
        std::memcpy(&value, bytes.data() + at, sizeof value);
        switch (Below(4)) {
            case 0:
                value = static_cast<T>(kTelling.at(Below(kTelling.size())));
                break;
            case 1:
                value = static_cast<T>(value + Below(9) - 4);
                break;
            case 2:
                value = static_cast<T>(value ^ std::uint64_t{1} << Below(8 * sizeof value));
                break;
            default:
                value = static_cast<T>(Below(bytes.size() / Sample::kPage + 2));
        }
        std::memcpy(bytes.data() + at, &value, sizeof value);
    }

    void Change(std::string& bytes) {
        const std::size_t pages = bytes.size() / Sample::kPage;
        const std::size_t page = Below(pages) * Sample::kPage;
        // Heads, meta records, pointers and the entries at the page's end are where it counts.
        constexpr std::array<std::size_t, 4> kSpans = {16, 200, 96, Sample::kPage};
        const std::size_t span = kSpans.at(Below(kSpans.size()));
        const std::size_t within = Below(2) == 0 ? Below(span) : Sample::kPage - 1 - Below(span);
        const std::size_t at = std::min(page + within, bytes.size() - 8);
        switch (Below(8)) {
            case 0:
            case 1:
            case 2:
                return PutSomething<std::uint16_t>(bytes, at & ~std::size_t{1});
            case 3:
                return PutSomething<std::uint32_t>(bytes, at & ~std::size_t{1});
            case 4:
                return PutSomething<std::uint64_t>(bytes, at & ~std::size_t{1});
            case 5:
                return PutSomething<std::uint8_t>(bytes, at);
            case 6:
                bytes.replace(page, Sample::kPage, bytes, Below(pages) * Sample::kPage,
                              Sample::kPage);
                return;
            default:
                bytes.resize(std::max(bytes.size() - Below(Below(2) == 0 ? 64 : 2 * Sample::kPage),
                                      2 * Sample::kPage));
        }
    }

    std::mt19937 engine_;
};

// Returns whether the bytes were accepted.
bool IsReadWithoutHarm(const std::string& bytes) {
    try {
        page_test::ReadWithPageReader(bytes);
        return true;
    } catch (const SysException& refused) {
        EXPECT_EQ(refused.GetErrorNumber(), 74);
        return false;
    }
}

TEST(PageMutation, ChangedStructuresAreRefusedOrReadWithoutHarm) {
    std::size_t accepted = 0;
    std::size_t refused = 0;
    for (std::uint32_t seed = 1; seed <= 60; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        const auto made = page_test::MakeRandomEnvironment(seed, true);
        Mutator mutator(seed);
        for (int i = 0; i < 500; ++i) {
            ++(IsReadWithoutHarm(mutator.Mutate(made.bytes)) ? accepted : refused);
        }
    }
    // Both must come up, or the mutations are not worth their name.
    EXPECT_GT(accepted, 0U);
    EXPECT_GT(refused, 0U);
}

TEST(PageMutation, EveryByteOfTheSampleChangedIsRefusedOrReadWithoutHarm) {
    const Sample sample;
    std::string bytes = sample.bytes;
    for (std::size_t at = 0; at < bytes.size(); ++at) {
        for (const unsigned change : {1U, 0x80U, 0xffU}) {
            const char old = bytes[at];
            bytes[at] = static_cast<char>(static_cast<unsigned char>(old) ^ change);
            IsReadWithoutHarm(bytes);
            bytes[at] = old;
        }
    }
}

TEST(PageMutation, EveryShorterLengthIsRefused) {
    const Sample sample;
    // The last page is in use, so that no byte of it can be missing.
    ASSERT_NO_THROW(page_test::ReadWithPageReader(sample.bytes));
    for (std::size_t size = 0; size < sample.bytes.size(); ++size) {
        ASSERT_FALSE(IsReadWithoutHarm(sample.bytes.substr(0, size))) << size;
    }
}

}  // namespace
