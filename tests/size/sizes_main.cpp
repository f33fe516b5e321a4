#include <dlfcn.h>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

#include "tests/size/size_site.h"
#include "tests/support/temp_dir.h"

// Shares of sizes that hardly anyone has: whether the checker comes to its end, finds nothing in
// what is sound, and keeps to its memory and its stack.

namespace {

using size_test::SizeSite;

struct Size {
    std::uint64_t files = 0;
    std::uint64_t containers = 0;
    std::uint64_t paths = 0;       ///< bytes of all files' paths in the share
    std::uint64_t largestMap = 0;  ///< bytes
};

/// One share and the mode that it is checked in.
struct Case {
    std::string name;
    bool tables = false;
    bool fileData = false;
    unsigned volumes = 1;
    std::function<Size(const SizeSite&)> make;
};

constexpr std::uint64_t kMillion = 1000000;

/// `count` files in a directory, which ends in a slash.
Size HeadersIn(const SizeSite& site, const std::string& directory, std::uint64_t count) {
    const std::string first = directory + "0";
    site.AddFile(first, 1);
    std::uint64_t paths = first.size();
    for (std::uint64_t i = 1; i < count; ++i) {
        const std::string next = directory + std::to_string(i);
        site.AddSame(next, first);
        paths += next.size();
    }
    site.AddContainers(1000);
    return {.files = count, .containers = 1000, .paths = paths, .largestMap = site.MapBytes(first)};
}

Size Headers(const SizeSite& site, std::uint64_t count) {
    return HeadersIn(site, "d/", count);
}

Size ManyHeaders(const SizeSite& site) {
    return Headers(site, kMillion);
}

/// Directories below a tree of the share, with a slash at the end, so that `room` bytes are left of
/// a path of 4,000 bytes. Of 4095 bytes, the file names of the tables need some.
std::string LongDirectory(const SizeSite& site, std::size_t room) {
    constexpr std::size_t kPath = 4000;
    constexpr std::size_t kName = 200;
    std::size_t left = kPath - room - site.Share().size() - std::string("/head/").size();
    std::string directory;
    for (; left > kName + 2; left -= kName + 1) {
        directory += std::string(kName, 'p') + "/";
    }
    return directory + std::string(left - 1, 'q') + "/";
}

Size HeadersOfLongPaths(const SizeSite& site, std::uint64_t count) {
    return HeadersIn(site, LongDirectory(site, 10), count);
}

Size LongPath(const SizeSite& site) {
    const std::string relative = LongDirectory(site, 100) + std::string(100, 'f');
    site.AddFile(relative, 3);
    site.AddContainers(1000);
    return {.files = 1,
            .containers = 1000,
            .paths = relative.size(),
            .largestMap = site.MapBytes(relative)};
}

Size DeepChain(const SizeSite& site) {
    std::string relative;
    for (int i = 0; i < 1000; ++i) {
        relative += "d/";
    }
    site.AddFile(relative + "f", 3);
    site.AddContainers(1000);
    return {
        .files = 1, .containers = 1000, .paths = 0, .largestMap = site.MapBytes(relative + "f")};
}

Size OddNames(const SizeSite& site) {
    std::uint64_t files = 0;
    for (const char* const part :
         {"\n", "\x1b[31m", "\xff\xfe\x80", "\t\"\\ '", "%s%n", "\x7f\x01"}) {
        std::string name;
        while (name.size() < 255) {
            name += part;
        }
        site.AddFile("d/" + name.substr(0, 255), 3);
        ++files;
    }
    site.AddContainers(1000);
    return {.files = files, .containers = 1000, .paths = 0, .largestMap = 0};
}

Size ManyExtents(const SizeSite& site) {
    site.AddFile("f", 5 * kMillion);
    site.AddContainers(1000);
    return {.files = 1, .containers = 1000, .paths = 0, .largestMap = site.MapBytes("f")};
}

Size Containers(const SizeSite& site, std::uint64_t count) {
    site.AddFile("f", 3);
    site.AddContainers(count);
    return {.files = 1, .containers = count, .paths = 0, .largestMap = site.MapBytes("f")};
}

Size ManyContainers(const SizeSite& site) {
    return Containers(site, kMillion);
}

Size LargeExtentFile(const SizeSite& site) {
    // 80 bytes an extent.
    site.AddFile("f", ((std::uint64_t{1} << 30) - 4096) / 80);
    return {.files = 1, .containers = 0, .paths = 0, .largestMap = site.MapBytes("f")};
}

std::vector<Case> Cases() {
    std::vector<Case> cases;
    const auto both = [&cases](const std::string& name, const auto& make) {
        cases.push_back({name + ", metadata, extent files", false, false, 1, make});
        cases.push_back({name + ", metadata, tables", true, false, 1, make});
        cases.push_back({name + ", file data", true, true, 8, make});
    };
    both("path of 4,000 bytes", LongPath);
    both("1,000 directories deep", DeepChain);
    both("names of 255 odd bytes", OddNames);
    both("5,000,000 extents", ManyExtents);
    both("1,000,000 headers", ManyHeaders);
    cases.push_back({"1,000,000 containers, file data", true, true, 8, ManyContainers});
    cases.push_back({"extent file of 1 GiB, metadata", false, false, 1, LargeExtentFile});
    return cases;
}

/// A share of two sizes.
struct Growth {
    std::string name;
    bool tables = false;
    bool fileData = false;
    std::function<Size(const SizeSite&, std::uint64_t)> make;
};

std::vector<Growth> Growths() {
    return {{"20,000 files more, metadata, extent files", false, false, Headers},
            {"20,000 files more, metadata, tables", true, false, Headers},
            {"20,000 files more, file data", true, true, Headers},
            {"20,000 files of long paths more, file data", true, true, HeadersOfLongPaths},
            {"20,000 containers more, file data", true, true, Containers}};
}

/// In a child, whose memory does not count for the checker started later.
Size MakeInChild(const std::string& path, const Case& one) {
    std::fflush(nullptr);
    int ends[2] = {};
    if (::pipe(&ends[0]) != 0) {
        throw std::runtime_error("pipe failed");
    }
    const pid_t child = ::fork();
    if (child == 0) {
        try {
            const Size size = one.make(SizeSite(path, one.tables, one.volumes));
            ::_exit(::write(ends[1], &size, sizeof size) == sizeof size ? 0 : 1);
        } catch (const std::exception& failure) {
            std::fprintf(stderr, "sizes: %s\n", failure.what());
            ::_exit(1);
        }
    }
    ::close(ends[1]);
    Size size;
    const ssize_t got = ::read(ends[0], &size, sizeof size);
    ::close(ends[0]);
    int how = 0;
    ::waitpid(child, &how, 0);
    if (how != 0 || got != sizeof size) {
        throw std::runtime_error(one.name + ": the share could not be made");
    }
    return size;
}

struct Measured {
    int status = -1;
    std::uint64_t peak = 0;  ///< bytes
    double seconds = 0;
    std::uint64_t findings = 0;
};

// The promised stack, for the checker alone; a sanitizer needs more.
void LimitStack() {
    constexpr rlim_t kStack = 256UL << 10U;
    constexpr rlimit kLimit = {.rlim_cur = kStack, .rlim_max = kStack};
    if (::dlsym(RTLD_DEFAULT, "__asan_init") == nullptr &&
        ::setrlimit(RLIMIT_STACK, &kLimit) != 0) {
        ::_exit(125);
    }
}

Measured Check(const std::string& path, const Case& one, const std::string& program) {
    const std::string output = path + ".output";
    const auto begin = std::chrono::steady_clock::now();
    const pid_t child = ::fork();
    if (child == 0) {
        const int out = ::open(output.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
        ::dup2(out, STDOUT_FILENO);
        ::dup2(out, STDERR_FILENO);
        ::setenv("JORV_CONFIG", (path + "/jorv.toml").c_str(), 1);
        const std::string share = path + "/meta/7/7";
        LimitStack();
        if (one.fileData) {
            ::execl(program.c_str(), "jorvck", "--share_id", "7", "--verify_data", nullptr);
        } else {
            ::execl(program.c_str(), "jorvck", "--share_path", share.c_str(), nullptr);
        }
        ::_exit(126);
    }
    int how = 0;
    rusage usage = {};
    ::wait4(child, &how, 0, &usage);
    Measured measured;
    measured.seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
    measured.status = WIFEXITED(how) ? WEXITSTATUS(how) : -WTERMSIG(how);
    measured.peak = static_cast<std::uint64_t>(usage.ru_maxrss) << 10U;
    const std::string text = test_support::ReadFile(output);
    for (std::size_t at = text.find("[ERROR]"); at != std::string::npos;
         at = text.find("[ERROR]", at + 1)) {
        ++measured.findings;
    }
    std::filesystem::remove(output);
    return measured;
}

double MiB(std::uint64_t bytes) {
    return static_cast<double>(bytes) / (1 << 20);
}

std::uint64_t Allowed(const Size& size) {
    return (std::uint64_t{64} << 20) + 300 * size.files + size.paths + 80 * size.containers +
           size.largestMap;
}

Measured MakeAndCheck(const Case& one, const std::string& program, Size& size) {
    const test_support::TempDir directory;
    const std::string site = directory / "site";
    size = MakeInChild(site, one);
    // A data.mdb that may still be changing is loaded twice in the file data check, and counts
    // twice.
    std::this_thread::sleep_for(std::chrono::seconds(one.fileData ? 5 : 0));
    return Check(site, one, program);
}

bool Run(const Case& one, const std::string& program) {
    Size size;
    const Measured measured = MakeAndCheck(one, program, size);
    const std::uint64_t allowed = Allowed(size);
    const bool good = measured.status == 0 && measured.findings == 0 && measured.peak <= allowed;
    std::printf("%-52s %9.1f %9.1f %9.1f  %s\n", one.name.c_str(), measured.seconds,
                MiB(measured.peak), MiB(allowed), good ? "" : "WRONG");
    if (!good) {
        std::printf("    status %d, %llu findings\n", measured.status,
                    static_cast<unsigned long long>(measured.findings));
    }
    std::fflush(stdout);
    return good;
}

/// What each further file or container takes, of shares that are quickly made: next to what a run
/// of any size may take, a loss per file would show in the large ones alone.
bool RunGrowth(const Growth& growth, const std::string& program) {
    const auto measure = [&](std::uint64_t count, Size& size) {
        const Case one{growth.name, growth.tables, growth.fileData, growth.fileData ? 8U : 1U,
                       [&](const SizeSite& site) { return growth.make(site, count); }};
        return MakeAndCheck(one, program, size);
    };
    Size small;
    Size large;
    const Measured before = measure(2000, small);
    const Measured after = measure(22000, large);
    // Memory comes in pieces, and the threads' share of it differs from run to run.
    constexpr std::uint64_t kSlack = std::uint64_t{1} << 20;
    const std::uint64_t allowed = before.peak + Allowed(large) - Allowed(small) + kSlack;
    const bool good = before.status == 0 && after.status == 0 && before.findings == 0 &&
                      after.findings == 0 && after.peak <= allowed;
    std::printf("%-52s %9.1f %9.1f %9.1f  %s\n", growth.name.c_str(), after.seconds,
                MiB(after.peak), MiB(allowed), good ? "" : "WRONG");
    std::fflush(stdout);
    return good;
}

}  // namespace

int main(int argc, char** argv) {
    try {
        std::string only;
        std::string program =
            std::filesystem::read_symlink("/proc/self/exe").parent_path() / "jorvck";
        CLI::App app("Checks shares of extreme sizes, one at a time.");
        app.add_option("--only", only, "the cases whose names begin so");
        app.add_option("--program", program, "the checker");
        CLI11_PARSE(app, argc, argv);
        std::printf("%-52s %9s %9s %9s\n", "", "s", "peak MiB", "allowed");
        bool good = true;
        for (const Case& one : Cases()) {
            if (one.name.starts_with(only)) {
                good = Run(one, program) && good;
            }
        }
        for (const Growth& growth : Growths()) {
            if (growth.name.starts_with(only)) {
                good = RunGrowth(growth, program) && good;
            }
        }
        return good ? 0 : 1;
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "sizes: %s\n", failure.what());
        return 2;
    }
}
