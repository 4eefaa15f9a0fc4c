#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace tessolt::reading {

/// A word or a sign of an address field.
struct AddressToken {
    enum class Kind {
        kAtom,     ///< A run without specials; dots and domain literals belong to it.
        kQuoted,   ///< `text` is what stands between the marks, quoted pairs undone.
        kComment,  ///< `text` is what stands between the brackets.
        kSign,     ///< One of ,;:<>@
    };
    Kind kind;
    std::string text;
    std::string_view raw;        ///< As written.
    bool isBehindBlank = false;  ///< Blanks, a fold or a comment stand in front of it.

    bool isSign(char sign) const { return kind == Kind::kSign && text.front() == sign; }
};

/// Cuts an address field (RFC 5322 3.2). A quote mark or a bracket that is never closed counts as
/// a letter. The views point into `text`. Linear time.
std::vector<AddressToken> addressTokens(std::string_view text);

}  // namespace tessolt::reading
