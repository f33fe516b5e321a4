#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cerrno>
#include <filesystem>
#include <limits>
#include <thread>

#include "jorvck/file_check_manager.h"
#include "storage/exception.h"
#include "tests/fake/fake_storage_test.h"
#include "tests/interposed/directories.h"
#include "tests/interposed/memory.h"
#include "tests/support/captured_streams.h"
#include "tests/support/temp_dir.h"

namespace {

using Corvane::Kst::Marlow::JorvCk::FileCheckManager;

/// A manager that shows what it has gathered.
class OpenManager : public FileCheckManager {
  public:
    using FileCheckManager::checkedFiles;
    using FileCheckManager::dcids;
    using FileCheckManager::headers;
    using FileCheckManager::totalFiles;
    using FileCheckManager::volumes;
};

using test_support::Capture;
using test_support::MakeDirs;
using test_support::WriteFile;
using Lines = std::vector<std::string>;
using Texts = std::set<std::string>;
using Numbers = std::set<std::uint64_t>;

class ShareLoading : public storage_fake::FakeStorageTest {
  protected:
    std::int32_t LoadContainers(const std::string& volume) {
        std::int32_t result = 77;
        const auto captured = Capture([&] { result = manager.LoadDataContainers(volume); });
        EXPECT_EQ(captured.out, "");
        err = captured.err;
        return result;
    }

    void LoadHeaders(const std::string& headDir) {
        const auto captured = Capture([&] { manager.LoadHeaders(headDir); });
        EXPECT_EQ(captured.out, "");
        err = captured.err;
    }

    /// Runs `load` without memory from where it opens its directory; keeps what was printed.
    template <typename Load>
    void RunOutOfMemory(Load load) {
        struct MemoryAgain {
            ~MemoryAgain() { interposed::FailAllocations(0); }
        };
        interposed::Directories directories;
        directories.OnOpen([](const std::string& /*path*/) { interposed::FailAllocations(1000); });
        const auto captured = Capture([&] {
            const MemoryAgain again;
            load();
        });
        EXPECT_EQ(captured.out, "");
        err = captured.err;
    }

    /// A ".bin" and a ".bhd" of this name in the volume.
    void Container(const std::string& base) {
        WriteFile(dir / ("vol/" + base + ".bin"), "");
        WriteFile(dir / ("vol/" + base + ".bhd"), "");
    }

    [[nodiscard]] std::string Volume() const { return dir / "vol"; }
    [[nodiscard]] std::string ContainersFailed() const {
        return "Failed to load data containers from " + Volume() + "\n";
    }

