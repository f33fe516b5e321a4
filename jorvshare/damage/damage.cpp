#include "jorvshare/damage/damage.h"

#include <algorithm>
#include <string>
#include <vector>

#include "jorvshare/damage/kind.h"
#include "terminal/console.h"
#include "terminal/one_line.h"
#include "terminal/tool_error.h"

namespace jorvshare::damage {

namespace {

std::vector<Kind> AllKinds() {
    std::vector<Kind> kinds;
    for (const auto& family : {HeaderKinds(), ExtentKinds(), TableKinds(), SiteKinds()}) {
        kinds.insert(kinds.end(), family.begin(), family.end());
    }
    return kinds;
}

// "<id of the metadata check's>,<id of the file data check's>"
std::string IdsOf(const Findings& findings) {
    std::string ids;
    for (const lines::Line* const line : {findings.metadata, findings.data}) {
        if (line != nullptr) {
            ids.append(ids.empty() ? "" : ",").append(line->id);
        }
    }
    return !findings.isForLayout ? "-" : ids.empty() ? "none" : ids;
}

std::string Padded(std::string text, std::size_t width) {
    text.resize(std::max(width, text.size()), ' ');
    return text + "  ";
}

std::string Expectation(const std::string& options, const lines::Line* line) {
    if (line == nullptr) {
        return "";
    }
    // Line ends around a text are no part of what is looked for.
    std::string_view text = line->text;
    text.remove_prefix(text.find_first_not_of('\n'));
    text = text.substr(0, text.find_last_not_of('\n') + 1);
    return "expect of jorvck " + options + ": " + std::string(line->id) + ": " + std::string(text) +
           "\n";
}

}  // namespace

void Damage(const DamageOptions& options) {
    const Scene scene(options);
    const std::vector<Kind> kinds = AllKinds();
    const Kind& kind = *std::ranges::find(kinds, options.kind, &Kind::name);
    const Findings& findings = scene.Tables() ? kind.tables : kind.files;
    if (!findings.isForLayout) {
        throw terminal::ToolError(scene.Tree().Path() + ": kind " + options.kind +
                                  " does not apply to the layout " +
                                  (scene.Tables() ? "tables" : "files"));
    }
    Notes notes;
    kind.change(scene, kind.choose(scene), &notes);
    std::string text = "kind: " + options.kind + " (" + std::string(kind.summary) +
                       ")\nseed: " + std::to_string(options.seed) + "\n";
    for (const std::string& note : notes) {
        text += "changed: " + terminal::OneLine(note) + "\n";
    }
    const std::string expected = Expectation("--share_path", findings.metadata) +
                                 Expectation("--verify_data", findings.data);
    terminal::PrintResult(text + (expected.empty() ? "expect: no finding\n" : expected));
}

void List() {
    constexpr std::size_t kNameWidth = 24;
    constexpr std::size_t kIdsWidth = 35;
    std::string text = Padded("KIND", kNameWidth) + Padded("FINDING, FILES LAYOUT", kIdsWidth) +
                       Padded("FINDING, TABLES LAYOUT", kIdsWidth) + "WHAT IS BROKEN\n";
    for (const Kind& kind : AllKinds()) {
        text += Padded(std::string(kind.name), kNameWidth) + Padded(IdsOf(kind.files), kIdsWidth) +
                Padded(IdsOf(kind.tables), kIdsWidth) + std::string(kind.summary) + "\n";
    }
    terminal::PrintResult(text);
}

bool IsKind(const std::string& name) {
    return std::ranges::count(AllKinds(), name, &Kind::name) != 0;
}

}  // namespace jorvshare::damage
