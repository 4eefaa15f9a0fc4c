#include "mime/header/field_traits.h"

#include <array>
#include <cstddef>

#include "base/ascii_text.h"

namespace borvik {

namespace {

struct KnownField {
    std::string_view name;
    FieldTraits traits;
};

constexpr FieldTraits kRecipients = kAddressField | kRawWithoutAddress | kSemicolonList;

constexpr std::array kKnownFields = {
    KnownField{"to", kRecipients},
    KnownField{"cc", kRecipients},
    KnownField{"bcc", kRecipients},
    KnownField{"from", kAddressField | kRawWithoutAddress},
    KnownField{"return-path", kRawWithoutAddress},
    KnownField{"subject", kFreeTextField | kKeepsBlanks | kEncodedIfStateful | kNoListFold},
    KnownField{"thread-topic", kFreeTextField | kEncodedIfStateful},
    KnownField{"content-location", kFreeTextField | kNoListFold},
    KnownField{"accept-language", kFreeTextField},
    KnownField{"user-agent", kFreeTextField | kNeverFoldedWhenRead | kNeverFoldedWhenSet},
    KnownField{"accept", kNeverFoldedWhenSet},
    KnownField{"accept-charset", kNeverFoldedWhenSet},
    KnownField{"received", kWrittenRaw | kCollapsesBlanks | kNoListFold},
    KnownField{"dkim-signature", kCollapsesBlanks | kNoListFold},
    KnownField{"domainkey-signature", kCollapsesBlanks | kNoListFold},
    KnownField{"content-transfer-encoding", kWrittenRaw},
    KnownField{"content-type", kAlwaysSplit | kLastOneCounts},
    KnownField{"content-disposition", kAlwaysSplit},
};

constexpr std::size_t kSlots = 64;

/// A place of its own for each of the known names, by length and first letter.
constexpr std::size_t slotOf(std::string_view name) {
    constexpr std::size_t kSpread = 20;
    return (name.size() * kSpread + static_cast<unsigned char>(asciiLower(name.front()))) % kSlots;
}

/// The known fields by their slots; 0 for none, else one more than the place in the list.
constexpr std::array<std::uint8_t, kSlots> kFieldOfSlot = [] {
    std::array<std::uint8_t, kSlots> fields{};
    for (std::size_t i = 0; i < kKnownFields.size(); ++i) {
        fields[slotOf(kKnownFields[i].name)] = static_cast<std::uint8_t>(i + 1);
    }
    return fields;
}();

constexpr bool isPerfect() {
    for (std::size_t i = 0; i < kKnownFields.size(); ++i) {
        if (kFieldOfSlot[slotOf(kKnownFields[i].name)] != i + 1) {
            return false;
        }
    }
    return true;
}
static_assert(isPerfect(), "two known names share a slot");

}  // namespace

FieldTraits traitsOfField(std::string_view name) {
    const std::uint8_t place = name.empty() ? std::uint8_t{0} : kFieldOfSlot[slotOf(name)];
    const bool isKnown = place != 0 && equalsNoCase(kKnownFields[place - 1].name, name);
    return isKnown ? kKnownFields[place - 1].traits : FieldTraits{0};
}

}  // namespace borvik
