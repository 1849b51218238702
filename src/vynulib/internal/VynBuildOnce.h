// Tables built once, on first use, under their owner's mutex, and published
// only when complete (internal).
#ifndef VYNULIB_INTERNAL_VYNBUILDONCE_H
#define VYNULIB_INTERNAL_VYNBUILDONCE_H

#include <atomic>
#include <pthread.h>

namespace vyn {
namespace detail {

class VynMutexLock {
public:
    explicit VynMutexLock(pthread_mutex_t* m) : m_pMutex(m) { pthread_mutex_lock(m_pMutex); }
    ~VynMutexLock() { pthread_mutex_unlock(m_pMutex); }
    VynMutexLock(VynMutexLock const&) = delete;
    VynMutexLock& operator=(VynMutexLock const&) = delete;

private:
    pthread_mutex_t* m_pMutex;
};

// Returns what `flag` points at, building it first if nobody has.
//
// `flag` is the one pointer that readers test: null until everything is
// built. The first callers find it null and queue on `mutex`; the first to
// get the lock finds it still null and runs build(), which returns the
// complete object (or null: nothing to build, and the next call tries again).
// Anything else build() stores (a second table, merged records) happens
// before the release store of its result, so a reader that loads the flag
// with acquire (here, or through its own accessor) sees all of it, and reads
// it without the lock from then on. The lock is held only while building and
// is never nested: a build that needs another table built calls buildOnce for
// it before taking its own lock.
template <class T, class Build>
T* buildOnce(std::atomic<T*>& flag, pthread_mutex_t& mutex, Build build) {
    T* p = flag.load(std::memory_order_acquire);
    if (p) return p;
    VynMutexLock lock(&mutex);
    p = flag.load(std::memory_order_relaxed); // the lock orders it after the winner's store
    if (p) return p;
    p = build();
    if (p) flag.store(p, std::memory_order_release);
    return p;
}

} // namespace detail
} // namespace vyn

#endif
