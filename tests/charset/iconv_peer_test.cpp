// The tables and the stateful forms against the C library's, character by character. What differs
// is listed here with its reason.

#include <gtest/gtest.h>
#include <iconv.h>

#include <array>
#include <string>

#include "charset/charset_oracle.h"
#include "charset/code_pages.h"
#include "charset/conversion_tables.h"

namespace borvik {
namespace {

using testing::bytesOf;
using testing::converted;

/// A conversion of the C library.
class Peer {
public:
    Peer(const char* from, const char* to) : handle_(iconv_open(to, from)) {}
    Peer(const Peer&) = delete;
    Peer& operator=(const Peer&) = delete;
    ~Peer() {
        if (isThere()) {
            iconv_close(handle_);
        }
    }

    bool isThere() const { return handle_ != reinterpret_cast<iconv_t>(-1); }

    /// Empty when a character has no place in the other charset.
    std::string convert(std::string text) {
        std::string out(4 * text.size() + 64, '\0');
        char* from = text.data();
        char* to = out.data();
        std::size_t left = text.size();
        std::size_t room = out.size();
        iconv(handle_, nullptr, nullptr, nullptr, nullptr);
        if (iconv(handle_, &from, &left, &to, &room) == static_cast<std::size_t>(-1) ||
            iconv(handle_, nullptr, nullptr, &to, &room) == static_cast<std::size_t>(-1)) {
            return "";
        }
        out.resize(out.size() - room);
        return out;
    }

private:
    iconv_t handle_;
};

bool isSurrogate(unsigned unit) {
    return unit >= 0xD800 && unit <= 0xDFFF;
}

/// Only one of the two assigns these: the tables hold the private use area, and C1 controls in the
/// double-byte pages come and go.
bool isLeftOpen(unsigned unit, bool multiByte) {
    return (unit >= 0xE000 && unit <= 0xF8FF) || (multiByte && unit >= 0x80 && unit <= 0x9F);
}

/// How many characters only we have, only the peer has, and the two have in different places.
using Differences = std::array<int, 3>;

void count(unsigned mine, unsigned peers, Differences& found) {
    if (mine != peers) {
        ++found[peers == 0 ? 0 : mine == 0 ? 1 : 2];
    }
}

unsigned numberOf(std::string_view bytes) {
    unsigned value = 0;
    for (const char byte : bytes) {
        value = value << 8 | static_cast<unsigned char>(byte);
    }
    return value;
}

Differences compareDecoding(std::uint32_t page, Peer& peer) {
    const DecodeTable& table = *decodeTable(page);
    const bool multiByte = table.isMultiByte();
    Differences found{};
    const auto compare = [&](const std::string& code, char16_t unit) {
        const std::string bytes = peer.convert(code);
        const unsigned theirs =
            bytes.size() == 2 ? numberOf({&bytes[1], 1}) << 8 | numberOf({bytes.data(), 1}) : 0;
        if (!isLeftOpen(unit, multiByte) && !isLeftOpen(theirs, multiByte)) {
            count(unit, theirs, found);
        }
    };
    for (unsigned lead = 1; lead <= 0xFF; ++lead) {
        const auto first = static_cast<std::uint8_t>(lead);
        if (!multiByte || !table.isLead(first)) {
            compare({static_cast<char>(lead)}, table.single[lead]);
            continue;
        }
        for (unsigned trail = 0x30; trail <= 0xFF; ++trail) {
            compare({static_cast<char>(lead), static_cast<char>(trail)},
                    table.pair(first, static_cast<std::uint8_t>(trail)));
        }
    }
    return found;
}

Differences compareEncoding(std::uint32_t page, Peer& peer) {
    const EncodeTable& table = *encodeTable(page);
    Differences found{};
    for (unsigned unit = 1; unit <= 0xFFFF; ++unit) {
        if (isSurrogate(unit) || isLeftOpen(unit, table.isMultiByte())) {
            continue;
        }
        const auto narrow = static_cast<char16_t>(unit);
        const std::string theirs = peer.convert(bytesOf({&narrow, 1}));
        const unsigned cell = table.cell(narrow);
        const unsigned mine = cell > 0xFF ? (cell & 0xFF) << 8 | cell >> 8 : cell;
        // No page of ours has codes of 3 bytes.
        count(mine, theirs.size() <= 2 ? numberOf(theirs) : 0, found);
    }
    return found;
}

TEST(IconvPeer, HasTheSameCharactersButForThese) {
    struct Case {
        std::uint32_t page;
        const char* name;
        Differences decoding;
        Differences encoding;
    };
    const Case cases[] = {
        {437, "CP437", {}, {}},
        {850, "CP850", {}, {}},
        {866, "CP866", {}, {}},
        {874, "CP874", {}, {}},
        // Second codes of NEC characters are not read; U+00A5 and the like go to their Windows
        // places.
        {932, "CP932", {0, 24, 0}, {1, 8, 0}},
        // The blank for U+00A0 in the double-byte pages.
        {936, "CP936", {}, {1, 0, 0}},
        {949, "UHC", {}, {1, 0, 0}},
        // Box drawing that Big5 has twice.
        {950, "CP950", {0, 10, 0}, {1, 0, 4}},
        {1250, "CP1250", {}, {}},
        {1251, "CP1251", {}, {}},
        {1252, "CP1252", {}, {}},
        {1253, "CP1253", {}, {}},
        {1254, "CP1254", {}, {}},
        // The peer makes Hebrew and Vietnamese letters of a letter and a mark.
        {1255, "CP1255", {1, 0, 0}, {1, 32, 0}},
        // Arabic digits.
        {1256, "CP1256", {}, {20, 0, 0}},
        {1257, "CP1257", {}, {}},
        {1258, "CP1258", {}, {0, 183, 0}},
        {20866, "KOI8-R", {}, {}},
        // Byelorussian letters in the place of lines.
        {21866, "KOI8-U", {0, 0, 2}, {2, 2, 0}},
        // The characters of 1252 in the place of controls.
        {28591, "ISO-8859-1", {0, 5, 27}, {27, 32, 0}},
        // The euro sign at 0x80.
        {28592, "ISO-8859-2", {0, 0, 1}, {1, 1, 0}},
        {28593, "ISO-8859-3", {0, 0, 1}, {1, 1, 0}},
        {28594, "ISO-8859-4", {0, 0, 1}, {1, 1, 0}},
        {28595, "ISO-8859-5", {0, 0, 1}, {1, 1, 0}},
        // The euro sign, and Arabic digits.
        {28596, "ISO-8859-6", {0, 0, 1}, {21, 1, 0}},
        {28597, "ISO-8859-7", {}, {}},
        // The euro sign, the overline and no direction marks.
        {28598, "ISO-8859-8", {0, 2, 2}, {2, 4, 0}},
        {28599, "ISO-8859-9", {0, 0, 1}, {1, 1, 0}},
        {28603, "ISO-8859-13", {}, {}},
        {28605, "ISO-8859-15", {}, {}},
        // NEC and IBM characters that the peer lacks, and six signs in their Windows places.
        {51932, "EUC-JP", {443, 0, 6}, {454, 7, 0}},
        // A postal mark that came later.
        {51949, "EUC-KR", {0, 1, 0}, {1, 2, 0}},
    };
    for (const Case& test : cases) {
        Peer decoder(test.name, "UTF-16LE");
        Peer encoder("UTF-16LE", test.name);
        if (!decoder.isThere() || !encoder.isThere()) {
            continue;
        }
        EXPECT_EQ(compareDecoding(test.page, decoder), test.decoding) << test.page;
        EXPECT_EQ(compareEncoding(test.page, encoder), test.encoding) << test.page;
    }
}

TEST(IconvPeer, ReadsAndWritesTheSameStatefulText) {
    std::u16string everything;
    for (unsigned unit = 1; unit <= 0xFFFD; ++unit) {
        if (!isSurrogate(unit) && unit != 0xFEFF) {
            everything += static_cast<char16_t>(unit);
            everything += unit % 5 == 0 ? u"a " : u"";
        }
    }
    std::u16string kanji;
    std::u16string hangul;
    for (unsigned row = 0x30; row <= 0x4E; ++row) {
        for (unsigned cell = 0x21; cell <= 0x7E; ++cell) {
            kanji += decodeTable(kEucJp)->units[(row | 0x80) << 8 | cell | 0x80];
            kanji += cell % 7 == 0 ? u" x\n" : u"";
            if (row <= 0x48) {
                hangul += decodeTable(kEucKr)->units[(row | 0x80) << 8 | cell | 0x80];
                hangul += cell % 9 == 0 ? u"y " : u"";
            }
        }
    }
    const std::tuple<std::uint32_t, const char*, std::u16string> cases[] = {
        {kUtf7, "UTF-7", everything},
        {kIso2022Jp, "ISO-2022-JP", kanji},
        {kIso2022Kr, "ISO-2022-KR", hangul},
    };
    for (const auto& [page, name, text] : cases) {
        Peer decoder(name, "UTF-16LE");
        Peer encoder("UTF-16LE", name);
        if (decoder.isThere() && encoder.isThere()) {
            const std::string units = bytesOf(text);
            EXPECT_TRUE(decoder.convert(converted(kUtf16Le, page, units).bytes) == units) << name;
            EXPECT_TRUE(converted(page, kUtf16Le, encoder.convert(units)).bytes == units) << name;
        }
    }
}

}  // namespace
}  // namespace borvik
