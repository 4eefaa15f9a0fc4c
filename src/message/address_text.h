#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace tessolt {

/// Longest address, in bytes of the ANSI code page, that `IsValidEmailAddress` accepts.
inline constexpr std::size_t kMaxAddressLength = 64;

/// True for an address of 1 to kMaxAddressLength bytes without a forbidden character, and with
/// something before its first and behind its last "@". A plausibility test, not the grammar of
/// RFC 5322.
bool IsValidEmailAddress(std::u16string_view address);

/// The pieces of `text` between single separators, up to the first empty piece or the end. They
/// aren't trimmed, and point into `text`.
std::vector<std::string_view> ListTokens(std::string_view text, char separator);
std::vector<std::u16string_view> ListTokens(std::u16string_view text, char16_t separator);

/// Cuts the text of an address field at the commas outside quote marks and drops the quote marks.
/// Empty pieces stay, but for one at the very end. The text must outlive the object.
class AddressListReader {
public:
    explicit AddressListReader(std::string_view text) : rest_(text) {}

    /// Replaces `piece` by the next one; false when there is none.
    bool next(std::string& piece);

private:
    std::string_view rest_;
};

/// A display name and an address, as one entry of an address field gives them.
struct NamedAddress {
    std::string name;
    std::string address;
};

/// Reads a single mailbox like `"John Doe" <john@example.org>`. Without a blank all of it is the
/// address. Otherwise the last piece ahead of the first doubled blank is, and the name is what
/// remains when that piece is taken out wherever it stands.
NamedAddress SplitDisplayForm(std::string_view text);

/// The address alone of what `SplitDisplayForm` reads.
std::string AddressOfDisplayForm(std::string_view text);

/// Reads one piece of an address list. As `SplitDisplayForm`, but the case of letters doesn't
/// matter when the address is taken out, and the blank ahead of it stays on the name.
NamedAddress SplitListedAddress(std::string_view piece);

}  // namespace tessolt
