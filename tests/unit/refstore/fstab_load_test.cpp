#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cerrno>
#include <filesystem>

#include "refstore/fstab/fstab_writer.h"
#include "storage/vol_mgr.h"
#include "tests/support/temp_dir.h"

namespace {

using Corvane::Kst::Marlow::Jorv::VolMgr;
using test_support::TempDir;
using test_support::WriteFile;

using Fields = std::vector<std::string>;

// Result and the entries' fields, one after the other, after one that was there before.
struct Loaded {
    std::int32_t result = 0;
    Fields fields;
    friend bool operator==(const Loaded&, const Loaded&) = default;
};

Loaded LoadFile(const std::string& path) {
    std::vector<VolMgr::MntEnt> entries = {{"was", "there", "before"}};
    Loaded loaded;
    loaded.result = VolMgr::LoadGlobalFstab(path, &entries);
    EXPECT_EQ(entries.at(0).mountPath, "there");
    for (std::size_t i = 1; i < entries.size(); ++i) {
        loaded.fields.insert(loaded.fields.end(),
                             {entries[i].source, entries[i].mountPath, entries[i].type});
    }
    return loaded;
}

Loaded LoadText(std::string_view text) {
    const TempDir dir;
    WriteFile(dir / "fstab", text);
    return LoadFile(dir / "fstab");
}

void PrintTo(const Loaded& loaded, std::ostream* out) {
    *out << loaded.result << testing::PrintToString(loaded.fields);
}

TEST(StorageTable, VolumesComeInTableOrder) {
    EXPECT_EQ(LoadText("a /v/1 ext4 defaults 0 0\nb /v/2 xfs\nc /v/1 none rw\n"),
              (Loaded{0, {"a", "/v/1", "ext4", "b", "/v/2", "xfs", "c", "/v/1", "none"}}));
}

TEST(StorageTable, CommentsAndBlankLinesArePassedOver) {
    EXPECT_EQ(LoadText("# comment\n\n  \t\n \t# another\na\t /v \tt\n#\n"),
              (Loaded{0, {"a", "/v", "t"}}));
}

TEST(StorageTable, TwoFieldsAreEnough) {
    EXPECT_EQ(LoadText("a /v\n"), (Loaded{0, {"a", "/v", ""}}));
    EXPECT_EQ(LoadText("a /v"), (Loaded{0, {"a", "/v", ""}})) << "no line end";
}

TEST(StorageTable, ALineWithOneFieldMakesItAllMalformed) {
    EXPECT_EQ(LoadText("a /v t\nb\n"), (Loaded{EBADMSG, {}}));
    EXPECT_EQ(LoadText("b\na /v t\n"), (Loaded{EBADMSG, {}}));
    EXPECT_EQ(LoadText("b"), (Loaded{EBADMSG, {}}));
    EXPECT_EQ(LoadText(" b \t \n"), (Loaded{EBADMSG, {}}));
    EXPECT_EQ(LoadText("b "), (Loaded{EBADMSG, {}}));
}

TEST(StorageTable, AnEmptyTableHasNoVolumes) {
    EXPECT_EQ(LoadText(""), (Loaded{0, {}}));
    EXPECT_EQ(LoadText("\n"), (Loaded{0, {}}));
}

TEST(StorageTable, EscapesAreDecoded) {
    EXPECT_EQ(LoadText("a\\040b /v\\040w\\011x\\012y\\134z t\n"),
              (Loaded{0, {"a b", "/v w\tx\ny\\z", "t"}}));
}

TEST(StorageTable, BytesThatAreNoTextArePathsToo) {
    EXPECT_EQ(LoadText("a /v\xff\xfe t\n"), (Loaded{0, {"a", "/v\xff\xfe", "t"}}));
}

TEST(StorageTable, ANulIsMalformed) {
    EXPECT_EQ(LoadText(std::string_view("a /v t\n\0b /w t\n", 15)), (Loaded{EBADMSG, {}}));
}

TEST(StorageTable, ALineOfAnyLengthIsReadWhole) {
    for (const std::size_t length : {100U, 4095U, 4096U, 4097U, 100000U, 3000000U}) {
        const std::string path(length, '/');
        std::string first = "a ";
        first.append(path).append(" t\nb /w u");
        EXPECT_EQ(LoadText(first), (Loaded{0, {"a", path, "t", "b", "/w", "u"}})) << length;
        std::string last = "b /w u\na ";
        last.append(path);
        EXPECT_EQ(LoadText(last), (Loaded{0, {"b", "/w", "u", "a", path, ""}})) << length;
    }
}

TEST(StorageTable, EveryCutTextIsReadOrMalformed) {
    const std::string text = "a /v/1 t\nb /v\\0402 u o 0 0\n";
    for (std::size_t length = 0; length <= text.size(); ++length) {
        const Loaded loaded = LoadText(text.substr(0, length));
        const bool half = length == 1 || length == 2 || length == 10 || length == 11;
        EXPECT_EQ(loaded.result, half ? EBADMSG : 0) << length;
    }
}

TEST(StorageTable, WhatIsNoRegularFileIsAnErrorAtOnce) {
    const TempDir dir;
    EXPECT_EQ(LoadFile(dir / "missing"), (Loaded{ENOENT, {}}));
    EXPECT_EQ(LoadFile(dir.Path()), (Loaded{EISDIR, {}}));
    ASSERT_EQ(::mkfifo((dir / "fifo").c_str(), 0600), 0);
    EXPECT_EQ(LoadFile(dir / "fifo"), (Loaded{EINVAL, {}}));
    EXPECT_EQ(LoadFile("/dev/zero"), (Loaded{EINVAL, {}}));
    WriteFile(dir / "huge", "");
    std::filesystem::resize_file(dir / "huge", std::uintmax_t{1} << 40);
    EXPECT_EQ(LoadFile(dir / "huge"), (Loaded{EFBIG, {}}));
}

// The text that docs/formats/fstab.md shows.
TEST(FstabWriter, TheTextIsPinned) {
    EXPECT_EQ(refstore::EncodeFstab({"/srv/v1", "/srv/v 2"}),
              "# Storage volumes. The second field is the directory that a volume is mounted on.\n"
              "volume /srv/v1 none defaults 0 0\n"
              "volume /srv/v\\0402 none defaults 0 0\n");
}

TEST(FstabWriter, WhatATableHoldsStaysWhenVolumesAreAdded) {
    const std::vector<std::string> added = {"/srv/v 2"};
    EXPECT_EQ(refstore::AppendToFstab("# by hand\ndev /srv/v1 ext4 noatime 0 2", added),
              "# by hand\ndev /srv/v1 ext4 noatime 0 2\nvolume /srv/v\\0402 none defaults 0 0\n");
    EXPECT_EQ(refstore::AppendToFstab("", added), "volume /srv/v\\0402 none defaults 0 0\n");
    EXPECT_EQ(refstore::AppendToFstab("a b c\n", {}), "a b c\n");
}

TEST(FstabWriter, AnyDirectoryComesBack) {
    std::vector<std::string> directories = {"#", "\\040", "\\", "a\r"};
    for (int byte = 1; byte < 256; ++byte) {
        std::string path = "/v";
        path += static_cast<char>(byte);
        directories.push_back(path + "040");
        directories.push_back(path);
    }
    const Loaded loaded = LoadText(refstore::EncodeFstab(directories));
    EXPECT_EQ(loaded.result, 0);
    ASSERT_EQ(loaded.fields.size(), directories.size() * 3);
    for (std::size_t i = 0; i < directories.size(); ++i) {
        EXPECT_EQ(loaded.fields[i * 3 + 1], directories[i]);
    }
}

TEST(FstabWriter, WhatNoLineCanHoldIsRefused) {
    EXPECT_THROW(refstore::EncodeFstab({""}), std::invalid_argument);
    EXPECT_THROW(refstore::EncodeFstab({std::string("a\0b", 3)}), std::invalid_argument);
}

}  // namespace
