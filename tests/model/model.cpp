#include "tests/model/model.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <exception>
#include <regex>
#include <span>
#include <sstream>
#include <stdexcept>
#include <system_error>

#include "tests/model/run.h"
#include "tests/support/line_text.h"

namespace model {

namespace {

using Lines = std::vector<std::string>;

constexpr int kFailed = 255;

/// The lines in the order of their bytes. Progress, which has no line of its own, is taken
/// out of them, and so is the empty line that keeps a message from continuing it.
Lines SortedLines(std::string_view text) {
    static const std::regex kProgress("^ [0-9]+/[0-9]+");
    Lines sorted;
    std::istringstream stream{std::string(text)};
    for (std::string line; std::getline(stream, line);) {
        for (std::smatch found; std::regex_search(line, found, kProgress);) {
            sorted.push_back(found.str());
            line = found.suffix();
        }
        if (!line.empty()) {
            sorted.push_back(line);
        }
    }
    std::ranges::sort(sorted);
    return sorted;
}

std::string DifferenceOf(const std::string& stream, const std::string& predicted,
                         std::string_view found, bool isOrdered) {
    if (predicted == found || (!isOrdered && SortedLines(predicted) == SortedLines(found))) {
        return {};
    }
    return "--- " + stream + ", predicted\n" + predicted + "--- " + stream + ", printed\n" +
           std::string(found) + "---\n";
}

}  // namespace

void Run::Say(const lines::Line& line, std::initializer_list<std::string_view> values) {
    std::string& stream = line.stream == lines::Stream::kError ? printed_.err : printed_.out;
    stream += test_support::LineText(line, values);
}

const refstore::Settings& Run::Settings() {
    if (!settings_) {
        try {
            settings_ = refstore::ReadSettings(configuration_);
        } catch (const std::exception& failure) {
            printed_.err.append(failure.what()).append("\n");
            throw std::runtime_error("no settings");
        }
    }
    return *settings_;
}

Prediction Run::Of(const std::function<void()>& checks) {
    try {
        checks();
    } catch (const std::exception&) {
        Say(lines::kUnhandledException);
        printed_.status = kFailed;
    }
    return printed_;
}

mode_t TypeOf(const std::string& path) {
    struct stat attributes = {};
    if (::stat(path.c_str(), &attributes) == 0) {
        return attributes.st_mode & static_cast<mode_t>(S_IFMT);
    }
    if (errno == ENOENT || errno == ENOTDIR) {
        return 0;
    }
    throw std::system_error(errno, std::generic_category(), path);
}

void ForEachTable(const refstore::TableDirectory& directory, const refstore::Settings& settings,
                  const std::function<bool(const refstore::StoredTableView&)>& visit) {
    const std::uint64_t span = std::uint64_t{settings.tableSpanGiB} << 30U;
    const auto tables = directory.Tables();
    for (std::uint64_t offset = 0; static_cast<std::int64_t>(offset) >= 0; offset += span) {
        // Of tables that overlap the later one counts.
        const auto at = std::find_if(tables.rbegin(), tables.rend(),
                                     [offset](const refstore::StoredTableView& table) {
                                         return table.offset <= offset && offset < table.end;
                                     });
        if (at == tables.rend() || !visit(*at)) {
            return;
        }
    }
}

namespace {

struct CommandLine {
    std::string sharePath;
    std::string shareId;
    std::int32_t hours = 0;
    bool verifyData = false;
    bool isAccepted = false;
};

CommandLine Parse(std::span<const std::string> words) {
    CommandLine line;
    while (!words.empty()) {
        const std::string& word = words[0];
        words = words.subspan(1);
        if (word == "--verify_data") {
            line.verifyData = true;
            continue;
        }
        const bool takesValue = word == "--share_path" || word == "--share_id" || word == "--t";
        if (!takesValue) {
            line.isAccepted = false;
            break;
        }
        // A value that is missing is as good as no option.
        if (words.empty()) {
            break;
        }
        const std::string& value = words[0];
        words = words.subspan(1);
        line.isAccepted = true;
        if (word == "--share_path") {
            line.sharePath = value;
        } else if (word == "--share_id") {
            line.shareId = value;
        } else {
            line.hours =
                std::max(0, static_cast<std::int32_t>(std::strtol(value.c_str(), nullptr, 10)));
        }
    }
    return line;
}

}  // namespace

Prediction Predict(const Invocation& invocation) {
    const CommandLine line = Parse(invocation.arguments);
    if (!line.isAccepted) {
        Prediction usage;
        usage.status = kFailed;
        for (const lines::Line* const text :
             {&lines::kUsage, &lines::kUsageShare, &lines::kUsageAge, &lines::kUsageVerify}) {
            usage.err += text->text;
        }
        return usage;
    }
    Run run(invocation.configuration);
    return run.Of([&] {
        if (line.verifyData && !line.shareId.empty()) {
            CheckFileData(run, line.shareId, line.hours);
            return;
        }
        CheckHeaders(run, line.sharePath);
        CheckStorageUnits(run, line.sharePath);
        CheckImages(run, line.sharePath);
    });
}

std::string Difference(const Prediction& predicted, std::string_view out, std::string_view err,
                       int status) {
    std::string difference;
    if (status != predicted.status) {
        difference = "status " + std::to_string(status) + ", predicted " +
                     std::to_string(predicted.status) + "\n";
    }
    return difference + DifferenceOf("standard output", predicted.out, out, true) +
           DifferenceOf("standard error", predicted.err, err, predicted.isOrdered);
}

}  // namespace model
