// LList.h: the library's intrusive singly linked list that owns its
// elements.
//
// Elements link through their own pNext field; the list holds only the head
// pointer (no count, no tail). Additions prepend, so a list reads in the
// reverse order of its additions. Clearing (and the destructor) takes the
// head off before deleting it, so an element's destructor never sees itself
// in the list; polymorphic elements are deleted through their virtual
// destructor. Not thread-safe: the owner serialises access.
#ifndef HARLUNE_XPC_LLIST_H
#define HARLUNE_XPC_LLIST_H

#include <cstddef>

template <typename T>
class LList {
public:
    LList() = default;
    ~LList() { Clear(); }
    LList(const LList&) = delete;
    LList& operator=(const LList&) = delete;

    T* Head() const { return m_pHead; }
    bool IsEmpty() const { return m_pHead == nullptr; }

    // Prepends pElement, which the list now owns.
    void Add(T* pElement) {
        if (pElement != nullptr) {
            pElement->pNext = m_pHead;
            m_pHead = pElement;
        }
    }

    // Number of elements, by a walk.
    std::size_t Count() const {
        std::size_t n = 0;
        for (T* p = m_pHead; p != nullptr; p = Next(p)) {
            ++n;
        }
        return n;
    }

    // Unlinks pElement without deleting it; false when it is not in the list.
    bool Unlink(T* pElement) {
        T* pPrevious = nullptr;
        for (T* p = m_pHead; p != nullptr; pPrevious = p, p = Next(p)) {
            if (p == pElement) {
                if (pPrevious == nullptr) {
                    m_pHead = Next(p);
                } else {
                    pPrevious->pNext = p->pNext;
                }
                p->pNext = nullptr;
                return true;
            }
        }
        return false;
    }

    // Unlinks and deletes pElement; does nothing when it is not in the list.
    void Remove(T* pElement) {
        if (Unlink(pElement)) {
            delete pElement;
        }
    }

    // Takes the head off the list and hands it to the caller; null when empty.
    T* TakeHead() {
        T* p = m_pHead;
        if (p != nullptr) {
            m_pHead = Next(p);
            p->pNext = nullptr;
        }
        return p;
    }

    // Exchanges the elements of two lists, order kept: lets an owner take a
    // whole list out from under its lock in constant time.
    void Swap(LList& other) {
        T* p = m_pHead;
        m_pHead = other.m_pHead;
        other.m_pHead = p;
    }

    void Clear() {
        while (T* p = TakeHead()) {
            delete p;
        }
    }

    // The element after p. Elements whose pNext is declared in a base class
    // are cast back to the list's element type.
    static T* Next(const T* p) { return static_cast<T*>(p->pNext); }

private:
    T* m_pHead = nullptr;
};

#endif