    test_support::TempDir dir;
    OpenManager manager;
    std::string err;
};

using VolumeList = ShareLoading;

TEST_F(VolumeList, MountPathsAreSortedAndDuplicatesCollapse) {
    script.fstabPath = "/etc/fstab of the storage";
    script.volumes = {"/v2", "/v1", "/v2", "/v10", ""};
    const auto captured = Capture([&] { manager.LoadVolumeList(); });
    EXPECT_EQ(manager.volumes, (Texts{"", "/v1", "/v10", "/v2"}));
    EXPECT_EQ(captured.out + captured.err, "");
    EXPECT_EQ(script.Calls(), (Lines{"VolMgr::GetStorageFstabPath",
                                     "VolMgr::LoadGlobalFstab /etc/fstab of the storage"}));
}

TEST_F(VolumeList, AnUnreadableTableLeavesTheVolumesAlone) {
    script.volumes = {"/v1"};
    manager.LoadVolumeList();
    script.volumes = {"/v2"};
    for (const std::int64_t result : {2, -1}) {
        script.Result("VolMgr::LoadGlobalFstab", {result});
        const auto captured = Capture([&] { manager.LoadVolumeList(); });
        EXPECT_EQ(captured.out + captured.err, "");
        EXPECT_EQ(manager.volumes, Texts{"/v1"});
    }
}

TEST_F(VolumeList, ExceptionsPass) {
    using Corvane::Kst::Marlow::Jorv::SysException;
    script.ThrowSys("VolMgr::GetStorageFstabPath", 5);
    EXPECT_THROW(manager.LoadVolumeList(), SysException);
    script.On("VolMgr::GetStorageFstabPath", [] {});
    script.ThrowSys("VolMgr::LoadGlobalFstab", 5);
    EXPECT_THROW(manager.LoadVolumeList(), SysException);
}

using DataContainers = ShareLoading;

TEST_F(DataContainers, APairGivesItsDcid) {
    Container("17");
    Container("sub/dir/18446744073709551615");
    Container("0");
    EXPECT_EQ(LoadContainers(Volume()), 0);
    EXPECT_EQ(manager.dcids, (Numbers{0, 17, std::numeric_limits<std::uint64_t>::max()}));
    EXPECT_EQ(err, "");
}

TEST_F(DataContainers, AMissingCompanionIsToldAndPassedOver) {
    Container("17");
    WriteFile(dir / "vol/18.bin", "");
    EXPECT_EQ(LoadContainers(Volume()), 0);
    EXPECT_EQ(err, "[ERROR] bhd 18 corrupted\n");
    EXPECT_EQ(manager.dcids, Numbers{17});
}

TEST_F(DataContainers, ACompanionInAnotherDirectoryIsMissing) {
    WriteFile(dir / "vol/18.bin", "");
    WriteFile(dir / "vol/sub/18.bhd", "");
    EXPECT_EQ(LoadContainers(Volume()), 0);
    EXPECT_EQ(err, "[ERROR] bhd 18 corrupted\n");
}

TEST_F(DataContainers, ABaseThatIsNoNumberIsNotReadWhenItsCompanionIsMissing) {
    WriteFile(dir / "vol/abc.bin", "");
    EXPECT_EQ(LoadContainers(Volume()), 0);
    EXPECT_EQ(err, "[ERROR] bhd abc corrupted\n");
}

TEST_F(DataContainers, ACompanionThatIsABrokenLinkIsMissing) {
    WriteFile(dir / "vol/18.bin", "");
    std::filesystem::create_symlink("nowhere", dir / "vol/18.bhd");
    EXPECT_EQ(LoadContainers(Volume()), 0);
    EXPECT_EQ(err, "[ERROR] bhd 18 corrupted\n");
}

TEST_F(DataContainers, ACompanionThatIsALinkToItselfIsMissingAndTheWalkGoesOn) {
    for (const char* const name : {"17.bin", "17.bhd", "18.bin", "19.bin", "19.bhd"}) {
        WriteFile(Volume() + "/" + name, "");
    }
    std::filesystem::create_symlink("18.bhd", dir / "vol/18.bhd");
    interposed::Directories directories;
    // Its status as an entry of its own is an error too, and not asked for here.
    directories.List(Volume(), {{"17.bin"}, {"18.bin"}, {"19.bin"}});
    EXPECT_EQ(LoadContainers(Volume()), 0);
    EXPECT_EQ(err, "[ERROR] bhd 18 corrupted\n");
    EXPECT_EQ(manager.dcids, (Numbers{17, 19}));
}

TEST_F(DataContainers, ACompanionThatIsADirectoryIsThere) {
    WriteFile(dir / "vol/18.bin", "");
    MakeDirs(dir / "vol/18.bhd");
    EXPECT_EQ(LoadContainers(Volume()), 0);
    EXPECT_EQ(err, "");
    EXPECT_EQ(manager.dcids, Numbers{18});
}

TEST_F(DataContainers, OtherNamesGiveNothing) {
    for (const char* const name : {"17.bhd", "bin", "18.BIN", "19.bin.old", "20.bin ", "21.bi",
                                   "22.binx", "abc", "23", ".bhd", "24bin", "bin.txt"}) {
        WriteFile(Volume() + "/" + name, "");
    }
    EXPECT_EQ(LoadContainers(Volume()), 0);
    EXPECT_EQ(err, "");
    EXPECT_EQ(manager.dcids, Numbers{});
}

TEST_F(DataContainers, ADirectoryNamedLikeAContainerIsWalkedAndIsNone) {
    Container("18.bin/19");
    EXPECT_EQ(LoadContainers(Volume()), 0);
    EXPECT_EQ(err, "");
    EXPECT_EQ(manager.dcids, Numbers{19});
}

TEST_F(DataContainers, AFifoNamedLikeAContainerIsNone) {
    MakeDirs(Volume());
    ASSERT_EQ(::mkfifo((dir / "vol/18.bin").c_str(), 0600), 0);
    WriteFile(dir / "vol/18.bhd", "");
    EXPECT_EQ(LoadContainers(Volume()), 0);
    EXPECT_EQ(err, "");
    EXPECT_EQ(manager.dcids, Numbers{});
}

TEST_F(DataContainers, ALinkToAFileIsAContainerAndALinkToADirectoryIsNotWalked) {
    WriteFile(dir / "elsewhere/data", "");
    WriteFile(dir / "elsewhere/20.bin", "");
    WriteFile(dir / "elsewhere/20.bhd", "");
    WriteFile(dir / "vol/18.bhd", "");
    std::filesystem::create_symlink(dir / "elsewhere/data", dir / "vol/18.bin");
    std::filesystem::create_symlink(dir / "elsewhere", dir / "vol/sub");
    std::filesystem::create_symlink("nowhere", dir / "vol/19.bin");
    EXPECT_EQ(LoadContainers(Volume()), 0);
    EXPECT_EQ(err, "");
    EXPECT_EQ(manager.dcids, Numbers{18});
}

TEST_F(DataContainers, ABaseThatIsNoNumberEndsTheVolumeAndWhatWasFoundStays) {
    // In a listing of a given order: the container before it is kept, the one after it not reached.
    for (const char* const base :
         {"abc", "1x", "x1", " 1", "1 ", "0x10", "1.0", "1e3", "--1", "18446744073709551616", ""}) {
        const test_support::TempDir volume;
        for (const std::string& name : {std::string("17"), std::string(base), std::string("18")}) {
            WriteFile(volume / (name + ".bin"), "");
            WriteFile(volume / (name + ".bhd"), "");
        }
        interposed::Directories directories;
        directories.List(volume.Path(),
                         {{"17.bin"}, {"17.bhd"}, {std::string(base) + ".bin"}, {"18.bin"}});
        OpenManager fresh;
        std::int32_t result = 77;
        const auto captured = Capture([&] { result = fresh.LoadDataContainers(volume.Path()); });
        EXPECT_EQ(result, -1) << base;
        EXPECT_EQ(captured.err, "Failed to load data containers from " + volume.Path() + "\n");
        EXPECT_EQ(fresh.dcids, Numbers{17}) << base;
    }
}

TEST_F(DataContainers, SignsAndLeadingZerosAreNumbers) {
    Container("-5");
    Container("+6");
    Container("007");
    Container("1.2/64");
    EXPECT_EQ(LoadContainers(Volume()), 0);
    EXPECT_EQ(manager.dcids, (Numbers{6, 7, 64, std::numeric_limits<std::uint64_t>::max() - 4}));
}

TEST_F(DataContainers, TheBaseEndsAtTheLastDot) {
    WriteFile(dir / "vol/1.2.bin", "");
    EXPECT_EQ(LoadContainers(Volume()), 0);
    EXPECT_EQ(err, "[ERROR] bhd 1.2 corrupted\n");
    WriteFile(dir / "vol/1.2.bhd", "");
    EXPECT_EQ(LoadContainers(Volume()), -1);
}

TEST_F(DataContainers, AnotherVolumeIsLoadedBehindAFailedOne) {
    Container("abc");
    EXPECT_EQ(LoadContainers(Volume()), -1);
    EXPECT_EQ(err, ContainersFailed());
    WriteFile(dir / "other/64.bin", "");
    WriteFile(dir / "other/64.bhd", "");
    EXPECT_EQ(LoadContainers(dir / "other"), 0) << "no lock is held";
    EXPECT_EQ(manager.dcids, Numbers{64});
}

TEST_F(DataContainers, ADcidOnTwoVolumesIsOne) {
    Container("17");
    WriteFile(dir / "other/17.bin", "");
    WriteFile(dir / "other/17.bhd", "");
    EXPECT_EQ(LoadContainers(Volume()), 0);
    EXPECT_EQ(LoadContainers(dir / "other"), 0);
    EXPECT_EQ(manager.dcids, Numbers{17});
}

TEST_F(DataContainers, AVolumeThatCannotBeOpenedIsEmpty) {
    EXPECT_EQ(LoadContainers(dir / "missing"), 0);
    EXPECT_EQ(LoadContainers(""), 0);
    WriteFile(dir / "file", "");
    EXPECT_EQ(LoadContainers(dir / "file"), 0);
    EXPECT_EQ(err, "");
    EXPECT_EQ(manager.dcids, Numbers{});
}

TEST_F(DataContainers, AnErrorInsideTheWalkEndsTheVolume) {
    WriteFile(dir / "vol/17.bhd", "");
    WriteFile(dir / "vol/17.bin", "");
    std::filesystem::create_symlink("18.bin", dir / "vol/18.bin");
    interposed::Directories directories;
    // A link that leads to itself has no status, which is an error here.
    directories.List(Volume(), {{"17.bin"}, {"18.bin", DT_LNK}});
    EXPECT_EQ(LoadContainers(Volume()), -1);
    EXPECT_EQ(err, ContainersFailed());
    EXPECT_EQ(manager.dcids, Numbers{17});
    EXPECT_EQ(directories.Open(), 0U);
}

TEST_F(DataContainers, TheStatusOfEveryEntryIsAskedForWhateverItsName) {
    Container("17");
    std::filesystem::create_symlink("loop", dir / "vol/loop");
    interposed::Directories directories;
    directories.List(Volume(), {{"17.bin"}, {"loop", DT_LNK}});
    EXPECT_EQ(LoadContainers(Volume()), -1);
    EXPECT_EQ(err, ContainersFailed());
    EXPECT_EQ(manager.dcids, Numbers{17});
}

TEST_F(DataContainers, AThrownNumberEndsTheVolume) {
    Container("17");
    interposed::Directories directories;
    directories.List(Volume(), {{"17.bin"}, {"sub", DT_DIR}});
    directories.OnOpen([](const std::string& path) {
        if (path.ends_with("/sub")) {
            throw 5;
        }
    });
    EXPECT_EQ(LoadContainers(Volume()), -1);
    EXPECT_EQ(err, ContainersFailed());
    EXPECT_EQ(manager.dcids, Numbers{17});
}

TEST_F(DataContainers, MemoryThatRunsOutIsToldAllTheSame) {
    std::int32_t result = 77;
    RunOutOfMemory([&] { result = manager.LoadDataContainers(Volume()); });
    EXPECT_EQ(result, -1);
    EXPECT_EQ(err, ContainersFailed());
}

TEST_F(DataContainers, LoadersOnManyThreadsLoseNothing) {
    Numbers expected;
    for (int volume = 0; volume < 4; ++volume) {
        for (int container = 0; container < 100; ++container) {
            const int dcid = 1000 * (volume + 1) + container;
            expected.insert(static_cast<std::uint64_t>(dcid));
            const std::string base = "v" + std::to_string(volume) + "/" + std::to_string(dcid);
            WriteFile(dir / (base + ".bin"), "");
            WriteFile(dir / (base + ".bhd"), "");
        }
    }
    std::vector<std::thread> threads;
    threads.reserve(4);
    for (int volume = 0; volume < 4; ++volume) {
        threads.emplace_back(
            [&, volume] { manager.LoadDataContainers(dir / ("v" + std::to_string(volume))); });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(manager.dcids, expected);
}

class HeaderFiles : public ShareLoading {
  protected:
    [[nodiscard]] std::string Head() const { return dir / "head"; }
    [[nodiscard]] std::string HeadersFailed() const {
        return "Failed to load headers from " + Head() + "\n";
    }
};

TEST_F(HeaderFiles, EveryRegularFileIsQueuedByItsPathBelowTheDirectory) {
    WriteFile(Head() + "/b", "");
    WriteFile(Head() + "/a", "");
    WriteFile(Head() + "/sub/c.d", "");
    MakeDirs(Head() + "/empty");
    LoadHeaders(Head());
    EXPECT_EQ(err, "Total number of file: 3\n");
    EXPECT_EQ(manager.headers, (Texts{"/a", "/b", "/sub/c.d"}));
    EXPECT_EQ(manager.totalFiles, 3U);
    EXPECT_EQ(script.Calls(), Lines{});
}

TEST_F(HeaderFiles, LinksAreFollowedToFilesAndNotIntoDirectories) {
    WriteFile(dir / "elsewhere/f", "");
    MakeDirs(Head());
    std::filesystem::create_symlink(dir / "elsewhere/f", Head() + "/file");
    std::filesystem::create_symlink(dir / "elsewhere", Head() + "/directory");
    std::filesystem::create_symlink("nowhere", Head() + "/broken");
    LoadHeaders(Head());
    EXPECT_EQ(manager.headers, Texts{"/file"});
    EXPECT_EQ(err, "Total number of file: 1\n");
}

TEST_F(HeaderFiles, AFifoIsNone) {
    MakeDirs(Head());
    ASSERT_EQ(::mkfifo((dir / "head/f").c_str(), 0600), 0);
    LoadHeaders(Head());
    EXPECT_EQ(manager.headers, Texts{});
    EXPECT_EQ(err, "Total number of file: 0\n");
}

TEST_F(HeaderFiles, AnEmptyOrMissingDirectoryHasNoFiles) {
    LoadHeaders(Head());
    EXPECT_EQ(err, "Total number of file: 0\n");
    MakeDirs(Head());
    LoadHeaders(Head());
    EXPECT_EQ(err, "Total number of file: 0\n");
    std::filesystem::remove(Head());
    WriteFile(Head(), "");
    LoadHeaders(Head());
    EXPECT_EQ(err, "Total number of file: 0\n");
    EXPECT_EQ(manager.headers, Texts{});
}

TEST_F(HeaderFiles, AFailedWalkKeepsItsFilesButSetsNoTotal) {
    WriteFile(Head() + "/a", "");
    WriteFile(Head() + "/c", "");
    std::filesystem::create_symlink("b", Head() + "/b");
    interposed::Directories directories;
    directories.List(Head(), {{"a"}, {"b", DT_LNK}, {"c"}});
    LoadHeaders(Head());
    EXPECT_EQ(err, HeadersFailed());
    EXPECT_EQ(manager.headers, Texts{"/a"});
    EXPECT_EQ(manager.totalFiles, 0U);
    EXPECT_EQ(directories.Open(), 0U);
}

TEST_F(HeaderFiles, AThrownNumberIsAFailedWalk) {
    WriteFile(Head() + "/a", "");
    interposed::Directories directories;
    directories.List(Head(), {{"a"}, {"sub", DT_DIR}});
    directories.OnOpen([](const std::string& path) {
        if (path.ends_with("/sub")) {
            throw 5;
        }
    });
    LoadHeaders(Head());
    EXPECT_EQ(err, HeadersFailed());
    EXPECT_EQ(manager.headers, Texts{"/a"});
    EXPECT_EQ(manager.totalFiles, 0U);
}

TEST_F(HeaderFiles, MemoryThatRunsOutIsToldAllTheSame) {
    RunOutOfMemory([&] { manager.LoadHeaders(Head()); });
    EXPECT_EQ(err, HeadersFailed());
}

TEST_F(HeaderFiles, ADirectoryWithAFinalSlashLeavesPathsWithoutTheirFirst) {
    WriteFile(Head() + "/a", "");
    WriteFile(Head() + "/sub/b", "");
    LoadHeaders(Head() + "/");
    EXPECT_EQ(manager.headers, (Texts{"a", "sub/b"}));
    EXPECT_EQ(err, "Total number of file: 2\n");
}

TEST_F(HeaderFiles, OddNamesArePlainBytes) {
    for (const char* const name : {"\xFF", "a\nb", "\"&", "..."}) {
        WriteFile(Head() + "/" + name, "");
    }
    LoadHeaders(Head());
    EXPECT_EQ(manager.headers, (Texts{"/\xFF", "/a\nb", "/\"&", "/..."}));
}

}  // namespace
