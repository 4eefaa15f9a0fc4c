#include "charset/cls_base.h"

#include <bit>
#include <string>

#include "platform/machine.h"

namespace borvik {

namespace {

constexpr const char* kArchitecture =
    std::endian::native == std::endian::little ? "Little Endian; 64-bit" : "Big Endian; 64-bit";

}  // namespace

void ClsBase::enterMethod(const char* name) {
    notes_.clear();
    if (!keepsLog_) {
        return;
    }
    log_.clearLog();
    log_.enterContext(name);
    log_.logData("DllDate", __DATE__);
    const std::string who = platform::userName() + ":" + platform::computerName();
    log_.logData("Username", who.c_str());
    log_.logData("Architecture", kArchitecture);
    log_.logData("Language", "C++");
}

void ClsBase::logSuccess(bool ok) {
    if (!keepsLog_) {
        return;
    }
    if (ok) {
        log_.logInfo("Success.");
    } else {
        log_.logError("Failed.");
    }
}

}  // namespace borvik
