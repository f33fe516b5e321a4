#include <algorithm>
#include <filesystem>
#include <iostream>
#include <streambuf>

#include "jorvck/vcopy_check.h"
#include "tests/fuzz/fuzz_input.h"

namespace {

// Takes what the check prints, of which there is a line per image.
class Nowhere : public std::streambuf {
  protected:
    int_type overflow(int_type c) override { return traits_type::not_eof(c); }
    std::streamsize xsputn(const char*, std::streamsize count) override { return count; }
};

// A share whose vcopy.dat is a file in memory.
class Share {
  public:
    Share()
        : path_(std::filesystem::temp_directory_path() /
                ("jorv-fuzz-" + std::to_string(::getpid()))) {
        std::filesystem::create_directory(path_);
        std::filesystem::create_symlink(file_.Put({}), path_ / "vcopy.dat");
        std::cout.rdbuf(&nowhere_);
        std::cerr.rdbuf(&nowhere_);
    }
    ~Share() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
        std::cout.rdbuf(nullptr);
        std::cerr.rdbuf(nullptr);
    }
    Share(const Share&) = delete;
    Share& operator=(const Share&) = delete;

    [[nodiscard]] const char* Put(std::span<const std::byte> bytes) const {
        static_cast<void>(file_.Put(bytes));
        return path_.c_str();
    }

  private:
    fuzz::MemoryFile file_;
    std::filesystem::path path_;
    Nowhere nowhere_;
};

}  // namespace

// The input is a vcopy.dat.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    namespace jorvck = Corvane::Kst::Marlow::JorvCk;
    static const Share share;
    std::list<jorvck::validateImageInfo> images;
    jorvck::getImageList(share.Put(std::as_bytes(std::span(data, size))), &images);
    // One image per semicolon in a third line, and no other.
    const auto semicolons = static_cast<std::size_t>(std::count(data, data + size, ';'));
    if (images.size() > semicolons) {
        std::abort();
    }
    for (const jorvck::validateImageInfo& image : images) {
        if (image.imageName.find_first_of(";\n") != std::string::npos) {
            std::abort();
        }
    }
    return 0;
}
