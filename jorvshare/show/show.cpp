#include "jorvshare/show/show.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <span>
#include <sstream>

#include "jorvshare/show/field_writer.h"
#include "jorvshare/site/root.h"
#include "jorvshare/site/site_layout.h"
#include "refstore/base/regular_file.h"
#include "refstore/container/container_record.h"
#include "refstore/extent/extent_record.h"
#include "refstore/header/header_record.h"
#include "refstore/image/image_record.h"
#include "refstore/table/table_directory.h"
#include "terminal/one_line.h"
#include "terminal/tool_error.h"

namespace jorvshare {

namespace {

std::string HexOf(const crfp_digest_t& fp) {
    return terminal::Hex(std::as_bytes(std::span(fp.bytes)));
}

std::string Octal(std::uint32_t mode) {
    std::ostringstream text;
    text << std::oct << std::showbase << mode;
    return text.str();
}

void ShowExtentList(std::span<const refstore::Extent> extents, FieldWriter* out) {
    out->List("extents", extents, [&](const refstore::Extent& extent) {
        out->Number("start", extent.start);
        out->Number("end", extent.end);
        out->Number("dcid", extent.dcid);
        out->Number("so_ref", extent.soRef);
        out->Number("cksum", extent.cksum);
        out->Number("data_offset", extent.dataOffset);
        out->Text("fp", HexOf(extent.fp));
    });
}

void ShowHeader(const std::string& path, FieldWriter* out) {
    const refstore::HeaderRecord header = refstore::LoadHeaderRecord(path);
    out->Number("trans_id", header.transId);
    out->Number("size", header.size);
    out->Number("mtime", header.mtime);
    out->Number("mtime_nsec", header.mtimeNsec);
    out->Text("mode", Octal(header.mode));
    out->Number("fg", header.fg);
    out->Bool("is_dev", header.isDev);
    out->Text("extent_location", header.extentLocation);
}

void ShowExtents(const std::string& path, FieldWriter* out) {
    const refstore::ExtentRecord record = refstore::LoadExtentRecord(path);
    out->Number("trans_id", record.transId);
    ShowExtentList(record.extents, out);
}

void ShowContainer(const std::string& path, FieldWriter* out) {
    const refstore::ContainerIndex index = refstore::LoadContainerIndex(path);
    out->Number("dcid", index.dcid);
    out->Number("bin_size", index.binSize);
    out->Number("bin_seal", index.binSeal);
    out->List("entries", index.entries, [&](const refstore::ContainerEntry& entry) {
        out->Number("offset", entry.offset);
        out->Number("length", entry.length);
        out->Text("fp", HexOf(entry.fp));
    });
}

void ShowImage(const std::string& path, FieldWriter* out) {
    const refstore::ImageRecord image = refstore::LoadImageRecord(path);
    out->Text("policy", image.policy);
    out->Text("time", image.backupTime);
    out->Text("name", image.name);
    out->List("containers", image.containers,
              [&](std::uint64_t dcid) { out->Number("dcid", dcid); });
}

void ShowTables(const std::string& path, FieldWriter* out) {
    const auto tables = refstore::TableDirectory::Load(path);
    out->Number("file_size", tables->FileSize());
    out->List("tables", tables->Tables(), [&](const refstore::StoredTableView& table) {
        out->Number("offset", table.offset);
        out->Number("end", table.end);
        ShowExtentList(table.extents, out);
        out->List("dcids", table.dcids, [&](const auto& entry) {
            out->Number("dcid", entry.first);
            out->Number("second", entry.second);
        });
        out->Number("bloom_hashes", table.bloomHashes);
        out->Number("bloom_bits", table.bloomWords.size() * 64);
    });
}

struct Kind {
    std::string_view magic;
    std::string_view what;
    void (*show)(const std::string& path, FieldWriter* out);
};
constexpr Kind kTables = {refstore::kTablesKind.magic, "mapping tables", ShowTables};
constexpr std::array<Kind, 5> kKinds = {
    {{refstore::kHeaderKind.magic, refstore::kHeaderKind.what, ShowHeader},
     {refstore::kExtentFileKind.magic, refstore::kExtentFileKind.what, ShowExtents},
     kTables,
     {refstore::kContainerIndexKind.magic, refstore::kContainerIndexKind.what, ShowContainer},
     {refstore::kImageKind.magic, refstore::kImageKind.what, ShowImage}}};

// What is not shown itself, but has parts that are.
[[noreturn]] void ReferTo(const std::string& path, std::string_view what, std::string_view where) {
    throw terminal::ToolError(path + ": " + std::string(what) + "; show " + std::string(where));
}

void RefuseSiteOrShare(const std::string& path) {
    const Root directory(path);
    if (directory.TypeOf(SiteLayout::kSettings) != 0) {
        ReferTo(path, "a site", "a file below its meta/<digit>/<share id>");
    }
    if (directory.TypeOf("head") != 0 && directory.TypeOf("map") != 0) {
        ReferTo(path, "a share", "a file below its head, or the entry of the same name below map");
    }
}

// The kind that the first bytes of the file name.
const Kind& KindOf(const std::string& path) {
    const refstore::RegularFile file("file", path);
    std::string magic(std::min<std::uint64_t>(8, file.Size()), '\0');
    file.ReadAt(0, std::as_writable_bytes(std::span(magic)));
    const auto* const kind = std::ranges::find(kKinds, magic, &Kind::magic);
    if (kind != kKinds.end()) {
        return *kind;
    }
    // A user file may have this name as well: its header or extent file was recognised above.
    if (path.ends_with(".bin")) {
        ReferTo(path, "the data of a container",
                "its index, " + std::filesystem::path(path).replace_extension(".bhd").native());
    }
    throw terminal::ToolError(
        path +
        ": not a header file, extent file, container index, container image or mapping tables "
        "(bad magic number)");
}

}  // namespace

void Show(const std::string& path, bool json) {
    std::error_code notThere;
    const bool isDirectory = std::filesystem::is_directory(path, notThere);
    if (isDirectory) {
        RefuseSiteOrShare(path);
    }
    const Kind& kind = isDirectory ? kTables : KindOf(path);
    const std::string file = isDirectory ? refstore::TableDirectory::FileIn(path) : path;
    // Nothing is printed when the file does not load: this much stays in the writer's buffer.
    FieldWriter out(json);
    out.Text("kind", kind.what);
    out.Text("path", file);
    kind.show(file, &out);
    out.Finish();
}

}  // namespace jorvshare
