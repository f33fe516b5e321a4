#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace jorvshare {

/// Receives the fields of a stored structure one after the other and renders them. Nothing is
/// gathered beyond one buffer: a file of a million extents is shown in little memory. One thread.
class FieldWriter {
  public:
    virtual ~FieldWriter() = default;
    FieldWriter(const FieldWriter&) = delete;
    FieldWriter& operator=(const FieldWriter&) = delete;

    virtual void Text(std::string_view name, std::string_view value) = 0;
    virtual void Unsigned(std::string_view name, std::uint64_t value) = 0;
    virtual void Signed(std::string_view name, std::int64_t value) = 0;
    virtual void Bool(std::string_view name, bool value) = 0;

    /// A list of items; an item has fields and lists of its own.
    virtual void BeginList(std::string_view name, std::uint64_t count) = 0;
    virtual void BeginItem() = 0;
    virtual void EndItem() = 0;
    virtual void EndList() = 0;

    /// Nothing follows. Prints what is left.
    virtual void Finish() = 0;

  protected:
    FieldWriter() = default;
    /// Adds to the output, which is printed piece by piece.
    void Put(std::string_view text);
    void Flush();

  private:
    std::string buffer_;
};

}  // namespace jorvshare
