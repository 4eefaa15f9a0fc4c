#pragma once

#include <memory>
#include <string_view>

#include "base/ext_ptr_array.h"
#include "base/log_entry2.h"

namespace borvik {

/// The tree of a log: entries under contexts, with the path of open contexts from the root on.
class ErrorLog {
public:
    ErrorLog();
    virtual ~ErrorLog() = default;

    /// Adds an entry to the innermost context. False when there was no memory for it.
    bool add(LogEntryKind kind, std::string_view tag, std::string_view text);
    /// Adds a context to the innermost one, and enters it.
    bool enterContext(std::string_view tag);
    /// Leaves the innermost context, unless that is the root. An empty context leaves no trace,
    /// except right under the root.
    void leaveContext();
    /// Forgets everything but a new root.
    void clear();

    const LogEntry2& root() const { return *root_; }

private:
    std::unique_ptr<LogEntry2> root_;
    /// The open contexts; the tree owns them.
    ExtPtrArray<LogEntry2> stack_;
};

}  // namespace borvik
