#include "jorvshare/show/text_writer.h"

namespace jorvshare {

namespace {

constexpr std::size_t kColumns = 4;

}  // namespace

void TextWriter::Text(std::string_view name, std::string_view value) {
    Line(name, value);
}

void TextWriter::Unsigned(std::string_view name, std::uint64_t value) {
    Line(name, std::to_string(value));
}

void TextWriter::Signed(std::string_view name, std::int64_t value) {
    Line(name, std::to_string(value));
}

void TextWriter::Bool(std::string_view name, bool value) {
    Line(name, value ? "true" : "false");
}

void TextWriter::BeginList(std::string_view name, std::uint64_t count) {
    Line(name, std::to_string(count));
}

void TextWriter::BeginItem() {
    ++depth_;
    itemBegins_ = true;
}

void TextWriter::EndItem() {
    --depth_;
    itemBegins_ = false;
}

void TextWriter::EndList() {}

void TextWriter::Finish() {
    Flush();
}

void TextWriter::Line(std::string_view name, std::string_view value) {
    // An item's dash lies two columns behind its list, and its fields two behind the dash.
    const std::string indent(kColumns * depth_, ' ');
    Put(itemBegins_ ? indent.substr(2).append("- ") : indent);
    itemBegins_ = false;
    Put(name);
    Put(": ");
    Put(value);
    Put("\n");
}

}  // namespace jorvshare
