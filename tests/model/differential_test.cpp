#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <map>
#include <regex>

#include "lines/lines.h"
#include "storage/jorv_utils.h"
#include "tests/model/checker_run.h"
#include "tests/model/random_site.h"
#include "tests/support/captured_streams.h"
#include "tests/support/line_text.h"
#include "tests/support/temp_dir.h"

namespace {

using Corvane::Kst::Marlow::Jorv::JorvUtils;

/// Seeds of a run; more in the environment's MODEL_SEEDS.
std::uint64_t Seeds() {
    const char* const given = std::getenv("MODEL_SEEDS");
    return given != nullptr ? std::stoull(given) : 400;
}

/// Which lines were printed.
class Seen {
  public:
    Seen() {
        for (const lines::Line* const line : lines::kAll) {
            // Any line would be one of these.
            if (line->text != "{}\n") {
                patterns_.emplace(line, std::regex(test_support::LinePattern(*line)));
            }
        }
    }

    void Look(const std::string& text) {
        std::istringstream stream(text);
        for (std::string printed; std::getline(stream, printed);) {
            std::erase_if(patterns_, [&printed](const auto& known) {
                return std::regex_match(printed, known.second);
            });
        }
    }

    [[nodiscard]] std::set<std::string_view> Missing() const {
        std::set<std::string_view> missing;
        for (const auto& [line, pattern] : patterns_) {
            missing.insert(line->id);
        }
        return missing;
    }

  private:
    std::map<const lines::Line*, std::regex> patterns_;
};

TEST(Differential, TheCheckerPrintsWhatTheModelPredictsOfRandomSites) {
    Seen seen;
    const std::uint64_t seeds = Seeds();
    std::cout << "seeds 1 to " << seeds << "\n";
    for (std::uint64_t seed = 1; seed <= seeds; ++seed) {
        const test_support::TempDir temp;
        const std::string site = temp / "site";
        test_support::Capture([&] { model::MakeRandomSite(site, seed); });
        const std::string id = model::RandomShareId(seed);
        std::string share = site;
        share.append("/meta/").append(JorvUtils::GetShareDir(id)).append("/").append(id);
        for (const std::vector<std::string>& arguments :
             {std::vector<std::string>{"--share_path", share},
              {"--share_path", share + "/"},
              {"--share_id", id, "--verify_data"},
              {"--share_id", id, "--verify_data", "--t", "5"}}) {
            const model::Invocation invocation = {site + "/jorv.toml", arguments};
            const model::Prediction predicted = model::Predict(invocation);
            const model::Ended ended = model::RunChecker(invocation);
            EXPECT_FALSE(ended.hung) << "seed " << seed;
            ASSERT_EQ(model::Difference(predicted, ended.out, ended.err, ended.status), "")
                << "seed " << seed << ", " << testing::PrintToString(arguments);
            seen.Look(ended.out);
            seen.Look(ended.err);
        }
    }
    if (seeds >= 400) {
        // Nearly all that can be printed was. The rest takes a command line that is wrong, an image
        // root that is missing, a share that changes during the run, a library that fails or little
        // memory.
        EXPECT_EQ(seen.Missing(),
                  (std::set<std::string_view>{
                      "usage", "usage-share", "usage-age", "usage-verify", "missing-table",
                      "mount-failed", "storage-unit-not-opened", "umount-failed", "header-missing",
                      "no-extent-path", "check-got-error", "task-got-error"}));
    }
}

}  // namespace
