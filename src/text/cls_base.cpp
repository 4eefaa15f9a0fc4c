#include "text/cls_base.h"

#include <bit>
#include <string>

#include "platform/machine.h"

namespace borvik {

namespace {

constexpr const char* kArchitecture =
    std::endian::native == std::endian::little ? "Little Endian; 64-bit" : "Big Endian; 64-bit";

}  // namespace

Logger& ClsBase::log() {
    if (log_ == nullptr) {
        log_ = std::make_unique<Logger>();
    }
    return *log_;
}

void ClsBase::enterMethod(const char* name) {
    if (!keepsLog_) {
        return;
    }
    log().clearLog();
    log().enterContext(name);
    log().logData("DllDate", TESSOLT_BUILD_DATE);
    const std::string who = platform::userName() + ":" + platform::computerName();
    log().logData("Username", who.c_str());
    log().logData("Architecture", kArchitecture);
    log().logData("Language", "C++");
}

void ClsBase::logSuccess(bool ok) {
    if (!keepsLog_) {
        return;
    }
    if (ok) {
        log().logInfo("Success.");
    } else {
        log().logError("Failed.");
    }
}

}  // namespace borvik
