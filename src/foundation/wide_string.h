#pragma once

#include <tessolt/automation_types.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "foundation/base_object.h"
#include "foundation/narrow_string.h"
#include "foundation/text_operations.h"

namespace tessolt {

/// Text that stands elsewhere until it is wanted.
class TextSource {
public:
    virtual ~TextSource() = default;
    /// Whether the text is UTF-8, whatever the ANSI code page, which it is in otherwise.
    virtual bool isUtf8() const { return false; }
    /// Gives `take` the text, without zero bytes; good during that call.
    virtual void read(const std::function<void(std::string_view)>& take) = 0;
};

/// Wide text (UTF-16) for the fields that a caller sees. It holds no zero unit: text that is
/// assigned ends at its first one. It belongs to one thread at a time, readers included.
class CZncStringW : public CZncBase {
public:
    CZncStringW() = default;
    CZncStringW(const OLECHAR* text) { Assign(text); }
    explicit CZncStringW(std::u16string_view text) { Assign(text); }
    explicit CZncStringW(std::u16string&& text) { Assign(std::move(text)); }
    /// From 8-bit text, as `AssignBytes`.
    explicit CZncStringW(const char* text) { AssignBytes(text); }
    CZncStringW(const CZncStringW& other) : CZncBase(other), m_wstrText(other.View()) {}
    CZncStringW(CZncStringW&& other) noexcept
        : CZncBase(other),
          m_wstrText(std::move(other.m_wstrText)),
          m_pSource(std::move(other.m_pSource)) {}
    CZncStringW& operator=(const CZncStringW& other) { return Assign(other); }
    CZncStringW& operator=(CZncStringW&& other) noexcept {
        m_pSource = std::move(other.m_pSource);
        m_wstrText = std::move(other.m_wstrText);
        m_lastToken.index = -1;
        return *this;
    }

    CZncStringW& Assign(const OLECHAR* text);
    CZncStringW& Assign(const CZncStringW& text);
    CZncStringW& Assign(std::u16string_view text);
    CZncStringW& Assign(std::u16string&& text);
    /// From 8-bit text, through the ANSI code page.
    CZncStringW& AssignBytes(const char* text);
    CZncStringW& AssignBytes(std::string_view text);
    /// The same with text that is read and converted when it is first asked for.
    CZncStringW& AssignSource(std::unique_ptr<TextSource> source);
    /// What it still is to be read from, null for none: it costs no wide text to read it there.
    TextSource* GetSource() const { return m_pSource.get(); }

    CZncStringW& Append(const OLECHAR* text);
    CZncStringW& Append(const CZncStringW& text);
    CZncStringW& Append(std::u16string_view text);

    /// Removes carriage returns, line feeds, tabs and blanks from both ends.
    void Trim();
    /// As in `CZncString`.
    void Replace(const OLECHAR* find, const OLECHAR* with, bool matchCase = true);
    /// As in `CZncString`.
    void GetToken(const OLECHAR* separator, const OLECHAR* defaultText, CZncStringW& result,
                  std::int32_t index) const;

    /// The text through the ANSI code page; valid until the next call.
    const char* GetAnsi() const;
    /// A new automation string with a copy. The caller frees it.
    BSTR AllocWide() const;

    bool IsEmpty() const { return Whole().empty(); }
    /// Length in units.
    std::uint32_t GetLength() const { return static_cast<std::uint32_t>(Whole().size()); }
    /// The text, zero-terminated; valid until the next change, as is `View`.
    const OLECHAR* GetBuffer() const { return Whole().c_str(); }
    std::u16string_view View() const { return Whole(); }

    friend bool operator==(const CZncStringW& a, const CZncStringW& b) {
        return a.View() == b.View();
    }
    friend bool operator==(const CZncStringW& a, const OLECHAR* b) { return a.View() == b; }

private:
    std::u16string& Whole() const {
        if (m_pSource) {
            ReadSource();
        }
        return m_wstrText;
    }
    void ReadSource() const;

    /// Empty as long as there is a source.
    mutable std::u16string m_wstrText;
    mutable std::unique_ptr<TextSource> m_pSource;
    mutable std::string m_strAnsi;
    mutable TokenPosition<OLECHAR> m_lastToken;
};

/// Fills `result` with the UTF-8 form of a wide text, surrogate pairs as one character; leaves it
/// untouched when `text` is empty.
void WideToUtf8(const OLECHAR* text, CZncString& result);
/// The reverse.
void Utf8ToWide(const char* text, CZncStringW& result);

}  // namespace tessolt
