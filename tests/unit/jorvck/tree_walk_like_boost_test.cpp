#include <gtest/gtest.h>
#include <sys/stat.h>

#include <boost/filesystem/directory.hpp>
#include <boost/filesystem/exception.hpp>
#include <filesystem>
#include <iostream>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "jorvck/tree_walk.h"
#include "tests/support/temp_dir.h"
#include "tests/support/unprivileged.h"

namespace {

namespace fs = boost::filesystem;
using Corvane::Kst::Marlow::JorvCk::TreeWalk;

/// What a walk yields, an entry each: its path and what its status says; then how the walk ended.
using Steps = std::vector<std::string>;

constexpr std::size_t kAll = std::numeric_limits<std::size_t>::max();

std::string TypeName(mode_t type) {
    return type == S_IFDIR ? "directory" : type == S_IFREG ? "file" : type == 0 ? "none" : "other";
}

std::string TypeName(fs::file_type type) {
    return type == fs::directory_file   ? "directory"
           : type == fs::regular_file   ? "file"
           : type == fs::file_not_found ? "none"
                                        : "other";
}

/// Asks every entry for its status, as the checks do, and stops at the first exception.
Steps OfTreeWalk(const std::string& root, std::size_t limit) {
    Steps steps;
    try {
        TreeWalk walk(root);
        while (walk.Next() && steps.size() < limit) {
            steps.push_back(walk.Path());
            steps.back() += " " + TypeName(walk.Type());
        }
        steps.emplace_back("end");
    } catch (const fs::filesystem_error& failure) {
        steps.push_back("failed: " + failure.code().message());
    }
    return steps;
}

Steps OfBoost(const std::string& root, std::size_t limit) {
    Steps steps;
    try {
        fs::recursive_directory_iterator walk(root);
        for (; walk != fs::recursive_directory_iterator() && steps.size() < limit; ++walk) {
            steps.push_back(walk->path().native());
            steps.back() += " " + TypeName(walk->status().type());
        }
        steps.emplace_back("end");
    } catch (const fs::filesystem_error& failure) {
        steps.push_back("failed: " + failure.code().message());
    }
    return steps;
}

/// The working directory while it lives.
class WorkingDirectory {
  public:
    explicit WorkingDirectory(const std::string& path) : before_(std::filesystem::current_path()) {
        std::filesystem::current_path(path);
    }
    ~WorkingDirectory() { std::filesystem::current_path(before_); }
    WorkingDirectory(const WorkingDirectory&) = delete;
    WorkingDirectory& operator=(const WorkingDirectory&) = delete;

  private:
    std::filesystem::path before_;
};

TEST(AWalkLikeThePathLibrarys, OfEveryWayToWriteARoot) {
    const test_support::TempDir dir;
    test_support::WriteFile(dir / "t1/head/f", "");
    test_support::WriteFile(dir / "t1/map/a/f", "");
    const WorkingDirectory here(dir.Path());
    for (const std::string root :
         {"t1",     "t1/",   "t1//",    "t1///",     "./t1//",     "t1/.",      "t1/./",
          "t1/.//", "t1/..", "t1/../",  "t1//head",  "t1//head//", ".",         "./",
          ".//",    "",      "missing", "missing//", "t1/head/f",  "t1/head/f/"}) {
        EXPECT_EQ(OfTreeWalk(root, kAll), OfBoost(root, kAll)) << root;
    }
    for (const std::string& root : {dir.Path() + "//", "/" + dir.Path(), "/" + dir.Path() + "//",
                                    "//" + dir.Path(), "//" + dir.Path() + "/"}) {
        EXPECT_EQ(OfTreeWalk(root, kAll), OfBoost(root, kAll)) << root;
    }
    EXPECT_EQ(OfTreeWalk("t1/head//", kAll), (Steps{"t1/head/f file", "end"}));
}

TEST(AWalkLikeThePathLibrarys, OfTheRootOfTheSystem) {
    // Its first entries alone: the rest changes by the moment.
    const test_support::TempDir dir;
    for (const std::string& working : {dir.Path(), std::string("/"), std::string("/usr")}) {
        const WorkingDirectory here(working);
        for (const std::string root : {"/", "//", "///", "/.", "//.", "/./", "//../"}) {
            EXPECT_EQ(OfTreeWalk(root, 3), OfBoost(root, 3)) << root << " from " << working;
        }
    }
}

/// A tree of directories, files, pipes, and links to any of them, to nothing and to themselves;
/// some directories cannot be listed or searched.
class RandomTree {
  public:
    explicit RandomTree(unsigned seed, bool withFaults) : withFaults_(withFaults), random_(seed) {
        std::filesystem::permissions(dir_.Path(), std::filesystem::perms(0755));
        Fill(dir_.Path(), 0);
    }
    ~RandomTree() {
        for (const std::string& path : closed_) {
            ::chmod(path.c_str(), 0755);
        }
    }
    RandomTree(const RandomTree&) = delete;
    RandomTree& operator=(const RandomTree&) = delete;

    [[nodiscard]] const std::string& Path() const { return dir_.Path(); }

  private:
    unsigned Draw(unsigned below) { return static_cast<unsigned>(random_() % below); }

    std::string Name(unsigned number) {
        static const std::vector<std::string> kNames = {"a",     "head", "new\nline", " ",
                                                        "..dot", "\xFF", "back\\",    ".hidden"};
        return kNames[Draw(static_cast<unsigned>(kNames.size()))] + std::to_string(number);
    }

    void Fill(const std::string& directory, int depth) {
        const unsigned count = Draw(7);
        for (unsigned number = 0; number < count; ++number) {
            const std::string path = directory + "/" + Name(number);
            switch (Draw(withFaults_ ? 12 : 10)) {
                case 0:
                case 1:
                case 2:
                case 3:
                    test_support::MakeDirs(path);
                    if (depth < 4) {
                        Fill(path, depth + 1);
                    }
                    break;
                case 4:
                    std::filesystem::create_symlink("nothing", path);
                    break;
                case 5:
                    std::filesystem::create_symlink("..", path);
                    break;
                case 6:
                    std::filesystem::create_symlink(Path(), path);
                    break;
                case 7:
                    EXPECT_EQ(::mkfifo(path.c_str(), 0600), 0);
                    break;
                case 10:
                    std::filesystem::create_symlink(std::filesystem::path(path).filename(), path);
                    break;
                case 11:
                    test_support::WriteFile(path + "/f", "");
                    ::chmod(path.c_str(), Draw(2) == 0 ? 0311 : 0644);
                    closed_.push_back(path);
                    break;
                default:
                    test_support::WriteFile(path, "");
            }
        }
    }

    test_support::TempDir dir_;
    bool withFaults_;
    std::mt19937 random_;
    std::vector<std::string> closed_;
};

TEST(AWalkLikeThePathLibrarys, OfRandomTrees) {
    constexpr unsigned kFirstSeed = 20240611;
    std::cout << "first seed " << kFirstSeed << "\n";
    std::size_t whole = 0;
    std::size_t failed = 0;
    for (unsigned seed = kFirstSeed; seed < kFirstSeed + 200; ++seed) {
        const RandomTree tree(seed, seed % 2 == 0);
        const test_support::Unprivileged user;
        const std::string root = tree.Path() + std::string(seed % 4, '/');
        const Steps steps = OfTreeWalk(root, kAll);
        EXPECT_EQ(steps, OfBoost(root, kAll)) << "seed " << seed;
        ++(steps.back() == "end" ? whole : failed);
    }
    EXPECT_GT(whole, 50U);
    EXPECT_GT(failed, 20U);
}

}  // namespace
