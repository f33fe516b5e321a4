#include "refstore/table/table_file.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <span>
#include <utility>

#include "refstore/base/errors.h"
#include "refstore/base/file_checksum.h"
#include "refstore/base/little_endian.h"
#include "refstore/table/page_image.h"
#include "refstore/table/table_trailer.h"

namespace refstore {

namespace {

// Bytes up to which a file stays in the processor's cache as a whole, and is faster in one go. No
// need to be that of a piece.
constexpr std::uint64_t kSmall = std::uint64_t{1} << 18;

// Checks what can be checked before memory is taken.
void CheckUnread(const RegularFile& file, const std::string& path) {
    std::array<std::byte, kTrailerSize> trailer = {};
    file.ReadAt(file.Size() - kTrailerSize, trailer);
    CheckTrailer(trailer, file.Size(), path);
    if (file.Size() <= kMaxReadUnsealed || !file.IsSparse()) {
        return;
    }
    const std::uint64_t checksum =
        ChecksumOf(file, file.Size() - kTrailerChecksum, kMappingTableName, path);
    if (LoadLittle64(std::span(trailer).last(kTrailerChecksum)) != checksum) {
        ThrowDamage(kMappingTableName, path, "checksum mismatch");
    }
}

}  // namespace

TableFile ReadTableFile(const RegularFile& file, const std::string& path) {
    if (file.Size() <= kSmall) {
        return MakeTableFile(file.ReadAll(kMaxTableFile));
    }
    if (file.Size() > kMaxTableFile) {
        ThrowErrno(EFBIG, kMappingTableName, path);
    }
    CheckUnread(file, path);
    // What is read now may differ from what was looked at above, so all of it is checked again.
    static_assert(RegularFile::kPiece % kLargestPage == 0);
    TableFile read;
    UniformLeaves& uniform = read.uniform.emplace(file.Size());
    RunningChecksum checksum(kMappingTableName, path);
    std::uint64_t left = file.Size() - kTrailerChecksum;
    read.bytes = file.ReadAll(kMaxTableFile, [&](std::span<const std::byte> piece) {
        const std::uint64_t sealed = std::min<std::uint64_t>(piece.size(), left);
        checksum.Add(piece.first(static_cast<std::size_t>(sealed)));
        left -= sealed;
        uniform.Add(piece);
    });
    read.checksum = checksum.Value();
    return read;
}

TableFile MakeTableFile(FileBytes bytes) {
    TableFile made;
    made.checksum = TableChecksum(bytes.Span());
    made.bytes = std::move(bytes);
    return made;
}

}  // namespace refstore
