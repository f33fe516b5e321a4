#include "jorvshare/make/make.h"

#include <span>
#include <stdexcept>

#include "jorvshare/make/recipe.h"
#include "jorvshare/report/wording.h"
#include "jorvshare/site/bytes_of.h"
#include "jorvshare/site/directory.h"
#include "jorvshare/site/site_layout.h"
#include "jorvshare/site/target_directory.h"
#include "refstore/base/file_writer.h"
#include "refstore/config/settings.h"
#include "refstore/container/container_writer.h"
#include "refstore/extent/extent_record.h"
#include "refstore/fingerprint.h"
#include "refstore/fstab/fstab_writer.h"
#include "refstore/header/header_record.h"
#include "refstore/image/image_record.h"
#include "refstore/table/table_directory.h"
#include "terminal/interrupt.h"
#include "terminal/tool_error.h"

namespace jorvshare {

namespace {

void WriteBelow(const std::string& path, std::span<const std::byte> bytes) {
    terminal::CheckInterrupt();
    MakeDirectories(ParentOf(path));
    refstore::WriteNewFile(path, bytes);
}

/// Writes one recipe. `now` is where the site is built, `later` what it will be called.
class Builder {
  public:
    Builder(const Recipe& recipe, std::string now, std::string later)
        : recipe_(recipe), now_(std::move(now)), later_(std::move(later)) {}

    void Build() {
        MakeDirectory(now_.MetaRoot());
        MakeDirectory(now_.VolumesRoot());
        MakeDirectory(now_.ImagesRoot());
        MakeDirectory(now_.LogDir());
        WriteConfiguration();
        for (const RecipeVolume& volume : recipe_.volumes) {
            WriteVolume(volume);
        }
        for (const RecipeShare& share : recipe_.shares) {
            WriteShare(share);
        }
        for (const RecipeImage& image : recipe_.images) {
            WriteImage(image);
        }
    }

  private:
    void WriteConfiguration() {
        refstore::WriteNewFile(now_.SettingsFile(),
                               BytesOf(refstore::EncodeSettings(recipe_.settings)));
        std::vector<std::string> volumes;
        for (const std::string& name : recipe_.fstab) {
            volumes.push_back(later_.Volume(name));
        }
        refstore::WriteNewFile(now_.Fstab(), BytesOf(refstore::EncodeFstab(volumes)));
    }

    void WriteVolume(const RecipeVolume& volume) {
        const std::string directory = now_.Volume(volume.name);
        MakeDirectory(directory);
        for (const std::uint64_t dcid : volume.containers) {
            const std::string text = "container " + std::to_string(dcid) + "\n";
            refstore::ContainerWriter container(directory, dcid);
            container.Add(refstore::Fingerprint(BytesOf(text)), BytesOf(text));
            container.Finish();
        }
        for (const auto& [path, text] : volume.files) {
            WriteBelow(Join(directory, path), BytesOf(text));
        }
    }

    void WriteShare(const RecipeShare& recipe) {
        MakeDirectories(now_.ShareParent(recipe.id));
        const ShareLayout share = now_.Share(recipe.id);
        MakeDirectory(share.root);
        // The three trees belong to every share, an empty one included.
        for (const std::string& tree : {share.HeadDir(), share.MapDir(), share.StuDir()}) {
            MakeDirectory(tree);
        }
        for (const RecipeFile& file : recipe.files) {
            WriteFile(share, file);
        }
        if (recipe.vcopy.has_value()) {
            refstore::WriteNewFile(share.VcopyFile(), BytesOf(*recipe.vcopy));
        }
    }

    void WriteFile(const ShareLayout& share, const RecipeFile& file) {
        if (file.header.has_value()) {
            refstore::HeaderRecord header = *file.header;
            if (file.defaultExtentLocation) {
                header.extentLocation = later_.MetaRoot();
            }
            WriteBelow(share.Head(file.path), refstore::EncodeHeader(header));
        }
        if (file.extentFile.has_value()) {
            WriteBelow(share.Map(file.path),
                       refstore::EncodeExtents(file.extentFile->transId, file.extentFile->extents));
        }
        if (file.tables.has_value()) {
            WriteBelow(refstore::TableDirectory::FileIn(share.Map(file.path)),
                       refstore::EncodeTables(*file.tables));
        }
        if (file.storageUnit.has_value()) {
            WriteBelow(share.Stu(file.path), *file.storageUnit);
        }
    }

    void WriteImage(const RecipeImage& image) {
        const refstore::ImageRecord& record = image.record;
        std::vector<std::byte> bytes = refstore::EncodeImage(record);
        if (image.damaged) {
            bytes.at(bytes.size() / 2) ^= std::byte{1};
        }
        WriteBelow(now_.Image({record.policy, record.backupTime, record.name}), bytes);
    }

    const Recipe& recipe_;
    const SiteLayout now_;
    const SiteLayout later_;
};

}  // namespace

MakeSummary Make(const std::string& recipePath, const std::string& site) {
    const Recipe recipe = LoadRecipe(recipePath);
    TargetDirectory target(site);
    try {
        Builder(recipe, target.Partial(), target.Final()).Build();
    } catch (const std::length_error& error) {
        throw terminal::ToolError(wording::At(recipePath, error.what()));
    }
    terminal::CheckInterrupt();
    target.Commit();
    MakeSummary summary;
    summary.shares = recipe.shares.size();
    for (const RecipeShare& share : recipe.shares) {
        summary.files += share.files.size();
    }
    return summary;
}

}  // namespace jorvshare
