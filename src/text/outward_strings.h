#pragma once

#include <cstddef>
#include <string_view>

#include "base/bv_object.h"
#include "base/data_buffer.h"
#include "text/xstring.h"

namespace borvik {

/// Text that the library hands to, or gets from, code outside it.
class BvString : public BvObject {
public:
    const char16_t* getWide() { return x_.getWide(); }
    const char* getAnsi() { return x_.getAnsi(); }
    const char* getUtf8() { return x_.getUtf8(); }
    void clear() { x_.clear(); }

    /// The text itself, for the library.
    XString& x() { return x_; }

    /// The 8-bit text by the mode: UTF-8 when `utf8Mode` is set, else in the ANSI code page.
    const char* getString() { return utf8Mode ? getUtf8() : getAnsi(); }
    void setString(const char* text) { x_.setFromEither(text, utf8Mode); }

    /// Whether 8-bit arguments and results are UTF-8 instead of ANSI.
    bool utf8Mode = false;

private:
    XString x_;
};

/// Bytes that the library hands to, or gets from, code outside it.
class BvByteData : public BvObject {
public:
    bool append(const void* bytes, std::size_t length) { return data_.append(bytes, length); }
    void clear() { data_.clear(); }
    const char* getData() const { return data_.getData(); }
    std::size_t getSize() const { return data_.getSize(); }
    std::string_view view() const { return data_.view(); }

    /// The bytes themselves, for the library.
    DataBuffer& data() { return data_; }
    const DataBuffer& data() const { return data_; }

    /// Replaces the content by the file's; false when it can't be read. Only regular files are.
    bool loadFile(const char* fileName);
    /// Writes the content to the file, creating or replacing it.
    bool saveFile(const char* fileName) const;

    /// Whether file names are UTF-8 instead of ANSI.
    bool utf8Mode = false;

private:
    DataBuffer data_;
};

}  // namespace borvik
