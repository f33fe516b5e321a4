#include "tests/contract/storage_site.h"
#include "tests/fake/script.h"

namespace contract {
namespace {

constexpr int kDamage = 74;

/// The scripted fake as a site.
class FakeSite final : public StorageSite {
  public:
    FakeSite() {
        script_.UseFileExtMap(kUseFileExtMap);
        script_.DcidBloomEnabled(kDcidBloomEnabled);
        script_.TableSpanGiB(kTableSpanGiB);
        script_.KlfsAware(kKlfsAware);
        script_.klfsPaths.insert(KlfsDirectory());
        script_.Result("validate_image", {2});
    }
    ~FakeSite() override { script_.ExpectNothingLeft(); }
    FakeSite(const FakeSite&) = delete;
    FakeSite& operator=(const FakeSite&) = delete;

    [[nodiscard]] std::string MetaDir() const override { return script_.metaDir; }
    [[nodiscard]] std::string FstabPath() const override { return script_.fstabPath; }
    [[nodiscard]] std::string KlfsDirectory() const override { return "/site/klfs"; }
    [[nodiscard]] std::string Path(const std::string& relative) const override {
        return "/site/" + relative;
    }

    void PutHeader(const std::string& path, const test_support::StoredHeader& header) override {
        script_.headers[path] = header;
    }
    void PutExtentFile(const std::string& path,
                       const test_support::StoredExtentFile& file) override {
        script_.extentFiles[path] = file;
    }
    void PutTables(const std::string& directory,
                   const test_support::StoredTables& tables) override {
        script_.tableDirectories[directory] = tables;
    }
    void PutDirectory(const std::string& /*path*/) override {}
    void PutVolumes(const std::vector<std::string>& mountPaths) override {
        script_.volumes = mountPaths;
    }
    void PutImage(const std::string& policy, const std::string& backupTime,
                  const std::string& name) override {
        script_.Result(ImageKey(policy, backupTime, name), {0});
    }

    void Damage(const std::string& path) override {
        script_.ThrowSys("HeaderFile::Load " + path, kDamage);
        script_.ThrowSys("ExtentFile::Load " + path, kDamage);
    }
    void DamageTables(const std::string& directory) override {
        script_.ThrowSys("BaseFileExtMapMgr::LoadTables " + directory, kDamage);
        script_.Result("CMappingTable::Open " + directory, {kDamage});
    }
    void DamageVolumes() override { script_.Result("VolMgr::LoadGlobalFstab", {kDamage}); }
    void DamageImage(const std::string& policy, const std::string& backupTime,
                     const std::string& name) override {
        script_.Result(ImageKey(policy, backupTime, name), {5});
    }

    [[nodiscard]] std::vector<std::string> LogLines() const override {
        return script_.Calls({"JORV_LOG"});
    }
    [[nodiscard]] std::string Snapshot() const override { return ""; }

  private:
    static std::string ImageKey(const std::string& policy, const std::string& backupTime,
                                const std::string& name) {
        return "validate_image " + policy + " " + backupTime + " " + name;
    }

    storage_fake::Script script_;
};

}  // namespace

std::unique_ptr<StorageSite> StorageSite::Make() {
    return std::make_unique<FakeSite>();
}

}  // namespace contract
