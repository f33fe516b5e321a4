#include "jorvshare/show/show.h"

#include <sys/stat.h>

#include <array>
#include <cstring>
#include <filesystem>
#include <span>

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
        out->Number("start", extent.start);
        out->Number("end", extent.end);
        out->Number("dcid", extent.dcid);
        out->Number("so_ref", extent.soRef);
        out->Number("cksum", extent.cksum);
        out->Number("data_offset", extent.dataOffset);
        out->Text("fp", HexOf(extent.fp));
        out->EndItem();
    }
    out->EndList();
}

void ShowHeader(const std::string& path, FieldWriter* out) {
    const refstore::HeaderRecord header = refstore::LoadHeaderRecord(path);
    out->Text("kind", refstore::kHeaderKind.what);
    out->Text("path", path);
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
    out->Text("kind", refstore::kExtentFileKind.what);
    out->Text("path", path);
    out->Number("trans_id", record.transId);
    ShowExtentList(record.extents, out);
}

void ShowContainer(const std::string& path, FieldWriter* out) {
    const refstore::ContainerIndex index = refstore::LoadContainerIndex(path);
    out->Text("kind", refstore::kContainerIndexKind.what);
    out->Text("path", path);
    out->Number("dcid", index.dcid);
    out->Number("bin_size", index.binSize);
    out->Number("bin_seal", index.binSeal);
    out->BeginList("entries", index.entries.size());
    for (const refstore::ContainerEntry& entry : index.entries) {
        out->BeginItem();
        out->Number("offset", entry.offset);
        out->Number("length", entry.length);
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
        out->Number("dcid", dcid);
        out->EndItem();
    }
    out->EndList();
}

void ShowTables(const std::string& path, FieldWriter* out) {
    const auto tables = refstore::TableDirectory::Load(path);
    out->Text("kind", "mapping tables");
    out->Text("path", path);
    out->Number("file_size", tables->FileSize());
    out->BeginList("tables", tables->Tables().size());
    for (const refstore::StoredTableView& table : tables->Tables()) {
        out->BeginItem();
        out->Number("offset", table.offset);
        out->Number("end", table.end);
        ShowExtentList(table.extents, out);
        out->BeginList("dcids", table.dcids.size());
        for (const auto& [dcid, second] : table.dcids) {
            out->BeginItem();
            out->Number("dcid", dcid);
            out->Number("second", second);
            out->EndItem();
        }
        out->EndList();
        out->Number("bloom_hashes", table.bloomHashes);
        out->Number("bloom_bits", table.bloomWords.size() * 64);
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

// What is not shown itself, but has parts that are.
[[noreturn]] void ReferTo(const std::string& path, std::string_view what, std::string_view where) {
    throw terminal::ToolError(path + ": " + std::string(what) + "; show " + std::string(where));
}

void ShowDirectory(const std::string& path, FieldWriter* out) {
    const Root directory(path);
    if (directory.TypeOf(SiteLayout::kSettings) != 0) {
        ReferTo(path, "a site", "a file below its meta/<digit>/<share id>");
    }
    if (directory.TypeOf("head") != 0 && directory.TypeOf("map") != 0) {
        ReferTo(path, "a share", "a file below its head, or the entry of the same name below map");
    }
    ShowTables(refstore::TableDirectory::FileIn(path), out);
}

void ShowAny(const std::string& path, FieldWriter* out) {
    struct stat attributes = {};
    if (::stat(path.c_str(), &attributes) == 0 && S_ISDIR(attributes.st_mode)) {
        ShowDirectory(path, out);
        return;
    }
    const std::string magic = ReadMagic(path);
    for (const Kind& kind : kKinds) {
        if (magic == kind.magic) {
            kind.show(path, out);
            return;
        }
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
    FieldWriter out(json);
    ShowAny(path, &out);
    out.Finish();
}

}  // namespace jorvshare
