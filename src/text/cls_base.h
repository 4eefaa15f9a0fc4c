#pragma once

#include <memory>

#include "base/borvik_object.h"
#include "base/log_base.h"
#include "text/logger.h"

namespace borvik {

/// Base of the library's functional classes. Its log shows the last public operation.
///
/// Keeping the log is off until somebody who can read it turns it on: until then `activeLog` is
/// null and an entry costs nothing.
class ClsBase : public BorvikObject {
public:
    /// Begins a public operation: begins a new log under `name`.
    void enterMethod(const char* name);
    /// Ends a public operation's log with its outcome.
    void logSuccess(bool ok);

    void keepLog(bool keep) { keepsLog_ = keep; }
    /// What an operation hands down as its log; null when no log is kept.
    LogBase* activeLog() { return keepsLog_ ? &log() : nullptr; }
    Logger& log();

protected:
    ClsBase() = default;

private:
    /// Made at the first use: there is one of these objects for each attachment of a message.
    std::unique_ptr<Logger> log_;
    bool keepsLog_ = false;
};

}  // namespace borvik
