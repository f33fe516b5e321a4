#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <string>

namespace test_support {

/// Changes integers of a structure that is made of pages, where it counts and to values that tell.
/// The same seed draws the same changes.
///
/// @tparam Engine a random engine of the standard library.
template <typename Engine>
class FieldMutator {
  public:
    FieldMutator(typename Engine::result_type seed, std::size_t page)
        : engine_(seed), page_(page) {}

    std::size_t Below(std::size_t count) { return engine_() % count; }

    /// A place at which 8 bytes fit. There must be as many.
    std::size_t Place(const std::string& bytes) {
        const std::size_t pages = std::max<std::size_t>(bytes.size() / page_, 1);
        const std::size_t page = Below(pages) * page_;
        // Heads, meta records, pointers and the entries at a page's end are where it counts.
        const std::array<std::size_t, 4> spans = {16, 200, 96, page_};
        const std::size_t span = std::min(spans.at(Below(spans.size())), page_);
        const std::size_t within = Below(2) == 0 ? Below(span) : page_ - 1 - Below(span);
        return std::min(page + within, bytes.size() - 8);
    }

    /// Gives the integer of type T at `at` another value, those larger than a byte at even places.
    template <typename T>
    void Change(std::string& bytes, std::size_t at) {
        constexpr std::array<std::uint64_t, 14> kTelling = {
            0, 1, 2, 3, 7, 15, 16, 18, 4080, 4094, 4096, 0x7fff, 0xffff, ~std::uint64_t{0}};
        if (sizeof(T) > 1) {
            at &= ~std::size_t{1};
        }
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
                value = static_cast<T>(Below(bytes.size() / page_ + 2));
        }
        std::memcpy(bytes.data() + at, &value, sizeof value);
    }

  private:
    Engine engine_;
    std::size_t page_;
};

}  // namespace test_support
