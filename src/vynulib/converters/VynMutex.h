// Scoped lock over a POSIX mutex (internal).
#ifndef VYNULIB_CONVERTERS_VYNMUTEX_H
#define VYNULIB_CONVERTERS_VYNMUTEX_H

#include <pthread.h>

class VynMutexLock {
public:
    explicit VynMutexLock(pthread_mutex_t* m) : m_pMutex(m) { pthread_mutex_lock(m_pMutex); }
    ~VynMutexLock() { pthread_mutex_unlock(m_pMutex); }
    VynMutexLock(VynMutexLock const&) = delete;
    VynMutexLock& operator=(VynMutexLock const&) = delete;

private:
    pthread_mutex_t* m_pMutex;
};

#endif
