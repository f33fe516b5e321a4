#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <random>
#include <set>
#include <sstream>

#include "refstore/extent/extent_record.h"
#include "refstore/table/table_directory.h"
#include "tests/support/temp_dir.h"
#include "tests/unit/jorvshare/tool_run.h"

// A share of which one hundredth is lost: what is damaged is named to the file, and all else comes
// back.

namespace {

namespace fs = std::filesystem;
using test_support::ReadFile;
using test_support::TempDir;
using test_support::WriteFile;
using tool_test::Ended;
using tool_test::RunTool;

constexpr std::uint64_t kSeed = 14;
constexpr std::size_t kShared = 110;  // pairs of files, each with a container of its own or nearly
constexpr std::size_t kLocal = 700;

class SalvageTest : public testing::TestWithParam<const char*> {
  protected:
    SalvageTest() : random_(kSeed) {
        std::cout << "seed " << kSeed << "\n";
        for (std::size_t i = 0; i < kShared; ++i) {
            const std::string number = std::to_string(i);
            const std::string noise = tool_test::Noise(900000, 1000 + i);
            WriteFile(temp_ / ("source/shared/a" + number), noise);
            WriteFile(temp_ / ("source/shared/b" + number), noise + number);
        }
        for (std::size_t i = 0; i < kLocal; ++i) {
            WriteFile(temp_ / ("source/local/" + std::to_string(i)), tool_test::Noise(3000 + i, i));
        }
        EXPECT_EQ(RunTool({"pack", temp_ / "source", site_, "--share-id", "7", "--layout",
                           GetParam(), "--container-size", "1", "--volumes", "3"})
                      .status,
                  0);
    }

    /// One in a hundred of the files below `directory` that have this ending, at least one.
    std::vector<std::string> OnePercent(const std::string& directory, const std::string& ending) {
        std::vector<std::string> files;
        for (const auto& entry : fs::recursive_directory_iterator(directory)) {
            if (entry.is_regular_file() && entry.path().native().ends_with(ending)) {
                files.push_back(entry.path());
            }
        }
        std::ranges::sort(files);
        std::ranges::shuffle(files, random_);
        files.resize(std::min(files.size(), std::max<std::size_t>(1, files.size() / 100)));
        return files;
    }

    std::string Relative(const std::string& path, const std::string& tree) const {
        return path.substr((share_ + tree + "/").size());
    }

    /// The containers that a file's data lies in.
    std::set<std::uint64_t> ContainersOf(const std::string& relative) const {
        std::set<std::uint64_t> dcids;
        const auto add = [&dcids](std::span<const refstore::Extent> extents) {
            for (const refstore::Extent& extent : extents) {
                dcids.insert(extent.dcid);
            }
        };
        const std::string path = share_ + "/map/" + relative;
        if (std::string_view(GetParam()) == "files") {
            add(refstore::LoadExtentRecord(path).extents);
            return dcids;
        }
        const auto tables = refstore::TableDirectory::Load(refstore::TableDirectory::FileIn(path));
        for (const refstore::StoredTableView& table : tables->Tables()) {
            add(table.extents);
        }
        return dcids;
    }

    std::vector<std::string> SourceFiles() const {
        std::vector<std::string> files;
        for (const auto& entry : fs::recursive_directory_iterator(temp_ / "source")) {
            if (entry.is_regular_file()) {
                files.push_back(fs::relative(entry.path(), temp_ / "source"));
            }
        }
        return files;
    }

    /// What the lines of error call damaged.
    static std::set<std::string> Named(const std::string& errors) {
        std::set<std::string> named;
        std::istringstream stream(errors);
        for (std::string line; std::getline(stream, line);) {
            const std::string start = "jorvshare: damaged ";
            EXPECT_TRUE(line.starts_with(start)) << line;
            named.insert(line.substr(start.size(), line.find(": ", start.size()) - start.size()));
        }
        return named;
    }

    TempDir temp_;
    std::string site_ = temp_ / "site";
    std::string share_ = site_ + "/meta/7/7";
    std::mt19937_64 random_;
};

TEST_P(SalvageTest, WhatIsDamagedIsNamedAndAllElseComesBack) {
    std::set<std::string> files;
    std::set<std::string> containers;
    for (const std::string& data : OnePercent(site_ + "/volumes", ".bin")) {
        const std::string number = fs::path(data).stem();
        containers.insert("container " + number);
        for (const std::string& file : SourceFiles()) {
            if (ContainersOf(file).contains(std::stoull(number))) {
                files.insert(file);
            }
        }
        fs::remove(data);
        fs::remove(data.substr(0, data.size() - 4) + ".bhd");
    }
    EXPECT_FALSE(files.empty());
    if (std::string_view(GetParam()) == "files") {
        const auto units = OnePercent(share_ + "/stu", "");
        EXPECT_GE(units.size(), kLocal / 100);
        for (const std::string& unit : units) {
            fs::resize_file(unit, random_() % fs::file_size(unit));
            files.insert(Relative(unit, "/stu"));
        }
    }
    const auto headers = OnePercent(share_ + "/head", "");
    EXPECT_GE(headers.size(), 2 * kShared / 100);
    for (const std::string& header : headers) {
        std::string bytes = ReadFile(header);
        bytes[random_() % bytes.size()] ^= 1;
        WriteFile(header, bytes);
        files.insert(Relative(header, "/head"));
    }

    std::set<std::string> expected;
    for (const std::string& file : files) {
        expected.insert("file " + file);
    }
    const Ended unpacked =
        RunTool({"unpack", site_, temp_ / "back", "--share-id", "7", "--keep-going"});
    EXPECT_EQ(Named(unpacked.err), expected);
    EXPECT_EQ(unpacked.status, 1);
    for (const std::string& file : SourceFiles()) {
        if (files.contains(file)) {
            EXPECT_FALSE(fs::exists(temp_ / ("back/" + file))) << file;
        } else {
            EXPECT_EQ(ReadFile(temp_ / ("back/" + file)), ReadFile(temp_ / ("source/" + file)));
        }
    }
    const Ended verified = RunTool({"verify", site_, "--share-id", "7"});
    expected.merge(containers);
    EXPECT_EQ(Named(verified.err), expected);
    EXPECT_EQ(verified.status, 1);
}

INSTANTIATE_TEST_SUITE_P(Layouts, SalvageTest, testing::Values("files", "tables"),
                         [](const auto& layout) { return std::string(layout.param); });

}  // namespace
