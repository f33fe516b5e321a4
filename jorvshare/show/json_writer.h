#pragma once

#include <string>

#include "jorvshare/show/field_writer.h"

namespace jorvshare {

/// One JSON object on one line. Integers are JSON numbers of up to 64 bits; bytes of a text that
/// are not UTF-8 become U+FFFD.
class JsonWriter : public FieldWriter {
  public:
    JsonWriter() { Put("{"); }

    void Text(std::string_view name, std::string_view value) override;
    void Unsigned(std::string_view name, std::uint64_t value) override;
    void Signed(std::string_view name, std::int64_t value) override;
    void Bool(std::string_view name, bool value) override;
    void BeginList(std::string_view name, std::uint64_t count) override;
    void BeginItem() override;
    void EndItem() override;
    void EndList() override;
    void Finish() override;

  private:
    void Member(std::string_view name, std::string_view value);

    bool first_ = true;
};

}  // namespace jorvshare
