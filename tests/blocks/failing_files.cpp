#include "tests/blocks/failing_files.h"

#include <sys/mman.h>

#include <algorithm>
#include <cstring>
#include <new>
#include <stdexcept>

namespace blocks {

void Fault::Set(const std::string& path, std::uint64_t block, int times) {
    if (path.size() >= path_.size()) {
        throw std::runtime_error("path too long: " + path);
    }
    std::ranges::copy(path, path_.begin());
    path_.at(path.size()) = '\0';
    block_ = block;
    left_ = times;
    failures_ = 0;
}

std::uint64_t Fault::ReadableFrom(const char* path, std::uint64_t begin, std::uint64_t end) const {
    std::uint64_t readable = begin;
    while (readable < end && !IsFailing(path, readable / kBlock)) {
        readable = std::min(end, (readable / kBlock + 1) * kBlock);
    }
    return readable;
}

bool Fault::Take(const char* path, std::uint64_t block) {
    if (!IsFailing(path, block)) {
        return false;
    }
    if (left_ > 0) {
        --left_;
    }
    ++failures_;
    return true;
}

bool Fault::IsFailing(const char* path, std::uint64_t block) const {
    return left_ != 0 && block_ == block && std::strcmp(path_.data(), path) == 0;
}

FailingFiles::FailingFiles() : fault_(nullptr) {
    void* const shared =
        ::mmap(nullptr, sizeof(Fault), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (shared == MAP_FAILED) {
        throw std::runtime_error("no memory to share");
    }
    fault_ = new (shared) Fault();
}

FailingFiles::~FailingFiles() {
    ::munmap(fault_, sizeof(Fault));
}

void FailingFiles::Fail(const std::string& relative, std::uint64_t block, Times times) {
    fault_->Set("/" + relative, block, times == Times::kOnce ? 1 : -1);
}

void FailingFiles::FailListing(const std::string& relative) {
    fault_->Set("/" + relative, kListing, -1);
}

void FailingFiles::FailNothing() {
    fault_->Set("", 0, 0);
}

std::uint64_t FailingFiles::Failures() const {
    return fault_->Failures();
}

}  // namespace blocks
