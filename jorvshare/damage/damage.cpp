#include "jorvshare/damage/damage.h"

#include <algorithm>
#include <array>
#include <optional>
#include <string>
#include <vector>

#include "jorvshare/damage/data_check.h"
#include "jorvshare/damage/kind.h"
#include "jorvshare/report/wording.h"
#include "terminal/console.h"
#include "terminal/tool_error.h"

namespace jorvshare {

namespace {

using damage::Kind;
using damage::Lines;
using damage::Mode;
using damage::Stream;

struct ModeBit {
    unsigned bit;
    Mode mode;
};
constexpr std::array<ModeBit, 3> kModes = {{{damage::kForMetadata, Mode::kMetadata},
                                            {damage::kForData, Mode::kData},
                                            {damage::kForAged, Mode::kAged}}};

std::vector<Kind> AllKinds() {
    std::vector<Kind> kinds;
    for (const auto family :
         {damage::HeaderKinds(), damage::ExtentKinds(), damage::StorageUnitKinds(),
          damage::TableKinds(), damage::ImageKinds(), damage::ContainerKinds(),
          damage::TreeKinds()}) {
        kinds.insert(kinds.end(), family.begin(), family.end());
    }
    return kinds;
}

std::optional<Kind> Find(const std::string& name) {
    const std::vector<Kind> kinds = AllKinds();
    const auto found = std::find_if(kinds.begin(), kinds.end(),
                                    [&name](const Kind& kind) { return kind.name == name; });
    return found == kinds.end() ? std::nullopt : std::optional(*found);
}

std::string ModeNames(unsigned modes) {
    std::string names;
    for (const ModeBit& one : kModes) {
        if ((modes & one.bit) != 0) {
            names += (names.empty() ? "" : ",") + NameOf(one.mode);
        }
    }
    return names.empty() ? "-" : names;
}

std::string Padded(std::string text, std::size_t width) {
    text.resize(std::max(width, text.size()), ' ');
    return text + "  ";
}

// How the checker is called in a mode.
std::string Call(Mode mode, const damage::Scene& scene, const std::string& id) {
    const std::string program = "JORV_CONFIG=" + scene.Site().SettingsFile() + " jorvck ";
    switch (mode) {
        case Mode::kMetadata:
            return program + "--share_path " + scene.Share().root;
        case Mode::kData:
            return program + "--share_id " + id + " --verify_data";
        case Mode::kAged:
            break;
    }
    return program + "--share_id " + id + " --verify_data --t 1";
}

// The file data check's lines, by mode; those of modes that are not asked for are left out.
std::array<Lines, kModes.size()> DataCheck(const damage::Scene& scene, unsigned modes) {
    std::array<Lines, kModes.size()> lines;
    for (std::size_t i = 0; i < kModes.size(); ++i) {
        const Mode mode = kModes.at(i).mode;
        if ((modes & kModes.at(i).bit) != 0 && mode != Mode::kMetadata) {
            lines.at(i) = DataLines(scene, mode == Mode::kAged);
        }
    }
    return lines;
}

}  // namespace

void Damage(const damage::DamageOptions& options) {
    const damage::Scene scene(options);
    const Kind kind = Find(options.kind).value();
    const unsigned modes = scene.Tables() ? kind.tables : kind.files;
    if (modes == 0) {
        throw terminal::ToolError(wording::KindNotForLayout(options.kind, scene.Site().Root(),
                                                            scene.Tables() ? "tables" : "files"));
    }
    damage::Report report;
    const auto before = DataCheck(scene, modes);
    kind.apply(scene, &report);
    const auto after = DataCheck(scene, modes);

    std::string text = "kind: " + options.kind + " (" + std::string(kind.summary) +
                       ")\nseed: " + std::to_string(options.seed) + "\n";
    for (const std::string& change : report.Changes()) {
        text += "changed: " + change + "\n";
    }
    text += "\nIf the share was sound, the checker's output now differs by these lines.\n";
    for (std::size_t i = 0; i < kModes.size(); ++i) {
        const Mode mode = kModes.at(i).mode;
        if ((modes & kModes.at(i).bit) == 0) {
            continue;
        }
        report.Compare(mode, Stream::kError, before.at(i), after.at(i));
        text += "\n" + Call(mode, scene, options.shareId) + "\n";
        const Lines expectations = report.Expectations(mode);
        if (expectations.empty()) {
            text += "no difference\n";
        }
        for (const std::string& line : expectations) {
            text += line + "\n";
        }
    }
    terminal::PrintResult(text);
}

void ListDamage() {
    constexpr std::size_t nameWidth = 24;
    constexpr std::size_t modesWidth = 23;
    std::string text = Padded("KIND", nameWidth) + Padded("FILES LAYOUT", modesWidth) +
                       Padded("TABLES LAYOUT", modesWidth) + "WHAT IS BROKEN\n";
    for (const Kind& kind : AllKinds()) {
        text += Padded(std::string(kind.name), nameWidth) +
                Padded(ModeNames(kind.files), modesWidth) +
                Padded(ModeNames(kind.tables), modesWidth) + std::string(kind.summary) + "\n";
    }
    terminal::PrintResult(text);
}

bool IsDamageKind(const std::string& name) {
    return Find(name).has_value();
}

}  // namespace jorvshare
