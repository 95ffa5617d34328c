#pragma once
// Reference-counted handles to arrays on the heap.

#include "zutl_Exception.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <utility>

namespace zutl {

// A handle that shares an array with its copies; the last handle releases it. Different threads may copy and
// release handles of the same array; a single handle is used by one thread at a time. An empty handle has no
// array.
template <typename T>
class ConstSmartArray {
public:
    // Takes ownership of an array of `elements` elements that was allocated with new[], even if this throws
    // std::bad_alloc. A null array makes an empty handle.
    ConstSmartArray(T* array, unsigned int elements);

    // Creates a handle without elements: empty, or the owner of `array`.
    explicit ConstSmartArray(T* array = nullptr) : ConstSmartArray(array, 0) {}

    // Shares the array of `other`.
    ConstSmartArray(const ConstSmartArray& other) noexcept;

    // Takes the array of `other`, which becomes empty.
    ConstSmartArray(ConstSmartArray&& other) noexcept;

    // Releases this handle's array and shares that of `other`.
    ConstSmartArray& operator=(const ConstSmartArray& other) noexcept;

    // Releases this handle's array and takes that of `other`, which becomes empty.
    ConstSmartArray& operator=(ConstSmartArray&& other) noexcept;

    // Releases this handle's array.
    virtual ~ConstSmartArray() { release(); }

    // Returns the first element. Throws "zutl::SmartArray::operator*() - pointer is NULL!" on an empty
    // handle.
    virtual const T& operator*() const { return *first(); }

    // Returns the element at `index`. Throws "zutl::SmartArray::operator[]() - pointer is NULL!" on an empty
    // handle, otherwise "zutl::SmartArray::operator[]() - index out of range!" if there is no such element.
    virtual const T& operator[](unsigned int index) const { return *at(index); }

    // Gives up this handle's share of the array and leaves the handle empty. No effect on an empty handle.
    virtual void removeReference() { release(); }

protected:
    // Returns the first element; throws what operator* throws.
    T* first() const;

    // Returns the element at `index`; throws what operator[] throws.
    T* at(unsigned int index) const;

private:
    void release() noexcept;
    void swap(ConstSmartArray& other) noexcept;

    T* data;
    std::uint32_t count;
    std::atomic<std::int32_t>* refCount; // shared by all handles of the array
};

// A ConstSmartArray that gives write access to the elements.
template <typename T>
class SmartArray : public ConstSmartArray<T> {
public:
    using ConstSmartArray<T>::ConstSmartArray;
    using ConstSmartArray<T>::operator*;
    using ConstSmartArray<T>::operator[];

    // Returns the first element; throws what the const operator throws.
    T& operator*() { return *this->first(); }

    // Returns the element at `index`; throws what the const operator throws.
    T& operator[](unsigned int index) { return *this->at(index); }
};

template <typename T>
ConstSmartArray<T>::ConstSmartArray(T* array, unsigned int elements)
    : data(nullptr), count(elements), refCount(nullptr) {
    std::unique_ptr<T[]> owned(array);
    if (owned) {
        refCount = new std::atomic<std::int32_t>(1);
        data = owned.release();
    }
}

template <typename T>
ConstSmartArray<T>::ConstSmartArray(const ConstSmartArray& other) noexcept
    : data(other.data), count(other.count), refCount(other.refCount) {
    if (refCount != nullptr)
        refCount->fetch_add(1, std::memory_order_relaxed);
}

template <typename T>
ConstSmartArray<T>::ConstSmartArray(ConstSmartArray&& other) noexcept
    : data(std::exchange(other.data, nullptr)), count(std::exchange(other.count, 0)),
      refCount(std::exchange(other.refCount, nullptr)) {}

template <typename T>
ConstSmartArray<T>& ConstSmartArray<T>::operator=(const ConstSmartArray& other) noexcept {
    ConstSmartArray shared(other);
    swap(shared);
    return *this;
}

template <typename T>
ConstSmartArray<T>& ConstSmartArray<T>::operator=(ConstSmartArray&& other) noexcept {
    ConstSmartArray taken(std::move(other));
    swap(taken);
    return *this;
}

template <typename T>
T* ConstSmartArray<T>::first() const {
    if (data == nullptr)
        throwError("zutl::SmartArray", "operator*() - pointer is NULL!");
    return data;
}

template <typename T>
T* ConstSmartArray<T>::at(unsigned int index) const {
    if (data == nullptr)
        throwError("zutl::SmartArray", "operator[]() - pointer is NULL!");
    if (index >= count)
        throwError("zutl::SmartArray", "operator[]() - index out of range!");
    return data + index;
}

template <typename T>
void ConstSmartArray<T>::release() noexcept {
    if (data == nullptr)
        return;
    // Acquire and release: every use of the array through other handles happens before its release.
    if (refCount->fetch_sub(1, std::memory_order_acq_rel) == 1) {
        delete refCount;
        delete[] data;
    }
    data = nullptr;
    refCount = nullptr;
    count = 0;
}

template <typename T>
void ConstSmartArray<T>::swap(ConstSmartArray& other) noexcept {
    std::swap(data, other.data);
    std::swap(count, other.count);
    std::swap(refCount, other.refCount);
}

} // namespace zutl
