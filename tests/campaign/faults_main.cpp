#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <array>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <map>
#include <random>
#include <thread>

#include "lines/lines.h"
#include "tests/campaign/injection.h"
#include "tests/campaign/known_lines.h"
#include "tests/campaign/object.h"
#include "tests/campaign/scene.h"
#include "tests/campaign/silence.h"
#include "tests/support/temp_dir.h"

// Lets the operating system fail under the checker in every way it knows, and judges how each run
// ends.

namespace {

using namespace campaign;

constexpr std::array<const char*, 7> kErrors = {"EIO",    "EACCES", "EMFILE", "ENFILE",
                                                "ENOMEM", "EINTR",  "ESTALE"};

struct Options {
    std::uint64_t part = 1;
    std::string only;
    std::uint64_t seed = 1;
    bool list = false;
};

/// What a run may do besides ending with 0 or 255 and known lines.
struct Allowed {
    int signal = 0;           ///< ended by this signal
    bool loader = false;      ///< ended before main: the loader's status and words
    bool outputLost = false;  ///< lines may be missing
    bool silent = false;      ///< lines may be missing that the run had no word for
    std::string mustBeTold;   ///< a call that failed, which a line or the run's end must tell
};

class Faults {
  public:
    explicit Faults(const Options& options) : options_(options), engine_(options.seed) {
        std::filesystem::permissions(directory_.Path(), std::filesystem::perms(0755));
        scenes_ = MakeScenes(directory_.Path());
        for (const Scene& scene : scenes_) {
            sound_[scene.name] = model::Predict(scene.invocation);
        }
        program_ = std::filesystem::read_symlink("/proc/self/exe").parent_path() / "jorvck";
    }

    int Run() {
        std::printf("seed %llu, one of %llu tried\n",
                    static_cast<unsigned long long>(options_.seed),
                    static_cast<unsigned long long>(options_.part));
        for (const Scene& scene : scenes_) {
            if (options_.only.empty()) {
                FailingCalls(scene);
                Streams(scene);
                Signals(scene);
                ChangingFiles(scene);
            }
            Limits(scene);
        }
        std::printf("\n%-52s %7s %7s %7s %7s %7s %7s\n", "", "tried", "0", "255", "signal",
                    "loader", "WRONG");
        std::uint64_t wrong = 0;
        for (const auto& [what, row] : table_) {
            std::printf("%-52s", what.c_str());
            for (const std::uint64_t count : row) {
                std::printf(" %7llu", static_cast<unsigned long long>(count));
            }
            std::printf("\n");
            wrong += row.back();
        }
        std::printf("%llu wrong\n", static_cast<unsigned long long>(wrong));
        return wrong == 0 ? 0 : 1;
    }

  private:
    enum Column : std::uint8_t { kTried, kZero, kTold, kSignal, kLoader, kWrong, kColumns };

    // Of many, every so manieth is tried.
    bool Skipped() { return turn_++ % options_.part != 0; }

    std::string WhatIsWrong(const Scene& scene, const model::Ended& ended, const Allowed& allowed) {
        if (ended.hung) {
            return "did not end";
        }
        if (ended.signal != 0) {
            return ended.signal == allowed.signal ? "" : "signal " + std::to_string(ended.signal);
        }
        if (ended.status != 0 && ended.status != 255) {
            return "status " + std::to_string(ended.status);
        }
        std::string line = FirstUnknown(scene, lines::Stream::kOutput, ended.out);
        if (line.empty()) {
            line = FirstUnknown(scene, lines::Stream::kError, ended.err);
        }
        if (!line.empty()) {
            return "unknown line: " + line;
        }
        const bool told = ended.out.ends_with(lines::kUnhandledException.text);
        if (!allowed.outputLost && told != (ended.status == 255)) {
            return "status and last line do not agree";
        }
        return allowed.outputLost || ended.status != 0 ? "" : WhatIsSilent(scene, ended, allowed);
    }

    // Of a run that came to its end: whether something went wrong in it that it does not tell.
    std::string WhatIsSilent(const Scene& scene, const model::Ended& ended,
                             const Allowed& allowed) {
        const model::Prediction& sound = sound_[scene.name];
        if (HasMoreLines(ended.err, sound.err) || HasMoreLines(ended.out, sound.out)) {
            return {};
        }
        const bool isMissing =
            HasMoreLines(sound.err, ended.err) || HasMoreLines(sound.out, ended.out);
        if (isMissing && !allowed.silent) {
            return "lines are missing, and nothing says why";
        }
        return allowed.mustBeTold.empty() ? "" : "not reported: " + allowed.mustBeTold;
    }

