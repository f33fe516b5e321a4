#pragma once

#include <concepts>
#include <cstddef>
#include <string>
#include <string_view>

namespace jorvshare {

/// Prints the fields of a stored structure on standard output, one after the other. Nothing is
/// gathered beyond one buffer: a file of a million extents is shown in little memory. One thread.
///
/// As text: one line "name: value" per field, control characters in texts escaped; the items of a
/// list are indented below the line "name: count" and begin with "- ". As JSON: one object on one
/// line; integers are JSON numbers of up to 64 bits; bytes of a text that are not UTF-8 become
/// U+FFFD, and a second member, "<name>_hex", then holds all bytes of the text.
class FieldWriter {
  public:
    explicit FieldWriter(bool json);

    void Text(std::string_view name, std::string_view value);
    void Number(std::string_view name, std::integral auto value) {
        Member(name, std::to_string(value));
    }
    void Bool(std::string_view name, bool value) { Member(name, value ? "true" : "false"); }

    /// A list of items. `showItem` prints the fields and lists of one.
    template <typename Items, typename ShowItem>
    void List(std::string_view name, const Items& items, const ShowItem& showItem) {
        Member(name, json_ ? "[" : std::to_string(items.size()));
        first_ = true;
        for (const auto& item : items) {
            if (json_) {
                Put(first_ ? "{" : ",{");
            }
            first_ = true;
            ++depth_;
            showItem(item);
            Put(json_ ? "}" : "");
            first_ = false;
            --depth_;
        }
        Put(json_ ? "]" : "");
        first_ = false;
    }

    /// Nothing follows. Prints what is left.
    void Finish();

  private:
    void Member(std::string_view name, std::string_view value);
    void Put(std::string_view text);
    void Flush();

    const bool json_;
    bool first_ = true;      ///< of the members of an object, or the items of a list
    std::size_t depth_ = 0;  ///< items that are open
    std::string buffer_;
};

}  // namespace jorvshare
