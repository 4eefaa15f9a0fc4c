#pragma once

#include <cstdint>
#include <string_view>

#include "base/string_buffer.h"
#include "charset/tables/code_pages.h"

namespace borvik {

/// Charset names and code page numbers, one to the other. Holds no state: the names are constant
/// data.
///
/// A code page is a number in the Windows numbering; 0 means that there is no charset or that the
/// name is not known. The two directions are not inverse to each other: several spellings lead to
/// one page, and a few pages share the name that is written out for them.
class CharsetNaming {
public:
    CharsetNaming() = default;
    virtual ~CharsetNaming() = default;
    CharsetNaming(const CharsetNaming&) = default;
    CharsetNaming& operator=(const CharsetNaming&) = default;

    /// Replaces `out` by the preferred name of the page, in lower case. False, with `out` empty,
    /// when the page has none.
    bool codePageToName(std::uint32_t codePage, StringBuffer& out) const;

    /// The page of a charset name in any case, with "_" for "-" and white space around it; "ansi"
    /// is the ANSI code page of the process. 0 when the name is null, too short or not known.
    std::uint32_t nameToCodePage(const char* name) const;

    /// True when `nameToCodePage` knows the name.
    bool isKnownName(const char* name) const;

    /// `codePageToName` of the ANSI code page of the process.
    bool ansiCharsetName(StringBuffer& out) const;

    /// The preferred name of a page as constant text, NUL-terminated; empty when it has none.
    static std::string_view preferredName(std::uint32_t codePage);

    /// `nameToCodePage` of a text that need not be NUL-terminated.
    static std::uint32_t lookUp(std::string_view name);
};

/// A charset as a message node holds it: the code page and the preferred name that belongs to it.
///
/// Either both are set or none, except for a name that is accepted but whose page has no preferred
/// name: then the page is set and the name empty.
class _bvCharset {
public:
    _bvCharset() = default;
    virtual ~_bvCharset() = default;
    _bvCharset(const _bvCharset&) = default;
    _bvCharset& operator=(const _bvCharset&) = default;

    /// Takes over page and name of `other`.
    void copyFrom(const _bvCharset& other);

    /// The NUL-terminated name, empty when none is set. The text is constant.
    const char* getName() const;

    /// The code page, 0 when none is set.
    std::uint32_t getCodePage() const;

    /// Back to no charset.
    void clear();

    /// True when the name equals `name` byte for byte. False for null.
    bool hasName(const char* name) const;

    /// Sets page and preferred name; clears both when the page has no preferred name.
    void setByCodePage(std::uint32_t codePage);

    /// Sets the charset of a label. "ansi" and "oem" are the pages of the process; "default",
    /// "x-user-defined" and unknown names clear; null changes nothing.
    void setByName(const char* name);

private:
    void assign(std::uint32_t codePage, const char* name);

    /// Constant text: a message holds many of these objects.
    const char* name_ = "";
    std::uint32_t codePage_ = kNoCodePage;
};

}  // namespace borvik
