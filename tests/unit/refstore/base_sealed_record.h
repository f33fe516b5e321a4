#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string>
#include <vector>

#include "refstore/base/envelope.h"
#include "refstore/base/envelope_writer.h"
#include "refstore/base/little_endian.h"
#include "tests/support/temp_dir.h"
#include "tests/unit/refstore/base_failure.h"

namespace refstore_test {

/// The message of damage.
inline std::string Damage(std::string_view what, const std::string& path, std::string_view why) {
    std::string text(what);
    return text.append(" ").append(path).append(": ").append(why).append(" (errno 74)");
}

/// Why an envelope is refused in which only the byte at `place` was changed.
inline std::string_view WhyChanged(std::size_t place) {
    if (place < 8) {
        return "bad magic number";
    }
    if (place < 12) {
        return "unknown version";
    }
    return place >= 16 && place < 24 ? "length mismatch" : "checksum mismatch";
}

/// Every truncated length, every changed byte and an added byte of the sound record file `bytes` of
/// the kind `what` make `load(path)` fail, each with its exact message.
template <typename Load>
void ExpectEveryDamageFound(std::string_view what, const std::vector<std::byte>& bytes,
                            const Load& load) {
    const test_support::TempDir dir;
    const std::string path = dir / "record";
    const auto failure = [&](std::span<const std::byte> contents) {
        test_support::WriteFile(path, contents);
        return FailureOf([&] { load(path); });
    };
    ASSERT_EQ(failure(bytes), Failure{});
    for (std::size_t length = 0; length < bytes.size(); ++length) {
        const std::string_view why = length < 32 ? "too short" : "length mismatch";
        EXPECT_EQ(failure(std::span(bytes).first(length)),
                  (Failure{EBADMSG, Damage(what, path, why)}))
            << "cut to " << length;
    }
    for (std::size_t place = 0; place < bytes.size(); ++place) {
        for (const unsigned flip : {0x01U, 0x80U, 0xffU}) {
            std::vector<std::byte> changed = bytes;
            changed[place] ^= std::byte(flip);
            EXPECT_EQ(failure(changed), (Failure{EBADMSG, Damage(what, path, WhyChanged(place))}))
                << "byte " << place << " xor " << flip;
        }
    }
    std::vector<std::byte> longer = bytes;
    longer.push_back(std::byte{});
    EXPECT_EQ(failure(longer), (Failure{EBADMSG, Damage(what, path, "length mismatch")}));
}

/// With the seal made to fit, a payload cut short is malformed wherever more is cut than the
/// padding at its end, and one with any byte, or any field of four or eight bytes, changed is
/// damage or loads as something: no crash, no other failure. Meant for the sanitizers as well.
template <typename Load>
void ExpectResealedDamageSurvived(const refstore::EnvelopeKind& kind,
                                  const std::vector<std::byte>& bytes, const Load& load) {
    constexpr std::size_t kMostPadding = 3;
    const test_support::TempDir dir;
    const std::string path = dir / "record";
    const std::vector<std::byte> payload(bytes.begin() + 24, bytes.end() - 8);
    const auto failure = [&](std::span<const std::byte> contents) {
        test_support::WriteFile(path, refstore::SealEnvelope(kind, contents));
        return FailureOf([&] { load(path); });
    };
    ASSERT_EQ(failure(payload), Failure{});
    for (std::size_t length = 0; length + kMostPadding < payload.size(); ++length) {
        EXPECT_EQ(failure(std::span(payload).first(length)),
                  (Failure{EBADMSG, Damage(kind.what, path, "malformed record")}))
            << "cut to " << length;
    }
    std::size_t refused = 0;
    const auto change = [&](std::size_t place, const auto& value) {
        std::vector<std::byte> changed = payload;
        const std::size_t size = std::min(sizeof value, payload.size() - place);
        std::memcpy(changed.data() + place, &value, size);
        const Failure found = failure(changed);
        EXPECT_TRUE(found == Failure{} || found.code == EBADMSG)
            << found << ", place " << place << ", " << size << " bytes of " << +value;
        refused += found == Failure{} ? 0U : 1U;
    };
    for (std::size_t place = 0; place < payload.size(); ++place) {
        for (const unsigned value :
             {0x00U, 0x01U, 0x02U, 0x04U, 0x08U, 0x40U, 0x7fU, 0x80U, 0xffU}) {
            change(place, static_cast<std::uint8_t>(value));
        }
    }
    for (std::size_t place = 0; place < payload.size(); place += 4) {
        for (const unsigned bit : {0U, 3U, 7U, 16U, 30U, 31U}) {
            change(place, std::uint32_t{1} << bit);
            change(place, static_cast<std::uint32_t>(payload.size()) - bit);
            change(place, ~std::uint32_t{0} - bit);
            change(place, std::uint64_t{1} << (bit + 32));
            change(place, ~std::uint64_t{0} - bit);
        }
    }
    EXPECT_GT(refused, 0U) << "the structure is not looked at";
}

/// With the seal made to fit, the elements of a vector whose offset lies at `offset` of the
/// payload, moved by four bytes together with their number, are malformed: not aligned.
template <typename Load>
void ExpectMisalignmentFound(const refstore::EnvelopeKind& kind,
                             const std::vector<std::byte>& bytes, std::size_t offset,
                             const Load& load) {
    const test_support::TempDir dir;
    const std::string path = dir / "record";
    std::vector<std::byte> payload(bytes.begin() + 24, bytes.end() - 8);
    ASSERT_EQ(payload[offset], std::byte{4});
    payload[offset] = std::byte{8};
    payload.insert(payload.begin() + static_cast<std::ptrdiff_t>(offset) + 4, 4, std::byte{});
    test_support::WriteFile(path, refstore::SealEnvelope(kind, payload));
    EXPECT_EQ(FailureOf([&] { load(path); }),
              (Failure{EBADMSG, Damage(kind.what, path, "malformed record")}));
}

}  // namespace refstore_test
