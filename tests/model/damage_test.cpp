#include <gtest/gtest.h>

#include <filesystem>
#include <regex>
#include <sstream>

#include "lines/lines.h"
#include "tests/model/checker_run.h"
#include "tests/support/line_text.h"
#include "tests/support/temp_dir.h"
#include "tests/unit/jorvshare/tool_run.h"

// Each kind of damage of jorvshare, in both layouts: the finding that it announces is among the
// checker's lines, and the model predicts all of them.

namespace {

namespace fs = std::filesystem;
using tool_test::RunTool;

constexpr std::uint64_t kSeeds = 3;

struct ListedKind {
    std::string name;
    std::string files;  ///< ids of the findings, "none", or "-" for a kind that is not for it
    std::string tables;
};

std::vector<ListedKind> ListKinds() {
    std::istringstream list(RunTool({"damage", "--list"}).out);
    std::string line;
    std::getline(list, line);
    std::vector<ListedKind> kinds;
    while (std::getline(list, line)) {
        std::istringstream words(line);
        ListedKind kind;
        words >> kind.name >> kind.files >> kind.tables;
        kinds.push_back(kind);
    }
    return kinds;
}

const lines::Line& LineOf(const std::string& id) {
    for (const lines::Line* const line : lines::kAll) {
        if (line->id == id) {
            return *line;
        }
    }
    throw std::runtime_error("no line " + id);
}

bool HasLine(const std::string& text, const lines::Line& line) {
    const std::regex pattern(test_support::LinePattern(line));
    std::istringstream stream(text);
    for (std::string printed; std::getline(stream, printed);) {
        if (std::regex_match(printed, pattern)) {
            return true;
        }
    }
    return false;
}

/// The ids that an announcement names for a mode, in the form of the list.
std::string Announced(const std::string& text, const std::string& mode) {
    const std::string start = "\nexpect of jorvck " + mode + ": ";
    const std::size_t at = text.find(start);
    if (at == std::string::npos) {
        return "";
    }
    const std::size_t id = at + start.size();
    return text.substr(id, text.find(':', id) - id);
}

class DamageOfKinds : public testing::TestWithParam<const char*> {
  protected:
    /// Files of local data, of one extent and of several, and of data that they share. The walk of
    /// the map tree sees one directory of a level, whichever is listed first: so all are alike.
    DamageOfKinds() {
        for (const std::string directory : {"a", "a/c", "a/d", "b", "b/c", "b/d"}) {
            const auto put = [&](const std::string& name, const std::string& text) {
                std::string path("source/");
                path.append(directory).append("/").append(name);
                test_support::WriteFile(temp_ / path, text);
            };
            const std::uint64_t seed = std::hash<std::string>()(directory);
            for (std::uint64_t i = 0; i < 3; ++i) {
                const std::string number = std::to_string(i);
                put("long" + number, tool_test::Noise(300000, seed + i));
                put("short" + number, tool_test::Noise(40000, seed + 10 + i));
                put("mixed" + number, std::string(131072, 's').append(directory).append(number));
            }
            put("shared", std::string(70000, 'w'));
            put("empty", "");
        }
        const auto packed =
            RunTool({"pack", temp_ / "source", site_, "--share-id", "7", "--layout", GetParam(),
                     "--volumes", "1", "--container-size", "1", "--vcopy", "P:T:i"});
        EXPECT_EQ(packed.status, 0) << packed.err;
        fs::copy(site_, temp_ / "pristine", fs::copy_options::recursive);
    }

    void Restore() {
        fs::remove_all(site_);
        fs::copy(temp_ / "pristine", site_, fs::copy_options::recursive);
    }

    /// Runs the checker in a mode, and the model beside it.
    std::string Check(const std::string& mode) {
        const model::Invocation invocation = {
            site_ + "/jorv.toml", mode == "--share_path"
                                      ? std::vector<std::string>{mode, site_ + "/meta/7/7"}
                                      : std::vector<std::string>{"--share_id", "7", mode}};
        const model::Prediction predicted = model::Predict(invocation);
        const model::Ended ended = model::RunChecker(invocation);
        EXPECT_EQ(model::Difference(predicted, ended.out, ended.err, ended.status), "");
        return ended.out + ended.err;
    }

    /// Breaks the share, and holds what is announced and listed against the checker.
    void CheckKind(const std::string& name, const std::string& listed, std::uint64_t seed) {
        SCOPED_TRACE(name + ", " + GetParam() + ", seed " + std::to_string(seed));
        Restore();
        const auto damaged = RunTool(
            {"damage", site_, "--share-id", "7", "--kind", name, "--seed", std::to_string(seed)});
        ASSERT_EQ(damaged.status, 0) << damaged.err;
        EXPECT_NE(damaged.out.find("\nchanged: "), std::string::npos);
        std::string all;
        for (const std::string mode : {"--share_path", "--verify_data"}) {
            const std::string printed = Check(mode);
            const std::string id = Announced(damaged.out, mode);
            all += id.empty() ? "" : (all.empty() ? "" : ",") + id;
            for (const lines::Line* const line : lines::kAll) {
                const bool isFinding =
                    line->kind == lines::Kind::kFinding && !HasLine(sound_[mode], *line);
                if (id.empty() && isFinding) {
                    EXPECT_FALSE(HasLine(printed, *line)) << line->id << "\n" << printed;
                }
            }
            if (!id.empty()) {
                EXPECT_TRUE(HasLine(printed, LineOf(id))) << damaged.out << printed;
                EXPECT_FALSE(HasLine(sound_[mode], LineOf(id)));
            }
        }
        EXPECT_EQ(all.empty() ? "none" : all, listed);
        EXPECT_EQ(damaged.out.find("expect: no finding\n") != std::string::npos, all.empty());
    }

    test_support::TempDir temp_;
    std::string site_ = temp_ / "site";
    std::map<std::string, std::string> sound_;
};

TEST_P(DamageOfKinds, TheAnnouncedFindingIsPrintedAndTheModelIsExact) {
    for (const std::string mode : {"--share_path", "--verify_data"}) {
        sound_[mode] = Check(mode);
    }
    std::size_t tried = 0;
    for (const ListedKind& kind : ListKinds()) {
        const bool isFiles = std::string_view(GetParam()) == "files";
        const std::string& listed = isFiles ? kind.files : kind.tables;
        for (std::uint64_t seed = 1; seed <= kSeeds && listed != "-"; ++seed) {
            CheckKind(kind.name, listed, seed);
            ++tried;
        }
    }
    EXPECT_GT(tried, 25 * kSeeds);
}

INSTANTIATE_TEST_SUITE_P(Layouts, DamageOfKinds, testing::Values("files", "tables"));

}  // namespace
