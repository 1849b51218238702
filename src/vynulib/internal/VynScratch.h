// Scratch arrays for the entry points and the string class (internal).
#ifndef VYNULIB_INTERNAL_VYNSCRATCH_H
#define VYNULIB_INTERNAL_VYNSCRATCH_H

#include <memory>
#include <new>

namespace vyn {
namespace detail {

// Scratch arrays up to this size live on the stack; anything longer would
// grow the frame without bound and could overflow the stack, so it goes to
// the heap.
constexpr unsigned long kScratchBytes = 4096;

// Room for n + extra elements of T, the sum checked against overflow.
template <class T> class Scratch {
public:
    // Throws std::bad_array_new_length or std::bad_alloc when the room cannot
    // be had.
    Scratch(unsigned long n, unsigned long extra) : m_p(take(n, extra, false)) {}
    // The same, except that get() is null instead.
    Scratch(unsigned long n, unsigned long extra, std::nothrow_t const&)
        : m_p(take(n, extra, true)) {}
    Scratch(Scratch const&) = delete;
    Scratch& operator=(Scratch const&) = delete;

    T* get() const { return m_p; }

private:
    static constexpr unsigned long kStackElements = kScratchBytes / sizeof(T);
    static constexpr unsigned long kMaxElements = ~0UL / sizeof(T);

    T* take(unsigned long n, unsigned long extra, bool nothrow) {
        if (extra > kMaxElements || n > kMaxElements - extra) {
            if (nothrow) return nullptr;
            throw std::bad_array_new_length();
        }
        unsigned long const total = n + extra;
        if (total <= kStackElements) return m_aStack;
        m_oHeap.reset(nothrow ? new (std::nothrow) T[total] : new T[total]);
        return m_oHeap.get();
    }

    T m_aStack[kStackElements];
    std::unique_ptr<T[]> m_oHeap;
    T* m_p;
};

} // namespace detail
} // namespace vyn

#endif
