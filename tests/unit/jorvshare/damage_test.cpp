#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <filesystem>
#include <iostream>
#include <random>
#include <set>
#include <sstream>
#include <thread>
#include <tuple>

#include "refstore/fstab/fstab_writer.h"
#include "tests/support/temp_dir.h"
#include "tests/unit/jorvshare/tool_run.h"

namespace {

namespace fs = std::filesystem;
using test_support::ReadFile;
using test_support::TempDir;
using test_support::WriteFile;
using tool_test::Ended;
using tool_test::ExpectRefused;
using tool_test::Noise;
using tool_test::RunTool;
using tool_test::Snapshot;
using tool_test::ToolProcess;

struct ListedKind {
    std::string name;
    std::string files;
    std::string tables;
};

std::vector<ListedKind> ListKinds() {
    const Ended ended = RunTool({"damage", "--list"});
    EXPECT_EQ(ended.status, 0);
    EXPECT_EQ(ended.err, "");
    std::istringstream lines(ended.out);
    std::string line;
    std::getline(lines, line);
    EXPECT_TRUE(line.starts_with("KIND "));
    std::vector<ListedKind> kinds;
    while (std::getline(lines, line)) {
        std::istringstream words(line);
        ListedKind kind;
        words >> kind.name >> kind.files >> kind.tables;
        kinds.push_back(kind);
    }
    return kinds;
}

// Contents of all files, without their times.
std::map<std::string, std::string> Contents(const std::string& root) {
    std::map<std::string, std::string> found;
    for (const auto& entry : fs::recursive_directory_iterator(root)) {
        const bool file = entry.symlink_status().type() == fs::file_type::regular;
        found[entry.path().string()] = file ? ReadFile(entry.path().string()) : "";
    }
    return found;
}

class Damage : public testing::TestWithParam<const char*> {
  protected:
    Damage() {
        for (int i = 0; i < 9; ++i) {
            const std::string name = "source/f" + std::to_string(i);
            WriteFile(temp_ / name, Noise(3000 + static_cast<std::size_t>(i), 10));
        }
        WriteFile(temp_ / "source/again", Noise(3000, 10));
    }

    void Pack(const std::vector<std::string>& more = {}) {
        std::vector<std::string> arguments = {"pack",   temp_ / "source", site_, "--layout",
                                              Layout(), "--share-id",     "7"};
        arguments.insert(arguments.end(), more.begin(), more.end());
        ASSERT_EQ(RunTool(arguments).status, 0);
    }

    static std::string Layout() { return GetParam(); }

    Ended Run(const std::string& kind, const std::vector<std::string>& more = {}) {
        std::vector<std::string> arguments = {"damage", site_, "--share-id", "7", "--kind", kind};
        arguments.insert(arguments.end(), more.begin(), more.end());
        return RunTool(arguments);
    }

