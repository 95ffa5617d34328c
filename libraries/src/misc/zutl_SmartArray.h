#pragma once
// Reference-counted handles to arrays on the heap.

#include "zutl_Exception.h"

#include <cstdint>
#include <memory>
#include <utility>

namespace zutl {

// A handle that shares an array with its copies; the last one to go releases it. Handles of one array may be
// copied and released in different threads; one handle belongs to one thread at a time. An empty handle has
// no array.
template <typename T>
class ConstSmartArray {
public:
    // Takes ownership of an array made with new[] and of `elements` elements, also when this throws
    // std::bad_alloc. A null array makes an empty handle.
    explicit ConstSmartArray(T* array = nullptr, unsigned int elements = 0);
    ConstSmartArray(const ConstSmartArray& other) noexcept;
    ConstSmartArray(ConstSmartArray&& other) noexcept;
    ConstSmartArray& operator=(const ConstSmartArray& other) noexcept;
    ConstSmartArray& operator=(ConstSmartArray&& other) noexcept;
    virtual ~ConstSmartArray() { release(); }

    // The first element. Throws "zutl::SmartArray::operator*() - pointer is NULL!" on an empty handle.
    virtual const T& operator*() const { return *first(); }

    // The element at the index. Throws "zutl::SmartArray::operator[]() - pointer is NULL!" on an empty
    // handle, else "zutl::SmartArray::operator[]() - index out of range!" beyond the last element.
    virtual const T& operator[](unsigned int index) const { return *at(index); }

    // Gives up this handle's share and leaves it empty; nothing happens to an empty handle.
    virtual void removeReference() { release(); }

protected:
    T* first() const;
    T* at(unsigned int index) const;

private:
    void release() noexcept;
    void swap(ConstSmartArray& other) noexcept;

    T* data;
    std::uint32_t count;
    std::int32_t* refCount; // shared by all handles of the array, in a cell of its own
};

// The same with elements that can be changed through it.
template <typename T>
class SmartArray : public ConstSmartArray<T> {
public:
    using ConstSmartArray<T>::ConstSmartArray;
    using ConstSmartArray<T>::operator*;
    using ConstSmartArray<T>::operator[];

    T& operator*() { return *this->first(); }
    T& operator[](unsigned int index) { return *this->at(index); }
};

template <typename T>
ConstSmartArray<T>::ConstSmartArray(T* array, unsigned int elements)
    : data(nullptr), count(elements), refCount(nullptr) {
    std::unique_ptr<T[]> owned(array);
    if (owned) {
        refCount = new std::int32_t(1);
        data = owned.release();
    }
}

template <typename T>
ConstSmartArray<T>::ConstSmartArray(const ConstSmartArray& other) noexcept
    : data(other.data), count(other.count), refCount(other.refCount) {
    if (refCount != nullptr)
        __atomic_add_fetch(refCount, 1, __ATOMIC_RELAXED);
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
    // Acquire and release: what other handles did with the array happens before it is released.
    if (__atomic_sub_fetch(refCount, 1, __ATOMIC_ACQ_REL) == 0) {
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
