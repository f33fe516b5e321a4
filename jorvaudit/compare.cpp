#include "jorvaudit/compare.h"

#include "jorvaudit/output.h"
#include "jorvaudit/report_json.h"
#include "terminal/printable.h"
#include "terminal/tool_error.h"

namespace jorvaudit {

std::string ListText(const std::string& title, const std::vector<const Finding*>& findings,
                     std::int64_t since) {
    std::string text = title + ": " + std::to_string(findings.size()) + "\n";
    for (const Finding* const finding : findings) {
        text += "  " + PlaceOf(*finding) + ": " + std::string(finding->kind->title);
        if (since != 0) {
            text += ", since " + TimeText(finding->since == 0 ? since : finding->since);
        }
        text += "\n";
    }
    return text;
}

Comparison Compare(const Report& older, const Report& newer) {
    if (older.sharePath != newer.sharePath) {
        throw terminal::ToolError("reports of different shares: " + older.sharePath + " and " +
                                  newer.sharePath);
    }
    if (older.parts != newer.parts || older.present != newer.present) {
        throw terminal::ToolError("reports of different parts of " + older.sharePath);
    }
    Comparison comparison;
    comparison.goneKnown = newer.counted;
    auto before = older.findings.begin();
    for (const Finding& finding : newer.findings) {
        for (; before != older.findings.end() && *before < finding; ++before) {
            comparison.gone.push_back(&*before);
        }
        if (before != older.findings.end() && *before == finding) {
            comparison.stayed.push_back(&finding);
            ++before;
        } else {
            comparison.appeared.push_back(&finding);
        }
    }
    for (; before != older.findings.end(); ++before) {
        comparison.gone.push_back(&*before);
    }
    if (!comparison.goneKnown) {
        comparison.gone.clear();
    }
    return comparison;
}

std::string TextOf(const Comparison& comparison, const Report& older) {
    return ListText("New", comparison.appeared) +
           (comparison.goneKnown ? ListText("Gone", comparison.gone)
                                 : "Gone: not known, the newer audit looked at nothing\n") +
           ListText("Still there", comparison.stayed, older.ended);
}

void to_json(nlohmann::ordered_json& object, const Comparison& comparison) {
    object = nlohmann::ordered_json::object();
    const auto put = [&](const char* key, const std::vector<const Finding*>& findings) {
        object[key] = nlohmann::ordered_json::array();
        for (const Finding* const finding : findings) {
            object[key].push_back(*finding);
        }
    };
    put("new", comparison.appeared);
    put("gone", comparison.gone);
    if (!comparison.goneKnown) {
        object["gone"] = nullptr;
    }
    put("still_there", comparison.stayed);
}

std::string JsonOf(const Comparison& comparison) {
    return nlohmann::ordered_json(comparison).dump(1, ' ', true) + "\n";
}

}  // namespace jorvaudit
