#include "jorvaudit/captured.h"

#include <cstdlib>
#include <cstring>
#include <fstream>

#include "jorvaudit/report_json.h"

namespace jorvaudit {

namespace {

constexpr std::size_t kMostBytes = 64U << 20U;

void Put(const std::string& file, std::string_view bytes, std::string* text) {
    if (!file.empty()) {
        std::ofstream(file, std::ios::binary | std::ios::app) << bytes;
    } else if (text->size() < kMostBytes) {
        *text += bytes;
    }
}

}  // namespace

std::string Captured::EndText() const {
    if (timedOut) {
        return "it did not end within its time";
    }
    if (end.signal != 0) {
        return "signal " + std::to_string(end.signal) + ", " + ::strsignal(end.signal);
    }
    return end.status == 0 ? "" : "status " + std::to_string(end.status);
}

Captured RunCaptured(const std::vector<std::string>& words, Children::Seconds limit,
                     const std::map<std::string, std::string>& environment,
                     const std::string& outFile, const std::string& errFile) {
    const auto body = [&] {
        for (const auto& [name, value] : environment) {
            ::setenv(name.c_str(), value.c_str(), 1);
        }
        std::string out;
        std::string err;
        const CheckerEnd end = RunChecker(words, [&](lines::Stream stream, std::string_view bytes) {
            const bool isOut = stream == lines::Stream::kOutput;
            Put(isOut ? outFile : errFile, bytes, isOut ? &out : &err);
        });
        return Packed({{"status", end.status}, {"signal", end.signal}, {"out", out}, {"err", err}});
    };
    const Children::Ended ended = RunInChild({.body = body, .limit = limit});
    if (!ended.IsRegular()) {
        return {.end = {.status = ended.status, .signal = ended.signal},
                .timedOut = ended.timedOut,
                .out = {},
                .err = {}};
    }
    const nlohmann::ordered_json object = Unpacked(ended.result);
    return {.end = {.status = object.at("status"), .signal = object.at("signal")},
            .timedOut = false,
            .out = object.at("out"),
            .err = object.at("err")};
}

}  // namespace jorvaudit