    void Judge(const Scene& scene, const std::string& group, const std::string& what,
               const model::Ended& ended, const Allowed& allowed) {
        auto& row = table_[scene.name + ": " + group];
        ++row.at(kTried);
        const bool byLoader =
            allowed.loader && !ended.hung && ended.status != 0 && ended.status != 255;
        if (byLoader) {
            ++row.at(kLoader);
            return;
        }
        const std::string wrong = WhatIsWrong(scene, ended, allowed);
        if (!wrong.empty()) {
            ++row.at(kWrong);
            std::printf(
                "\nWRONG: %s, %s: %s\nstatus %d, signal %d\n--- standard output\n%s"
                "--- standard error\n%s---\n",
                scene.name.c_str(), what.c_str(), wrong.c_str(), ended.status, ended.signal,
                ended.out.substr(0, 2000).c_str(), ended.err.substr(0, 2000).c_str());
        } else {
            ++row.at(ended.signal != 0 ? kSignal : ended.status == 0 ? kZero : kTold);
        }
        if (options_.list) {
            std::printf("%s: %s: status %d, signal %d\n", scene.name.c_str(), what.c_str(),
                        ended.status, ended.signal);
        }
    }

    void FailingCalls(const Scene& scene) {
        for (const auto& [call, count] : CountCalls(scene, program_)) {
            std::printf("%s: %s, the 1st to the %lluth, with each error\n", scene.name.c_str(),
                        call.c_str(), static_cast<unsigned long long>(count));
            for (const char* const error : kErrors) {
                for (std::uint64_t when = 1; when <= count; ++when) {
                    for (const bool everAfter : {false, true}) {
                        if (!Skipped()) {
                            FailOne(scene, {call, error, when, everAfter});
                        }
                    }
                }
            }
        }
    }

    void FailOne(const Scene& scene, const Fault& fault) {
        // What interrupts a call for ever keeps a program that tries again from its end: no kernel
        // does so.
        if (fault.everAfter && std::string_view(fault.error) == "EINTR") {
            return;
        }
        const Injected injected = RunWithFault(scene, program_, fault);
        if (!injected.reached) {
            return;
        }
        Allowed allowed;
        allowed.loader = injected.beforeMain;
        allowed.outputLost = fault.call == "write";
        const std::string group = fault.call + (injected.beforeMain ? ", before main" : "");
        if (injected.beforeMain && injected.ended.signal != 0) {
            // The C library's own start; counted in a group of its own, not hidden.
            allowed.signal = injected.ended.signal;
        }
        for (const std::string& call : injected.calls) {
            allowed.silent |= IsPassedOver(scene, call);
            if (allowed.mustBeTold.empty() && MustBeTold(scene, call, fault.everAfter)) {
                allowed.mustBeTold = call;
            }
        }
        Judge(scene, group, Describe(fault), injected.ended, allowed);
    }

    void Limits(const Scene& scene) {
        // Address space from what the loader needs up to what a run needs; threads take much of it
        // for their stacks.
        for (std::uint64_t kib = 2048; kib <= 262144; kib += kib < 12288 ? 16 : 2048) {
            if (Skipped()) {
                continue;
            }
            model::HowToRun how;
            how.program = program_;
            how.prepare = [kib] { Limit(RLIMIT_AS, kib << 10U); };
            const model::Ended ended = model::RunChecker(scene.invocation, how);
            const bool isOdd =
                ended.hung || ended.signal != 0 || (ended.status != 0 && ended.status != 255);
            Allowed allowed;
            // A library that is loaded may throw while it is, with nothing to throw from.
            allowed.loader = isOdd && !ReachesMain(scene, program_, kib << 10U);
            Judge(scene, "limit: memory", std::to_string(kib) + " KiB", ended, allowed);
        }
        for (std::uint64_t files = 0; files <= 12; ++files) {
            if (!Skipped()) {
                Limited(scene, "open files", std::to_string(files) + " files more",
                        [files] { Limit(RLIMIT_NOFILE, 3 + files); });
            }
        }
        // The stack counts from the program's start on.
        for (std::uint64_t kib = 256; kib <= 8192; kib *= 2) {
            model::HowToRun how;
            how.program = program_;
            how.prepare = [kib] { Limit(RLIMIT_STACK, kib << 10U); };
            Judge(scene, "stack from 256 KiB on", std::to_string(kib) + " KiB of stack",
                  model::RunChecker(scene.invocation, how), {});
        }
    }

    template <typename Prepare>
    void Limited(const Scene& scene, const std::string& group, const std::string& what,
                 const Prepare& prepare) {
        model::HowToRun how;
        how.prepare = prepare;
        Judge(scene, "limit: " + group, what, model::RunChecker(scene.invocation, how), {});
    }

    static void Limit(int which, std::uint64_t value) {
        const rlimit limit = {.rlim_cur = value, .rlim_max = value};
        ::setrlimit(static_cast<__rlimit_resource>(which), &limit);
    }

