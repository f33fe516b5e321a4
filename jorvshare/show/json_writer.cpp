#include "jorvshare/show/json_writer.h"

#include <nlohmann/json.hpp>

namespace jorvshare {

void JsonWriter::Text(std::string_view name, std::string_view value) {
    using nlohmann::json;
    Member(name, json(value).dump(-1, ' ', false, json::error_handler_t::replace));
}

void JsonWriter::Unsigned(std::string_view name, std::uint64_t value) {
    Member(name, std::to_string(value));
}

void JsonWriter::Signed(std::string_view name, std::int64_t value) {
    Member(name, std::to_string(value));
}

void JsonWriter::Bool(std::string_view name, bool value) {
    Member(name, value ? "true" : "false");
}

void JsonWriter::BeginList(std::string_view name, std::uint64_t) {
    Member(name, "[");
    first_ = true;
}

void JsonWriter::BeginItem() {
    Put(first_ ? "{" : ",{");
    first_ = true;
}

void JsonWriter::EndItem() {
    Put("}");
    first_ = false;
}

void JsonWriter::EndList() {
    Put("]");
    first_ = false;
}

void JsonWriter::Finish() {
    Put("}\n");
    Flush();
}

void JsonWriter::Member(std::string_view name, std::string_view value) {
    Put(first_ ? "\"" : ",\"");
    first_ = false;
    Put(name);
    Put("\":");
    Put(value);
}

}  // namespace jorvshare
