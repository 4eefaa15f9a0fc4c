#pragma once

#include <memory>
#include <string_view>

#include "base/borvik_object.h"
#include "base/ext_ptr_array.h"
#include "base/string_buffer.h"

namespace borvik {

/// The kinds of log entries.
enum class LogEntryKind : char {
    kError = 'E',
    kInfo = 'I',
    kXml = 'X',
    /// A tag with a value.
    kData = 'T',
    /// A tag with further entries under it.
    kContext = 'C',
};

/// One entry of a log's tree. A text is stored as given, whatever its 8-bit encoding.
class LogEntry2 : public BorvikObject {
public:
    LogEntry2(LogEntryKind kind, std::string_view tag, std::string_view text)
        : kind_(kind), tag_(tag), text_(text) {}

    LogEntryKind kind() const { return kind_; }
    /// The entries of a context, which it owns.
    ExtPtrArray<LogEntry2>& children() { return children_; }
    bool isEmptyContext() const { return kind_ == LogEntryKind::kContext && children_.empty(); }

    /// Append the entry and all under it.
    void renderXml(StringBuffer& out) const;
    void renderHtml(StringBuffer& out) const;
    void renderText(StringBuffer& out, int depth) const;

private:
    LogEntryKind kind_;
    StringBuffer tag_;
    StringBuffer text_;
    ExtPtrArray<LogEntry2> children_{true};
};

}  // namespace borvik
