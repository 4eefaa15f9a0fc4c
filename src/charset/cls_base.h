#pragma once

#include <cstdint>

#include "base/borvik_object.h"
#include "base/log_base.h"
#include "base/string_buffer.h"
#include "charset/logger.h"

namespace borvik {

/// Base of the library's functional classes. Its log shows the last public operation.
///
/// Keeping the log is off until somebody who can read it turns it on: until then `activeLog` is
/// null and an entry costs nothing.
class ClsBase : public BorvikObject {
public:
    ~ClsBase() override { magic_ = 0; }

    /// Begins a public operation: clears the notes, and begins a new log under `name`.
    void enterMethod(const char* name);
    /// Ends a public operation's log with its outcome.
    void logSuccess(bool ok);

    void keepLog(bool keep) { keepsLog_ = keep; }
    /// What an operation hands down as its log; null when no log is kept.
    LogBase* activeLog() { return keepsLog_ ? &log_ : nullptr; }
    Logger& log() { return log_; }

    /// False for an object that is gone.
    bool isAlive() const { return magic_ == kAliveMagic; }

protected:
    ClsBase() = default;

    StringBuffer notes_;

private:
    static constexpr std::uint32_t kAliveMagic = 0x991144AA;

    Logger log_;
    bool keepsLog_ = false;
    std::uint32_t magic_ = kAliveMagic;
};

}  // namespace borvik
