#include "charset/charset_oracle.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <iterator>
#include <random>

#include "base/data_buffer.h"
#include "charset/encoding_convert.h"
#include "charset/encoding_utf8.h"
#include "charset/tables/code_pages.h"
#include "charset/tables/hash_convert.h"
#include "charset/tables/stored_tables.h"
#include "charset/tables/table_rows.h"

namespace borvik {
namespace {

std::string_view storedBytes(std::uint32_t codePage) {
    return std::ranges::find(storedTables(), codePage, &StoredTable::codePage)->bytes;
}

/// The value of a key as a number, its first byte high; 0 when there is none.
unsigned find(const HashConvert& table, std::string_view key) {
    std::array<unsigned char, 2> value{};
    std::size_t length = 0;
    table.lookup(key.data(), key.size(), value.data(), length);
    return length == 2 ? value[0] << 8U | value[1] : value[0];
}

std::string codeBytes(unsigned code) {
    std::string bytes;
    if (code > 0xFF) {
        bytes.push_back(static_cast<char>(code >> 8));
    }
    bytes.push_back(static_cast<char>(code & 0xFF));
    return bytes;
}

/// The digits that the Arabic pages take for ASCII ones.
char16_t asciiDigit(char16_t unit) {
    for (const char16_t zero : {u'\u0660', u'\u06F0'}) {
        if (unit >= zero && unit < zero + 10) {
            return static_cast<char16_t>('0' + unit - zero);
        }
    }
    return unit;
}

}  // namespace

PageOracle::PageOracle(std::uint32_t codePage) : codePage_(codePage) {
    HashConvert decode;
    HashConvert encode;
    decode.init(hashSlotCount(codePage, false));
    encode.init(hashSlotCount(codePage, true));
    unpackTable(storedBytes(codePage == kMacJapanese ? kShiftJis : codePage), encode, true);
    if (codePage == kMacJapanese) {
        unpackTable(storedBytes(kMacJapanese), encode, true);
        encode.copyInverted(decode);
    } else {
        unpackTable(storedBytes(codePage), decode, false);
    }
    asciiCompatible_ = encode.isAsciiCompatible();
    // No unit outside these rows can be in the table.
    std::vector<TableRow> rows = readTableRows(storedBytes(codePage)).rows;
    if (codePage == kMacJapanese) {
        std::ranges::copy(readTableRows(storedBytes(kShiftJis)).rows, std::back_inserter(rows));
    }
    for (const TableRow& row : rows) {
        const unsigned code = find(encode, bytesOf({&row.unit, 1}));
        codes_[row.unit] = static_cast<std::uint16_t>(code);
        const unsigned unit = code == 0 ? 0 : find(decode, codeBytes(code));
        units_[code] = static_cast<char16_t>(unit >> 8 | unit << 8);
    }
}

Outcome PageOracle::decode(std::string_view bytes) const {
    Outcome out;
    const auto byteAt = [bytes](std::size_t i) { return static_cast<unsigned char>(bytes[i]); };
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        const unsigned lead = byteAt(i);
        char16_t unit = 0;
        if (lead != 0 && i + 1 < bytes.size()) {
            unit = units_[lead << 8 | byteAt(i + 1)];
        }
        if (unit != 0) {
            ++i;
        } else if (lead == 0 || (asciiCompatible_ && lead < 0x80)) {
            unit = static_cast<char16_t>(lead);
        } else {
            unit = units_[lead];
        }
        if (unit == 0 && lead != 0) {
            out.complete = false;
        } else {
            out.bytes += bytesOf({&unit, 1});
        }
    }
    return out;
}

Outcome PageOracle::encode(std::string_view utf16) const {
    Outcome out;
    for (; utf16.size() >= 2; utf16.remove_prefix(2)) {
        char16_t unit;
        std::memcpy(&unit, utf16.data(), 2);
        if (codePage_ == kWindowsArabic || codePage_ == kIsoArabic) {
            unit = asciiDigit(unit);
        }
        const bool ascii = asciiCompatible_ && unit < 0x80;
        const unsigned code = ascii ? unit : codes_[unit];
        if (code == 0 && unit != 0) {
            out.complete = false;
        } else {
            out.bytes += codeBytes(code);
        }
    }
    return out;
}

Outcome oracleFromUtf8(std::string_view utf8) {
    Outcome out;
    while (!utf8.empty()) {
        char16_t unit = 0;
        const auto length =
            EncodingUtf8::readSequence(reinterpret_cast<const std::uint8_t*>(utf8.data()),
                                       static_cast<std::uint32_t>(utf8.size()), unit);
        if (length > 0) {
            out.bytes += bytesOf({&unit, 1});
        }
        utf8.remove_prefix(static_cast<std::size_t>(std::max(length, 1)));
    }
    return out;
}

Outcome oracleToUtf8(std::string_view utf16) {
    Outcome out;
    out.complete = utf16.size() % 2 == 0;
    for (; utf16.size() >= 2; utf16.remove_prefix(2)) {
        char16_t unit;
        std::memcpy(&unit, utf16.data(), 2);
        DataBuffer one;
        if (unit != 0) {
            one.appendUtf8Char(unit);
        }
        out.bytes += one.view();
    }
    return out;
}

Outcome converted(std::uint32_t from, std::uint32_t to, std::string_view input) {
    DataBuffer out;
    Outcome outcome;
    outcome.complete = EncodingConvert().convert(from, to, input, out);
    outcome.bytes = out.view();
    return outcome;
}

std::string hex(std::string_view bytes) {
    std::string out;
    for (const char byte : bytes) {
        constexpr char kDigits[] = "0123456789ABCDEF";
        out += kDigits[static_cast<unsigned char>(byte) >> 4];
        out += kDigits[byte & 0xF];
    }
    return out;
}

std::vector<std::uint32_t> tablePages(std::optional<bool> multiByte) {
    std::vector<std::uint32_t> pages;
    for (const StoredTable& table : storedTables()) {
        if (table.multiByte == multiByte.value_or(table.multiByte)) {
            pages.push_back(table.codePage);
        }
    }
    return pages;
}

std::string mixedUtf8(unsigned seed, std::size_t size) {
    std::mt19937 random(seed);
    std::string out;
    const auto some = [&random](unsigned count) { return static_cast<unsigned>(random() % count); };
    while (out.size() < size) {
        const unsigned run = some(4) == 0 ? 1 + some(40) : 1 + some(4);
        const unsigned kind = some(8);
        for (unsigned i = 0; i < run; ++i) {
            DataBuffer one;
            if (kind < 3) {
                out.push_back(static_cast<char>(0x20 + some(0x5F)));
            } else if (kind < 5) {
                one.appendUtf8Char(static_cast<char16_t>(0x80 + some(0x780)));
            } else if (kind < 7) {
                one.appendUtf8Char(static_cast<char16_t>(0x800 + some(0xF7FF)));
            } else {
                out.push_back(static_cast<char>(some(3) == 0 ? 0 : 0x80 + some(0x80)));
            }
            out += one.view();
        }
    }
    out.resize(size);
    return out;
}

}  // namespace borvik
