#include <dlfcn.h>
#include <sys/resource.h>

#include <CLI/CLI.hpp>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <map>
#include <optional>
#include <stdexcept>

#include "tests/campaign/audited_scene.h"
#include "tests/campaign/confinement.h"
#include "tests/campaign/object.h"
#include "tests/campaign/oracle.h"
#include "tests/campaign/plan.h"
#include "tests/campaign/tally.h"
#include "tests/support/temp_dir.h"

// Damages a small and a large file of each kind in small shares in every way it knows, one at a
// time, and judges what the checker makes of it.

namespace {

using namespace campaign;

using Clock = std::chrono::steady_clock;

struct Options {
    double minutes = 0;
    std::uint64_t trials = 0;
    std::uint64_t seed = 1;
    std::uint64_t random = 4000;
    std::optional<std::uint64_t> only;
    std::string program;
    std::string audit;
};

// The promised stack is enough, but for a sanitizer's own.
void LimitStack() {
    constexpr rlim_t kStack = 256UL << 10U;
    constexpr rlimit kLimit = {.rlim_cur = kStack, .rlim_max = kStack};
    if (::dlsym(RTLD_DEFAULT, "__asan_init") == nullptr) {
        ::setrlimit(RLIMIT_STACK, &kLimit);
    }
}

class Campaign {
  public:
    explicit Campaign(Options options)
        : options_(std::move(options)),
          scenes_(MakeScenes(directory_.Path())),
          confinement_(directory_.Path()) {
        std::filesystem::permissions(directory_.Path(), std::filesystem::perms(0755));
        for (const Scene& scene : scenes_) {
            oracles_.emplace_back(scene);
            audits_.emplace_back(scene, options_.audit, reports_ / "report");
            for (const Victim& victim : scene.victims) {
                sound_[victim.path] = test_support::ReadFile(victim.path);
            }
        }
        plan_ = MakePlan(scenes_, options_.seed, options_.random);
    }

    int Run() {
        std::printf("seed %llu, %zu trials planned\n",
                    static_cast<unsigned long long>(options_.seed), plan_.size());
        if (options_.only) {
            Try(static_cast<std::size_t>(*options_.only), true);
        } else {
            RunAll();
        }
        tally_.Print();
        std::printf("%llu audits, %llu runs confined, %llu left out, since only root may confine\n",
                    static_cast<unsigned long long>(audited_),
                    static_cast<unsigned long long>(confined_),
                    static_cast<unsigned long long>(leftOut_));
        return tally_.Unexplained() == 0 ? 0 : 1;
    }

  private:
    void RunAll() {
        const auto end = Clock::now() + std::chrono::duration<double>(60 * options_.minutes);
        const std::vector<std::uint32_t> order = OrderOf(plan_, options_.seed);
        std::uint64_t done = 0;
        for (const std::uint32_t number : order) {
            if ((options_.trials != 0 && done == options_.trials) ||
                (options_.minutes > 0 && Clock::now() >= end)) {
                break;
            }
            Try(number, false);
            ++done;
        }
        // A run that says nothing has not shown anything either.
        constexpr std::uint64_t kEnoughForAudits = 2000;
        if (done == 0 || (done >= kEnoughForAudits && audited_ == 0)) {
            throw std::runtime_error("nothing was tried, or nothing audited");
        }
    }

    // Another whole file of the kind in the same scene, or the file itself.
    const std::string& Other(const Scene& scene, const Victim& victim) const {
        for (const Victim& other : scene.victims) {
            if (other.kind == victim.kind && other.path != victim.path) {
                return sound_.at(other.path);
            }
        }
        return sound_.at(victim.path);
    }

