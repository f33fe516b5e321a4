#include "tests/campaign/seal.h"

#include <xxhash.h>

#include <array>
#include <cstring>
#include <span>

#include "refstore/container/container_record.h"
#include "refstore/extent/extent_record.h"
#include "refstore/header/header_record.h"
#include "refstore/image/image_record.h"
#include "refstore/table/table_environment.h"
#include "refstore/table/table_trailer.h"
#include "refstore/table/table_trailer_writer.h"
#include "storage/exception.h"

namespace campaign {

namespace {

using Corvane::Kst::Marlow::Jorv::SysException;

void Load(FileKind kind, const std::string& path) {
    switch (kind) {
        case FileKind::kHeader:
            refstore::LoadHeaderRecord(path);
            return;
        case FileKind::kExtentFile:
            refstore::LoadExtentRecord(path);
            return;
        case FileKind::kTables:
            refstore::TableEnvironment::Load(path.substr(0, path.rfind('/')));
            return;
        case FileKind::kContainerIndex:
            refstore::LoadContainerIndex(path);
            return;
        case FileKind::kImage:
            refstore::LoadImageRecord(path);
            return;
        case FileKind::kConfiguration:
        case FileKind::kVolumeTable:
        case FileKind::kImageList:
            return;
    }
}

}  // namespace

void Seal(FileKind kind, std::string& bytes) {
    if (kind == FileKind::kTables) {
        if (bytes.size() >= refstore::kTrailerSize) {
            refstore::SealTableFile(std::as_writable_bytes(std::span(bytes)));
        }
        return;
    }
    constexpr std::size_t kSeal = 8;
    if (IsSealed(kind) && bytes.size() >= kSeal) {
        const std::size_t sealed = bytes.size() - kSeal;
        const std::uint64_t seal = XXH3_64bits(bytes.data(), sealed);
        std::memcpy(bytes.data() + sealed, &seal, sizeof seal);
    }
}

std::string_view NameOf(Layer layer) {
    switch (layer) {
        case Layer::kFrame:
            return "frame";
        case Layer::kSeal:
            return "seal";
        case Layer::kStructure:
            return "structure";
        case Layer::kLoaded:
            return "values";
        case Layer::kNone:
            return "text";
    }
    return "?";
}

Layer LayerOf(FileKind kind, const std::string& path) {
    if (!IsSealed(kind)) {
        return Layer::kNone;
    }
    try {
        Load(kind, path);
        return Layer::kLoaded;
    } catch (const SysException& failure) {
        constexpr std::array<std::string_view, 5> kFrameReasons = {
            ": too short", ": bad magic number", ": unknown version", ": length mismatch",
            ": too long"};
        const std::string_view message = failure.what();
        if (message.find(": checksum mismatch") != std::string_view::npos) {
            return Layer::kSeal;
        }
        for (const std::string_view reason : kFrameReasons) {
            if (message.find(reason) != std::string_view::npos) {
                return Layer::kFrame;
            }
        }
        return Layer::kStructure;
    }
}

}  // namespace campaign
