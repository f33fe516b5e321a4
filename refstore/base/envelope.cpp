#include "refstore/base/envelope.h"

#include <array>
#include <cstring>

#include "refstore/base/errors.h"
#include "refstore/base/file_checksum.h"
#include "refstore/base/little_endian.h"
#include "refstore/base/xxh3.h"

namespace refstore {

namespace {

// Judges the head of an envelope that is `size` bytes long, which is at least an empty one's size.
void CheckHead(const EnvelopeKind& kind, std::span<const std::byte> head, std::uint64_t size,
               const std::string& path) {
    if (std::memcmp(head.data(), kind.magic.data(), kind.magic.size()) != 0) {
        ThrowDamage(kind.what, path, "bad magic number");
    }
    // The version stands before the checksum: a later version may be sealed in another way.
    if (LoadLittle32(head.subspan(8)) != kind.version) {
        ThrowDamage(kind.what, path, "unknown version");
    }
    const std::uint64_t length = LoadLittle64(head.subspan(16));
    if (length != size - kEnvelopeHead - kEnvelopeSeal) {
        ThrowDamage(kind.what, path, "length mismatch");
    }
    if (length > kMaxPayload) {
        ThrowDamage(kind.what, path, "too long");
    }
}

void CheckSeal(const EnvelopeKind& kind, const RegularFile& file, const std::string& path) {
    const std::uint64_t sealed = file.Size() - kEnvelopeSeal;
    std::array<std::byte, kEnvelopeSeal> seal{};
    file.ReadAt(sealed, seal);
    if (LoadLittle64(seal) != ChecksumOf(file, sealed, kind.what, path)) {
        ThrowDamage(kind.what, path, "checksum mismatch");
    }
}

}  // namespace

std::span<const std::byte> OpenEnvelope(const EnvelopeKind& kind, std::span<const std::byte> bytes,
                                        const std::string& path) {
    if (bytes.size() < kEnvelopeHead + kEnvelopeSeal) {
        ThrowDamage(kind.what, path, "too short");
    }
    CheckHead(kind, bytes.first(kEnvelopeHead), bytes.size(), path);
    const auto sealed = bytes.first(bytes.size() - kEnvelopeSeal);
    if (LoadLittle64(bytes.last(kEnvelopeSeal)) != XXH3_64bits(sealed.data(), sealed.size())) {
        ThrowDamage(kind.what, path, "checksum mismatch");
    }
    if (LoadLittle32(bytes.subspan(12)) != 0) {
        ThrowDamage(kind.what, path, "reserved field is not zero");
    }
    return sealed.subspan(kEnvelopeHead);
}

LoadedEnvelope LoadEnvelope(const EnvelopeKind& kind, const std::string& path) {
    const RegularFile file(kind.what, path);
    // Most records are small and read with one call; for the others a second one pays.
    constexpr std::uint64_t kSmall = 65536;
    if (file.Size() > kSmall) {
        std::array<std::byte, kEnvelopeHead> head{};
        file.ReadAt(0, head);
        CheckHead(kind, head, file.Size(), path);
    }
    if (file.Size() > kMaxReadUnsealed && file.IsSparse()) {
        CheckSeal(kind, file, path);
    }
    // What is read now may differ from what was looked at above, so all of it is checked again.
    LoadedEnvelope loaded;
    loaded.file = file.ReadAll(kMaxPayload + kEnvelopeHead + kEnvelopeSeal);
    loaded.payload = OpenEnvelope(kind, loaded.file.Span(), path);
    return loaded;
}

}  // namespace refstore
