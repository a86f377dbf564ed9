#pragma once

#include <condition_variable>
#include <mutex>

/** Clang's thread-safety analysis; elsewhere the annotations are documentation. */
#if defined(__clang__)
#define CORVANE_THREAD_ATTRIBUTE(x) __attribute__((x))
#else
#define CORVANE_THREAD_ATTRIBUTE(x)
#endif

#define CAPABILITY(x) CORVANE_THREAD_ATTRIBUTE(capability(x))
#define SCOPED_CAPABILITY CORVANE_THREAD_ATTRIBUTE(scoped_lockable)
#define GUARDED_BY(x) CORVANE_THREAD_ATTRIBUTE(guarded_by(x))
#define REQUIRES(...) CORVANE_THREAD_ATTRIBUTE(requires_capability(__VA_ARGS__))
#define ACQUIRE(...) CORVANE_THREAD_ATTRIBUTE(acquire_capability(__VA_ARGS__))
#define RELEASE(...) CORVANE_THREAD_ATTRIBUTE(release_capability(__VA_ARGS__))
#define EXCLUDES(...) CORVANE_THREAD_ATTRIBUTE(locks_excluded(__VA_ARGS__))

/** std::mutex with a name that the analysis understands, whatever the standard library. */
class CAPABILITY("mutex") Mutex {
public:
    Mutex() = default;
    Mutex(Mutex const&) = delete;
    Mutex& operator=(Mutex const&) = delete;

private:
    friend class MutexLock;
    std::mutex native;
};

/** Holds a Mutex for a scope; the wait operations give it up while they sleep. */
class SCOPED_CAPABILITY MutexLock {
public:
    explicit MutexLock(Mutex& mutex) ACQUIRE(mutex) : lock(mutex.native) {}
    ~MutexLock() RELEASE() {}
    MutexLock(MutexLock const&) = delete;
    MutexLock& operator=(MutexLock const&) = delete;

    void Wait(std::condition_variable& condition) { condition.wait(lock); }

    template <typename TimePoint> std::cv_status WaitUntil(std::condition_variable& condition, TimePoint const& time)
    {
        return condition.wait_until(lock, time);
    }

private:
    std::unique_lock<std::mutex> lock;
};
