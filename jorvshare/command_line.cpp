#include "jorvshare/command_line.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <charconv>
#include <exception>
#include <functional>
#include <limits>
#include <memory>
#include <new>
#include <sstream>
#include <string>
#include <system_error>

#include "jorvshare/damage/damage.h"
#include "jorvshare/make/make.h"
#include "jorvshare/pack/pack.h"
#include "jorvshare/restore/unpack.h"
#include "jorvshare/restore/verify.h"
#include "jorvshare/show/show.h"
#include "jorvshare/site/site_layout.h"
#include "terminal/console.h"
#include "terminal/interrupt.h"
#include "terminal/tool_error.h"

namespace jorvshare {

namespace {

constexpr int kFailed = 1;
constexpr int kUsage = 2;
constexpr std::uint32_t kMostVolumes = 10000;
// The data of one container is in memory until it is written.
constexpr std::uint32_t kMostContainerMiB = 1024;
constexpr const char* kStopping = "jorvshare: stopping: removing what was written\n";

/// What the command line asks for.
struct Command {
    std::function<int()> run;           ///< returns the exit status
    bool takesBackWhatItWrote = false;  ///< when a signal comes
};

// The policy ends at the first colon and the name begins after the last, so that a time may hold
// colons. Names that a path or vcopy.dat cannot hold are refused.
std::optional<ImageName> ParseVirtualCopy(const std::string& text) {
    const std::size_t first = text.find(':');
    const std::size_t last = text.rfind(':');
    if (first == last) {
        return std::nullopt;
    }
    ImageName image{text.substr(0, first), text.substr(first + 1, last - first - 1),
                    text.substr(last + 1)};
    const bool usable = IsPlainName(image.policy) && IsPlainName(image.backupTime) &&
                        IsPlainName(image.name) && !HasControlCharacter(text) &&
                        image.name.find(';') == std::string::npos && !IsPartialName(image.name);
    return usable ? std::optional(image) : std::nullopt;
}

CLI::Option* AddShareId(CLI::App* command, std::string* id, const char* description) {
    return command->add_option("--share-id", *id, description)->check(ShareIdFault);
}

void AddPack(CLI::App* app, Command* command) {
    auto* pack = app->add_subcommand("pack", "Pack the files of a directory into a new share");
    const auto options = std::make_shared<PackOptions>();
    const auto takeLayout = [options](const std::string& layout) {
        options->layout = layout == "tables" ? MapLayout::kTables : MapLayout::kFiles;
    };
    const auto takeVirtualCopy = [options](const std::string& text) {
        options->virtualCopy = ParseVirtualCopy(text);
    };
    pack->add_option("SOURCE", options->source, "Directory to pack")->required();
    pack->add_option("SITE", options->site, "Site, made when it is missing")->required();
    AddShareId(pack, &options->shareId, "Identifier of the new share")->required();
    pack->add_option_function<std::string>(
            "--layout", takeLayout,
            "files: one extent file per user file; tables: mapping tables "
            "(default: the site's; files for a new one)")
        ->check(CLI::IsMember(std::vector<std::string>{"files", "tables"}));
    pack->add_option("--volumes", options->volumes,
                     "Least number of volumes of the site (default: 1)")
        ->check(CLI::Range(std::uint32_t{1}, kMostVolumes));
    pack->add_option(
            "--table-span", options->tableSpanGiB,
            "GiB of a file that one mapping table covers (default: the site's; 1 for a new one)")
        ->check(CLI::Range(std::uint32_t{1}, std::numeric_limits<std::uint32_t>::max()));
    pack->add_option("--container-size", options->containerMiB,
                     "Most data in one container, MiB (default: 64)")
        ->check(CLI::Range(std::uint32_t{1}, kMostContainerMiB));
    pack->add_option_function<std::string>(
            "--vcopy", takeVirtualCopy,
            "Also write the container image POLICY:TIME:NAME and list it in vcopy.dat")
        ->check([](const std::string& text) -> std::string {
            return ParseVirtualCopy(text)
                       ? ""
                       : "expected POLICY:TIME:NAME, three components of a path without control "
                         "characters; NAME must not hold \";\" or end in .partial";
        });
    pack->add_flag("--keep-going", options->keepGoing,
                   "Skip files that cannot be read: list them, and exit with status 1");
    pack->callback([=] { *command = {[=] { return Pack(*options); }, true}; });
}

void AddUnpack(CLI::App* app, Command* command) {
    auto* unpack = app->add_subcommand("unpack", "Restore the user files of a share");
    const auto options = std::make_shared<UnpackOptions>();
    unpack->add_option("SITE", options->site, "Site that holds the share")->required();
    unpack->add_option("DEST", options->destination, "Directory to write, new or empty")
        ->required();
    AddShareId(unpack, &options->shareId, "Identifier of the share")->required();
    unpack->add_option("--path", options->path, "Only this file or folder of the share");
    unpack->add_flag("--keep-going", options->keepGoing,
                     "Skip damaged files: list them, and exit with status 1");
    unpack->callback([=] { *command = {[=] { return Unpack(*options); }, true}; });
}

void AddVerify(CLI::App* app, Command* command) {
    auto* verify = app->add_subcommand(
        "verify", "Read all data of a share and name every damaged file and container");
    const auto options = std::make_shared<VerifyOptions>();
    verify->add_option("SITE", options->site, "Site that holds the share")->required();
    AddShareId(verify, &options->shareId, "Identifier of the share")->required();
    verify->add_option("--path", options->path, "Only this file or folder of the share");
    verify->callback([=] { *command = {[=] { return Verify(*options); }}; });
}

void AddMake(CLI::App* app, Command* command) {
    auto* make = app->add_subcommand(
        "make", "Build exactly what a recipe says, inconsistent or not; for testing only");
    const auto recipe = std::make_shared<std::string>();
    const auto site = std::make_shared<std::string>();
    make->add_option("RECIPE", *recipe, "JSON file")->required();
    make->add_option("SITE", *site, "Site to build, new or empty")->required();
    make->callback([=] {
        *command = {[=] {
                        Make(*recipe, *site);
                        return 0;
                    },
                    true};
    });
}

void AddShow(CLI::App* app, Command* command) {
    auto* show = app->add_subcommand(
        "show", "Print a header file, extent file, container index, image or mapping tables");
    const auto path = std::make_shared<std::string>();
    const auto json = std::make_shared<bool>(false);
    show->add_option("PATH", *path, "File, or directory of mapping tables")->required();
    show->add_flag("--json", *json, "Print JSON");
    show->callback([=] {
        *command = {[=] {
            Show(*path, *json);
            return 0;
        }};
    });
}

void AddDamage(CLI::App* app, Command* command) {
    auto* damage = app->add_subcommand(
        "damage", "Break one thing of a share and print the finding to expect; for testing only");
    const auto options = std::make_shared<damage::DamageOptions>();
    const auto takePath = [options](const std::string& path) { options->path = path; };
    const auto wanted = std::make_shared<bool>(false);
    auto* list = damage->add_flag("--list", *wanted, "Print the kinds of damage");
    auto* site = damage->add_option("SITE", options->site, "Site that holds the share");
    auto* id = AddShareId(damage, &options->shareId, "Identifier of the share");
    auto* kind = damage->add_option("--kind", options->kind, "What to break, see --list");
    kind->check([](const std::string& name) {
        return damage::IsKind(name) ? std::string()
                                    : "unknown kind \"" + name + "\"; see jorvshare damage --list";
    });
    auto* only = damage->add_option_function<std::string>(
        "--path", takePath, "File of the share (default: the seed selects one)");
    auto* seed =
        damage->add_option("--seed", options->seed, "Seed of the choice")->capture_default_str();
    // Of a sign, and of what is too large, the conversion would make another number.
    seed->check([](const std::string& text) {
        std::uint64_t number = 0;
        const char* const end = text.data() + text.size();
        const auto [rest, code] = std::from_chars(text.data(), end, number);
        return code == std::errc() && rest == end
                   ? std::string()
                   : "\"" + text + "\": expected a number from 0 to 18446744073709551615";
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
        *command = {[=] {
            if (*wanted) {
                damage::List();
            } else {
                damage::Damage(*options);
            }
            return 0;
        }};
    });
}

int RunCommand(const Command& command) {
    // Around the handlers as well: what they print must not end the process either.
    const terminal::InterruptScope scope(command.takesBackWhatItWrote ? kStopping : nullptr);
    try {
        return command.run();
    } catch (const terminal::Interrupted& interrupted) {
        if (command.takesBackWhatItWrote && interrupted.signal != SIGPIPE) {
            terminal::PrintError(
                kProgram,
                "stopped by signal " + std::to_string(interrupted.signal) + "; nothing was kept");
        }
        terminal::DieOf(interrupted.signal);
    } catch (const std::bad_alloc&) {
        terminal::PrintError(kProgram, "out of memory");
    } catch (const terminal::ToolError& error) {
        terminal::PrintError(kProgram, error.Message());
    } catch (const std::exception& error) {
        terminal::PrintError(kProgram, error.what());
    }
    return kFailed;
}

}  // namespace

int RunCommandLine(int argc, const char* const* argv) {
    CLI::App app("Makes shares and looks into them.", "jorvshare");
    app.set_version_flag("--version", "jorvshare " JORVSHARE_VERSION, "Print the version and exit");
    app.require_subcommand(1);
    Command command;
    AddPack(&app, &command);
    AddUnpack(&app, &command);
    AddVerify(&app, &command);
    AddMake(&app, &command);
    AddShow(&app, &command);
    AddDamage(&app, &command);
    try {
        const std::string first = argc > 1 ? argv[1] : "-";
        const auto isFirst = [&first](const CLI::App* one) { return one->check_name(first); };
        if (!first.starts_with('-') && std::ranges::none_of(app.get_subcommands({}), isFirst)) {
            throw CLI::ExtrasError("unknown command \"" + first + "\"",
                                   CLI::ExitCodes::ExtrasError);
        }
        app.parse(argc, argv);
    } catch (const CLI::ParseError& stop) {
        return RunCommand({[&app, &stop] {
            std::ostringstream text;
            if (app.exit(stop, text, text) == 0) {
                terminal::PrintResult(text.str());
                return 0;
            }
            terminal::PrintError(kProgram, std::string(stop.what()) + "; see jorvshare --help");
            return kUsage;
        }});
    }
    return RunCommand(command);
}

}  // namespace jorvshare
