#include "jorvck/vcopy_check.h"

#include <sys/stat.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <new>

#include "jorvck/console.h"
#include "jorvck/join_text.h"
#include "storage/image.h"
#include "storage/kovfs.h"

namespace Corvane::Kst::Marlow::JorvCk {

namespace {

constexpr const char* kFileSystemName = "KOVFS";
constexpr const char* kVersion = "6.0.0.0";
constexpr std::int32_t kInitFlags = 7;
constexpr std::int32_t kMountFlag = 0x10;

/// The client library is handed this record's address and may keep it, so it lives for the whole
/// run.
KovfsMountRecord kovfs_data_vc;

/// Limits the memory of the lines and records of one vcopy.dat: a sparse file of any size, or a
/// small one with a long policy and many images, would exhaust the machine.
class Budget {
  public:
    /// @throws std::bad_alloc when less than `bytes` is left.
    void Take(std::size_t bytes) {
        if (bytes > left_) {
            throw std::bad_alloc();
        }
        left_ -= bytes;
    }
    void GiveBack(std::size_t bytes) { left_ += bytes; }

  private:
    std::size_t left_ = 256UL << 20U;
};

/// A FIFO would block until a writer comes, and a device may never end: both count as files that
/// cannot be opened.
bool IsFifoOrDevice(const std::string& path) {
    struct stat attributes = {};
    return ::stat(path.c_str(), &attributes) == 0 &&
           (S_ISFIFO(attributes.st_mode) || S_ISCHR(attributes.st_mode) ||
            S_ISBLK(attributes.st_mode));
}

/// Opens the list; the stream is not open when that fails.
std::ifstream OpenList(const std::string& fileName) {
    return IsFifoOrDevice(fileName) ? std::ifstream() : std::ifstream(fileName);
}

/// std::getline within a budget. False when there is no further line or reading failed (see the
/// stream's state).
bool ReadLine(std::istream& file, Budget* budget, std::string* line) {
    std::array<char, 4096> part = {};
    for (;;) {
        file.getline(part.data(), part.size());
        if (file.bad() || (file.gcount() == 0 && line->empty())) {
            return false;
        }
        // The line end is counted and not stored.
        const bool isEnded = file.good();
        const auto count = static_cast<std::size_t>(file.gcount()) - (isEnded ? 1 : 0);
        budget->Take(count);
        line->append(part.data(), count);
        if (isEnded || file.eof()) {
            return true;
        }
        // The buffer is full and the line goes on.
        file.clear();
    }
}

/// Appends one record per text that ends in a ";". Text after the last ";" is not an image, on
/// purpose: only the ";" makes it one.
void AppendImages(const std::string& policy, const std::string& backupTime,
                  const std::string& imageNames, Budget* budget,
                  std::list<validateImageInfo>* images) {
    std::size_t start = 0;
    for (std::size_t end = imageNames.find(';'); end != std::string::npos;
         end = imageNames.find(';', start)) {
        budget->Take(sizeof(validateImageInfo) + policy.size() + backupTime.size() + end - start);
        images->push_back({policy, backupTime, imageNames.substr(start, end - start)});
        Write(lines::kImage, images->back().imageName);
        start = end + 1;
    }
}

bool Mount() {
    kovfs_data_vc = {};
    kovfs_data_vc.flags = kInitFlags;
    if (KovfsInit(kovfs_data_vc.initValue, kovfs_data_vc.initPointer, kInitFlags) < 0) {
        return false;
    }
    kovfs_data_vc.name = kFileSystemName;
    kovfs_data_vc.value4212 = 5;
    kovfs_data_vc.value4200 = 1000;
    std::snprintf(kovfs_data_vc.directory, sizeof kovfs_data_vc.directory, "%s", "/tmp");
    kovfs_data_vc.flags |= kMountFlag;
    return KovfsMountV1(kVersion, &kovfs_data_vc, sizeof kovfs_data_vc) >= 0;
}

/// False at the first image that is not valid; the images after it are deliberately not tried.
bool ValidateImages(const std::list<validateImageInfo>& images) {
    for (const validateImageInfo& image : images) {
        const int result =
            validate_image(image.policy.c_str(), image.backupTime.c_str(), image.imageName.c_str());
        if (result != 0) {
            Write(lines::kImageFailed, image.imageName, result);
            return false;
        }
    }
    return true;
}

}  // namespace

int getImageList(const char* sharePath, std::list<validateImageInfo>* images) {
    const std::string fileName = JoinText(sharePath, "vcopy.dat");
    std::ifstream file = OpenList(fileName);
    if (!file.is_open()) {
        Write(lines::kVcopyNotFound);
        return -1;
    }
    Budget budget;
    for (;;) {
        std::string policy;
        if (!ReadLine(file, &budget, &policy)) {
            if (file.eof()) {
                return 0;
            }
            Write(lines::kParsePolicyFailed, fileName);
            return -1;
        }
        std::string backupTime;
        std::string imageNames;
        // The image list has no text of its own: it shares that of the backup time.
        if (!ReadLine(file, &budget, &backupTime) || !ReadLine(file, &budget, &imageNames)) {
            Write(lines::kParseBackupTimeFailed, fileName);
            return -1;
        }
        AppendImages(policy, backupTime, imageNames, &budget, images);
        budget.GiveBack(policy.size() + backupTime.size() + imageNames.size());
    }
}

void checkVcopy(const char* sharePath) {
    Write(lines::kCheckingSharePath, sharePath);
    std::list<validateImageInfo> images;
    if (getImageList(sharePath, &images) != 0) {
        Write(lines::kParsingFailed);
        return;
    }
    if (!Mount()) {
        Write(lines::kMountFailed);
        return;
    }
    bool isValid = false;
    try {
        isValid = ValidateImages(images);
    } catch (...) {
        // Unmount on every way out; the exception ends the run.
        KovfsUmount(kFileSystemName);
        throw;
    }
    if (KovfsUmount(kFileSystemName) < 0) {
        Write(lines::kUmountFailed);
        return;
    }
    if (isValid) {
        Write(lines::kImagesValidated, sharePath);
    }
}

}  // namespace Corvane::Kst::Marlow::JorvCk
