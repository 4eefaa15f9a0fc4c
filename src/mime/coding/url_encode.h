#pragma once

namespace borvik {

class StringBuffer;

/// Percent coding of parameter values (RFC 2231) and of URLs.
class UrlEncode {
public:
    /// In place: "+" becomes a blank, "%" and two hexadecimal digits that byte. A "%" with other
    /// characters behind it stays; one with fewer than two behind it ends the text.
    static void urlDecode(StringBuffer& text);
};

}  // namespace borvik
