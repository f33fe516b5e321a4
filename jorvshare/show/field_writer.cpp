#include "jorvshare/show/field_writer.h"

#include <nlohmann/json.hpp>
#include <span>

#include "terminal/console.h"
#include "terminal/interrupt.h"
#include "terminal/one_line.h"

namespace jorvshare {

namespace {

constexpr std::size_t kPiece = 65536;
constexpr std::size_t kColumns = 4;

}  // namespace

FieldWriter::FieldWriter(bool json) : json_(json) {
    Put(json_ ? "{" : "");
}

void FieldWriter::Text(std::string_view name, std::string_view value) {
    using nlohmann::json;
    if (!json_) {
        Member(name, terminal::OneLine(value));
        return;
    }
    const std::string text = json(value).dump(-1, ' ', false, json::error_handler_t::replace);
    Member(name, text);
    constexpr const char* kReplacement = "\xEF\xBF\xBD";
    if (text.find(kReplacement) != std::string::npos && json::parse(text) != value) {
        Member(std::string(name) + "_hex",
               '"' + terminal::Hex(std::as_bytes(std::span(value))) + '"');
    }
}

void FieldWriter::Finish() {
    Put(json_ ? "}\n" : "");
    Flush();
}

void FieldWriter::Member(std::string_view name, std::string_view value) {
    if (json_) {
        Put(first_ ? "\"" : ",\"");
    } else {
        // An item's dash is two columns right of its list, and its fields two right of the dash.
        const std::string indent(kColumns * depth_, ' ');
        Put(first_ && depth_ != 0 ? indent.substr(2) + "- " : indent);
    }
    first_ = false;
    Put(name);
    Put(json_ ? "\":" : ": ");
    Put(value);
    Put(json_ ? "" : "\n");
}

void FieldWriter::Put(std::string_view text) {
    buffer_ += text;
    if (buffer_.size() >= kPiece) {
        Flush();
    }
}

void FieldWriter::Flush() {
    terminal::CheckInterrupt();
    terminal::PrintResult(buffer_);
    buffer_.clear();
}

}  // namespace jorvshare
