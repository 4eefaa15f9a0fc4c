#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace borvik {

/// What a conversion gives: the bytes, and whether nothing was dropped.
struct Outcome {
    std::string bytes;
    bool complete = true;

    friend bool operator==(const Outcome&, const Outcome&) = default;
};

/// A page in its reference form: what the hash tables made of the stored rows give, a character at
/// a time.
class PageOracle {
public:
    explicit PageOracle(std::uint32_t codePage);

    /// To and from UTF-16 in host order.
    Outcome decode(std::string_view bytes) const;
    Outcome encode(std::string_view utf16) const;

private:
    std::uint32_t codePage_;
    bool asciiCompatible_;
    /// Byte codes by unit, and units by byte code, a pair with its lead byte high; 0 for none.
    std::vector<std::uint16_t> codes_ = std::vector<std::uint16_t>(0x10000);
    std::vector<char16_t> units_ = std::vector<char16_t>(0x10000);
};

/// UTF-8 from and to UTF-16, a unit at a time.
Outcome oracleFromUtf8(std::string_view utf8);
Outcome oracleToUtf8(std::string_view utf16);

/// The conversion under test.
Outcome converted(std::uint32_t from, std::uint32_t to, std::string_view input);

/// Units in host order.
inline std::string bytesOf(std::u16string_view units) {
    return {reinterpret_cast<const char*>(units.data()), 2 * units.size()};
}

/// Bytes in hexadecimal, for messages and tables.
std::string hex(std::string_view bytes);

/// Pages with a table: all of them, or those of one kind.
std::vector<std::uint32_t> tablePages(std::optional<bool> multiByte = {});

/// Text that mixes long and short runs of ASCII, letters of 2 and 3 UTF-8 bytes, NULs and odd
/// bytes, in a way that depends on the seed alone.
std::string mixedUtf8(unsigned seed, std::size_t size);

}  // namespace borvik
