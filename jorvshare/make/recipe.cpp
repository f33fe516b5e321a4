#include <algorithm>
#include <limits>
#include <set>

#include "jorvshare/make/json_node.h"
#include "jorvshare/make/recipe.h"
#include "jorvshare/make/recipe_extents.h"
#include "jorvshare/site/site_layout.h"
#include "refstore/base/regular_file.h"
#include "terminal/tool_error.h"

namespace jorvshare {

namespace {

constexpr std::int64_t kDefaultModified = 1600000000;
constexpr std::uint64_t kLargestRecipe = std::uint64_t{1} << 30U;
constexpr std::int64_t kLargestUnit = std::int64_t{1} << 30U;

bool IsInnerPath(const std::string& path) {
    std::size_t begin = 0;
    while (true) {
        const std::size_t slash = path.find('/', begin);
        const std::size_t length = slash == std::string::npos ? slash : slash - begin;
        if (!IsPlainName(path.substr(begin, length))) {
            return false;
        }
        if (slash == std::string::npos) {
            return true;
        }
        begin = slash + 1;
    }
}

void RequireInnerPath(const JsonNode& node, const std::string& path) {
    if (!IsInnerPath(path)) {
        node.Fail("must be a relative path without empty parts, \".\", \"..\" or NUL bytes");
    }
}

std::string ReadName(const JsonNode& node) {
    std::string name = node.Text();
    if (!IsPlainName(name)) {
        node.Fail("must be one name of a path, of at most 255 bytes");
    }
    return name;
}

std::string ReadShareId(const JsonNode& node) {
    std::string id = ReadName(node);
    try {
        CheckShareId(id);
    } catch (const terminal::ToolError& error) {
        node.Fail(error.Message());
    }
    return id;
}

refstore::Settings ReadConfig(const JsonNode& node) {
    node.RequireKeys({"use_file_ext_map", "dcid_bloom_enabled", "table_span_gib", "klfs_aware"});
    refstore::Settings settings = SiteLayout::NewSettings();
    if (const auto value = node.Find("use_file_ext_map"); value.has_value()) {
        using Limits = std::numeric_limits<std::int32_t>;
        settings.useFileExtMap =
            static_cast<std::int32_t>(value->Signed(Limits::min(), Limits::max()));
    }
    if (const auto value = node.Find("dcid_bloom_enabled"); value.has_value()) {
        settings.dcidBloomEnabled = value->Bool();
    }
    if (const auto value = node.Find("table_span_gib"); value.has_value()) {
        // 0 is written as told; it is for the library to refuse.
        settings.tableSpanGiB =
            static_cast<std::uint32_t>(value->Signed(0, std::numeric_limits<std::uint32_t>::max()));
    }
    if (const auto value = node.Find("klfs_aware"); value.has_value()) {
        settings.klfsAware = value->Bool();
    }
    return settings;
}

/// Names that stand for one thing each.
class Names {
  public:
    void Add(const JsonNode& node, const std::string& name) {
        if (!names_.insert(name).second) {
            node.Fail("is there twice");
        }
    }

