#include "jorvaudit/fleet_plan.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <filesystem>
#include <set>

#include "jorvaudit/data_check.h"
#include "jorvaudit/parts.h"
#include "jorvaudit/scratch.h"
#include "jorvaudit/toml_entry.h"
#include "terminal/tool_error.h"

namespace jorvaudit {

namespace {

namespace fs = std::filesystem;

constexpr std::array<std::string_view, 3> kFleetKeys = {"output", "max_age_days", "share"};
constexpr std::array<std::string_view, 9> kShareKeys = {
    "name", "id", "path", "configuration", "acknowledge", "node", "partition", "parts", "hours"};
constexpr std::string_view kPlain =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_./:=,@%+-";

class PlanReader {
  public:
    explicit PlanReader(const std::string& file)
        : file_(file), directory_(fs::absolute(file).lexically_normal().parent_path()) {}

    FleetPlan Read() {
        constexpr std::int64_t kWeekAndADay = 8;
        constexpr std::int64_t kMostDays = 36500;
        const toml::table document = ReadToml(file_);
        const TomlEntry fleet(file_, document, "a fleet", kFleetKeys);
        FleetPlan plan;
        plan.output = Path(fleet, "output");
        if (plan.output.empty()) {
            fleet.Refuse("'output' is missing");
        }
        plan.maxAgeDays = fleet.Number("max_age_days", 1, kMostDays).value_or(kWeekAndADay);
        const toml::node* const shares = document.get("share");
        if (shares == nullptr || !shares->is_array() || shares->as_array()->empty()) {
            fleet.Refuse("expected [[share]]");
        }
        for (const toml::node& node : *shares->as_array()) {
            plan.shares.push_back(ReadShare(TomlEntry(file_, node, "[[share]]", kShareKeys)));
            plan.shares.back().output = plan.output + "/shares/" + plan.shares.back().name;
        }
        return plan;
    }

  private:
    PlannedShare ReadShare(const TomlEntry& entry) {
        constexpr std::int64_t kMostHours = std::int64_t{1} << 31U;
        PlannedShare share;
        share.id = Word(entry, "id");
        share.path = Path(entry, "path");
        if (share.id.empty() && share.path.empty()) {
            entry.Refuse("'id' or 'path' is missing");
        }
        share.configuration = Path(entry, "configuration");
        share.acknowledge = Path(entry, "acknowledge");
        share.node = Place(entry, "node");
        share.partition = Place(entry, "partition");
        if (!share.node.empty() && !share.partition.empty()) {
            entry.RefuseKey("partition", "excludes node");
        }
        share.hours = entry.Number("hours", 0, kMostHours).value_or(0);
        share.parts = static_cast<unsigned>(entry.Number("parts", 1, kMostParts).value_or(1));
        share.name = entry.Text("name") ? Word(entry, "name") : share.id;
        if (share.name.empty()) {
            entry.Refuse("'name' is missing");
        }
        if (share.name == "." || share.name == ".." || share.name.find('/') != std::string::npos) {
            entry.Refuse("name \"" + share.name + "\": expected a name for a directory");
        }
        if (!names_.insert(share.name).second) {
            entry.Refuse("name \"" + share.name + "\" is there twice");
        }
        return share;
    }

    // A command is one line.
    static std::string Word(const TomlEntry& entry, std::string_view key) {
        const auto text = entry.Text(key);
        if (text && text->empty()) {
            entry.RefuseKey(key, "must not be empty");
        }
        if (text && std::ranges::any_of(*text, [](unsigned char letter) {
                return letter < ' ' || letter == '\x7f';
            })) {
            entry.RefuseKey(key, "must not hold a control character");
        }
        return text.value_or("");
    }

    [[nodiscard]] std::string Path(const TomlEntry& entry, std::string_view key) const {
        const std::string text = Word(entry, key);
        return text.empty() ? text : (directory_ / text).lexically_normal().string();
    }

    static std::string Place(const TomlEntry& entry, std::string_view key) {
        std::string text = Word(entry, key);
        // One name, not a list of them.
        if (text.starts_with('-') || text.find_first_of("/:=,@%+") != std::string::npos ||
            text.find_first_not_of(kPlain) != std::string::npos) {
            entry.RefuseKey(key, "must be letters, digits, \".\", \"_\" and \"-\"");
        }
        return text;
    }

    const std::string& file_;
    const fs::path directory_;
    std::set<std::string> names_;
};

std::string Quoted(const std::string& word) {
    if (!word.empty() && word.find_first_not_of(kPlain) == std::string::npos) {
        return word;
    }
    std::string quoted = "'";
    for (const char letter : word) {
        quoted += letter == '\'' ? "'\\''" : std::string(1, letter);
    }
    return quoted + "'";
}

std::string CommandOf(const PlannedShare& share, unsigned part) {
    std::string command;
    if (!share.configuration.empty()) {
        command = "env " + Quoted("JORV_CONFIG=" + share.configuration) + " ";
    }
    command += "jorvaudit run";
    if (!share.path.empty()) {
        command += " --share_path " + Quoted(share.path);
    }
    if (!share.id.empty()) {
        // One word: an identifier may begin with "-".
        command += " " + Quoted("--share_id=" + share.id);
    }
    if (share.hours > 0) {
        command += " --t " + std::to_string(share.hours);
    }
    if (!share.acknowledge.empty()) {
        command += " --acknowledge " + Quoted(share.acknowledge);
    }
    if (share.parts > 1) {
        command += " --part " + std::to_string(part) + "/" + std::to_string(share.parts);
    }
    return command + " --resume --output " + Quoted(share.PartOutput(part));
}

std::string PlaceOf(const PlannedShare& share) {
    return !share.node.empty()        ? "node=" + share.node
           : !share.partition.empty() ? "partition=" + share.partition
                                      : "any";
}

}  // namespace

std::string PlannedShare::PartOutput(unsigned index) const {
    return parts == 1 ? output
                      : output + "/" + std::to_string(index) + "-of-" + std::to_string(parts);
}

FleetPlan ReadPlan(const std::string& file) {
    return PlanReader(file).Read();
}

std::string CommandsOf(const FleetPlan& plan, bool places) {
    std::string commands;
    for (const PlannedShare& share : plan.shares) {
        for (unsigned part = 1; part <= share.parts; ++part) {
            commands += (places ? PlaceOf(share) + "\t" : "") + CommandOf(share, part) + "\n";
        }
    }
    return commands;
}

std::vector<std::string> UndividedDataChecks(const FleetPlan& plan) {
    std::vector<std::string> undivided;
    for (const PlannedShare& share : plan.shares) {
        if (share.parts == 1 || share.id.empty()) {
            continue;
        }
        const Scratch scratch(plan.output);
        if (!DividesDataCheck(share.configuration, share.id, scratch.Path())) {
            undivided.push_back(share.name);
        }
    }
    return undivided;
}

}  // namespace jorvaudit
