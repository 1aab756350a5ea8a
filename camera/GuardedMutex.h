#ifndef KORVANE_CAMERA_GUARDEDMUTEX_H
#define KORVANE_CAMERA_GUARDEDMUTEX_H

// A std::mutex that Clang's thread-safety analysis knows as a lock, with
// the scoped lock that takes it. Code that reaches a guarded field without
// the lock fails to build with -Wthread-safety.

#include <mutex>

#include "ThreadSafety.h"

namespace korvane {

class KORVANE_CAPABILITY("mutex") GuardedMutex : public std::mutex
{
public:
    void lock() KORVANE_ACQUIRE() { std::mutex::lock(); }
    void unlock() KORVANE_RELEASE() { std::mutex::unlock(); }

    // Holds the mutex for its scope. A condition variable waits on
    // unique(); the analysis counts the mutex as held throughout.
    class KORVANE_SCOPED_CAPABILITY Lock
    {
    public:
        explicit Lock(GuardedMutex& mutex) KORVANE_ACQUIRE(mutex) : m_lock(mutex) {}
        ~Lock() KORVANE_RELEASE() {}
        Lock(const Lock&) = delete;
        Lock& operator=(const Lock&) = delete;

        std::unique_lock<std::mutex>& unique() { return m_lock; }

    private:
        std::unique_lock<std::mutex> m_lock;
    };
};

} // namespace korvane

#endif