    void Streams(const Scene& scene) {
        const std::map<std::string, std::function<void()>> ways = {
            {"closed output", [] { ::close(STDOUT_FILENO); }},
            {"closed error", [] { ::close(STDERR_FILENO); }},
            {"all three closed",
             [] {
                 ::close(STDIN_FILENO);
                 ::close(STDOUT_FILENO);
                 ::close(STDERR_FILENO);
             }},
            {"full output", [] { To("/dev/full", STDOUT_FILENO); }},
            {"full error", [] { To("/dev/full", STDERR_FILENO); }},
            {"output nobody reads", [] { ToClosedPipe(STDOUT_FILENO); }},
            {"error nobody reads", [] { ToClosedPipe(STDERR_FILENO); }},
            {"output nobody reads, no SIGPIPE",
             [] {
                 std::signal(SIGPIPE, SIG_IGN);
                 ToClosedPipe(STDOUT_FILENO);
             }},
        };
        for (const auto& [name, prepare] : ways) {
            model::HowToRun how;
            how.program = program_;
            how.prepare = prepare;
            Allowed allowed;
            allowed.outputLost = true;
            // A reader that goes away ends whoever writes: so it is with every filter.
            const bool isPipe = name.ends_with("nobody reads");
            allowed.signal = isPipe ? SIGPIPE : 0;
            Judge(scene, "stream: " + name, name, model::RunChecker(scene.invocation, how),
                  allowed);
        }
    }

    static void To(const char* path, int stream) { ::dup2(::open(path, O_WRONLY), stream); }

    static void ToClosedPipe(int stream) {
        std::array<int, 2> ends = {};
        if (::pipe(ends.data()) == 0) {
            ::dup2(ends[1], stream);
            ::close(ends[0]);
        }
    }

    void Signals(const Scene& scene) {
        for (int i = 0; i < 400; ++i) {
            const int number = i % 2 == 0 ? SIGTERM : SIGINT;
            const auto after = std::chrono::microseconds(engine_() % 6000);
            if (Skipped()) {
                continue;
            }
            model::HowToRun how;
            how.program = program_;
            how.meanwhile = [number, after](pid_t child) {
                std::this_thread::sleep_for(after);
                ::kill(child, number);
            };
            Allowed allowed;
            allowed.signal = number;
            allowed.outputLost = true;
            Judge(scene, number == SIGTERM ? "SIGTERM" : "SIGINT",
                  "after " + std::to_string(after.count()) + " us",
                  model::RunChecker(scene.invocation, how), allowed);
        }
    }

    // Files go, come back, and change under the run.
    void ChangingFiles(const Scene& scene) {
        for (int i = 0; i < 600; ++i) {
            const Victim& victim = scene.victims.at(engine_() % scene.victims.size());
            const auto pause = std::chrono::microseconds(engine_() % 1500);
            const std::uint64_t way = engine_() % 3;
            if (Skipped()) {
                continue;
            }
            const std::string sound = test_support::ReadFile(victim.path);
            Allowed allowed;
            // A file that was not there while it was looked for is none of the share's.
            allowed.silent = true;
            model::HowToRun how;
            how.meanwhile = [&](pid_t) {
                for (int turn = 0; turn < 3; ++turn) {
                    std::this_thread::sleep_for(pause);
                    Disturb(victim.path, sound, way);
                }
            };
            const model::Ended ended = model::RunChecker(scene.invocation, how);
            Judge(scene, "file that changes",
                  std::string(NameOf(victim.kind)) + ", " + std::to_string(way), ended, allowed);
        }
    }

    static void Disturb(const std::string& path, const std::string& sound, std::uint64_t way) {
        const auto pause = std::chrono::microseconds(200);
        if (way == 0) {
            const ReplacedFile gone(path, Object::kNothing);
            std::this_thread::sleep_for(pause);
        } else if (way == 1) {
            const ChangedFile cut(path, sound, sound.substr(0, sound.size() / 2));
            std::this_thread::sleep_for(pause);
        } else {
            std::string longer = sound;
            longer[longer.size() / 3] = static_cast<char>(~longer[longer.size() / 3]);
            const ChangedFile changed(path, sound, longer + sound);
            std::this_thread::sleep_for(pause);
        }
    }

    Options options_;
    std::mt19937_64 engine_;
    test_support::TempDir directory_;
    std::vector<Scene> scenes_;
    std::map<std::string, model::Prediction> sound_;  ///< by the scene's name
    std::string program_;
    std::uint64_t turn_ = 0;
    std::map<std::string, std::array<std::uint64_t, kColumns>> table_;
};

}  // namespace

int main(int argc, char** argv) {
    try {
        Options options;
        CLI::App app("Lets the operating system fail under the checker.");
        app.add_option("--part", options.part, "try one of so many faults")
            ->check(CLI::PositiveNumber);
        app.add_option("--seed", options.seed, "of the moments at which signals and changes come");
        app.add_option("--only", options.only, "limits: of memory, files and stack alone");
        app.add_flag("--list", options.list, "print every run");
        CLI11_PARSE(app, argc, argv);
        return Faults(options).Run();
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "faults: %s\n", failure.what());
        return 2;
    }
}