    void Try(std::size_t number, bool show) {
        const Trial& trial = plan_.at(number);
        const Scene& scene = scenes_[trial.scene];
        const Victim& victim = scene.victims[trial.victim];
        const Mutation& mutation = trial.mutation;
        const std::string& sound = sound_.at(victim.path);
        // The program itself now and then: what is around the checks is part of the promise.
        constexpr std::size_t kProgramEvery = 23;
        model::HowToRun how;
        if (number % kProgramEvery == 0) {
            how.program = options_.program;
            how.prepare = LimitStack;
        }
        model::Ended ended;
        Judgement judgement;
        if (mutation.change == Change::kObject) {
            const auto object = static_cast<Object>(mutation.first);
            const ReplacedFile replaced(victim.path, object);
            how.asNobody = object == Object::kUnreadable;
            if (how.asNobody) {
                how.program.clear();
                how.prepare = nullptr;
            }
            ended = model::RunChecker(scene.invocation, how);
            judgement = oracles_[trial.scene].Judge(victim, mutation, true, ended, nullptr);
            if (!how.asNobody) {
                JudgeAudit(number, true, ended, judgement);
            }
        } else {
            const std::string bytes = Apply(mutation, victim.kind, sound, Other(scene, victim));
            const ChangedFile file(victim.path, sound, bytes);
            const Oracle& oracle = oracles_[trial.scene];
            const bool leadsOut = oracle.LeadsOut(victim, mutation);
            if (leadsOut && !Confinement::IsAllowed()) {
                ++leftOut_;
                return;
            }
            if (leadsOut) {
                ++confined_;
                how.program.clear();
            }
            ended = leadsOut ? confinement_.RunChecker(scene.invocation)
                             : model::RunChecker(scene.invocation, how);
            judgement = oracle.Judge(victim, mutation, bytes != sound, ended,
                                     leadsOut ? &confinement_ : nullptr);
            if (!leadsOut) {
                JudgeAudit(number, bytes != sound, ended, judgement);
            }
        }
        tally_.Count(scene, victim, mutation, judgement, !how.program.empty());
        if (show || judgement.outcome == Outcome::kUnexplained) {
            Show(number, trial, judgement, ended);
        }
    }

    // While the file is damaged: now and then the audit, which must name it and no other.
    void JudgeAudit(std::size_t number, bool changed, const model::Ended& ended,
                    Judgement& judgement) {
        constexpr std::size_t kAuditEvery = 50;
        const Trial& trial = plan_.at(number);
        if (number % kAuditEvery != 0 || judgement.outcome == Outcome::kUnexplained) {
            return;
        }
        ++audited_;
        std::string wrong =
            audits_[trial.scene].WhatIsWrong(scenes_[trial.scene].victims[trial.victim],
                                             trial.mutation, changed, judgement.outcome, ended);
        if (!wrong.empty()) {
            judgement = {Outcome::kUnexplained, judgement.layer, std::move(wrong)};
        }
    }

    void Show(std::size_t number, const Trial& trial, const Judgement& judgement,
              const model::Ended& ended) const {
        constexpr std::size_t kMostShown = 4000;
        const Scene& scene = scenes_[trial.scene];
        std::printf("\ntrial %zu, %s, %s: %s\n", number, scene.name.c_str(),
                    scene.victims[trial.victim].path.c_str(), Describe(trial.mutation).c_str());
        if (!judgement.why.empty()) {
            std::printf("UNEXPLAINED: %s\n", judgement.why.c_str());
        }
        std::printf("status %d, signal %d\n--- standard output\n%s--- standard error\n%s---\n",
                    ended.status, ended.signal, ended.out.substr(0, kMostShown).c_str(),
                    ended.err.substr(0, kMostShown).c_str());
        std::printf("repeat: tests/campaign/run --seed %llu --random %llu --only %zu\n",
                    static_cast<unsigned long long>(options_.seed),
                    static_cast<unsigned long long>(options_.random), number);
        std::fflush(stdout);
    }

    Options options_;
    test_support::TempDir directory_;
    test_support::TempDir reports_;
    std::vector<Scene> scenes_;
    Confinement confinement_;
    std::vector<Oracle> oracles_;
    std::vector<AuditedScene> audits_;
    std::map<std::string, std::string> sound_;
    std::vector<Trial> plan_;
    Tally tally_;
    std::uint64_t audited_ = 0;
    std::uint64_t confined_ = 0;
    std::uint64_t leftOut_ = 0;
};

}  // namespace

int main(int argc, char** argv) {
    try {
        Options options;
        const auto bin = std::filesystem::read_symlink("/proc/self/exe").parent_path();
        options.program = bin / "jorvck";
        options.audit = bin / "jorvaudit";
        CLI::App app("Damages small shares and judges what the checker makes of them.");
        app.add_option("--minutes", options.minutes,
                       "stop after so long; else the whole plan is run");
        app.add_option("--trials", options.trials, "stop after so many");
        app.add_option("--seed", options.seed, "of the order and of the random changes");
        app.add_option("--random", options.random, "random changes per file");
        app.add_option("--only", options.only,
                       "run the trial of this number and show what it gives");
        CLI11_PARSE(app, argc, argv);
        return Campaign(std::move(options)).Run();
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "campaign: %s\n", failure.what());
        return 2;
    }
}
