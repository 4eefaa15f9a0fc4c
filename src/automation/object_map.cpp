#include "automation/object_map.h"

#include <cstddef>

#include "automation/com_object.h"
#include "automation/email_constants.h"
#include "automation/email_message.h"
#include "automation/name_order.h"
#include "automation/pop3.h"
#include "automation/registration_scripts.h"
#include "automation/smtp.h"

namespace tessolt {
namespace {

constexpr std::u16string_view kVendor = u"Tessolt.";
constexpr std::u16string_view kVersion = u".1";

ObjectMapEntry entries[] = {
    {&interfaceTable<IEMailConstants>, &CEMailConstants::CreateInstance, kEMailConstantsScript},
    {&interfaceTable<IEMailMessage>, &CEMailMessage::CreateInstance, kEMailMessageScript},
    {&interfaceTable<IPop3>, &CPop3::CreateInstance, kPop3Script},
    {&interfaceTable<ISmtp>, &CSmtp::CreateInstance, kSmtpScript},
};

}  // namespace

bool ObjectMapEntry::isNamed(std::u16string_view name) const {
    const std::u16string_view className = description().className;
    const std::size_t bareSize = kVendor.size() + className.size();
    return name.size() >= bareSize && name.size() <= bareSize + kVersion.size() &&
           compareNames(name.substr(0, kVendor.size()), kVendor) == 0 &&
           compareNames(name.substr(kVendor.size(), className.size()), className) == 0 &&
           (name.size() == bareSize || name.substr(bareSize) == kVersion);
}

std::span<ObjectMapEntry> objectMap() {
    return entries;
}

ObjectMapEntry* findClass(REFCLSID classId) {
    for (ObjectMapEntry& entry : entries) {
        if (entry.description().classId == classId) {
            return &entry;
        }
    }
    return nullptr;
}

ObjectMapEntry* findProgId(std::u16string_view progId) {
    for (ObjectMapEntry& entry : entries) {
        if (entry.isNamed(progId)) {
            return &entry;
        }
    }
    return nullptr;
}

void releaseClassFactories() {
    for (ObjectMapEntry& entry : entries) {
        entry.factory.release();
    }
}

}  // namespace tessolt