  private:
    std::set<std::string> names_;
};

RecipeVolume ReadVolume(const JsonNode& node) {
    node.RequireKeys({"name", "containers", "files"});
    RecipeVolume volume;
    volume.name = ReadName(node.At("name"));
    if (const auto containers = node.Find("containers"); containers.has_value()) {
        Names dcids;
        for (const JsonNode& dcid : containers->Elements()) {
            dcids.Add(dcid, std::to_string(dcid.Unsigned()));
            volume.containers.push_back(dcid.Unsigned());
        }
    }
    if (const auto files = node.Find("files"); files.has_value()) {
        for (const std::string& path : files->Keys()) {
            const JsonNode text = files->At(path);
            RequireInnerPath(text, path);
            volume.files.emplace(path, text.Text());
        }
    }
    return volume;
}

std::vector<std::byte> ReadStorageUnit(const JsonNode& node) {
    node.RequireKeys({"repeat", "hex", "text"});
    if (node.Keys().size() != 1) {
        node.Fail("must have one of the keys \"repeat\", \"hex\" and \"text\"");
    }
    if (const auto hex = node.Find("hex"); hex.has_value()) {
        return hex->HexBytes();
    }
    std::vector<std::byte> bytes;
    if (const auto text = node.Find("text"); text.has_value()) {
        const std::string letters = text->Text();
        const auto view = std::as_bytes(std::span(letters));
        bytes.assign(view.begin(), view.end());
        return bytes;
    }
    const auto parts = node.At("repeat").Elements(2);
    const std::vector<std::byte> pattern = parts[0].HexBytes();
    const std::int64_t count = parts[1].Signed(
        0, kLargestUnit / std::max<std::int64_t>(1, static_cast<std::int64_t>(pattern.size())));
    bytes.reserve(pattern.size() * static_cast<std::size_t>(count));
    for (std::int64_t i = 0; i < count; ++i) {
        bytes.insert(bytes.end(), pattern.begin(), pattern.end());
    }
    return bytes;
}

// End of the last extent that stands in the recipe for a file, 0 without extents. A file has an
// extent file or tables.
std::int64_t LastEnd(const RecipeFile& file) {
    std::uint64_t end = 0;
    if (file.tables.has_value()) {
        for (const refstore::TableRecord& table : file.tables->tables) {
            end = table.extents.empty() ? end : table.extents.back().end;
        }
    }
    if (file.extentFile.has_value() && !file.extentFile->extents.empty()) {
        end = file.extentFile->extents.back().end;
    }
    return static_cast<std::int64_t>(end);
}

void ReadHeader(const JsonNode& node, RecipeFile* file) {
    node.RequireKeys({"trans_id", "size", "mtime", "fg", "is_dev", "extent_location"});
    refstore::HeaderRecord header;
    header.size = LastEnd(*file);
    header.mtime = kDefaultModified;
    if (const auto value = node.Find("trans_id"); value.has_value()) {
        header.transId = value->Signed();
    }
    if (const auto value = node.Find("size"); value.has_value()) {
        header.size = value->Signed();
    }
    if (const auto value = node.Find("mtime"); value.has_value()) {
        header.mtime = value->Signed();
    }
    if (const auto value = node.Find("fg"); value.has_value()) {
        header.fg = value->Unsigned();
    }
    if (const auto value = node.Find("is_dev"); value.has_value()) {
        header.isDev = value->Bool();
    }
    if (const auto value = node.Find("extent_location"); value.has_value()) {
        header.extentLocation = value->Text();
        file->defaultExtentLocation = false;
    }
    file->header = std::move(header);
}

RecipeFile ReadFile(const JsonNode& node, std::uint64_t tableSpan) {
    node.RequireKeys({"path", "header", "extent_file", "tables", "stu"});
    RecipeFile file;
    file.path = node.At("path").Text();
    RequireInnerPath(node.At("path"), file.path);
    if (const auto unit = node.Find("stu"); unit.has_value()) {
        file.storageUnit = ReadStorageUnit(*unit);
    }
    ExtentContext context{file.path, {}, tableSpan};
    if (file.storageUnit.has_value()) {
        context.storageUnit = *file.storageUnit;
    }
    const auto extentFile = node.Find("extent_file");
    if (extentFile.has_value()) {
        extentFile->RequireKeys({"trans_id", "extents"});
        file.extentFile.emplace();
        if (const auto extents = extentFile->Find("extents"); extents.has_value()) {
            file.extentFile->extents = ReadExtents(*extents, context);
        }
    }
    const auto tables = node.Find("tables");
    if (tables.has_value()) {
        if (extentFile.has_value()) {
            tables->Fail("a file has an extent file or tables, not both");
        }
        tables->RequireKeys({"file_size", "tables"});
        file.tables.emplace();
        if (const auto list = tables->Find("tables"); list.has_value()) {
            file.tables->tables = ReadTables(*list, context);
        }
    }
    // What a header defaults to comes from the extents, and the other way round.
    if (const auto header = node.Find("header"); header.has_value()) {
        ReadHeader(*header, &file);
    }
    if (extentFile.has_value()) {
        const auto transId = extentFile->Find("trans_id");
        file.extentFile->transId = transId.has_value()       ? transId->Signed()
                                   : file.header.has_value() ? file.header->transId
                                                             : 1;
    }
    if (tables.has_value()) {
        const auto size = tables->Find("file_size");
        file.tables->fileSize = size.has_value()          ? size->Signed()
                                : file.header.has_value() ? file.header->size
                                                          : LastEnd(file);
    }
    return file;
}

RecipeShare ReadShare(const JsonNode& node, std::uint64_t tableSpan) {
    node.RequireKeys({"id", "files", "vcopy"});
    RecipeShare share;
    share.id = ReadShareId(node.At("id"));
    if (const auto files = node.Find("files"); files.has_value()) {
        Names paths;
        for (const JsonNode& file : files->Elements()) {
            share.files.push_back(ReadFile(file, tableSpan));
            paths.Add(file.At("path"), share.files.back().path);
        }
    }
    if (const auto vcopy = node.Find("vcopy"); vcopy.has_value()) {
        share.vcopy = vcopy->Text();
    }
    return share;
}

RecipeImage ReadImage(const JsonNode& node) {
    node.RequireKeys({"policy", "time", "name", "damaged"});
    RecipeImage image;
    image.record.policy = ReadName(node.At("policy"));
    image.record.backupTime = ReadName(node.At("time"));
    image.record.name = ReadName(node.At("name"));
    if (const auto damaged = node.Find("damaged"); damaged.has_value()) {
        image.damaged = damaged->Bool();
    }
    return image;
}

Recipe ReadRecipe(const JsonNode& root) {
    root.RequireKeys({"config", "volumes", "fstab", "shares", "images"});
    Recipe recipe;
    recipe.settings = SiteLayout::NewSettings();
    if (const auto config = root.Find("config"); config.has_value()) {
        recipe.settings = ReadConfig(*config);
    }
    if (const auto volumes = root.Find("volumes"); volumes.has_value()) {
        Names names;
        for (const JsonNode& volume : volumes->Elements()) {
            recipe.volumes.push_back(ReadVolume(volume));
            names.Add(volume.At("name"), recipe.volumes.back().name);
        }
    }
    if (const auto fstab = root.Find("fstab"); fstab.has_value()) {
        for (const JsonNode& name : fstab->Elements()) {
            recipe.fstab.push_back(ReadName(name));
        }
    } else {
        for (const RecipeVolume& volume : recipe.volumes) {
            recipe.fstab.push_back(volume.name);
        }
    }
    if (const auto shares = root.Find("shares"); shares.has_value()) {
        Names ids;
        for (const JsonNode& share : shares->Elements()) {
            recipe.shares.push_back(
                ReadShare(share, std::uint64_t{recipe.settings.tableSpanGiB} << 30U));
            ids.Add(share.At("id"), recipe.shares.back().id);
        }
    }
    if (const auto images = root.Find("images"); images.has_value()) {
        Names paths;
        for (const JsonNode& image : images->Elements()) {
            recipe.images.push_back(ReadImage(image));
            const refstore::ImageRecord& record = recipe.images.back().record;
            paths.Add(image, record.policy + "/" + record.backupTime + "/" + record.name);
        }
    }
    return recipe;
}

}  // namespace

Recipe LoadRecipe(const std::string& path) {
    const refstore::RegularFile file("recipe", path);
    const refstore::FileBytes bytes = file.ReadAll(kLargestRecipe);
    std::string text(bytes.size, '\0');
    std::transform(bytes.Span().begin(), bytes.Span().end(), text.begin(),
                   [](std::byte byte) { return std::to_integer<char>(byte); });
    const nlohmann::json document = ParseJson(path, text);
    return ReadRecipe(JsonNode(path, document));
}

}  // namespace jorvshare
