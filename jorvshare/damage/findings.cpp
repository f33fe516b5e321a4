#include "jorvshare/damage/findings.h"

namespace jorvshare::damage::finding {

namespace {

constexpr std::uint64_t kFirstContainer = 64;

std::string Summary(const FileNames& names, const refstore::HeaderRecord& header, int code) {
    return "\n[ERROR]: File information, path: " + names.file + " ec: " + std::to_string(code) +
           " [ mtim: " + std::to_string(header.mtime) + " size: " + std::to_string(header.size) +
           " fg: " + std::to_string(header.fg) + " ext: " + names.extents +
           " extl: " + (header.isDev ? "dev" : "local") + " ]";
}

std::string MetaFailed(const FileNames& names) {
    return "\n\n[ERROR]: file meta load failed! " + names.userPath;
}

}  // namespace

std::string CorruptHeader(const std::string& headerPath) {
    return "[ERROR]: header file load failed!\n[ERROR]: corrupt header file " + headerPath +
           " found";
}

std::string CorruptExtent(const std::string& extentPath) {
    return std::string(kExtentLoadFailed) + "\n[ERROR]: corrupt extent file " + extentPath +
           " found";
}

std::string UnlistedDcid(std::uint64_t dcid, const std::string& extentPath) {
    return "[ERROR]: dcidlist file contains dcid which is not in table! " + std::to_string(dcid) +
           "\n[ERROR]: corrupt dcidlist file or table file " + extentPath + " found";
}

std::string UnlistedFingerprint(std::string_view digits) {
    return "[ERROR]: dcidlist file contains fp which is not in table! " + std::string(digits);
}

std::string VerifyFile(const std::string& extentPath) {
    return "Verify file " + extentPath;
}

std::string ProcessFailed(int code) {
    return "[ERROR]: extent file process failed" + std::to_string(code);
}

std::string SeekFailed(const std::string& extentPath) {
    return "[ERROR]: Failed to seek local STU file" + extentPath;
}

std::string ReadFailed(const std::string& extentPath) {
    return "[ERROR]: Failed to read local STU file " + extentPath;
}

std::string ChecksumFailed(const std::string& extentPath) {
    return "[ERROR]: extent file cksum failed " + extentPath;
}

std::string PolicyFailed(const std::string& vcopyPath) {
    return "[JORVCK_VCOPY] Failed to parse policy in " + vcopyPath;
}

std::string BackupTimeFailed(const std::string& vcopyPath) {
    return "[JORVCK_VCOPY] Failed to parse backuptime in " + vcopyPath;
}

std::string ImageFailed(const std::string& image, int code) {
    return "[JORVCK_VCOPY] validating image [" + image +
           "] failed with ret = " + std::to_string(code);
}

std::string CheckingShare(const std::string& sharePath) {
    return "checking sharePath " + sharePath;
}

std::string ImagesValid(const std::string& sharePath) {
    return "[JORVCK_VCOPY] validating vcopy for " + sharePath + "successfully! ";
}

std::string ShareMissing(const std::string& id, const std::string& shareDirectory) {
    // A path object is printed between double quotes, an ampersand before each quote in it.
    std::string quoted = "\"";
    for (const char letter : shareDirectory) {
        if (letter == '"' || letter == '&') {
            quoted += '&';
        }
        quoted += letter;
    }
    return "The share ID " + id + " doesn't exist, meta_dir: " + quoted + "\"";
}

std::vector<std::string> Phases(const std::string& id, int hours) {
    return {"Checking files which are created before " + std::to_string(hours) + " hours in " + id,
            "Loading volumes for " + id,
            "Loading data containers for " + id,
            "Loading headers for " + id,
            "Checking files for " + id,
            "Check files for " + id + " done!"};
}

std::string IndexMissing(const std::string& container) {
    return "[ERROR] bhd " + container + " corrupted";
}

std::string VolumeFailed(const std::string& volume) {
    return "Failed to load data containers from " + volume;
}

std::string HeadersFailed(const std::string& headDirectory) {
    return "Failed to load headers from " + headDirectory;
}

std::string TotalFiles(std::size_t count) {
    return "Total number of file: " + std::to_string(count);
}

std::string Progress(std::size_t done, std::size_t total) {
    return " " + std::to_string(done) + "/" + std::to_string(total);
}

std::string DataCheckFailed(const std::string& file) {
    return "\n[ERROR]: Failed to check data for file: " + file;
}

std::string HeaderLoadFailed(std::string_view reason, const FileNames& names) {
    return "\n[ERROR]: header file load failed! " + std::string(reason) + MetaFailed(names);
}

std::string ExtentsMissing(const FileNames& names, const refstore::HeaderRecord& header) {
    return "\n[ERROR]: extent " + names.extents +
           " doesn't exist! fg: " + std::to_string(header.fg) + Summary(names, header, 4) +
           MetaFailed(names);
}

std::string DataFileMissing(const FileNames& names, const refstore::HeaderRecord& header) {
    return "\n[ERROR]: invalid lmdb data path: '" + names.userPath + "' -22" +
           Summary(names, header, 4);
}

std::string SizesDiffer(const FileNames& names, const refstore::HeaderRecord& header,
                        std::int64_t extentSize) {
    return "\n[ERROR]: File size in header and extent doesn't match, file: " + names.userPath +
           " header size: " + std::to_string(header.size) +
           " extent size: " + std::to_string(extentSize) + Summary(names, header, 6);
}

std::string BadDcid(const FileNames& names, const refstore::HeaderRecord& header,
                    std::uint64_t dcid) {
    const std::string number = std::to_string(dcid);
    return dcid < kFirstContainer ? "\n[ERROR]: unexpected dcid:" + number +
                                        " file: " + names.userPath + Summary(names, header, 9)
                                  : "\n[ERROR]: Cannot find dcid: " + number +
                                        " file: " + names.userPath + Summary(names, header, 7);
}

}  // namespace jorvshare::damage::finding
