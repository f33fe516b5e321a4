#include "jorvshare/site/undo.h"

#include <unistd.h>

#include <exception>
#include <utility>

#include "jorvshare/site/directory.h"

namespace jorvshare {

Undo::~Undo() {
    while (!actions_.empty()) {
        try {
            actions_.back()();
        } catch (const std::exception&) {
            // The failure that made the run go back is the one to report.
        }
        actions_.pop_back();
    }
}

void Undo::RemoveTree(std::string path) {
    actions_.emplace_back([path = std::move(path)] { jorvshare::RemoveTree(path); });
}

void Undo::RemoveDirectory(std::string path) {
    actions_.emplace_back([path = std::move(path)] { ::rmdir(path.c_str()); });
}

void Undo::Run(std::function<void()> action) {
    actions_.push_back(std::move(action));
}

}  // namespace jorvshare
