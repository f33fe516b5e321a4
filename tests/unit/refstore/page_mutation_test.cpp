#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "storage/exception.h"
#include "tests/support/field_mutator.h"
#include "tests/unit/refstore/page_sample.h"

// Bytes that were valid once. The sanitizers do most of the judging: whatever is not refused is
// walked to the last byte of its last value.

namespace {

using Corvane::Kst::Marlow::Jorv::SysException;
using page_test::Sample;

class Mutator {
  public:
    explicit Mutator(std::uint32_t seed) : fields_(seed, Sample::kPage) {}

    std::string Mutate(std::string bytes) {
        for (std::size_t changes = 1 + fields_.Below(3); changes > 0; --changes) {
            Change(bytes);
        }
        return bytes;
    }

  private:
    void Change(std::string& bytes) {
        const std::size_t at = fields_.Place(bytes);
        switch (fields_.Below(8)) {
            case 0:
            case 1:
            case 2:
                return fields_.Change<std::uint16_t>(bytes, at);
            case 3:
                return fields_.Change<std::uint32_t>(bytes, at);
            case 4:
                return fields_.Change<std::uint64_t>(bytes, at);
            case 5:
                return fields_.Change<std::uint8_t>(bytes, at);
            case 6:
                return CopyPage(bytes, at / Sample::kPage);
            default:
                return CutShort(bytes);
        }
    }

    void CopyPage(std::string& bytes, std::size_t to) {
        const std::size_t from = fields_.Below(bytes.size() / Sample::kPage);
        bytes.replace(to * Sample::kPage, Sample::kPage, bytes, from * Sample::kPage,
                      Sample::kPage);
    }

    void CutShort(std::string& bytes) {
        const std::size_t most = fields_.Below(2) == 0 ? 64 : 2 * Sample::kPage;
        bytes.resize(std::max(bytes.size() - fields_.Below(most), 2 * Sample::kPage));
    }

    test_support::FieldMutator<std::mt19937> fields_;
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
