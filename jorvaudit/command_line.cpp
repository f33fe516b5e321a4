#include "jorvaudit/command_line.h"

#include <CLI/CLI.hpp>
#include <charconv>
#include <cmath>
#include <csignal>
#include <exception>
#include <filesystem>
#include <functional>
#include <iostream>
#include <memory>
#include <new>
#include <sstream>
#include <string>
#include <vector>

#include "jorvaudit/compare.h"
#include "jorvaudit/fleet.h"
#include "jorvaudit/fleet_plan.h"
#include "jorvaudit/output.h"
#include "jorvaudit/parts.h"
#include "jorvaudit/report_json.h"
#include "jorvaudit/run.h"
#include "terminal/console.h"
#include "terminal/interrupt.h"
#include "terminal/one_line.h"
#include "terminal/tool_error.h"

namespace jorvaudit {

namespace {

constexpr std::string_view kProgram = "jorvaudit";
constexpr std::size_t kMostJobs = 256;

using Command = std::function<int()>;

// The checker that was installed or built with this program.
std::string FindChecker() {
    namespace fs = std::filesystem;
    std::error_code failure;
    const fs::path directory = fs::read_symlink("/proc/self/exe", failure).parent_path();
    if (failure) {
        return "jorvck";
    }
    for (const char* const place : {"jorvck", "../sbin/jorvck"}) {
        const fs::path program = directory / place;
        if (fs::is_regular_file(program, failure)) {
            return program;
        }
    }
    return "jorvck";
}

// "2/3", in [1, 3] of a number that makes sense.
std::string ReadPart(const std::string& text, AuditOptions* options) {
    const char* const end = text.data() + text.size();
    const auto [slash, first] = std::from_chars(text.data(), end, options->part);
    if (first == std::errc() && slash < end && *slash == '/') {
        const auto [rest, second] = std::from_chars(slash + 1, end, options->parts);
        if (second == std::errc() && rest == end && options->part >= 1 &&
            options->part <= options->parts && options->parts <= kMostParts) {
            return {};
        }
    }
    return "\"" + text + "\": expected I/N, as 2/3";
}

void AddRun(CLI::App* app, Command* command) {
    auto* run = app->add_subcommand("run", "Audit a share: look at everything and write a report");
    const auto options = std::make_shared<AuditOptions>();
    auto* path = run->add_option("--share_path", options->sharePath, "Directory of the share");
    auto* id = run->add_option("--share_id", options->shareId,
                               "Identifier of the share; also checks its files against the data "
                               "containers where it has mapping tables");
    run->add_option("--t", options->hours,
                    "Leave files modified within so many hours out of that check (default: 0)")
        ->check(CLI::Range(std::int64_t{0}, std::int64_t{1} << 31U));
    run->add_option("--output", options->output, "Directory of the report, made when missing")
        ->required();
    run->add_option("--jobs", options->jobs,
                    "Files of so many directories at a time (default: the processors, at least 16)")
        ->check(CLI::Range(std::size_t{1}, kMostJobs));
    run->add_option_function<std::string>(
        "--part",
        [options](const std::string& text) {
            if (const std::string wrong = ReadPart(text, options.get()); !wrong.empty()) {
                throw CLI::ValidationError("--part", wrong);
            }
        },
        "Audit part I of N alone, I/N; see merge");
    run->add_flag("--resume", options->resume, "Go on with an audit that was interrupted");
    run->add_option("--acknowledge", options->acknowledge,
                    "TOML file with findings that do not count for the exit status");
    run->add_option("--time-limit", options->timeLimit,
                    "Seconds for the checker on one view (default: 300)")
        ->check(CLI::Range(0.1, 1e6));
    run->add_option("--checker", options->checker, "Program to run (default: the jorvck beside)");
    run->callback([=] {
        if (path->count() == 0 && id->count() == 0) {
            throw CLI::RequiredError("--share_path or --share_id");
        }
        // An empty path below the library's directory is that directory.
        for (const CLI::Option* const option : {path, id}) {
            if (option->count() != 0 && option->as<std::string>().empty()) {
                throw CLI::ValidationError(option->get_name(), "must not be empty");
            }
        }
        if (std::isnan(options->timeLimit)) {
            throw CLI::ValidationError("--time-limit", "expected a number of seconds");
        }
        *command = [options] {
            if (options->checker.empty()) {
                options->checker = FindChecker();
            }
            return RunAudit(*options);
        };
    });
}

void AddShow(CLI::App* app, Command* command) {
    auto* show = app->add_subcommand("show", "Print a report");
    const auto report = std::make_shared<std::string>();
    const auto html = std::make_shared<std::string>();
    const auto json = std::make_shared<bool>(false);
    const auto metrics = std::make_shared<bool>(false);
    show->add_option("REPORT", *report, "report.json, or the directory that holds it")->required();
    auto* asJson = show->add_flag("--json", *json, "Print JSON");
    auto* asPage = show->add_option("--html", *html, "Write a page for browsers to this file");
    auto* asMetrics = show->add_flag("--prometheus", *metrics, "Print metrics");
    asJson->excludes(asPage)->excludes(asMetrics);
    asPage->excludes(asMetrics);
    show->callback([=] {
        *command = [=] {
            const Report read = ReadReport(*report);
            if (*json) {
                std::ostringstream text;
                WriteJson(read, text);
                terminal::PrintResult(text.str());
            } else if (*metrics) {
                Metrics numbers;
                numbers.Add(read.sharePath, read);
                terminal::PrintResult(numbers.Text());
            } else if (!html->empty()) {
                RefuseInShare(*html, read.sharePath);
                WriteFile(*html, [&](std::ostream& out) { WriteHtml(read, out); });
            } else {
                terminal::PrintResult(TextOf(read));
            }
            return 0;
        };
    });
}

void AddDiff(CLI::App* app, Command* command) {
    auto* diff = app->add_subcommand(
        "diff", "Print which findings are new, gone or still there; status 4 when some are new");
    const auto older = std::make_shared<std::string>();
    const auto newer = std::make_shared<std::string>();
    const auto json = std::make_shared<bool>(false);
    diff->add_option("OLD", *older, "Earlier report")->required();
    diff->add_option("NEW", *newer, "Later report")->required();
    diff->add_flag("--json", *json, "Print JSON");
    diff->callback([=] {
        *command = [=] {
            const Report before = ReadReport(*older);
            const Report after = ReadReport(*newer);
            const Comparison comparison = Compare(before, after);
            terminal::PrintResult(*json ? JsonOf(comparison) : TextOf(comparison, before));
            return comparison.appeared.empty() ? kSound : kFound;
        };
    });
}

int MergeParts(std::vector<Report> parts, const std::string& output,
               const std::string& acknowledge) {
    const std::vector<Known> known = ReadKnown(acknowledge);
    Report report = Merge(std::move(parts));
    MakeOutput(output, {report.sharePath});
    FinishReport(output, known, &report);
    WriteReport(report, output);
    PrintReported(TextOf(report));
    return report.status;
}

void AddMerge(CLI::App* app, Command* command) {
    auto* merge = app->add_subcommand(
        "merge", "Make one report of the parts of a share, or of the shares of a fleet");
    const auto paths = std::make_shared<std::vector<std::string>>();
    const auto output = std::make_shared<std::string>();
    const auto acknowledge = std::make_shared<std::string>();
    const auto plan = std::make_shared<std::string>();
    auto* reports = merge->add_option("REPORT", *paths, "Reports of parts or of shares");
    auto* directory =
        merge->add_option("--output", *output, "Directory of the report, made when missing");
    auto* known = merge->add_option("--acknowledge", *acknowledge,
                                    "TOML file with findings that do not count for the exit "
                                    "status");
    auto* fleet = merge
                      ->add_option("--fleet", *plan,
                                   "The shares of a fleet; merges the reports of the commands "
                                   "that plan prints")
                      ->excludes(reports)
                      ->excludes(directory)
                      ->excludes(known);
    merge->callback([=] {
        if (fleet->count() == 0 && (reports->count() == 0 || directory->count() == 0)) {
            throw CLI::RequiredError("REPORT and --output, or --fleet");
        }
        *command = [=] {
            if (!plan->empty()) {
                return MergeFleet(ReadPlan(*plan));
            }
            std::vector<Report> read;
            bool ofOneShare = true;
            for (const std::string& path : *paths) {
                read.push_back(ReadReport(path));
                ofOneShare = ofOneShare && read.back().sharePath == read.front().sharePath;
            }
            return ofOneShare ? MergeParts(std::move(read), *output, *acknowledge)
                              : MergeShares(std::move(read), *output, *acknowledge);
        };
    });
}

void AddPlan(CLI::App* app, Command* command) {
    auto* plan = app->add_subcommand(
        "plan", "Print the commands that audit a fleet of shares, one a line, for a shell");
    const auto file = std::make_shared<std::string>();
    const auto places = std::make_shared<bool>(false);
    plan->add_option("FLEET.toml", *file, "The shares of the fleet")->required();
    plan->add_flag("--places", *places,
                   "In front of each command, print where it runs, node=NAME, partition=NAME or "
                   "any, and a tab");
    plan->callback([=] {
        *command = [=] {
            const FleetPlan fleet = ReadPlan(*file);
            for (const std::string& name : UndividedDataChecks(fleet)) {
                terminal::PrintWarning(
                    kProgram, "share " + name +
                                  ": its storage library cannot be pointed at a part of a share; "
                                  "part 1 does the file data check of the whole share");
            }
            terminal::PrintResult(CommandsOf(fleet, *places));
            return kSound;
        };
    });
}

int RunCommand(const Command& command) {
    // Around the handlers as well: what they print must not end the process either.
    const terminal::InterruptScope scope;
    try {
        return command();
    } catch (const terminal::Interrupted& interrupted) {
        if (interrupted.signal == SIGPIPE) {
            // What was only printed has lost its reader: this ends as every filter does.
            terminal::DieOf(SIGPIPE);
        }
        terminal::PrintError(kProgram, "interrupted by signal " +
                                           std::to_string(interrupted.signal) +
                                           "; go on with --resume");
        return kInterrupted;
    } catch (const std::bad_alloc&) {
        terminal::PrintError(kProgram, "out of memory");
    } catch (const terminal::ToolError& error) {
        terminal::PrintError(kProgram, error.Message());
    } catch (const std::exception& error) {
        terminal::PrintError(kProgram, error.what());
    }
    return kNotChecked;
}

}  // namespace

int RunCommandLine(int argc, const char* const* argv) {
    CLI::App app(
        "Runs the checker over every part of a share and reports what was found, what was "
        "looked at and what was not.",
        std::string(kProgram));
    app.set_version_flag("--version", "jorvaudit " JORVAUDIT_VERSION, "Print the version and exit");
    app.require_subcommand(1);
    // The library's own has the words of the command line as they are.
    app.failure_message([](const CLI::App*, const CLI::Error& error) {
        return terminal::OneLine(error.what()) + "\nRun with --help for more information.\n";
    });
    Command command;
    AddRun(&app, &command);
    AddShow(&app, &command);
    AddDiff(&app, &command);
    AddMerge(&app, &command);
    AddPlan(&app, &command);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& stop) {
        std::ostringstream out;
        std::ostringstream errors;
        const bool failed = app.exit(stop, out, errors) != 0;
        return RunCommand([&] {
            terminal::PrintDiagnostic(errors.str());
            terminal::PrintResult(out.str());
            return failed ? kUsageError : kSound;
        });
    }
    return RunCommand(command);
}

}  // namespace jorvaudit
