#include <string_view>

#include "refstore/config/settings.h"

namespace refstore {

namespace {

std::string Quoted(std::string_view path) {
    constexpr std::string_view kDigits = "0123456789ABCDEF";
    std::string text = "\"";
    for (const char c : path) {
        const auto byte = static_cast<unsigned char>(c);
        if (c == '"' || c == '\\') {
            text += '\\';
            text += c;
        } else if (byte < ' ' || byte == 0x7f) {
            text += "\\u00";
            text += kDigits[byte >> 4U];
            text += kDigits[byte & 15U];
        } else {
            text += c;
        }
    }
    return text + "\"";
}

std::string List(const std::vector<std::string>& paths) {
    std::string text = "[";
    for (const std::string& path : paths) {
        text += (text.size() > 1 ? ", " : "") + Quoted(path);
    }
    return text + "]";
}

std::string Flag(bool flag) {
    return flag ? "true" : "false";
}

std::string Line(std::string_view comment, std::string_view key, const std::string& value) {
    std::string text = "# ";
    text.append(comment).append("\n").append(key).append(" = ").append(value).append("\n");
    return text;
}

}  // namespace

std::string EncodeSettings(const Settings& settings) {
    std::string text =
        "# Storage library configuration. Relative paths are relative to this file.\n\n";
    text += Line("Mapping tables carry a DCID list and a bloom filter.", "dcid_bloom_enabled",
                 Flag(settings.dcidBloomEnabled));
    text += Line("Span of file offsets that one mapping table covers, in GiB; 1 and up.",
                 "table_span_gib", std::to_string(settings.tableSpanGiB));
    text += Line("Ask whether a file's mapping tables lie on a Klfs volume before opening them.",
                 "klfs_aware", Flag(settings.klfsAware));
    text +=
        Line("Directories that are Klfs volumes.", "klfs_prefixes", List(settings.klfsPrefixes));
    text += Line("Directory that holds the metadata of all shares.", "meta_dir",
                 Quoted(settings.metaDir));
    text += Line("Table of storage volumes, as fstab(5).", "storage_fstab",
                 Quoted(settings.storageFstab));
    text += Line("Log, one line per record; outside of meta_dir.", "log_file",
                 Quoted(settings.logFile));
    text += Line("Directory that holds the container images.", "image_root",
                 Quoted(settings.imageRoot));
    // Last, and a file must have it: one that was cut short is noticed.
    text +=
        Line("0: one extent file per user file; else a directory of mapping tables per user file.",
             "use_file_ext_map", std::to_string(settings.useFileExtMap));
    return text;
}

}  // namespace refstore
