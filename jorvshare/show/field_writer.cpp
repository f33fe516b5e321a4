#include "jorvshare/show/field_writer.h"

#include "terminal/console.h"
#include "terminal/interrupt.h"

namespace jorvshare {

namespace {

constexpr std::size_t kPiece = 65536;

}  // namespace

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
