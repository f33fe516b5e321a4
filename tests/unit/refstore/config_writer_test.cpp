#include "refstore/config/settings.h"

#include <gtest/gtest.h>

#include "tests/support/temp_dir.h"

namespace {

using refstore::EncodeSettings;
using refstore::Settings;
using test_support::TempDir;

Settings Reread(const Settings& settings) {
    const TempDir dir;
    test_support::WriteFile(dir / "jorv.toml", EncodeSettings(settings));
    return refstore::ReadSettings(dir / "jorv.toml");
}

// The text that docs/formats/configuration.md shows.
TEST(SettingsWriter, TheTextIsPinned) {
    Settings settings;
    settings.useFileExtMap = 1;
    settings.dcidBloomEnabled = true;
    settings.tableSpanGiB = 2;
    settings.klfsPrefixes = {"/mnt/klfs", "volumes/v1"};
    settings.metaDir = "meta";
    settings.storageFstab = "fstab";
    settings.logFile = "log/jorv.log";
    settings.imageRoot = "images";
    EXPECT_EQ(EncodeSettings(settings),
              R"(# Storage library configuration. Relative paths are relative to this file.

# Mapping tables carry a DCID list and a bloom filter.
dcid_bloom_enabled = true
# Span of file offsets that one mapping table covers, in GiB; 1 and up.
table_span_gib = 2
# Ask whether a file's mapping tables lie on a Klfs volume before opening them.
klfs_aware = false
# Directories that are Klfs volumes.
klfs_prefixes = ["/mnt/klfs", "volumes/v1"]
# Directory that holds the metadata of all shares.
meta_dir = "meta"
# Table of storage volumes, as fstab(5).
storage_fstab = "fstab"
# Log, one line per record; outside of meta_dir.
log_file = "log/jorv.log"
# Directory that holds the container images.
image_root = "images"
# 0: one extent file per user file; else a directory of mapping tables per user file.
use_file_ext_map = 1
)");
}

TEST(SettingsWriter, EveryValueComesBack) {
    Settings settings;
    settings.useFileExtMap = -2147483647 - 1;
    settings.dcidBloomEnabled = true;
    settings.tableSpanGiB = 4294967295;
    settings.klfsAware = true;
    settings.klfsPrefixes = {"/a", "/b c"};
    settings.metaDir = "/m \"quoted\" \\ \n\t\x01\x7f' \xc3\xa4";
    const Settings read = Reread(settings);
    EXPECT_EQ(read.useFileExtMap, settings.useFileExtMap);
    EXPECT_EQ(read.dcidBloomEnabled, true);
    EXPECT_EQ(read.tableSpanGiB, settings.tableSpanGiB);
    EXPECT_EQ(read.klfsAware, true);
    EXPECT_EQ(read.klfsPrefixes, settings.klfsPrefixes);
    EXPECT_EQ(read.metaDir, settings.metaDir);
    EXPECT_EQ(read.storageFstab, settings.storageFstab);
    EXPECT_EQ(read.logFile, settings.logFile);
    EXPECT_EQ(read.imageRoot, settings.imageRoot);
}

}  // namespace
