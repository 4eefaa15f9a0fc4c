#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "foundation/wide_string.h"

namespace tessolt {

/// One To, Cc or Bcc recipient of a message.
class CZnMailRecipient {
public:
    CZnMailRecipient(std::u16string_view name, std::u16string_view address)
        : m_wstrName(name), m_wstrAddress(address) {}

    CZncStringW m_wstrName;     ///< Display name, may be empty.
    CZncStringW m_wstrAddress;  ///< Without angle brackets.
};

/// Recipients in the order of adding. A received list may have very many entries, so their texts
/// stand behind each other in one, and an entry is handed out as a copy.
class RecipientList {
public:
    /// An entry as the list gives it.
    class Entry {
    public:
        Entry(std::u16string_view name, std::u16string_view address) : recipient_(name, address) {}
        const CZnMailRecipient* operator->() const { return &recipient_; }

    private:
        CZnMailRecipient recipient_;
    };

    class Iterator {
    public:
        Iterator(const RecipientList& list, std::size_t index) : list_(list), index_(index) {}
        Entry operator*() const { return list_[index_]; }
        Iterator& operator++() {
            ++index_;
            return *this;
        }
        bool operator==(const Iterator& other) const { return index_ == other.index_; }

    private:
        const RecipientList& list_;
        std::size_t index_;
    };

    /// Adds a recipient at the end. Throws `std::bad_alloc`; the list stays as it was then.
    void add(std::u16string_view name, std::u16string_view address);
    void clear();

    bool empty() const { return ends_.empty(); }
    std::size_t size() const { return ends_.size(); }
    Entry operator[](std::size_t index) const { return {nameAt(index), addressAt(index)}; }
    Iterator begin() const { return {*this, 0}; }
    Iterator end() const { return {*this, size()}; }

    /// The texts of an entry, good until the next change.
    std::u16string_view nameAt(std::size_t index) const;
    std::u16string_view addressAt(std::size_t index) const;

private:
    /// Where name and address of an entry end in `texts_`; the name begins where the entry before
    /// it ends.
    struct Ends {
        std::uint32_t name;
        std::uint32_t address;
    };

    std::u16string texts_;
    std::vector<Ends> ends_;
};

}  // namespace tessolt
