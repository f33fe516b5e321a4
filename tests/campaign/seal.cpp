#include "tests/campaign/seal.h"

#include <array>
#include <span>

#include "refstore/base/checksum.h"
#include "refstore/base/little_endian.h"
#include "refstore/container/container_record.h"
#include "refstore/extent/extent_record.h"
#include "refstore/header/header_record.h"
#include "refstore/image/image_record.h"
#include "refstore/table/table_directory.h"
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
            refstore::TableDirectory::Load(path);
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
    const auto all = std::as_writable_bytes(std::span(bytes));
    if (IsSealed(kind) && all.size() >= refstore::kEnvelopeSeal) {
        const auto sealed = all.first(all.size() - refstore::kEnvelopeSeal);
        refstore::StoreLittle64(refstore::Checksum(sealed), all.last(refstore::kEnvelopeSeal));
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
