#include <gtest/gtest.h>

#include <cstring>
#include <thread>
#include <vector>

#include "refstore/fingerprint.h"
#include "storage/fingerprint.h"
#include "tests/support/temp_dir.h"

namespace {

std::string Text(const crfp_digest_t& digest) {
    std::vector<char> out(65, '?');
    CRFPDigestToString_r(&digest, 3, out.data(), out.size());
    return out.data();
}

std::string Sha256(std::string_view text) {
    return Text(refstore::Fingerprint(test_support::Bytes(text)));
}

// The standard's own examples.
TEST(Fingerprint, IsTheSha256OfTheData) {
    EXPECT_EQ(Sha256(""), "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
    EXPECT_EQ(Sha256("abc"), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
    EXPECT_EQ(Sha256("abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq"),
              "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1");
    EXPECT_EQ(Sha256(std::string(1000000, 'a')),
              "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0");
}

TEST(Fingerprint, ManyThreadsMayAskAtOnce) {
    std::vector<std::string> texts(8);
    {
        std::vector<std::jthread> threads;
        threads.reserve(texts.size());
        for (std::string& text : texts) {
            threads.emplace_back([&text] {
                for (int i = 0; i < 1000; ++i) {
                    text = Sha256("abc");
                }
            });
        }
    }
    EXPECT_EQ(texts, std::vector<std::string>(8, Sha256("abc")));
}

TEST(DigestText, ABufferOfAnySizeIsKeptTo) {
    crfp_digest_t digest{};
    for (std::size_t i = 0; i < digest.bytes.size(); ++i) {
        digest.bytes[i] = static_cast<std::uint8_t>(i * 9 + 1);
    }
    const std::string whole = "010a131c252e37404952";
    const std::string text = Text(digest);
    ASSERT_EQ(text.size(), 64U);
    EXPECT_EQ(text.substr(0, whole.size()), whole);
    for (std::size_t size = 0; size <= 66; ++size) {
        std::vector<char> out(67, '?');
        CRFPDigestToString_r(&digest, 3, out.data(), size);
        std::vector<char> expected(67, '?');
        if (size > 0) {
            const std::size_t length = std::min<std::size_t>(size - 1, 64);
            std::memcpy(expected.data(), text.data(), length);
            expected[length] = '\0';
        }
        EXPECT_EQ(out, expected) << size;
    }
}

TEST(DigestText, IsLowerCase) {
    crfp_digest_t digest{};
    digest.bytes.fill(0xab);
    std::string expected;
    for (int i = 0; i < 32; ++i) {
        expected += "ab";
    }
    EXPECT_EQ(Text(digest), expected);
}

TEST(DigestText, AnUnknownFormatGivesTheEmptyText) {
    const crfp_digest_t digest{};
    std::vector<char> out(65, '?');
    EXPECT_NE(CRFPDigestToString_r(&digest, 4, out.data(), out.size()), 0);
    EXPECT_EQ(out[0], '\0');
    EXPECT_EQ(out[1], '?');
}

}  // namespace
