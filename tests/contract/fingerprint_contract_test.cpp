#include <array>
#include <string>

#include "storage/fingerprint.h"
#include "tests/contract/contract_test.h"

namespace contract {
namespace {

using AFingerprint = ContractTest;

/// The bytes 0x00, 0x0b, 0x16, ...
crfp_digest_t Sample() {
    crfp_digest_t digest = {};
    for (std::size_t i = 0; i < digest.bytes.size(); ++i) {
        digest.bytes[i] = static_cast<std::uint8_t>(i * 11);
    }
    return digest;
}

constexpr const char* kSampleText =
    "000b16212c37424d58636e79848f9aa5b0bbc6d1dce7f2fd08131e29343f4a55";

TEST_F(AFingerprint, IsPrintedAs64LowerCaseDigitsAndATerminator) {
    std::array<char, 65> text;
    text.fill('#');
    const crfp_digest_t digest = Sample();
    CRFPDigestToString_r(&digest, 3, text.data(), text.size());
    EXPECT_STREQ(text.data(), kSampleText);
    EXPECT_EQ(text[64], '\0');
}

TEST_F(AFingerprint, IsCutToABufferOfAnySmallerSizeAndTerminated) {
    const crfp_digest_t digest = Sample();
    for (std::size_t size = 1; size <= 65; ++size) {
        std::array<char, 66> text;
        text.fill('#');
        CRFPDigestToString_r(&digest, 3, text.data(), size);
        EXPECT_EQ(std::string(text.data()), std::string(kSampleText).substr(0, size - 1));
        EXPECT_EQ(text[size], '#') << "nothing is written after " << size << " bytes";
    }
}

TEST_F(AFingerprint, LeavesABufferWithoutRoomAlone) {
    char text = '#';
    const crfp_digest_t digest = Sample();
    CRFPDigestToString_r(&digest, 3, &text, 0);
    EXPECT_EQ(text, '#');
}

}  // namespace
}  // namespace contract
