#include "refstore/base/envelope.h"

#include <array>
#include <cstring>

#include "refstore/base/checksum.h"
#include "refstore/base/errors.h"
#include "refstore/base/little_endian.h"

namespace refstore {

namespace {

void CheckSize(const EnvelopeKind& kind, std::uint64_t size, const std::string& path) {
    constexpr std::uint64_t kEmpty = kEnvelopeHead + kEnvelopeSeal;
    if (size < kEmpty) {
        ThrowDamage(kind.what, path, "too short");
    }
    if (size - kEmpty > kind.maxPayload) {
        ThrowDamage(kind.what, path, "too long");
    }
}

// Judges the head of an envelope that is `size` bytes long.
void CheckHead(const EnvelopeKind& kind, std::span<const std::byte> head, std::uint64_t size,
               const std::string& path) {
    if (std::memcmp(head.data(), kind.magic.data(), kind.magic.size()) != 0) {
        ThrowDamage(kind.what, path, "bad magic number");
    }
    // The version is checked before the seal: a later version may be sealed in another way.
    if (LoadLittle32(head.subspan(8)) != kind.version) {
        ThrowDamage(kind.what, path, "unknown version");
    }
    if (LoadLittle64(head.subspan(16)) != size - kEnvelopeHead - kEnvelopeSeal) {
        ThrowDamage(kind.what, path, "length mismatch");
    }
}

void CheckSeal(const EnvelopeKind& kind, std::span<const std::byte> seal, std::uint64_t checksum,
               const std::string& path) {
    if (LoadLittle64(seal) != checksum) {
        ThrowDamage(kind.what, path, "checksum mismatch");
    }
}

}  // namespace

std::span<const std::byte> OpenEnvelope(const EnvelopeKind& kind, std::span<const std::byte> bytes,
                                        const std::string& path) {
    CheckSize(kind, bytes.size(), path);
    CheckHead(kind, bytes.first(kEnvelopeHead), bytes.size(), path);
    const auto sealed = bytes.first(bytes.size() - kEnvelopeSeal);
    CheckSeal(kind, bytes.last(kEnvelopeSeal), Checksum(sealed), path);
    if (LoadLittle32(bytes.subspan(12)) != 0) {
        ThrowDamage(kind.what, path, "reserved field is not zero");
    }
    return sealed.subspan(kEnvelopeHead);
}

LoadedEnvelope LoadEnvelope(const EnvelopeKind& kind, const RegularFile& file) {
    const std::uint64_t size = file.Size();
    CheckSize(kind, size, file.Path());
    // Most records are small and read with one call; for the others a second one pays.
    constexpr std::uint64_t kSmall = 65536;
    if (size > kSmall) {
        std::array<std::byte, kEnvelopeHead> head{};
        file.ReadAt(0, head);
        CheckHead(kind, head, size, file.Path());
    }
    if (size > kMaxReadUnsealed && file.IsSparse()) {
        const std::uint64_t sealed = size - kEnvelopeSeal;
        std::array<std::byte, kEnvelopeSeal> seal{};
        file.ReadAt(sealed, seal);
        CheckSeal(kind, seal, Checksum(file, sealed), file.Path());
    }
    // What is read now may differ from what was looked at above, so all of it is checked again.
    LoadedEnvelope loaded;
    loaded.file = file.ReadAll(size);
    loaded.payload = OpenEnvelope(kind, loaded.file.Span(), file.Path());
    return loaded;
}

}  // namespace refstore
