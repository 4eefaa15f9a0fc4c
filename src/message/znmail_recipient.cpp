#include "message/znmail_recipient.h"

#include <limits>
#include <new>

namespace tessolt {

void RecipientList::add(std::u16string_view name, std::u16string_view address) {
    const std::size_t before = texts_.size();
    if (name.size() + address.size() > std::numeric_limits<std::uint32_t>::max() - before) {
        throw std::bad_alloc();
    }
    ends_.reserve(ends_.size() == ends_.capacity() ? ends_.size() + ends_.size() / 2 + 1 : 0);
    texts_.append(name);
    try {
        texts_.append(address);
    } catch (...) {
        texts_.resize(before);
        throw;
    }
    ends_.push_back({static_cast<std::uint32_t>(before + name.size()),
                     static_cast<std::uint32_t>(texts_.size())});
}

void RecipientList::clear() {
    texts_ = {};
    ends_ = {};
}

std::u16string_view RecipientList::nameAt(std::size_t index) const {
    const std::size_t begin = index == 0 ? 0 : ends_[index - 1].address;
    return std::u16string_view(texts_).substr(begin, ends_[index].name - begin);
}

std::u16string_view RecipientList::addressAt(std::size_t index) const {
    const Ends ends = ends_[index];
    return std::u16string_view(texts_).substr(ends.name, ends.address - ends.name);
}

}  // namespace tessolt
