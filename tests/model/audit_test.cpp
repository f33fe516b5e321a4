#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <regex>
#include <sstream>

#include "lines/lines.h"
#include "storage/jorv_utils.h"
#include "tests/model/checker_run.h"
#include "tests/model/random_site.h"
#include "tests/support/captured_streams.h"
#include "tests/support/line_text.h"
#include "tests/support/temp_dir.h"

namespace {

using Corvane::Kst::Marlow::Jorv::JorvUtils;
using Make = void (*)(const std::string& site, std::uint64_t seed);

/// Seeds of a run; more in the environment's AUDIT_SEEDS.
std::uint64_t Seeds() {
    const char* const given = std::getenv("AUDIT_SEEDS");
    return given != nullptr ? std::stoull(given) : 100;
}

/// A random site and its audit.
class AuditedSite {
  public:
    AuditedSite(Make make, std::uint64_t seed) : id_(model::RandomShareId(seed)) {
        test_support::Capture([&] { make(Site(), seed); });
        model::HowToRun how;
        how.program = JORVAUDIT;
        audit = model::RunChecker({Site() + "/jorv.toml",
                                   {"run", "--share_path", Share(), "--share_id", id_, "--output",
                                    temp_ / "report", "--jobs", "2"}},
                                  how);
    }

    /// What the checker prints in all modes that mean something for the layout, as the model has
    /// it.
    [[nodiscard]] std::string CheckerText() const {
        const std::string configuration = Site() + "/jorv.toml";
        std::vector<std::vector<std::string>> runs = {{"--share_path", Share()}};
        std::error_code ignored;
        if (std::filesystem::is_regular_file(configuration, ignored) &&
            test_support::ReadFile(configuration).find("use_file_ext_map = 1") !=
                std::string::npos) {
            runs.push_back({"--share_id", id_, "--verify_data"});
        }
        std::string text;
        for (const std::vector<std::string>& arguments : runs) {
            const model::Prediction predicted = model::Predict({configuration, arguments});
            text += predicted.out + predicted.err;
        }
        return text;
    }

    /// Whether a directory below the trees has a name that begins with "head": the checker alone
    /// then takes what is not a header for one.
    [[nodiscard]] bool ConfusesTheChecker() const {
        std::error_code ignored;
        return std::ranges::any_of(
            std::filesystem::recursive_directory_iterator(Share(), ignored),
            [&](const auto& entry) {
                return entry.path().filename().string().starts_with("head") &&
                       entry.path() != Share() + "/head";
            });
    }

    model::Ended audit;

  private:
    [[nodiscard]] std::string Site() const { return temp_ / "site"; }
    [[nodiscard]] std::string Share() const {
        return Site() + "/meta/" + JorvUtils::GetShareDir(id_) + "/" + id_;
    }

    const test_support::TempDir temp_;
    const std::string id_;
};

bool HasFinding(const std::string& text) {
    std::vector<std::regex> patterns;
    for (const lines::Line* const line : lines::kAll) {
        if (line->kind == lines::Kind::kFinding || line->kind == lines::Kind::kCannotGoOn) {
            patterns.emplace_back(test_support::LinePattern(*line));
        }
    }
    std::istringstream stream(text);
    for (std::string printed; std::getline(stream, printed);) {
        for (const std::regex& pattern : patterns) {
            if (std::regex_match(printed, pattern)) {
                return true;
            }
        }
    }
    return false;
}

TEST(Audit, HasNothingToSayAboutSoundShares) {
    std::cout << "seeds 1 to " << Seeds() << "\n";
    for (std::uint64_t seed = 1; seed <= Seeds(); ++seed) {
        const AuditedSite site(model::MakeSoundSite, seed);
        EXPECT_FALSE(HasFinding(site.CheckerText()) && !site.ConfusesTheChecker())
            << "seed " << seed << "\n"
            << site.CheckerText();
        ASSERT_EQ(site.audit.status, 0) << "seed " << seed << "\n" << site.audit.out;
        ASSERT_NE(site.audit.out.find("Verdict: sound: everything was looked at\n"),
                  std::string::npos);
        // A long run shows how far it has come.
        if (seed % 1000 == 0) {
            std::cout << seed << std::endl;
        }
    }
}

TEST(Audit, IsNeverContentWhereTheCheckerHasAFinding) {
    std::cout << "seeds 1 to " << Seeds() << "\n";
    std::uint64_t found = 0;
    for (std::uint64_t seed = 1; seed <= Seeds(); ++seed) {
        const AuditedSite site(model::MakeRandomSite, seed);
        ASSERT_FALSE(site.audit.hung) << "seed " << seed;
        EXPECT_EQ(site.audit.signal, 0) << "seed " << seed;
        EXPECT_EQ(site.audit.status & ~12, 0) << "seed " << seed << "\n" << site.audit.err;
        EXPECT_EQ(site.audit.err, "") << "seed " << seed;
        if (HasFinding(site.CheckerText()) && !site.ConfusesTheChecker()) {
            ++found;
            EXPECT_NE(site.audit.status, 0) << "seed " << seed << "\n" << site.CheckerText();
        }
    }
    EXPECT_GT(found, Seeds() / 8);
}

}  // namespace
