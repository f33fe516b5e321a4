#include "tests/support/temp_dir.h"

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <system_error>

namespace test_support {

namespace fs = std::filesystem;

TempDir::TempDir() {
    std::string pattern = (fs::temp_directory_path() / "jorv-XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr) {
        throw std::system_error(errno, std::generic_category(), pattern);
    }
    if (pattern.find("/head") != std::string::npos) {
        throw std::runtime_error("the temporary path holds /head: " + pattern);
    }
    path_ = pattern;
}

TempDir::~TempDir() {
    std::error_code ignored;
    fs::remove_all(path_, ignored);
}

std::string TempDir::operator/(std::string_view relative) const {
    return path_ + "/" + std::string(relative);
}

void MakeDirs(const std::string& path) {
    fs::create_directories(path);
}

void WriteFile(const std::string& path, std::string_view text) {
    fs::create_directories(fs::path(path).parent_path());
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file.write(text.data(), static_cast<std::streamsize>(text.size()));
    file.close();
    if (!file) {
        throw std::runtime_error("cannot write " + path);
    }
}

void WriteFile(const std::string& path, std::span<const std::byte> bytes) {
    std::string text(bytes.size(), '\0');
    if (!bytes.empty()) {
        std::memcpy(text.data(), bytes.data(), bytes.size());
    }
    WriteFile(path, std::string_view(text));
}

std::string ReadFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        throw std::runtime_error("cannot read " + path);
    }
    return {std::istreambuf_iterator<char>(file), {}};
}

std::vector<std::byte> Bytes(std::string_view text) {
    std::vector<std::byte> bytes(text.size());
    if (!bytes.empty()) {
        std::memcpy(bytes.data(), text.data(), text.size());
    }
    return bytes;
}

std::string Hex(std::span<const std::byte> bytes) {
    static constexpr std::string_view kDigits = "0123456789abcdef";
    std::string text;
    for (const std::byte byte : bytes) {
        text += kDigits[std::to_integer<unsigned>(byte) >> 4U];
        text += kDigits[std::to_integer<unsigned>(byte) & 15U];
    }
    return text;
}

}  // namespace test_support
