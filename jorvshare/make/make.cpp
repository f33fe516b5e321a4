#include "jorvshare/make/make.h"

#include <set>
#include <span>
#include <stdexcept>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "jorvshare/make/json_object.h"
#include "jorvshare/make/recipe_file.h"
#include "jorvshare/site/root.h"
#include "jorvshare/site/site_layout.h"
#include "jorvshare/site/target_directory.h"
#include "refstore/base/regular_file.h"
#include "refstore/config/settings.h"
#include "refstore/container/container_writer.h"
#include "refstore/extent/extent_record.h"
#include "refstore/fingerprint.h"
#include "refstore/fstab/fstab_writer.h"
#include "refstore/header/header_record.h"
#include "refstore/image/image_record.h"
#include "refstore/table/table_directory.h"
#include "refstore/table/table_record.h"
#include "terminal/console.h"
#include "terminal/interrupt.h"
#include "terminal/one_line.h"
#include "terminal/tool_error.h"

namespace jorvshare {

namespace {

constexpr mode_t kDirectoryMode = 0755;
constexpr mode_t kFileMode = 0644;
constexpr std::uint64_t kLargestRecipe = std::uint64_t{1} << 30U;

using Names = std::set<std::string>;

// Refuses a name that is given twice.
void Add(const Json& value, const std::string& name, Names* names) {
    if (!names->insert(name).second) {
        Refuse(value, "is there twice");
    }
}

/// What is built, by its path: a mistake shows before anything is.
class Places {
  public:
    void AddFile(const Json& value, std::string path) {
        if (const auto [file, fresh] = isFile_.try_emplace(path, true); !fresh) {
            Refuse(value, path + (file->second ? " is there twice"
                                               : " is a directory, and files lie below it"));
        }
        while (path.find('/') != std::string::npos) {
            path.resize(path.rfind('/'));
            const auto [directory, fresh] = isFile_.try_emplace(path, false);
            if (directory->second) {
                Refuse(value, path + " is a file, and this one lies below it");
            }
            if (!fresh) {
                return;
            }
        }
    }

  private:
    std::unordered_map<std::string, bool> isFile_;
};

/// One name of a path.
struct Name {
    std::string text;
};

void Into(const Json& value, Name& into) {
    into.text = value.get<std::string>();
    if (!IsPlainName(into.text)) {
        Refuse(value, "must be one component of a path, of at most 255 bytes");
    }
}

/// Goes through a recipe and builds what it says, one thing after the other: all storage units at
/// once may be more than memory holds. Without a root nothing is built.
class Builder {
  public:
    /// @param root  where the site is built; may be null.
    /// @param place what it will be called.
    Builder(const Root* root, std::string place) : root_(root), place_(std::move(place)) {}

    void Build(const Json& recipe) {
        for (const std::string& directory : {layout_.meta, std::string(SiteLayout::kVolumes),
                                             layout_.images, std::string(SiteLayout::kLog)}) {
            MakeDirectories(directory);
        }
        std::vector<Name> volumes;
        std::optional<std::vector<Name>> fstab;
        Names shares;
        const auto readVolumes = [&](const Json& list) {
            Names names;
            for (const Json& volume : ElementsOf(list)) {
                BuildVolume(volume, &volumes.emplace_back());
                Add(volume, volumes.back().text, &names);
            }
        };
        const auto readShares = [&](const Json& list) {
            for (const Json& share : ElementsOf(list)) {
                BuildShare(share, &shares);
            }
        };
        const auto readImages = [&](const Json& list) {
            for (const Json& image : ElementsOf(list)) {
                BuildImage(image);
            }
        };
        ReadObject(recipe, {{"config", [this](const Json& config) { ReadConfig(config); }},
                            {"volumes", readVolumes},
                            {"fstab", fstab},
                            {"shares", readShares},
                            {"images", readImages}});
        std::vector<std::string> listed;
        for (const Name& name : fstab.value_or(volumes)) {
            listed.push_back(Join(place_, SiteLayout::Volume(name.text)));
        }
        WriteText(recipe, layout_.fstab, refstore::EncodeFstab(listed));
        WriteText(recipe, SiteLayout::kSettings, refstore::EncodeSettings(settings_));
    }

    [[nodiscard]] std::uint64_t Shares() const { return shares_; }
    [[nodiscard]] std::uint64_t Files() const { return files_; }

  private:
    void MakeDirectories(const std::string& path) const {
        if (root_ != nullptr) {
            root_->MakeDirectories(path, kDirectoryMode);
        }
    }

    // Writes the bytes that `encode` returns.
    template <typename Encode>
    void Write(const Json& value, const std::string& path, const Encode& encode) {
        terminal::CheckInterrupt();
        if (root_ == nullptr) {
            places_.AddFile(value, path);
            return;
        }
        MakeDirectories(refstore::ParentOf(path));
        root_->Write(path, encode(), kFileMode);
    }

    void WriteText(const Json& value, const std::string& path, const std::string& text) {
        Write(value, path, [&] { return BytesOf(text); });
    }

    void ReadConfig(const Json& value) {
        // A span of 0 is written as it is; the library refuses it.
        ReadObject(value, {{"use_file_ext_map", settings_.useFileExtMap},
                           {"dcid_bloom_enabled", settings_.dcidBloomEnabled},
                           {"table_span_gib", settings_.tableSpanGiB},
                           {"klfs_aware", settings_.klfsAware}});
    }

