#include "jorvck/virtual_copy/image_list.h"

#include <fstream>

#include "jorvck/console/console.h"
#include "jorvck/paths/is_fifo.h"
#include "jorvck/paths/join_text.h"
#include "jorvck/virtual_copy/messages.h"

namespace Corvane::Kst::Marlow::JorvCk {

namespace messages = VirtualCopyMessages;

namespace {

/// Opens the list; the stream is not open when that fails.
std::ifstream OpenList(const std::string& fileName) {
    return IsFifo(fileName) ? std::ifstream() : std::ifstream(fileName);
}

/// Appends one record per text that ends in a ";". What stands behind the last ";" is no image, on
/// purpose: only the ";" makes it one.
void AppendImages(const std::string& policy, const std::string& backupTime,
                  const std::string& imageNames, std::list<validateImageInfo>* images) {
    std::size_t start = 0;
    for (std::size_t end = imageNames.find(';'); end != std::string::npos;
         end = imageNames.find(';', start)) {
        images->push_back({policy, backupTime, imageNames.substr(start, end - start)});
        WriteOutputLine(images->back().imageName);
        start = end + 1;
    }
}

}  // namespace

int getImageList(const char* sharePath, std::list<validateImageInfo>* images) {
    const std::string fileName = JoinText(sharePath, "vcopy.dat");
    std::ifstream file = OpenList(fileName);
    if (!file.is_open()) {
        WriteErrorLine(messages::kFileNotFound);
        return -1;
    }
    for (;;) {
        std::string policy;
        if (!std::getline(file, policy)) {
            if (file.eof()) {
                return 0;
            }
            WriteErrorLine(messages::ParsePolicyFailed(fileName));
            return -1;
        }
        std::string backupTime;
        if (!std::getline(file, backupTime)) {
            WriteErrorLine(messages::ParseBackupTimeFailed(fileName));
            return -1;
        }
        std::string imageNames;
        if (!std::getline(file, imageNames)) {
            // The image list has no text of its own: it shares that of the backup time.
            WriteErrorLine(messages::ParseBackupTimeFailed(fileName));
            return -1;
        }
        AppendImages(policy, backupTime, imageNames, images);
    }
}

}  // namespace Corvane::Kst::Marlow::JorvCk
