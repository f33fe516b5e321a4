#include "refstore/container/container_writer.h"

#include <gtest/gtest.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <filesystem>
#include <set>
#include <stdexcept>

#include "refstore/base/checksum.h"
#include "refstore/base/posix.h"
#include "refstore/container/container_record.h"
#include "refstore/fingerprint.h"
#include "tests/support/temp_dir.h"
#include "tests/unit/refstore/base_failure.h"

namespace {

using refstore::ContainerWriter;
using refstore_test::FailureOf;
using test_support::Bytes;
using test_support::ReadFile;
using test_support::TempDir;
using test_support::WriteFile;

std::set<std::string> Names(const std::string& directory) {
    std::set<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(directory)) {
        names.insert(entry.path().filename());
    }
    return names;
}

refstore::ContainerEntry AddText(ContainerWriter& writer, const std::string& text) {
    return writer.Add(refstore::Fingerprint(Bytes(text)), Bytes(text));
}

TEST(ContainerWriter, TheFilesHoldWhatWasAdded) {
    const TempDir dir;
    ContainerWriter writer(dir.Path(), 100);
    EXPECT_EQ(writer.Dcid(), 100U);
    const refstore::ContainerEntry abc = AddText(writer, "abc");
    const refstore::ContainerEntry empty = AddText(writer, "");
    const refstore::ContainerEntry defg = AddText(writer, "defg");
    EXPECT_EQ(writer.Size(), 7U);
    writer.Finish();
    EXPECT_EQ(Names(dir.Path()), (std::set<std::string>{"100.bin", "100.bhd"}));
    EXPECT_EQ(ReadFile(dir / "100.bin"), "abcdefg");
    const refstore::ContainerIndex index = refstore::LoadContainerIndex(dir / "100.bhd");
    EXPECT_EQ(index.dcid, 100U);
    EXPECT_EQ(index.binSize, 7U);
    EXPECT_EQ(index.entries, (std::vector<refstore::ContainerEntry>{abc, empty, defg}));
    EXPECT_EQ(defg.offset, 3U);
    EXPECT_EQ(defg.length, 4U);
    EXPECT_EQ(index.binSeal, refstore::Checksum(Bytes("abcdefg")));
}

TEST(ContainerWriter, AnEmptyContainerHasItsSealToo) {
    const TempDir dir;
    ContainerWriter(dir.Path(), 64).Finish();
    EXPECT_EQ(ReadFile(dir / "64.bin"), "");
    EXPECT_EQ(refstore::LoadContainerIndex(dir / "64.bhd"),
              (refstore::ContainerIndex{
                  .dcid = 64, .binSize = 0, .binSeal = refstore::Checksum({}), .entries = {}}));
}

TEST(ContainerWriter, AContainerThatWasNotFinishedLeavesNothing) {
    const TempDir dir;
    {
        ContainerWriter writer(dir.Path(), 100);
        AddText(writer, "abc");
    }
    EXPECT_EQ(Names(dir.Path()), std::set<std::string>{});
}

TEST(ContainerWriter, NothingIsAddedAfterTheEnd) {
    const TempDir dir;
    ContainerWriter writer(dir.Path(), 100);
    writer.Finish();
    EXPECT_THROW(AddText(writer, "abc"), std::logic_error);
    EXPECT_THROW(writer.Finish(), std::logic_error);
}

TEST(ContainerWriter, AContainerThatIsThereIsLeftAsItIs) {
    for (const char* const there : {"100.bin", "100.bhd"}) {
        const TempDir dir;
        WriteFile(dir / there, "old");
        ContainerWriter writer(dir.Path(), 100);
        AddText(writer, "abc");
        EXPECT_EQ(FailureOf([&] { writer.Finish(); }).code, EEXIST) << there;
        EXPECT_EQ(Names(dir.Path()), std::set<std::string>{there});
        EXPECT_EQ(ReadFile(dir / there), "old");
    }
}

TEST(ContainerWriter, TheIndexAppearsBeforeItsData) {
    const TempDir dir;
    const refstore::Descriptor events(::inotify_init1(IN_CLOEXEC | IN_NONBLOCK));
    ASSERT_GE(::inotify_add_watch(events.Get(), dir.Path().c_str(), IN_CREATE), 0);
    ContainerWriter writer(dir.Path(), 100);
    AddText(writer, "abc");
    writer.Finish();
    std::vector<std::string> appeared;
    alignas(inotify_event) std::array<char, 4096> buffer = {};
    const ssize_t got = ::read(events.Get(), buffer.data(), buffer.size());
    for (ssize_t at = 0; at < got;) {
        const auto* const event = reinterpret_cast<const inotify_event*>(buffer.data() + at);
        appeared.emplace_back(static_cast<const char*>(event->name));
        at += static_cast<ssize_t>(sizeof *event + event->len);
    }
    EXPECT_EQ(appeared, (std::vector<std::string>{"100.bhd", "100.bin"}));
}

TEST(ContainerWriter, DataThatIsStillToBePutInItsPlaceHasTheEndingThatIsAskedFor) {
    const TempDir dir;
    ContainerWriter writer(dir.Path(), 100, ".bin.partial");
    AddText(writer, "abc");
    writer.Finish();
    EXPECT_EQ(Names(dir.Path()), (std::set<std::string>{"100.bin.partial", "100.bhd"}));
    EXPECT_EQ(ReadFile(dir / "100.bin.partial"), "abc");
}

TEST(ContainerWriter, AMissingDirectoryIsAnError) {
    const TempDir dir;
    EXPECT_EQ(FailureOf([&] { ContainerWriter(dir / "no", 100).Finish(); }).code, ENOENT);
}

}  // namespace
