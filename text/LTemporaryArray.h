/*
 * LTemporaryArray.h: a scratch array of n units that lives on the stack when
 * n is at most N and on the heap above, for conversions whose temporaries are
 * usually small (fixed-size paths and names) but have no upper bound.
 *
 * Ownership: the array owns its storage for its own lifetime. Not copyable.
 * Failure: a heap allocation failure propagates as std::bad_alloc.
 */
#ifndef HARLUNE_TEXT_LTEMPORARYARRAY_H
#define HARLUNE_TEXT_LTEMPORARYARRAY_H

#include <cstddef>
#include <memory>

template <typename T, size_t N>
class LTemporaryArray {
public:
    explicit LTemporaryArray(size_t n) : nUnits(n) {
        if (n > N) {
            pHeap.reset(new T[n]);
        }
    }
    LTemporaryArray(const LTemporaryArray &) = delete;
    LTemporaryArray &operator=(const LTemporaryArray &) = delete;

    T *Get() { return pHeap ? pHeap.get() : arStack; }
    size_t Size() const { return nUnits; }

private:
    size_t nUnits;                 // units usable through Get()
    std::unique_ptr<T[]> pHeap;    // storage above N units
    T arStack[N];                  // storage up to N units
};

#endif
