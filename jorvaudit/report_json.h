#pragma once

#include <functional>
#include <iosfwd>
#include <nlohmann/json.hpp>
#include <string>

#include "jorvaudit/report.h"

namespace jorvaudit {

/// Version of the report's format. A reader refuses a newer one.
inline constexpr int kReportVersion = 1;

/// Puts raw bytes into a JSON object: `key` has the text, with what is not UTF-8 written out, and
/// then "<key>_bytes" has all bytes in hexadecimal digits.
void PutName(nlohmann::ordered_json* object, const std::string& key, const std::string& bytes);
/// Reads what PutName wrote. Throws nlohmann's exceptions.
std::string GetName(const nlohmann::ordered_json& object, const std::string& key);

// The library's conversions, which it finds by their names; vectors of these types convert as well.
void to_json(nlohmann::ordered_json& object, const Finding& finding);
void from_json(const nlohmann::ordered_json& object, Finding& finding);
void to_json(nlohmann::ordered_json& object, const Tally& tally);
void from_json(const nlohmann::ordered_json& object, Tally& tally);
void to_json(nlohmann::ordered_json& object, const Volume& volume);
void from_json(const nlohmann::ordered_json& object, Volume& volume);

/// An object as bytes for another process, and back. Texts in them may be any bytes.
std::string Packed(const nlohmann::ordered_json& object);
nlohmann::ordered_json Unpacked(const std::string& bytes);

/// "2026-11-21T03:00:00Z" from seconds since the epoch, and back.
std::string TimeText(std::int64_t seconds);
std::int64_t TimeOf(const std::string& text);

/// Writes a composed report, one finding a line. The stream's failures are the caller's to test.
void WriteJson(const Report& report, std::ostream& out);

/// Reads a report, handing over its findings one by one in place of keeping them. `path` may be the
/// directory that holds report.json. Throws ToolError.
Report ReadReport(const std::string& path, const std::function<void(Finding)>& take);

/// Reads and composes a whole report.
Report ReadReport(const std::string& path);

}  // namespace jorvaudit
