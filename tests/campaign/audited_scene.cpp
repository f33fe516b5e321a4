#include "tests/campaign/audited_scene.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <optional>
#include <stdexcept>
#include <utility>

#include "lines/lines.h"
#include "tests/campaign/known_lines.h"
#include "tests/model/checker_run.h"
#include "tests/support/temp_dir.h"

namespace campaign {

namespace {

constexpr std::string_view kShare = "/meta/7/7";

/// The user file that a header, extent file or data.mdb belongs to; none for other files.
std::optional<std::string> UserFileOf(const Victim& victim) {
    std::filesystem::path path = victim.path;
    switch (victim.kind) {
        case FileKind::kTables:
            path = path.parent_path();
            [[fallthrough]];
        case FileKind::kHeader:
        case FileKind::kExtentFile:
            return "d/" + path.filename().string();
        default:
            return std::nullopt;
    }
}

/// Whether the checker printed a finding about images or their list.
bool HasImageFinding(const model::Ended& ended) {
    return std::ranges::any_of(lines::kAll, [&](const lines::Line* line) {
        const std::string_view begin = line->text.substr(0, line->text.find("{}"));
        return line->check == lines::Check::kVirtualCopy &&
               (line->kind == lines::Kind::kFinding || line->kind == lines::Kind::kCannotGoOn) &&
               ended.err.find(begin) != std::string::npos;
    });
}

std::string Joined(const std::set<std::string>& files) {
    std::string text;
    for (const std::string& file : files) {
        text += " " + file;
    }
    return text.empty() ? " none" : text;
}

}  // namespace

AuditedScene::AuditedScene(const Scene& scene, std::string program, std::string output)
    : scene_(scene), program_(std::move(program)), output_(std::move(output)) {
    Result sound = Audit();
    if (!sound.wrong.empty()) {
        throw std::runtime_error("audit of " + scene.name + ": " + sound.wrong + "\n" + sound.text);
    }
    sound_ = std::move(sound);
}

AuditedScene::Result AuditedScene::Audit() const {
    std::filesystem::remove_all(output_);
    model::Invocation invocation = {
        scene_.invocation.configuration,
        {"run", "--share_path", scene_.site + std::string(kShare), "--output", output_}};
    // Local extents of tables are reserved DCIDs to the file data check, each of them a finding.
    if (!scene_.hasLocalTables) {
        invocation.arguments.insert(invocation.arguments.end(), {"--share_id", "7"});
    }
    model::HowToRun how;
    how.program = program_;
    const model::Ended ended = model::RunChecker(invocation, how);
    Result result;
    result.text = ended.out + ended.err;
    constexpr std::array kStatuses = {0, 4, 8, 12};
    if (ended.hung || ended.signal != 0) {
        result.wrong = "it did not end by itself";
    } else if (std::ranges::find(kStatuses, ended.status) == kStatuses.end()) {
        result.wrong = "it ended with " + std::to_string(ended.status);
    } else {
        for (std::string& file : LinesOf(test_support::ReadFile(output_ + "/affected.txt"))) {
            result.files.insert(std::move(file));
        }
        const nlohmann::json report =
            nlohmann::json::parse(test_support::ReadFile(output_ + "/report.json"));
        for (const nlohmann::json& finding : report.at("findings")) {
            result.findings.insert(finding.at("kind").get<std::string>() + " " +
                                   finding.at("name").get<std::string>());
        }
    }
    return result;
}

std::string AuditedScene::WhatIsWrong(const Victim& victim, const Mutation& mutation, bool changed,
                                      Outcome outcome, const model::Ended& ended) const {
    const Result result = Audit();
    if (!result.wrong.empty()) {
        return "the audit: " + result.wrong + "\n" + result.text;
    }
    std::set<std::string> expected = sound_.files;
    const std::optional<std::string> file = UserFileOf(victim);
    if (file) {
        // Under a seal that was made to fit, values may have changed that no one can judge: where
        // the checker has a line about them the file is named, else it may be.
        const bool isDamaged = changed && (!mutation.sealed || outcome != Outcome::kSame);
        if (isDamaged || result.files.contains(*file)) {
            expected.insert(*file);
        }
    } else if (outcome != Outcome::kSame && result.findings == sound_.findings &&
               (victim.kind != FileKind::kImageList || HasImageFinding(ended))) {
        return "the audit finds what it finds in the sound share\n" + result.text;
    } else if (victim.kind != FileKind::kImage && victim.kind != FileKind::kImageList) {
        // By the configuration, the volumes or a container any file may be concerned.
        return {};
    }
    if (result.files == expected) {
        return {};
    }
    return "the audit names" + Joined(result.files) + ", expected" + Joined(expected) + "\n" +
           result.text;
}

}  // namespace campaign
