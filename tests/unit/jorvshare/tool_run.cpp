#include "tests/unit/jorvshare/tool_run.h"

#include <fcntl.h>
#include <grp.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <random>

#include "jorvshare/command_line.h"
#include "tests/support/temp_dir.h"

namespace tool_test {

namespace fs = std::filesystem;

ToolProcess::ToolProcess(const std::vector<std::string>& arguments,
                         const std::function<void()>& prepare) {
    std::string pattern = (fs::temp_directory_path() / "jorv-out-XXXXXX").string();
    directory_ = ::mkdtemp(pattern.data());
    std::vector<const char*> argv = {"jorvshare"};
    for (const std::string& argument : arguments) {
        argv.push_back(argument.c_str());
    }
    argv.push_back(nullptr);
    // Here already: the run may be killed before it gets to its first line.
    test_support::WriteFile(directory_ + "/out", std::string_view());
    test_support::WriteFile(directory_ + "/err", std::string_view());
    pid_ = ::fork();
    if (pid_ == 0) {
        const auto redirect = [this](const char* name, int to) {
            ::dup2(::open((directory_ + "/" + name).c_str(), O_WRONLY | O_CREAT, 0600), to);
        };
        redirect("out", STDOUT_FILENO);
        redirect("err", STDERR_FILENO);
        if (prepare) {
            prepare();
        }
        ::_exit(jorvshare::RunCommandLine(static_cast<int>(argv.size()) - 1, argv.data()));
    }
}

ToolProcess::~ToolProcess() {
    std::error_code ignored;
    fs::remove_all(directory_, ignored);
}

Ended ToolProcess::Wait() {
    int status = 0;
    EXPECT_EQ(::waitpid(pid_, &status, 0), pid_);
    Ended ended;
    if (WIFEXITED(status)) {
        ended.status = WEXITSTATUS(status);
    } else {
        ended.signal = WTERMSIG(status);
    }
    ended.out = test_support::ReadFile(directory_ + "/out");
    ended.err = test_support::ReadFile(directory_ + "/err");
    return ended;
}

Ended RunTool(const std::vector<std::string>& arguments, const std::function<void()>& prepare) {
    return ToolProcess(arguments, prepare).Wait();
}

void ExpectRefused(const Ended& ended, const std::string& line) {
    EXPECT_EQ(ended.err, "jorvshare: " + line + "\n");
    EXPECT_EQ(ended.out, "");
    EXPECT_EQ(ended.status, 1);
}

void ExpectMisused(const Ended& ended, const std::string& line) {
    EXPECT_EQ(ended.err, "jorvshare: " + line + "; see jorvshare --help\n");
    EXPECT_EQ(ended.out, "");
    EXPECT_EQ(ended.status, 2);
}

void BecomeNobody() {
    constexpr uid_t kNobody = 65534;
    if (::geteuid() == 0 &&
        (::setgroups(0, nullptr) != 0 || ::setgid(kNobody) != 0 || ::setuid(kNobody) != 0)) {
        ::_exit(99);
    }
}

std::map<std::string, std::string> Snapshot(const std::string& root) {
    std::map<std::string, std::string> found;
    for (const auto& entry : fs::recursive_directory_iterator(root)) {
        struct stat attributes = {};
        EXPECT_EQ(::lstat(entry.path().c_str(), &attributes), 0);
        std::string text = std::to_string(attributes.st_mode);
        if (S_ISREG(attributes.st_mode)) {
            text.append(" ").append(std::to_string(attributes.st_mtim.tv_sec)).append(".");
            text.append(std::to_string(attributes.st_mtim.tv_nsec)).append(" ");
            const std::string bytes = test_support::ReadFile(entry.path().string());
            // Long ones are shown by a hash, so that a failure stays readable.
            constexpr std::size_t kLongest = 200;
            text += bytes.size() <= kLongest ? bytes
                                             : std::to_string(bytes.size()) + " bytes, hash " +
                                                   std::to_string(std::hash<std::string>()(bytes));
        }
        found.emplace(entry.path().string().substr(root.size() + 1), text);
    }
    return found;
}

std::map<std::string, std::string> Files(const std::string& root) {
    std::map<std::string, std::string> found = Snapshot(root);
    std::erase_if(found, [](const auto& entry) {
        return S_ISDIR(static_cast<mode_t>(std::stoul(entry.second)));
    });
    return found;
}

std::string Noise(std::size_t size, std::uint64_t seed) {
    std::mt19937_64 random(seed);
    std::string noise(size, '\0');
    for (char& byte : noise) {
        byte = static_cast<char>(random());
    }
    return noise;
}

}  // namespace tool_test
