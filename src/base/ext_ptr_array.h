#pragma once

#include <algorithm>
#include <cstddef>
#include <exception>
#include <memory>
#include <new>
#include <utility>
#include <vector>

#include "base/borvik_object.h"

namespace borvik {

/// Array of pointers to objects with a virtual destructor, or null. The array doesn't own its
/// elements unless `setOwnsItems(true)` was called: then its destructor destroys them. When no
/// memory can be had, an added element is missing and nothing else changes.
///
/// Indices are signed, so that "one before the first" is simply outside the bounds.
template <class T = BorvikObject>
class ExtPtrArray {
public:
    ExtPtrArray() = default;
    explicit ExtPtrArray(bool ownsItems) : ownsItems_(ownsItems) {}
    virtual ~ExtPtrArray() {
        if (ownsItems_) {
            deleteAll();
        }
    }

    ExtPtrArray(const ExtPtrArray&) = delete;
    ExtPtrArray& operator=(const ExtPtrArray&) = delete;

    void setOwnsItems(bool owns) { ownsItems_ = owns; }
    bool ownsItems() const { return ownsItems_; }

    std::ptrdiff_t getSize() const { return static_cast<std::ptrdiff_t>(items_.size()); }
    bool empty() const { return items_.empty(); }

    /// The element, null outside the bounds.
    T* get(std::ptrdiff_t index) const {
        return inBounds(index) ? items_[static_cast<std::size_t>(index)] : nullptr;
    }
    /// The last element, null when empty.
    T* last() const { return items_.empty() ? nullptr : items_.back(); }

    /// Adds at the end. False when there was no memory for it.
    bool append(T* item) {
        try {
            items_.push_back(item);
        } catch (const std::bad_alloc&) {
            return false;
        }
        return true;
    }
    /// Adds an object that the array is to own; destroyed at once when there is no memory
    /// for it. Null isn't added.
    bool append(std::unique_ptr<T> item) {
        if (item == nullptr || !append(item.get())) {
            return false;
        }
        static_cast<void>(item.release());
        return true;
    }

    /// Later elements move up; an index outside 0 to the size is brought to the nearer end.
    bool insertAt(std::ptrdiff_t index, T* item) {
        try {
            items_.insert(items_.begin() + std::clamp<std::ptrdiff_t>(index, 0, getSize()), item);
        } catch (const std::bad_alloc&) {
            return false;
        }
        return true;
    }

    /// Replaces a slot, filling with null as far as the index. The old element isn't destroyed. A
    /// negative index changes nothing.
    bool setAt(std::ptrdiff_t index, T* item) {
        if (index < 0) {
            return false;
        }
        try {
            if (index >= getSize()) {
                items_.resize(static_cast<std::size_t>(index) + 1, nullptr);
            }
        } catch (const std::exception&) {
            return false;
        }
        items_[static_cast<std::size_t>(index)] = item;
        return true;
    }

    /// Takes the element out and closes the gap; null outside the bounds. Not destroyed.
    T* removeAt(std::ptrdiff_t index) {
        if (!inBounds(index)) {
            return nullptr;
        }
        T* const item = items_[static_cast<std::size_t>(index)];
        items_.erase(items_.begin() + index);
        return item;
    }

    /// Takes the last element out; null when empty.
    T* pop() { return removeAt(getSize() - 1); }

    /// Forgets the elements.
    void clearWithoutDelete() { items_.clear(); }

    /// Destroys every element. The storage stays.
    void deleteAll() {
        for (T* item : items_) {
            delete item;
        }
        items_.clear();
    }

    auto begin() const { return items_.begin(); }
    auto end() const { return items_.end(); }

private:
    bool inBounds(std::ptrdiff_t index) const { return index >= 0 && index < getSize(); }

    std::vector<T*> items_;
    bool ownsItems_ = false;
};

}  // namespace borvik