    void BuildVolume(const Json& value, Name* name) {
        const auto buildContainers = [&](const Json& list) {
            for (const Json& dcid : ElementsOf(list)) {
                BuildContainer(dcid, SiteLayout::Volume(name->text),
                               IntegerFrom<std::uint64_t>(dcid));
            }
        };
        const auto buildFiles = [&](const Json& files) {
            for (const auto& [path, text] : MembersOf(files)) {
                RequireInnerPath(text, path);
                WriteText(text, Join(SiteLayout::Volume(name->text), path),
                          text.get<std::string>());
            }
        };
        const auto begin = [&](const Json& text) {
            Into(text, *name);
            MakeDirectories(SiteLayout::Volume(name->text));
        };
        ReadObject(value, {Field("name", begin).Required(),
                           {"containers", buildContainers},
                           {"files", buildFiles}});
    }

    void BuildContainer(const Json& value, const std::string& volume, std::uint64_t dcid) {
        if (root_ == nullptr) {
            for (const char* const ending : {".bin", ".bhd"}) {
                places_.AddFile(value, Join(volume, std::to_string(dcid) + ending));
            }
            return;
        }
        const std::string text = "container " + std::to_string(dcid) + "\n";
        refstore::ContainerWriter container(root_->At(volume), dcid);
        container.Add(refstore::Fingerprint(BytesOf(text)), BytesOf(text));
        container.Finish();
    }

    void BuildShare(const Json& value, Names* ids) {
        Name id;
        ShareLayout share;
        std::optional<std::string> vcopy;
        const auto begin = [&](const Json& text) {
            Into(text, id);
            if (IsPartialName(id.text)) {
                Refuse(text, "names that end in .partial are reserved for unfinished files");
            }
            Add(text, id.text, ids);
            share = layout_.Share(id.text);
            // The three trees belong to every share, an empty one included.
            for (const std::string& tree : {share.Head(), share.Map(), share.Stu()}) {
                MakeDirectories(tree);
            }
        };
        const auto buildFiles = [&](const Json& list) {
            Names paths;
            for (const Json& file : ElementsOf(list)) {
                const RecipeFile read =
                    ReadFile(file, std::uint64_t{settings_.tableSpanGiB} << 30U);
                Add(file, read.path, &paths);
                BuildFile(file, share, read);
                ++files_;
            }
        };
        ReadObject(value, {Field("id", begin).Required(), {"files", buildFiles}, {"vcopy", vcopy}});
        if (vcopy.has_value()) {
            WriteText(value, share.VcopyFile(), *vcopy);
        }
        ++shares_;
    }

    void BuildFile(const Json& value, const ShareLayout& share, const RecipeFile& file) {
        if (file.header.has_value()) {
            Write(value, share.Head(file.path), [&] {
                refstore::HeaderRecord header = *file.header;
                if (file.defaultExtentLocation) {
                    header.extentLocation = Join(place_, layout_.meta);
                }
                return refstore::EncodeHeader(header);
            });
        }
        if (file.extentFile.has_value()) {
            Write(value, share.Map(file.path), [&] {
                return refstore::EncodeExtents(file.extentFile->transId, file.extentFile->extents);
            });
        }
        if (file.tables.has_value()) {
            Write(value, refstore::TableDirectory::FileIn(share.Map(file.path)),
                  [&] { return refstore::EncodeTables(*file.tables); });
        }
        if (file.storageUnit.has_value()) {
            Write(value, share.Stu(file.path), [&] { return std::span(*file.storageUnit); });
        }
    }

    void BuildImage(const Json& value) {
        Name policy;
        Name time;
        Name name;
        bool damaged = false;
        ReadObject(value, {Field("policy", policy).Required(),
                           Field("time", time).Required(),
                           Field("name", name).Required(),
                           {"damaged", damaged}});
        std::vector<std::byte> bytes =
            refstore::EncodeImage({policy.text, time.text, name.text, {}});
        if (damaged) {
            bytes.at(bytes.size() / 2) ^= std::byte{1};
        }
        Write(value, layout_.Image({policy.text, time.text, name.text}),
              [&] { return std::span(bytes); });
    }

    const Root* root_;
    const std::string place_;
    Places places_;
    const SiteLayout layout_;
    refstore::Settings settings_ = SiteLayout::NewSettings();
    std::uint64_t shares_ = 0;
    std::uint64_t files_ = 0;
};

// Every mistake shows before anything is built.
Json LoadRecipe(const std::string& path) {
    const refstore::FileBytes bytes = refstore::RegularFile("recipe", path).ReadAll(kLargestRecipe);
    try {
        Json recipe = Json::parse(bytes.Text());
        Builder(nullptr, "").Build(recipe);
        return recipe;
    } catch (const Json::exception& error) {
        // "[json.exception.parse_error.101] parse error at line 1, column 2: ..."
        const std::string_view what = error.what();
        throw terminal::ToolError(path + ": " + std::string(what.substr(what.find("] ") + 2)));
    }
}

}  // namespace

void Make(const std::string& recipePath, const std::string& site) {
    const Json recipe = LoadRecipe(recipePath);
    TargetDirectory target(site, kDirectoryMode);
    Builder builder(&target.Tree(), target.Final());
    try {
        builder.Build(recipe);
    } catch (const std::length_error& error) {
        throw terminal::ToolError(recipePath + ": " + error.what());
    }
    target.Commit();
    terminal::PrintSummary(site + ": " + terminal::Count(builder.Shares(), "share", "shares") +
                           ", " + terminal::Count(builder.Files(), "file", "files"));
}

void CheckRecipe(const std::string& path) {
    LoadRecipe(path);
}

}  // namespace jorvshare
