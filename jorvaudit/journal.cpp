#include "jorvaudit/journal.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <ctime>
#include <filesystem>
#include <iterator>
#include <thread>

#include "jorvaudit/report_json.h"
#include "terminal/tool_error.h"

namespace jorvaudit {

using json = nlohmann::ordered_json;

namespace {

// The identity without what was found.
json Asked(json identity) {
    if (identity.is_object()) {
        identity.erase("found");
    }
    return identity;
}

bool IsAt(const std::string& path, const struct stat& file) {
    struct stat there = {};
    return ::stat(path.c_str(), &there) == 0 && there.st_dev == file.st_dev &&
           there.st_ino == file.st_ino;
}

}  // namespace

Journal::Journal(const std::string& directory, const json& identity, bool resume)
    : path_(directory + "/journal"), rawPath_(directory + "/raw/views.txt") {
    try {
        Take(identity, resume);
    } catch (...) {
        ::close(file_);
        throw;
    }
}

void Journal::Take(const json& identity, bool resume) {
    struct stat attributes = {};
    // The audit that held the lock may have ended meanwhile and removed the file that was opened.
    do {
        Open();
        TakeLock();
        if (::fstat(file_, &attributes) != 0) {
            throw terminal::ToolError(terminal::Errno(path_, errno));
        }
    } while (!IsAt(path_, attributes));
    if (attributes.st_size != 0 && !resume) {
        throw terminal::ToolError(path_ +
                                  ": an audit was interrupted here; go on with --resume, or remove "
                                  "the file to begin anew");
    }
    std::filesystem::create_directories(std::filesystem::path(rawPath_).parent_path());
    Read(identity);
    raw_.open(rawPath_, std::ios::binary | std::ios::app);
    if (!raw_) {
        throw terminal::ToolError(terminal::Errno(rawPath_, errno));
    }
}

void Journal::Open() {
    if (file_ >= 0) {
        ::close(file_);
    }
    file_ = ::open(path_.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, S_IRUSR | S_IWUSR);
    if (file_ < 0) {
        throw terminal::ToolError(terminal::Errno(path_, errno));
    }
}

// A child of an audit that was killed a moment ago still holds its lock until it is killed as well.
void Journal::TakeLock() const {
    constexpr std::chrono::milliseconds kPause(20);
    constexpr int kAttempts = 50;
    for (int attempt = 0; ::flock(file_, LOCK_EX | LOCK_NB) != 0; ++attempt) {
        if (attempt == kAttempts) {
            throw terminal::ToolError(path_ + ": another audit is at work in this directory");
        }
        std::this_thread::sleep_for(kPause);
    }
}

Journal::~Journal() {
    ::close(file_);
}

// The last line may be half a line. What was being done then is done again, so it is cut off, and
// so are the checker's lines that belong to it.
void Journal::Read(const json& identity) {
    std::ifstream in(path_, std::ios::binary);
    std::string line;
    std::uint64_t size = 0;
    std::uint64_t rawSize = 0;
    while (std::getline(in, line) && !in.eof()) {
        const json object = json::parse(line, nullptr, false);
        if (object.is_discarded()) {
            break;
        }
        if (size == 0) {
            if (!object.is_object() || !object.contains("audit") || !object.contains("started")) {
                throw terminal::ToolError(path_ + ": not the journal of an audit");
            }
            if (Asked(object.at("audit")) != Asked(identity)) {
                throw terminal::ToolError(
                    path_ +
                    ": the interrupted audit was another one; remove the file "
                    "to begin anew");
            }
            // What is done is of no use once the share or its configuration has changed.
            if (object.at("audit") != identity) {
                break;
            }
            object.at("started").get_to(started_);
        } else {
            try {
                tally_ += object.at("tally").get<Tally>();
                std::ranges::move(object.at("findings").get<std::vector<Finding>>(),
                                  std::back_inserter(findings_));
                object.at("raw").get_to(rawSize);
                done_.insert(GetName(object, "step"));
            } catch (const json::exception&) {
                throw terminal::ToolError(path_ + ": not the journal of an audit");
            }
        }
        size += line.size() + 1;
    }
    std::error_code ignored;
    std::filesystem::resize_file(rawPath_, rawSize, ignored);
    if (::ftruncate(file_, static_cast<off_t>(size)) != 0 || ::lseek(file_, 0, SEEK_END) < 0) {
        throw terminal::ToolError(terminal::Errno(path_, errno));
    }
    if (size == 0) {
        started_ = std::time(nullptr);
        WriteLine({{"audit", identity}, {"started", started_}});
    }
}

void Journal::Add(const std::string& step, const Tally& tally, const std::vector<Finding>& findings,
                  const std::string& raw) {
    if (!(raw_ << raw << std::flush)) {
        throw terminal::ToolError(terminal::Errno(rawPath_, errno));
    }
    json object = {{"tally", tally}, {"findings", findings}};
    PutName(&object, "step", step);
    object["raw"] = static_cast<std::int64_t>(raw_.tellp());
    WriteLine(object);
    done_.insert(step);
    tally_ += tally;
    findings_.insert(findings_.end(), findings.begin(), findings.end());
}

void Journal::WriteLine(const json& object) {
    const std::string line = object.dump(-1, ' ', true) + "\n";
    // Where a part of it was written, the next try says why not all was.
    for (std::string_view rest = line; !rest.empty();) {
        const ssize_t put = ::write(file_, rest.data(), rest.size());
        if (put < 0 && errno != EINTR) {
            throw terminal::ToolError(terminal::Errno(path_, errno));
        }
        rest.remove_prefix(put < 0 ? 0 : static_cast<std::size_t>(put));
    }
}

void Journal::Remove() {
    if (::unlink(path_.c_str()) != 0) {
        throw terminal::ToolError(terminal::Errno(path_, errno));
    }
}

}  // namespace jorvaudit
