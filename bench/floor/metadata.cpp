#include "bench/floor/calls.h"

namespace bench {

namespace {

class Metadata {
  public:
    Metadata(std::string share, bool tables, std::size_t extentBytes)
        : share_(std::move(share)), tables_(tables), extentBytes_(extentBytes) {}

    /// The whole share, each header with its extents.
    void Walk(const std::string& directory, bool heads) {
        List(directory, Statuses::kEach, [&](const char* name, bool isDirectory) {
            const std::string path = directory + "/" + name;
            if (isDirectory) {
                Walk(path, heads || (directory == share_ && std::string(name) == "head"));
            } else if (heads) {
                Pair(path);
            }
            return true;
        });
    }

    /// The map tree, down into the first subdirectory of each directory. Without recursion, as the
    /// checker: a directory is closed before its subdirectory is opened.
    void Chain() {
        std::string below;
        for (bool more = true; more;) {
            more = false;
            std::string next;
            List(share_ + "/map" + below, Statuses::kNone, [&](const char* name, bool isDirectory) {
                const std::string entry = below + "/" + name;
                if (isDirectory) {
                    more = true;
                    next = entry;
                    return false;
                }
                calls_.StatusIfThere(share_ + "/head" + entry);
                if (tables_) {
                    calls_.Status(share_ + "/map" + entry);
                } else {
                    calls_.ReadWhole(share_ + "/map" + entry);
                    calls_.ReadInSteps(share_ + "/stu" + entry, extentBytes_);
                }
                return true;
            });
            below = next;
        }
    }

  private:
    void Pair(const std::string& header) {
        calls_.ReadWhole(header);
        const std::string extents = share_ + "/map" + header.substr(share_.size() + 5);
        if (tables_) {
            // Asked for once by each of the two checks that look into the directory.
            calls_.Status(extents);
            calls_.ReadWhole(extents + "/data.mdb");
            calls_.Status(extents);
        } else {
            calls_.ReadWhole(extents);
        }
    }

    std::string share_;
    bool tables_;
    std::size_t extentBytes_;
    Calls calls_;
};

}  // namespace

void RunMetadata(const std::string& share, bool tables, std::size_t extentBytes) {
    Metadata metadata(share, tables, extentBytes);
    metadata.Walk(share, false);
    metadata.Chain();
}

}  // namespace bench
