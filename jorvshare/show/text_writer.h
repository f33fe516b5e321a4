#pragma once

#include <cstddef>
#include <string_view>

#include "jorvshare/show/field_writer.h"

namespace jorvshare {

/// One line "name: value" per field, texts as they are stored; the items of a list are indented
/// below the line "name: count" and begin with "- ".
class TextWriter : public FieldWriter {
  public:
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
    void Line(std::string_view name, std::string_view value);

    std::size_t depth_ = 0;  ///< items that are open
    bool itemBegins_ = false;
};

}  // namespace jorvshare
