#include "mime/header/field_traits.h"

#include "base/ascii_text.h"

namespace borvik {

namespace {

struct KnownField {
    std::string_view name;
    FieldTraits traits;
};

constexpr FieldTraits kRecipients = kAddressField | kRawWithoutAddress | kSemicolonList;

constexpr KnownField kKnownFields[] = {
    {"to", kRecipients},
    {"cc", kRecipients},
    {"bcc", kRecipients},
    {"from", kAddressField | kRawWithoutAddress},
    {"return-path", kRawWithoutAddress},
    {"subject", kFreeTextField | kKeepsBlanks | kEncodedIfStateful | kNoListFold},
    {"thread-topic", kFreeTextField | kEncodedIfStateful},
    {"content-location", kFreeTextField | kNoListFold},
    {"accept-language", kFreeTextField},
    {"user-agent", kFreeTextField | kNeverFoldedWhenRead | kNeverFoldedWhenSet},
    {"accept", kNeverFoldedWhenSet},
    {"accept-charset", kNeverFoldedWhenSet},
    {"received", kWrittenRaw | kCollapsesBlanks | kNoListFold},
    {"dkim-signature", kCollapsesBlanks | kNoListFold},
    {"domainkey-signature", kCollapsesBlanks | kNoListFold},
    {"content-transfer-encoding", kWrittenRaw},
    {"content-type", kAlwaysSplit | kLastOneCounts},
    {"content-disposition", kAlwaysSplit},
};

}  // namespace

FieldTraits traitsOfField(std::string_view name) {
    for (const KnownField& field : kKnownFields) {
        if (equalsNoCase(field.name, name)) {
            return field.traits;
        }
    }
    return 0;
}

}  // namespace borvik
