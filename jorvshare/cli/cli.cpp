#include "jorvshare/cli/cli.h"

#include <CLI/CLI.hpp>
#include <charconv>
#include <exception>
#include <functional>
#include <limits>
#include <new>
#include <sstream>
#include <string>
#include <system_error>

#include "jorvshare/cli/virtual_copy.h"
#include "jorvshare/damage/damage.h"
#include "jorvshare/make/make.h"
#include "jorvshare/pack/pack.h"
#include "jorvshare/report/wording.h"
#include "jorvshare/show/show.h"
#include "jorvshare/unpack/unpack.h"
#include "terminal/console.h"
#include "terminal/interrupt.h"
#include "terminal/one_line.h"
#include "terminal/tool_error.h"

namespace jorvshare {

namespace {

constexpr int kFailed = 1;
constexpr int kUsage = 2;
constexpr std::uint32_t kMostVolumes = 10000;
// The data of one container is in memory until it is written.
constexpr std::uint32_t kMostContainerMiB = 1024;

using Command = std::function<void()>;

void AddPack(CLI::App* app, Command* command) {
    auto* pack = app->add_subcommand("pack", "Pack the files of a directory into a new share");
    const auto options = std::make_shared<PackOptions>();
    const auto layout = std::make_shared<std::string>();
    const auto virtualCopy = std::make_shared<std::string>();
    pack->add_option("SOURCE", options->source, "Directory to pack")->required();
    pack->add_option("SITE", options->site, "Site, made when it is missing")->required();
    pack->add_option("--share-id", options->shareId, "Identifier of the new share")->required();
    pack->add_option("--layout", *layout,
                     "files: one extent file per user file; tables: mapping tables "
                     "(default: the site's, of a new one: files)")
        ->check(CLI::IsMember(std::vector<std::string>{"files", "tables"}));
    pack->add_option("--volumes", options->volumes, "Volumes of the site, at least (default: 1)")
        ->check(CLI::Range(std::uint32_t{1}, kMostVolumes));
    pack->add_option("--table-span", options->tableSpanGiB,
                     "GiB of a file that one mapping table covers (default: the site's, or 1)")
        ->check(CLI::Range(std::uint32_t{1}, std::numeric_limits<std::uint32_t>::max()));
    pack->add_option("--container-size", options->containerMiB,
                     "Most data in one container, MiB (default: 64)")
        ->check(CLI::Range(std::uint32_t{1}, kMostContainerMiB));
    pack->add_option("--vcopy", *virtualCopy,
                     "Also write the container image POLICY:TIME:NAME and list it in vcopy.dat");
    pack->callback([=] {
        *command = [=] {
            if (pack->count("--layout") != 0) {
                options->layout = *layout == "tables" ? MapLayout::kTables : MapLayout::kFiles;
            }
            if (pack->count("--vcopy") != 0) {
                options->virtualCopy = ParseVirtualCopy(*virtualCopy);
            }
            const wording::PackSummary summary = Pack(*options);
            terminal::PrintSummary(wording::Packed(options->shareId, summary));
        };
    });
}

void AddUnpack(CLI::App* app, Command* command) {
    auto* unpack =
        app->add_subcommand("unpack",
                            "Write the user files of a share back; of directories only the "
                            "names, modes and times are not kept");
    const auto options = std::make_shared<UnpackOptions>();
    unpack->add_option("SITE", options->site, "Site that holds the share")->required();
    unpack->add_option("DEST", options->destination, "Directory to write, new or empty")
        ->required();
    unpack->add_option("--share-id", options->shareId, "Identifier of the share")->required();
    unpack->callback([command, options] {
        *command = [options] {
            const UnpackSummary summary = Unpack(*options);
            terminal::PrintSummary(
                wording::Unpacked(options->shareId, summary.files, summary.bytes));
        };
    });
}

void AddMake(CLI::App* app, Command* command) {
    auto* make = app->add_subcommand(
        "make", "Build exactly what a recipe says, inconsistent or not; for testing only");
    const auto recipe = std::make_shared<std::string>();
    const auto site = std::make_shared<std::string>();
    make->add_option("RECIPE", *recipe, "JSON file")->required();
    make->add_option("SITE", *site, "Site to build, new or empty")->required();
    make->callback([command, recipe, site] {
        *command = [recipe, site] {
            const MakeSummary summary = Make(*recipe, *site);
            terminal::PrintSummary(wording::Made(*site, summary.shares, summary.files));
        };
    });
}

void AddShow(CLI::App* app, Command* command) {
    auto* show = app->add_subcommand(
        "show", "Print a header file, extent file, container index, image or mapping tables");
    const auto path = std::make_shared<std::string>();
    const auto json = std::make_shared<bool>(false);
    show->add_option("PATH", *path, "File, or directory of mapping tables")->required();
    show->add_flag("--json", *json, "Print JSON");
    show->callback([command, path, json] { *command = [path, json] { Show(*path, *json); }; });
}

void AddDamage(CLI::App* app, Command* command) {
    auto* damage = app->add_subcommand(
        "damage",
        "Break one thing of a share and tell which lines the checker prints; for testing only");
    const auto options = std::make_shared<damage::DamageOptions>();
    const auto path = std::make_shared<std::string>();
    const auto wanted = std::make_shared<bool>(false);
    auto* list = damage->add_flag("--list", *wanted, "Print the kinds of damage");
    auto* site = damage->add_option("SITE", options->site, "Site that holds the share");
    auto* id = damage->add_option("--share-id", options->shareId, "Identifier of the share");
    auto* kind = damage->add_option("--kind", options->kind, "What to break, see --list");
    kind->check([](const std::string& name) {
        return IsDamageKind(name) ? std::string() : wording::UnknownDamage(name);
    });
    auto* only = damage->add_option("--path", *path, "File of the share (default: by the seed)");
    auto* seed = damage->add_option("--seed", options->seed, "Number that the choice depends on")
                     ->capture_default_str();
    // Of a sign, and of what is too large, the conversion would make another number.
    seed->check([](const std::string& text) {
        std::uint64_t number = 0;
        const char* const end = text.data() + text.size();
        const auto [rest, code] = std::from_chars(text.data(), end, number);
        return code == std::errc() && rest == end ? std::string() : wording::BadSeed(text);
    });
    for (CLI::Option* const option : {site, id, kind, only, seed}) {
        list->excludes(option);
    }
    damage->callback([=] {
        for (const CLI::Option* const option : {site, id, kind}) {
            if (!*wanted && option->count() == 0) {
                throw CLI::RequiredError(option->get_name());
            }
        }
        *command = [=] {
            if (*wanted) {
                ListDamage();
                return;
            }
            if (only->count() != 0) {
                options->path = *path;
            }
            Damage(*options);
        };
    });
}

int RunCommand(const Command& command) {
    // Around the handlers as well: what they print must not end the process either.
    const terminal::InterruptScope scope;
    try {
        command();
        return 0;
    } catch (const terminal::Interrupted& interrupted) {
        terminal::PrintError(wording::kProgram, wording::Interrupted(interrupted.signal));
        terminal::DieOf(interrupted.signal);
    } catch (const std::bad_alloc&) {
        terminal::PrintError(wording::kProgram, wording::OutOfMemory());
    } catch (const terminal::ToolError& error) {
        terminal::PrintError(wording::kProgram, error.Message());
    } catch (const std::exception& error) {
        terminal::PrintError(wording::kProgram, error.what());
    }
    return kFailed;
}

}  // namespace

int RunCommandLine(int argc, const char* const* argv) {
    CLI::App app("Makes shares and looks into them.", "jorvshare");
    app.set_version_flag("--version", "jorvshare " JORVSHARE_VERSION, "Print the version and exit");
    app.require_subcommand(1);
    // The library's own has the words of the command line as they are.
    app.failure_message([](const CLI::App*, const CLI::Error& error) {
        return terminal::OneLine(error.what()) + "\nRun with --help for more information.\n";
    });
    Command command;
    AddPack(&app, &command);
    AddUnpack(&app, &command);
    AddMake(&app, &command);
    AddShow(&app, &command);
    AddDamage(&app, &command);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& stop) {
        std::ostringstream out;
        std::ostringstream errors;
        const bool failed = app.exit(stop, out, errors) != 0;
        const Command print = [&out, &errors] {
            terminal::PrintDiagnostic(errors.str());
            terminal::PrintResult(out.str());
        };
        return RunCommand(print) != 0 ? kFailed : failed ? kUsage : 0;
    }
    return RunCommand(command);
}

}  // namespace jorvshare
