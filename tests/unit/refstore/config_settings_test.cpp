#include "refstore/config/settings.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <optional>

#include "storage/exception.h"
#include "tests/support/temp_dir.h"

namespace {

namespace fs = std::filesystem;

using Corvane::Kst::Marlow::Jorv::Exception;
using Corvane::Kst::Marlow::Jorv::SysException;
using refstore::ReadSettings;
using refstore::Settings;
using test_support::TempDir;
using test_support::WriteFile;

// What reading the file says; nothing when it is read. Only the base type is let through.
std::optional<std::string> Refusal(const std::string& path) {
    try {
        ReadSettings(path);
        return std::nullopt;
    } catch (const SysException&) {
        ADD_FAILURE() << "a SysException would be taken for a finding";
        return std::nullopt;
    } catch (const Exception& failure) {
        return failure.what();
    }
}

TEST(Settings, AMissingFileIsRefused) {
    const TempDir dir;
    fs::create_symlink("nowhere", dir / "dangling");
    for (const std::string& path : {dir / "missing", dir / "no/such/dir", dir / "dangling"}) {
        EXPECT_EQ(Refusal(path), path + ": No such file or directory");
    }
}

TEST(Settings, TheLayoutMustBeSaidAndTheOtherKeysHaveDefaults) {
    const TempDir dir;
    for (const char* const text : {"", "# use_file_ext_map = 0\n", "meta_dir = '/m'\n"}) {
        WriteFile(dir / "c", text);
        EXPECT_EQ(Refusal(dir / "c"), (dir / "c") + ": use_file_ext_map is missing");
    }
    WriteFile(dir / "c", "use_file_ext_map = 0\n");
    const Settings settings = ReadSettings(dir / "c");
    EXPECT_EQ(settings.useFileExtMap, 0);
    EXPECT_FALSE(settings.dcidBloomEnabled);
    EXPECT_EQ(settings.tableSpanGiB, 1U);
    EXPECT_FALSE(settings.klfsAware);
    EXPECT_EQ(settings.klfsPrefixes, std::vector<std::string>{});
    EXPECT_EQ(settings.metaDir, "/var/lib/jorv/meta");
    EXPECT_EQ(settings.storageFstab, "/etc/jorv/fstab");
    EXPECT_EQ(settings.logFile, "/var/log/jorv/jorv.log");
    EXPECT_EQ(settings.imageRoot, "");
}

TEST(Settings, EveryKeyIsRead) {
    const TempDir dir;
    WriteFile(dir / "c",
              "use_file_ext_map = 1\ndcid_bloom_enabled = true\ntable_span_gib = 4\n"
              "klfs_aware = true\nklfs_prefixes = ['/k', 'l/m']\nmeta_dir = '/m'\n"
              "storage_fstab = \"f\"\nlog_file = '../l'\nimage_root = './i'\n");
    const Settings settings = ReadSettings(dir / "c");
    EXPECT_EQ(settings.useFileExtMap, 1);
    EXPECT_TRUE(settings.dcidBloomEnabled);
    EXPECT_EQ(settings.tableSpanGiB, 4U);
    EXPECT_TRUE(settings.klfsAware);
    EXPECT_EQ(settings.klfsPrefixes, (std::vector<std::string>{"/k", dir / "l/m"}));
    EXPECT_EQ(settings.metaDir, "/m");
    EXPECT_EQ(settings.storageFstab, dir / "f");
    EXPECT_EQ(settings.logFile, dir / "../l");
    EXPECT_EQ(settings.imageRoot, dir / "./i");
}

TEST(Settings, AnEmptyImageRootIsNone) {
    const TempDir dir;
    WriteFile(dir / "c", "use_file_ext_map = 0\nlog_file = 'log'\nimage_root = ''\n");
    EXPECT_EQ(ReadSettings(dir / "c").imageRoot, "");
}

TEST(Settings, AFileNamedWithoutADirectoryIsInTheCurrentOne) {
    const TempDir dir;
    WriteFile(dir / "c", "use_file_ext_map = 0\nmeta_dir = 'm'\n");
    const fs::path before = fs::current_path();
    fs::current_path(dir.Path());
    const Settings settings = ReadSettings("c");
    fs::current_path(before);
    EXPECT_EQ(settings.metaDir, "m");
}

TEST(Settings, ValuesAtTheirLimitsAreRead) {
    const TempDir dir;
    WriteFile(dir / "c", "use_file_ext_map = -2147483648\ntable_span_gib = 4294967295\n");
    EXPECT_EQ(ReadSettings(dir / "c").useFileExtMap, -2147483647 - 1);
    EXPECT_EQ(ReadSettings(dir / "c").tableSpanGiB, 4294967295U);
    WriteFile(dir / "c", "use_file_ext_map = 2147483647\ntable_span_gib = 1\n");
    EXPECT_EQ(ReadSettings(dir / "c").useFileExtMap, 2147483647);
}

struct BadText {
    const char* text;
    const char* says;  // after the path
};

TEST(Settings, ABrokenRuleIsRefusedWithItsLine) {
    const TempDir dir;
    const std::vector<BadText> texts = {
        {"\n\nspan = 1\n", ":3: unknown key 'span'"},
        {"Meta_dir = '/m'\n", ":1: unknown key 'Meta_dir'"},
        {"\"a\\nb\" = 1\n", ":1: unknown key 'a?b'"},
        {"\n[section]\nklfs_aware = true\n", ":2: unknown key 'section'"},
        {"meta_dir.x = 1\n", ":1: meta_dir must be a path: a text, not empty, without NUL"},
        {"table_span_gib = 0\n", ":1: table_span_gib must be an integer from 1 to 4294967295"},
        {"table_span_gib = -1\n", ":1: table_span_gib must be an integer from 1 to 4294967295"},
        {"table_span_gib = 4294967296\n",
         ":1: table_span_gib must be an integer from 1 to 4294967295"},
        {"table_span_gib = 1.0\n", ":1: table_span_gib must be an integer from 1 to 4294967295"},
        {"table_span_gib = '1'\n", ":1: table_span_gib must be an integer from 1 to 4294967295"},
        {"use_file_ext_map = 2147483648\n",
         ":1: use_file_ext_map must be an integer from -2147483648 to 2147483647"},
        {"use_file_ext_map = -2147483649\n",
         ":1: use_file_ext_map must be an integer from -2147483648 to 2147483647"},
        {"use_file_ext_map = true\n",
         ":1: use_file_ext_map must be an integer from -2147483648 to 2147483647"},
        {"dcid_bloom_enabled = 1\n", ":1: dcid_bloom_enabled must be true or false"},
        {"klfs_aware = 'true'\n", ":1: klfs_aware must be true or false"},
        {"klfs_prefixes = '/k'\n", ":1: klfs_prefixes must be a list of paths"},
        {"klfs_prefixes = [\n  '/k',\n  5\n]\n",
         ":3: each of klfs_prefixes must be a path: a text, not empty, without NUL"},
        {"klfs_prefixes = ['']\n",
         ":1: each of klfs_prefixes must be a path: a text, not empty, without NUL"},
        {"meta_dir = ''\n", ":1: meta_dir must be a path: a text, not empty, without NUL"},
        {"storage_fstab = \"a\\u0000b\"\n",
         ":1: storage_fstab must be a path: a text, not empty, without NUL"},
        {"log_file = 1\n", ":1: log_file must be a path: a text, not empty, without NUL"},
        {"image_root = []\n", ":1: image_root must be a path: a text, not empty, without NUL"},
        // The log would be written into a share.
        {"meta_dir = '/m'\nlog_file = '/m/log'\n",
         ":2: log_file lies inside meta_dir, and shares are not written to"},
        {"log_file = '/m/log'\nmeta_dir = '/m'\n",
         ":1: log_file lies inside meta_dir, and shares are not written to"},
        {"meta_dir = 'm'\nlog_file = 'x/../m/./log'\n",
         ":2: log_file lies inside meta_dir, and shares are not written to"},
        {"meta_dir = '/m/'\nlog_file = '/m'\n",
         ":2: log_file lies inside meta_dir, and shares are not written to"},
        {"image_root = '/i'\nlog_file = '/i/p/../log'\n",
         ":2: log_file lies inside image_root, and shares are not written to"},
        {"\nimage_root = '/var/log'\n",
         ":2: log_file lies inside image_root, and shares are not written to"},
        {"\nmeta_dir = '/'\n", ":2: log_file lies inside meta_dir, and shares are not written to"},
        // Of several faults the first one is named.
        {"zeta = 1\nalpha = 1\n", ":1: unknown key 'zeta'"},
        {"table_span_gib = 2\ntable_span_gib = 3\n",
         ":2: Error while parsing key-value pair: cannot redefine existing integer "
         "'table_span_gib'"},
        {"meta_dir = \n", ":1: Error while parsing key-value pair: expected value, saw '\\n'"},
        {"a = 1\nb\n", ":2: Error while parsing key-value pair: expected '=', saw '\\n'"},
        {"a = [}\n", ":1: Error while parsing value: could not determine value type"},
        {"a = 'x\n",
         ":1: Error while parsing literal string: control characters other than TAB (U+0009) are "
         "explicitly prohibited"},
        {"a = '\xff'\n", ":1: Encountered invalid utf-8 sequence"},
        {"use_file_ext_map = 99999999999999999999\n",
         ":1: Error while parsing decimal integer: '99999999999999999999' is not representable in "
         "64 bits"}};
    for (const BadText& bad : texts) {
        WriteFile(dir / "c", bad.text);
        EXPECT_EQ(Refusal(dir / "c"), (dir / "c") + bad.says);
    }
}

TEST(Settings, ALogBesideTheSharesIsFine) {
    const TempDir dir;
    for (const char* const text :
         {"meta_dir = '/m'\nlog_file = '/ml/log'\n", "meta_dir = '/m'\nlog_file = '/m/../log'\n",
          "image_root = '/i'\nlog_file = '/il/log'\n"}) {
        WriteFile(dir / "c", std::string("use_file_ext_map = 0\n") + text);
        EXPECT_EQ(Refusal(dir / "c"), std::nullopt);
    }
}

TEST(Settings, ANulInTheTextIsRefused) {
    const TempDir dir;
    WriteFile(dir / "c", std::string_view("klfs_aware = true\n\0\n", 20));
    const std::optional<std::string> refusal = Refusal(dir / "c");
    ASSERT_TRUE(refusal.has_value());
    EXPECT_EQ(refusal->substr(0, (dir / "c").size() + 4), (dir / "c") + ":2: ");
}

TEST(Settings, AFileThatIsThereAndCannotBeReadIsRefused) {
    const TempDir dir;
    EXPECT_EQ(Refusal(dir.Path()), dir.Path() + ": Is a directory");
    const std::string fifo = dir / "fifo";
    ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
    EXPECT_EQ(Refusal(fifo), fifo + ": not a regular file");
    EXPECT_EQ(Refusal("/dev/null"), "/dev/null: not a regular file");
    const std::string loop = dir / "loop";
    fs::create_symlink("loop", loop);
    EXPECT_EQ(Refusal(loop), loop + ": Too many levels of symbolic links");
    const std::string file = dir / "file";
    WriteFile(file, "");
    EXPECT_EQ(Refusal(file + "/c"), file + "/c: Not a directory");
    ASSERT_EQ(::chmod(file.c_str(), 0), 0);
    const bool root = ::geteuid() == 0;
    if (root) {
        ASSERT_EQ(::seteuid(65534), 0);
    }
    const std::optional<std::string> refusal = Refusal(file);
    if (root) {
        ASSERT_EQ(::seteuid(0), 0);
    }
    EXPECT_EQ(refusal, file + ": Permission denied");
}

TEST(Settings, AHugeFileIsRefused) {
    const TempDir dir;
    WriteFile(dir / "c", "");
    fs::resize_file(dir / "c", 65537);
    EXPECT_EQ(Refusal(dir / "c"), (dir / "c") + ": File too large");
}

TEST(Settings, AWrittenTextCutShortIsRefused) {
    const TempDir dir;
    const std::string text =
        refstore::EncodeSettings({.klfsPrefixes = {"/k", "l"}, .metaDir = "/m\n"});
    ASSERT_TRUE(text.ends_with("use_file_ext_map = 0\n"));
    for (std::size_t length = 0; length + 1 < text.size(); ++length) {
        WriteFile(dir / "c", text.substr(0, length));
        const std::optional<std::string> refusal = Refusal(dir / "c");
        ASSERT_TRUE(refusal.has_value()) << length;
        EXPECT_EQ(refusal->find('\n'), std::string::npos);
        EXPECT_EQ(refusal->substr(0, (dir / "c").size() + 1), (dir / "c") + ":");
    }
    WriteFile(dir / "c", text);
    EXPECT_EQ(Refusal(dir / "c"), std::nullopt);
}

// How deep a text is nested: brackets and, in each of them, the dots of its keys.
TEST(Settings, NestingToTheLimitIsReadAndDeeperNestingIsNot) {
    const TempDir dir;
    const auto refusal = [&dir](const std::string& text) {
        WriteFile(dir / "c", text);
        return Refusal(dir / "c")->substr((dir / "c").size());
    };
    const auto arrays = [](std::size_t depth) {
        return std::string(depth, '[') + std::string(depth, ']');
    };
    const auto keys = [](int dots) {
        std::string text = "a";
        for (; dots > 0; --dots) {
            text += ".a";
        }
        return text;
    };
    EXPECT_EQ(refusal("x = " + arrays(16)), ":1: unknown key 'x'");
    EXPECT_EQ(refusal("\nx = " + arrays(17)), ":2: nested too deeply");
    EXPECT_EQ(refusal("a = \"\"\"b\\\n\\\\\n\"\"\"\nx = " + arrays(17)), ":4: nested too deeply");
    EXPECT_EQ(refusal(keys(16) + " = 1"), ":1: unknown key 'a'");
    EXPECT_EQ(refusal(keys(17) + " = 1"), ":1: nested too deeply");
    EXPECT_EQ(refusal("[" + keys(16) + "]"), ":1: nested too deeply");
    EXPECT_EQ(refusal("x = {" + keys(8) + " = {" + keys(6) + " = 1}}"), ":1: unknown key 'x'");
    EXPECT_EQ(refusal("x = {" + keys(8) + " = {" + keys(7) + " = 1}}"), ":1: nested too deeply");
    // Beside one another they nest nothing.
    std::string many = "x = [";
    for (int i = 0; i < 100; ++i) {
        many += "[1.5], {a.b = 2.5},\n";
    }
    EXPECT_EQ(refusal(many + "]"), ":1: unknown key 'x'");
    // 529 bytes that took a quarter of a megabyte of stack, and as many as a file has.
    EXPECT_EQ(refusal("x=" + std::string(527, '[')), ":1: nested too deeply");
    EXPECT_EQ(refusal(std::string(65536, '[')), ":1: nested too deeply");
}

TEST(Settings, BracketsInStringsAndCommentsDoNotNest) {
    const TempDir dir;
    const std::string many(100, '[');
    WriteFile(dir / "c", "use_file_ext_map = 0 # " + many + "\nklfs_prefixes = ['" + many +
                             R"(', "\")" + many + R"(", """)" + "\n" + many + R"(""""", ''')" +
                             many + "''', \"\"]\n");
    EXPECT_EQ(Refusal(dir / "c"), (dir / "c") +
                                      ":3: each of klfs_prefixes must be a path: a text, "
                                      "not empty, without NUL");
    // What ends a string is seen: brackets after it count.
    for (const char* const text : {"''''x'''", R"(""""x""")", R"("""x"""")", R"("""x""""")", "'#'",
                                   R"("'")", R"("""\"""""")", "''", R"("")", R"("\\")"}) {
        WriteFile(dir / "c", std::string("x = [") + text + ", " + many);
        EXPECT_EQ(Refusal(dir / "c"), (dir / "c") + ":1: nested too deeply") << text;
    }
}

}  // namespace