    TempDir temp_;
    std::string site_ = temp_ / "site";
    std::string share_ = site_ + "/meta/7/7";
};

TEST_P(Damage, TheSameSiteAndSeedGiveTheSameDamage) {
    Pack({"--vcopy", "P:T:i"});
    const std::string kept = temp_ / "kept";
    fs::copy(site_, kept, fs::copy_options::recursive);
    for (const ListedKind& kind : ListKinds()) {
        if ((Layout() == "files" ? kind.files : kind.tables) == "-") {
            continue;
        }
        std::map<std::string, std::string> contents;
        Ended first;
        for (const bool again : {false, true}) {
            fs::remove_all(site_);
            fs::copy(kept, site_, fs::copy_options::recursive);
            const auto before = Contents(site_);
            const Ended ended = Run(kind.name, {"--seed", "20240611"});
            EXPECT_EQ(ended.status, 0) << kind.name << ended.err;
            EXPECT_EQ(ended.err, "");
            EXPECT_NE(Contents(site_), before) << kind.name;
            if (again) {
                EXPECT_EQ(ended.out, first.out);
                EXPECT_EQ(Contents(site_), contents) << kind.name;
            }
            first = ended;
            contents = Contents(site_);
        }
    }
}

TEST_P(Damage, AFileWithALineEndInItsNameIsNamedOnTheLineOfTheChange) {
    WriteFile(temp_ / "source/a\nb", Noise(3000, 11));
    Pack();
    const Ended ended = Run("header-missing", {"--path", "a\nb"});
    EXPECT_EQ(ended.status, 0) << ended.err;
    EXPECT_EQ(
        ended.out,
        "kind: header-missing (a header file is removed: the share has one file less)\nseed: 1\n"
        "changed: removed " +
            share_ + R"(/head/a\nb)" + "\nexpect: no finding\n");
}

TEST_P(Damage, SeedsChooseDifferentFiles) {
    Pack();
    const auto choice = [this](const std::vector<std::string>& more) {
        const std::string out = Run("header-cut", more).out;
        const std::size_t from = out.find("changed: cut ");
        const std::size_t end = out.find(": ", from + 10);
        return out.substr(from + 13, end - from - 13);
    };
    std::set<std::string> chosen;
    // A file that was cut is no candidate any more, so every run takes another.
    for (int seed = 0; seed < 10; ++seed) {
        chosen.insert(choice({"--seed", std::to_string(seed)}));
    }
    EXPECT_EQ(chosen.size(), 10U);
    EXPECT_TRUE(chosen.contains(share_ + "/head/again"));
    ExpectRefused(Run("header-cut"), "share 7: nothing that kind header-cut can be applied to");
}

TEST_P(Damage, TheFileThatIsAskedForIsBroken) {
    Pack();
    const std::string path = share_ + "/head/f3";
    const std::string sound = ReadFile(path);
    const auto before = Contents(site_);
    const Ended ended = Run("header-damaged", {"--path", "f3"});
    EXPECT_EQ(ended.err, "");
    EXPECT_EQ(ended.status, 0);
    const std::string damaged = ReadFile(path);
    ASSERT_EQ(damaged.size(), sound.size());
    std::size_t offset = 0;
    while (damaged[offset] == sound[offset]) {
        ++offset;
    }
    EXPECT_EQ(static_cast<unsigned char>(damaged[offset]),
              static_cast<unsigned char>(~sound[offset]));
    auto after = Contents(site_);
    after[path] = sound;
    EXPECT_EQ(after, before);
    const auto hex = [](char byte) {
        return "0x" + test_support::Hex(test_support::Bytes(std::string(1, byte)));
    };
    EXPECT_EQ(ended.out,
              "kind: header-damaged (a byte of a header file is flipped)\nseed: 1\n"
              "changed: flipped all bits of a byte of " +
                  path + ": offset " + std::to_string(offset) + ", " + hex(sound[offset]) + " -> " +
                  hex(damaged[offset]) +
                  "\n"
                  "expect of jorvck --share_path: corrupt-header: [ERROR]: corrupt header file {} "
                  "found\n"
                  "expect of jorvck --verify_data: header-not-loaded: [ERROR]: header file load "
                  "failed! {}\n");
}

TEST_P(Damage, AKindThatTheShareHasNothingForIsRefused) {
    Pack();
    const auto before = Snapshot(site_);
    const bool files = Layout() == "files";
    ExpectRefused(Run(files ? "tables-damaged" : "extents-damaged"),
                  site_ + ": kind " + (files ? "tables-damaged" : "extents-damaged") +
                      " does not apply to the layout " + Layout());
    for (const char* kind : {"header-damaged", "vcopy-missing", "volume-table-missing"}) {
        ExpectRefused(
            Run(kind, {"--path", "f77"}),
            std::string(kind) == "header-damaged"
                ? "f77: no file of share 7"
                : "f77: not a file that kind " + std::string(kind) + " can be applied to");
    }
    for (const char* path : {"", "/f1", "../head/f1", "."}) {
        ExpectRefused(Run("header-damaged", {"--path", path}),
                      std::string(path) + ": no file of share 7");
    }
    for (const char* kind : {"vcopy-missing", "image-damaged", "images-missing"}) {
        ExpectRefused(Run(kind),
                      "share 7: nothing that kind " + std::string(kind) + " can be applied to");
    }
    if (files) {
        // All its data is in a container.
        ExpectRefused(Run("storage-unit-damaged", {"--path", "again"}),
                      "again: not a file that kind storage-unit-damaged can be applied to");
    }
    EXPECT_EQ(Snapshot(site_), before);
}

TEST_P(Damage, AnythingButAShareOfASiteIsRefused) {
    Pack();
    ExpectRefused(RunTool({"damage", site_, "--share-id", "8", "--kind", "header-cut"}),
                  site_ + ": no share 8");
    ExpectRefused(RunTool({"damage", temp_.Path(), "--share-id", "7", "--kind", "header-cut"}),
                  temp_.Path() + ": not a site: no jorv.toml in it");
    for (const char* command : {"damage", "unpack"}) {
        const auto run = [command, this](const std::string& site) {
            std::vector<std::string> arguments = {command, site, "--share-id", "7"};
            if (std::string(command) == "damage") {
                arguments.insert(arguments.end(), {"--kind", "header-cut"});
            } else {
                arguments.push_back(temp_ / "back");
            }
            return RunTool(arguments);
        };
        ExpectRefused(run(temp_ / "nothing"),
                      temp_ / "nothing: No such file or directory (errno 2)");
        ExpectRefused(run(temp_ / "source/f1"), temp_ / "source/f1: Not a directory (errno 20)");
    }
    const int held = ::open(site_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    ASSERT_EQ(::flock(held, LOCK_EX), 0);
    ExpectRefused(Run("header-cut"), site_ + ": in use by another run");
    ::close(held);
}

// Of a site that was copied file by file: its table of volumes still names the first one's.
TEST_P(Damage, ACopiedSiteDoesNotReachIntoTheFirst) {
    Pack({"--vcopy", "P:T:i"});
    const std::string original = temp_ / "original";
    fs::rename(site_, original);
    fs::copy(original, site_, fs::copy_options::recursive);
    const std::string volume = original + "/volumes/v1";
    WriteFile(site_ + "/fstab", refstore::EncodeFstab({volume}));
    const auto before = Snapshot(temp_.Path());
    for (const ListedKind& kind : ListKinds()) {
        ExpectRefused(
            Run(kind.name),
            "the volume " + volume + " is not inside " + site_ +
                "/volumes; a site with parts elsewhere, such as a copied site, is not changed");
    }
    EXPECT_EQ(Snapshot(temp_.Path()), before);
}

TEST_P(Damage, NoPlaceOutsideThatTheConfigurationNamesIsChanged) {
    Pack({"--vcopy", "P:T:i"});
    const std::string toml = ReadFile(site_ + "/jorv.toml");
    for (const auto& [key, name, what] :
         {std::tuple("meta_dir", "meta", "metadata root"),
          std::tuple("image_root", "images", "image root"),
          std::tuple("storage_fstab", "fstab", "table of volumes")}) {
        const std::string outside = temp_ / (std::string("out-") + name);
        fs::copy(site_ + "/" + name, outside, fs::copy_options::recursive);
        std::string text = toml;
        const std::string former = std::string(key) + " = \"" + name + "\"";
        const std::size_t at = text.find(former);
        ASSERT_NE(at, std::string::npos) << key;
        text.replace(at, former.size(), std::string(key) + " = \"" + outside + "\"");
        WriteFile(site_ + "/jorv.toml", text);
        const auto before = Snapshot(temp_.Path());
        for (const char* kind : {"header-cut", "image-missing", "volume-table-missing"}) {
            ExpectRefused(
                Run(kind),
                std::string("the ") + what + " " + outside + " is not inside " + site_ +
                    "; a site with parts elsewhere, such as a copied site, is not changed");
        }
        EXPECT_EQ(Snapshot(temp_.Path()), before);
    }
}

TEST_P(Damage, WhatIsMadeForAChangeLiesInTheSitesOwnDirectory) {
    Pack();
    const auto before = Snapshot(site_);
    const std::string changed = Layout() == "files" ? "extents-foreign" : "tables-foreign";
    for (const std::string& kind : {std::string("header-damaged"), changed}) {
        // Its first bytes fit, so that it is there, and the next do not.
        ToolProcess process({"damage", site_, "--share-id", "7", "--kind", kind}, [] {
            const struct rlimit small = {16, 16};
            ::setrlimit(RLIMIT_FSIZE, &small);
        });
        const std::string staged = site_ + "/damage.partial";
        const Ended ended = process.Wait();
        EXPECT_EQ(ended.status, 1);
        EXPECT_EQ(ended.out, "");
        // The line of error does not fit either.
        EXPECT_EQ(ended.err, ("jorvshare: " + staged).substr(0, 16)) << kind;
        EXPECT_EQ(Snapshot(site_), before) << kind;
    }
}

TEST_P(Damage, WhatAKilledRunLeftIsClearedByTheNextThatChangesSomething) {
    Pack();
    WriteFile(site_ + "/damage.partial/meta/f", "half a tree");
    const auto before = Snapshot(site_);
    ExpectRefused(Run("header-damaged", {"--path", "f77"}), "f77: no file of share 7");
    EXPECT_EQ(Snapshot(site_), before);
    ASSERT_EQ(Run("header-damaged").status, 0);
    EXPECT_FALSE(fs::exists(site_ + "/damage.partial"));
}

// The target of a link that somebody has put into the share must not be damaged.
TEST_P(Damage, NothingBehindASymbolicLinkInTheShareIsBroken) {
    Pack({"--vcopy", "P:T:i"});
    for (const std::string tree : {"map", "stu", "head"}) {
        fs::rename(share_ + "/" + tree, temp_ / "aside");
        fs::create_symlink(temp_ / "aside", share_ + "/" + tree);
        const auto before = Snapshot(temp_.Path());
        for (const ListedKind& kind : ListKinds()) {
            EXPECT_EQ(Run(kind.name).status, 1) << kind.name;
        }
        EXPECT_EQ(Snapshot(temp_.Path()), before) << tree;
        fs::remove(share_ + "/" + tree);
        fs::rename(temp_ / "aside", share_ + "/" + tree);
    }
}

TEST_P(Damage, OwnerAndModeOfAFileThatIsChangedStay) {
    Pack();
    const std::string container = site_ + "/volumes/v1/64.bin";
    const std::string header = share_ + "/head/f3";
    for (const std::string& path : {container, header}) {
        ASSERT_EQ(::chmod(path.c_str(), 0640), 0);
        // Others than one's own, where that can be.
        if (::geteuid() == 0) {
            ASSERT_EQ(::chown(path.c_str(), 1234, 4321), 0);
        }
    }
    const auto attributes = [](const std::string& path) {
        struct stat found = {};
        EXPECT_EQ(::stat(path.c_str(), &found), 0);
        return std::tuple(found.st_mode, found.st_uid, found.st_gid);
    };
    const auto before = std::tuple(attributes(container), attributes(header));
    EXPECT_EQ(Run("container-damaged").status, 0);
    EXPECT_EQ(Run("header-cut", {"--path", "f3"}).status, 0);
    EXPECT_EQ(std::tuple(attributes(container), attributes(header)), before);
}

TEST_P(Damage, WhatIsNotThereIsNotSaidToBeRemoved) {
    Pack({"--vcopy", "P:T:i"});
    std::vector<std::string> kinds = {"image-missing", "images-missing", "volume-table-missing",
                                      "map-missing",   "head-missing",   "vcopy-missing"};
    if (Layout() == "tables") {
        kinds.insert(kinds.begin(), "volume-missing");
    }
    for (const std::string& kind : kinds) {
        EXPECT_EQ(Run(kind).status, 0) << kind;
        const auto before = Snapshot(site_);
        if (kind == "image-missing") {
            ExpectRefused(Run("image-directory"),
                          "share 7: nothing that kind image-directory can be applied to");
        }
        ExpectRefused(Run(kind), "share 7: nothing that kind " + kind + " can be applied to");
        EXPECT_EQ(Snapshot(site_), before) << kind;
    }
}

TEST_P(Damage, WhatCannotBeTakenAwayStaysWhole) {
    Pack();
    ASSERT_EQ(::chmod(temp_.Path().c_str(), 0755), 0);
    ASSERT_EQ(::chmod(share_.c_str(), 0555), 0);
    const auto before = Snapshot(site_);
    const Ended ended = RunTool({"damage", site_, "--share-id", "7", "--kind", "map-missing"}, [] {
        // Root may do all; anybody else owns the share and yet may not write to it.
        tool_test::BecomeNobody();
    });
    ExpectRefused(ended, site_ + "/damage.partial: Permission denied (errno 13)");
    EXPECT_EQ(Snapshot(site_), before);
    ASSERT_EQ(::chmod(share_.c_str(), 0755), 0);
}

TEST_P(Damage, ASignalStopsItBeforeTheFirstChangeOrNotAtAll) {
    for (int i = 0; i < 200; ++i) {
        WriteFile(temp_ / ("source/d/f" + std::to_string(i)), Noise(10, 1));
    }
    Pack();
    const std::string path = share_ + "/head/f3";
    const auto before = Contents(site_);
    const auto damage = std::vector<std::string>{
        "damage", site_, "--share-id", "7", "--kind", "header-damaged", "--path", "f3"};
    const std::string sound = ReadFile(path);
    const auto began = std::chrono::steady_clock::now();
    ASSERT_EQ(RunTool(damage).status, 0);
    const auto whole = std::chrono::duration_cast<std::chrono::microseconds>(
        std::chrono::steady_clock::now() - began);
    const auto after = Contents(site_);
    constexpr unsigned kSeed = 20240611;
    std::cout << "seed " << kSeed << "\n";
    std::mt19937 random(kSeed);
    for (int round = 0; round < 40; ++round) {
        WriteFile(path, sound);
        const int signal = std::array{SIGTERM, SIGINT, SIGHUP}.at(random() % 3);
        ToolProcess process(damage);
        std::this_thread::sleep_for(whole * static_cast<int>(random() % 1000) / 1000);
        ::kill(process.Pid(), signal);
        const Ended ended = process.Wait();
        // A signal may also come when all is done and the process is on its way out.
        if (ended.signal == 0 || !ended.out.empty()) {
            EXPECT_TRUE(ended.signal != 0 || ended.status == 0) << ended.status;
            EXPECT_EQ(ended.err, "");
            EXPECT_TRUE(Contents(site_) == after) << "round " << round;
            continue;
        }
        EXPECT_EQ(ended.signal, signal);
        EXPECT_TRUE(Contents(site_) == before) << "round " << round;
        EXPECT_EQ(ended.err, "");
    }
}

TEST_P(Damage, ACommandLineThatCannotBeUnderstoodIsAUsageError) {
    Pack();
    const auto before = Snapshot(site_);
    const auto misused = [](const std::vector<std::string>& arguments, const std::string& line) {
        tool_test::ExpectMisused(RunTool(arguments), line);
    };
    misused({"damage", site_, "--share-id", "7", "--kind", "no-such"},
            "--kind: unknown kind \"no-such\"; see jorvshare damage --list");
    misused({"damage", site_, "--share-id", "7", "--kind", ""},
            "--kind: unknown kind \"\"; see jorvshare damage --list");
    misused({"damage", site_, "--share-id", "7", "--kind", "no\nsuch"},
            R"(--kind: unknown kind "no\nsuch"; see jorvshare damage --list)");
    misused({"damage", site_, "--share-id", "7"}, "--kind is required");
    misused({"damage", site_, "--kind", "header-cut"}, "--share-id is required");
    misused({"damage", "--share-id", "7", "--kind", "header-cut"}, "SITE is required");
    misused({"damage", "--list", "--seed", "2"}, "--list excludes --seed");
    for (const std::string seed :
         {"x", "-1", "", "1.5", "18446744073709551616", "99999999999999999999"}) {
        misused({"damage", site_, "--share-id", "7", "--kind", "header-cut", "--seed", seed},
                "--seed: \"" + seed + "\": expected a number from 0 to 18446744073709551615");
    }
    EXPECT_EQ(Snapshot(site_), before);
}

INSTANTIATE_TEST_SUITE_P(Layouts, Damage, testing::Values("files", "tables"),
                         [](const auto& layout) { return std::string(layout.param); });

TEST(DamageList, NamesEveryKindOnceAndForSomeLayout) {
    std::set<std::string> names;
    for (const ListedKind& kind : ListKinds()) {
        EXPECT_TRUE(names.insert(kind.name).second) << kind.name;
        EXPECT_FALSE(kind.files == "-" && kind.tables == "-") << kind.name;
    }
    EXPECT_TRUE(names.contains("header-damaged"));
}

}  // namespace
