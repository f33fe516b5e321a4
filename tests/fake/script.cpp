#include "tests/fake/script.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <iterator>

#include "storage/exception.h"
#include "tests/fake/fake_config.h"

namespace storage_fake {

namespace {

Script* g_current = nullptr;

/// Shared holds of configLock by this thread.
thread_local int t_holds = 0;

bool HasAnyKey(std::string_view line, std::initializer_list<std::string_view> keys) {
    return std::any_of(keys.begin(), keys.end(),
                       [&](std::string_view key) { return LineHasKey(line, key); });
}

}  // namespace

bool LineHasKey(std::string_view line, std::string_view key) {
    return line.starts_with(key) && (line.size() == key.size() || line[key.size()] == ' ');
}

Script::Script() : before_(g_current) {
    g_current = this;
    UseFileExtMap(0);
    KlfsAware(false);
    HideGuardedSettings();
}

Script::~Script() {
    g_current = before_;
}

Script& Script::Current() {
    if (g_current == nullptr) {
        std::fputs("the storage library was called outside a test with a script\n", stderr);
        std::abort();
    }
    return *g_current;
}

void Script::UseFileExtMap(std::int32_t value) {
    LayoutConfig().useFileExtMap = value;
}

void Script::KlfsAware(bool value) {
    DaemonConfig().klfsAware = value;
}

void Script::DcidBloomEnabled(bool value) {
    dcidBloomEnabled_ = value;
    HideGuardedSettings();
}

void Script::TableSpanGiB(std::uint32_t value) {
    TableSpanGiBPerHold({value});
}

void Script::TableSpanGiBPerHold(std::vector<std::uint32_t> values) {
    spans_ = std::move(values);
    holdsSeen_ = 0;
    HideGuardedSettings();
}

void Script::ShowGuardedSettings() {
    DaemonConfig().dcidBloomEnabled = dcidBloomEnabled_;
    DaemonConfig().tableSpanGiB = spans_[std::min(holdsSeen_, spans_.size() - 1)];
    ++holdsSeen_;
}

void Script::HideGuardedSettings() {
    DaemonConfig().dcidBloomEnabled = !dcidBloomEnabled_;
    // So far off that a walk by it ends soon.
    DaemonConfig().tableSpanGiB = spans_.back() ^ 0x40000000U;
}

void Script::SharedHold(int change) {
    const std::scoped_lock lock(mutex_);
    t_holds += change;
    EXPECT_GE(t_holds, 0) << "configLock was unlocked by a thread that did not hold it";
    // Only the first and the last holder write, while nobody else may read.
    if (change > 0 && sharedHolds_ == 0) {
        ShowGuardedSettings();
    }
    sharedHolds_ += change;
    if (change < 0 && sharedHolds_ == 0) {
        HideGuardedSettings();
    }
}

bool Script::HoldsShared() {
    return t_holds > 0;
}

void Script::On(const std::string& key, Hook hook) {
    const std::scoped_lock lock(mutex_);
    rules_.push_back({key, std::make_shared<Hook>(std::move(hook)), {}});
}

void Script::ThrowSys(const std::string& key, std::int32_t code, const std::string& message) {
    Throw(key, Corvane::Kst::Marlow::Jorv::SysException(code, "stack trace:\n", message));
}

void Script::Result(const std::string& key, std::vector<std::int64_t> results) {
    const std::scoped_lock lock(mutex_);
    rules_.push_back({key, nullptr, std::move(results)});
}

void Script::Forbid(const std::string& key) {
    On(key, [key] { ADD_FAILURE() << "forbidden call: " << key; });
}

std::optional<std::int64_t> Script::Enter(const std::string& line) {
    std::shared_ptr<Hook> hook;
    std::optional<std::int64_t> result;
    {
        const std::scoped_lock lock(mutex_);
        calls_.push_back({line, std::this_thread::get_id()});
        const auto rule = std::find_if(rules_.rbegin(), rules_.rend(), [&](const Rule& candidate) {
            return LineHasKey(line, candidate.key);
        });
        if (rule != rules_.rend()) {
            hook = rule->hook;
            if (!rule->results.empty()) {
                result = rule->results[std::min(rule->used, rule->results.size() - 1)];
            }
            ++rule->used;
        }
    }
    EXPECT_TRUE(t_holds == 0 || line.ends_with("::GetInstance"))
        << "called while configLock is held: " << line;
    if (hook != nullptr) {
        (*hook)();
    }
    return result;
}

void Script::Note(const std::string& line) {
    const std::scoped_lock lock(mutex_);
    calls_.push_back({line, std::this_thread::get_id()});
}

std::vector<std::string> Script::Calls() const {
    return CallsBut({});
}

std::vector<std::string> Script::Calls(std::initializer_list<std::string_view> keys) const {
    const std::scoped_lock lock(mutex_);
    std::vector<std::string> lines;
    for (const Call& call : calls_) {
        if (HasAnyKey(call.line, keys)) {
            lines.push_back(call.line);
        }
    }
    return lines;
}

std::vector<std::string> Script::CallsBut(std::initializer_list<std::string_view> keys) const {
    const std::scoped_lock lock(mutex_);
    std::vector<std::string> lines;
    for (const Call& call : calls_) {
        if (!HasAnyKey(call.line, keys)) {
            lines.push_back(call.line);
        }
    }
    return lines;
}

std::vector<std::thread::id> Script::Threads(std::string_view key) const {
    const std::scoped_lock lock(mutex_);
    std::vector<std::thread::id> threads;
    for (const Call& call : calls_) {
        if (LineHasKey(call.line, key)) {
            threads.push_back(call.thread);
        }
    }
    return threads;
}

void Script::Born(const std::string& kind) {
    const std::scoped_lock lock(mutex_);
    ++alive_[kind];
}

void Script::Died(const std::string& kind) {
    const std::scoped_lock lock(mutex_);
    --alive_[kind];
}

int Script::Alive(const std::string& kind) const {
    const std::scoped_lock lock(mutex_);
    const auto found = alive_.find(kind);
    return found == alive_.end() ? 0 : found->second;
}

void Script::ExpectNothingLeft() const {
    const std::scoped_lock lock(mutex_);
    for (const auto& [kind, count] : alive_) {
        EXPECT_EQ(count, 0) << kind << " objects were left alive";
    }
    EXPECT_EQ(sharedHolds_, 0) << "configLock was left locked";
}

LiveObject::LiveObject(std::string kind) : kind_(std::move(kind)) {
    Script::Current().Born(kind_);
}

LiveObject::~LiveObject() {
    EXPECT_EQ(thread_, std::this_thread::get_id()) << kind_ << " was freed by another thread";
    Script::Current().Died(kind_);
}

}  // namespace storage_fake
