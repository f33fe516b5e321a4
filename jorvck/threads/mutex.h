#pragma once

#include <mutex>

// Lock use is said in the code and checked by clang's thread-safety analysis; other compilers know
// none of these attributes, and one of them cannot even parse them. That is what macros are for,
// here and nowhere else.
#ifdef __clang__
#define JORVCK_THREAD_ATTRIBUTE(x) __attribute__((x))
#else
#define JORVCK_THREAD_ATTRIBUTE(x)
#endif
#define JORVCK_GUARDED_BY(mutex) JORVCK_THREAD_ATTRIBUTE(guarded_by(mutex))
#define JORVCK_REQUIRES(mutex) JORVCK_THREAD_ATTRIBUTE(requires_capability(mutex))
#define JORVCK_EXCLUDES(mutex) JORVCK_THREAD_ATTRIBUTE(locks_excluded(mutex))

namespace Corvane::Kst::Marlow::JorvCk {

/// A std::mutex that the analysis knows.
class JORVCK_THREAD_ATTRIBUTE(capability("mutex")) Mutex {
  public:
    void Lock() JORVCK_THREAD_ATTRIBUTE(acquire_capability()) { mutex_.lock(); }
    void Unlock() JORVCK_THREAD_ATTRIBUTE(release_capability()) { mutex_.unlock(); }

  private:
    std::mutex mutex_;
};

/// Holds a mutex for the life of the object.
class JORVCK_THREAD_ATTRIBUTE(scoped_lockable) MutexHold {
  public:
    explicit MutexHold(Mutex& mutex) JORVCK_THREAD_ATTRIBUTE(acquire_capability(mutex))
        : mutex_(mutex) {
        mutex_.Lock();
    }
    ~MutexHold() JORVCK_THREAD_ATTRIBUTE(release_capability()) { mutex_.Unlock(); }
    MutexHold(const MutexHold&) = delete;
    MutexHold& operator=(const MutexHold&) = delete;

  private:
    Mutex& mutex_;
};

}  // namespace Corvane::Kst::Marlow::JorvCk
