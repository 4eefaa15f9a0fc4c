#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

namespace borvik {

/// Helps to read address fields.
class Rfc822ParseHelp {
public:
    Rfc822ParseHelp() = default;
    virtual ~Rfc822ParseHelp() = default;
    Rfc822ParseHelp(const Rfc822ParseHelp&) = default;
    Rfc822ParseHelp(Rfc822ParseHelp&&) = default;
    Rfc822ParseHelp& operator=(const Rfc822ParseHelp&) = default;
    Rfc822ParseHelp& operator=(Rfc822ParseHelp&&) = default;

    /// Appends the text without its CRs and LFs; a tab right behind a LF becomes a blank.
    static void unfoldAddressText(std::string_view text, std::string& out);
};

/// One mailbox: a forgiving scan that accepts what real mail holds, not the grammar of RFC 822.
class Rfc822Address : public Rfc822ParseHelp {
public:
    /// Reads one mailbox.
    explicit Rfc822Address(std::string_view text);

    /// False for an empty text and for an undisclosed list of recipients.
    bool isValid() const { return isValid_; }

    /// Appends the display name, with its encoded words decoded.
    void friendlyName(std::string& out) const;

    /// Appends the address, without angle brackets.
    void address(std::string& out) const { out += address_; }

private:
    void readBracketed(std::string_view text, std::size_t open);
    void readMailbox(std::string_view text);
    void finishName();

    bool isValid_ = false;
    std::string friendlyName_;
    std::string address_;
};

/// Splits a list at the commas outside double quotes, where a backslash protects the next byte, and
/// gives the valid addresses to `use`, one at a time: there may be very many.
void forEachAddress(std::string_view text, const std::function<void(const Rfc822Address&)>& use);

}  // namespace borvik
