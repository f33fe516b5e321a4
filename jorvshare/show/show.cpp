#include "jorvshare/show/show.h"

#include <sys/stat.h>

#include <array>
#include <cstring>
#include <memory>

#include "jorvshare/report/wording.h"
#include "jorvshare/show/json_writer.h"
#include "jorvshare/show/text_writer.h"
#include "refstore/base/regular_file.h"
#include "refstore/container/container_record.h"
#include "refstore/extent/extent_record.h"
#include "refstore/header/header_record.h"
#include "refstore/image/image_record.h"
#include "refstore/table/table_directory.h"
#include "terminal/tool_error.h"

namespace jorvshare {

namespace {

std::string HexOf(const crfp_digest_t& fp) {
    std::array<char, 2 * sizeof(crfp_digest_t) + 1> text{};
    CRFPDigestToString_r(&fp, 3, text.data(), text.size());
    return text.data();
}

std::string Octal(std::uint32_t mode) {
    std::string digits;
    for (std::uint32_t rest = mode; rest != 0; rest /= 8) {
        digits.insert(digits.begin(), static_cast<char>('0' + rest % 8));
    }
    return "0" + digits;
}

void ShowExtentList(std::span<const refstore::Extent> extents, FieldWriter* out) {
    out->BeginList("extents", extents.size());
    for (const refstore::Extent& extent : extents) {
        out->BeginItem();
        out->Unsigned("start", extent.start);
        out->Unsigned("end", extent.end);
        out->Unsigned("dcid", extent.dcid);
        out->Unsigned("so_ref", extent.soRef);
        out->Unsigned("cksum", extent.cksum);
        out->Signed("data_offset", extent.dataOffset);
        out->Text("fp", HexOf(extent.fp));
        out->EndItem();
    }
    out->EndList();
}

void ShowHeader(const std::string& path, FieldWriter* out) {
    const refstore::HeaderRecord header = refstore::LoadHeaderRecord(path);
    out->Text("kind", refstore::kHeaderKind.what);
    out->Text("path", path);
    out->Signed("trans_id", header.transId);
    out->Signed("size", header.size);
    out->Signed("mtime", header.mtime);
    out->Unsigned("mtime_nsec", header.mtimeNsec);
    out->Text("mode", Octal(header.mode));
    out->Unsigned("fg", header.fg);
    out->Bool("is_dev", header.isDev);
    out->Text("extent_location", header.extentLocation);
}

void ShowExtents(const std::string& path, FieldWriter* out) {
    const refstore::ExtentRecord record = refstore::LoadExtentRecord(path);
    out->Text("kind", refstore::kExtentFileKind.what);
    out->Text("path", path);
    out->Signed("trans_id", record.transId);
    ShowExtentList(record.extents, out);
}

void ShowContainer(const std::string& path, FieldWriter* out) {
    const refstore::ContainerIndex index = refstore::LoadContainerIndex(path);
    out->Text("kind", refstore::kContainerIndexKind.what);
    out->Text("path", path);
    out->Unsigned("dcid", index.dcid);
    out->Unsigned("bin_size", index.binSize);
    out->Unsigned("bin_seal", index.binSeal);
    out->BeginList("entries", index.entries.size());
    for (const refstore::ContainerEntry& entry : index.entries) {
        out->BeginItem();
        out->Unsigned("offset", entry.offset);
        out->Unsigned("length", entry.length);
        out->Text("fp", HexOf(entry.fp));
        out->EndItem();
    }
    out->EndList();
}

void ShowImage(const std::string& path, FieldWriter* out) {
    const refstore::ImageRecord image = refstore::LoadImageRecord(path);
    out->Text("kind", refstore::kImageKind.what);
    out->Text("path", path);
    out->Text("policy", image.policy);
    out->Text("time", image.backupTime);
    out->Text("name", image.name);
    out->BeginList("containers", image.containers.size());
    for (const std::uint64_t dcid : image.containers) {
        out->BeginItem();
        out->Unsigned("dcid", dcid);
        out->EndItem();
    }
    out->EndList();
}

void ShowTables(const std::string& path, FieldWriter* out) {
    const auto tables = refstore::TableDirectory::Load(path);
    out->Text("kind", "mapping tables");
    out->Text("path", path);
    out->Signed("file_size", tables->FileSize());
    out->BeginList("tables", tables->Tables().size());
    for (const refstore::StoredTableView& table : tables->Tables()) {
        out->BeginItem();
        out->Unsigned("offset", table.offset);
        out->Unsigned("end", table.end);
        ShowExtentList(table.extents, out);
        out->BeginList("dcids", table.dcids.size());
        for (const auto& [dcid, second] : table.dcids) {
            out->BeginItem();
            out->Unsigned("dcid", dcid);
            out->Unsigned("second", second);
            out->EndItem();
        }
        out->EndList();
        out->Unsigned("bloom_hashes", table.bloomHashes);
        out->Unsigned("bloom_bits", table.bloomWords.size() * 64);
        out->EndItem();
    }
    out->EndList();
}

using Shower = void (*)(const std::string& path, FieldWriter* out);

struct Kind {
    std::string_view magic;
    Shower show;
};
constexpr std::array<Kind, 5> kKinds = {{{refstore::kHeaderKind.magic, ShowHeader},
                                         {refstore::kExtentFileKind.magic, ShowExtents},
                                         {refstore::kTablesKind.magic, ShowTables},
                                         {refstore::kContainerIndexKind.magic, ShowContainer},
                                         {refstore::kImageKind.magic, ShowImage}}};

// What the file begins with, cut where the file is shorter.
std::string ReadMagic(const std::string& path) {
    const refstore::RegularFile file("file", path);
    std::array<std::byte, 8> bytes{};
    const std::size_t length = std::min<std::uint64_t>(bytes.size(), file.Size());
    file.ReadAt(0, std::span(bytes).first(length));
    std::string magic(length, '\0');
    std::memcpy(magic.data(), bytes.data(), length);
    return magic;
}

void ShowAny(const std::string& path, FieldWriter* out) {
    struct stat attributes = {};
    if (::stat(path.c_str(), &attributes) == 0 && S_ISDIR(attributes.st_mode)) {
        ShowTables(refstore::TableDirectory::FileIn(path), out);
        return;
    }
    const std::string magic = ReadMagic(path);
    for (const Kind& kind : kKinds) {
        if (magic == kind.magic) {
            kind.show(path, out);
            return;
        }
    }
    throw terminal::ToolError(wording::UnknownKind(path));
}

}  // namespace

void Show(const std::string& path, bool json) {
    std::unique_ptr<FieldWriter> out;
    if (json) {
        out = std::make_unique<JsonWriter>();
    } else {
        out = std::make_unique<TextWriter>();
    }
    ShowAny(path, out.get());
    out->Finish();
}

}  // namespace jorvshare
