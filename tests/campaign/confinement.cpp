#include "tests/campaign/confinement.h"

#include <sched.h>
#include <unistd.h>

#include <exception>
#include <filesystem>
#include <stdexcept>
#include <thread>
#include <utility>

#include "tests/support/temp_dir.h"

namespace campaign {

namespace {

void Enter(const std::string& directory) {
    if (::chroot(directory.c_str()) != 0 || ::chdir("/") != 0) {
        throw std::runtime_error("cannot make " + directory + " the root");
    }
}

}  // namespace

bool Confinement::IsAllowed() {
    return ::geteuid() == 0;
}

Confinement::Confinement(std::string directory) : directory_(std::move(directory)) {
    // Inside, the directory's own path leads to the root.
    const std::string itself = directory_ + directory_;
    test_support::MakeDirs(std::filesystem::path(itself).parent_path());
    std::filesystem::create_directory_symlink("/", itself);
}

model::Ended Confinement::RunChecker(const model::Invocation& invocation) const {
    model::HowToRun how;
    how.prepare = [this] { Enter(directory_); };
    return model::RunChecker(invocation, how);
}

model::Prediction Confinement::Predict(const model::Invocation& invocation) const {
    model::Prediction predicted;
    std::exception_ptr failure;
    // The root of one thread alone.
    std::jthread([&] {
        try {
            if (::unshare(CLONE_FS) != 0) {
                throw std::runtime_error("unshare failed");
            }
            Enter(directory_);
            predicted = model::Predict(invocation);
        } catch (...) {
            failure = std::current_exception();
        }
    }).join();
    if (failure) {
        std::rethrow_exception(failure);
    }
    return predicted;
}

}  // namespace campaign
