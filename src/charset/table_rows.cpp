#include "charset/table_rows.h"

#include <array>

#include "base/data_buffer.h"
#include "charset/borvik_bzip2.h"

namespace borvik {
namespace {

constexpr char kNotPacked = 'x';
constexpr char kAsciiFlag = 'a';
constexpr char kPatchFlag = 'd';
constexpr std::size_t kFlagBytes = 2;
constexpr std::size_t kRowsOfLargeTable = 24000;

constexpr std::array<std::uint8_t, 256> makeSextets() {
    constexpr std::string_view kAlphabet =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::array<std::uint8_t, 256> sextets{};
    for (std::size_t i = 0; i < kAlphabet.size(); ++i) {
        sextets[static_cast<unsigned char>(kAlphabet[i])] = static_cast<std::uint8_t>(i);
    }
    return sextets;
}

/// Base64 of the constant data: padded, without line breaks or foreign characters.
void decodeBase64(std::string_view text, DataBuffer& out) {
    static constexpr std::array<std::uint8_t, 256> kSextets = makeSextets();
    while (!text.empty() && text.back() == '=') {
        text.remove_suffix(1);
    }
    std::uint32_t bits = 0;
    int count = 0;
    out.ensureCapacity(text.size());
    for (const char c : text) {
        bits = bits << 6 | kSextets[static_cast<unsigned char>(c)];
        count += 6;
        if (count >= 8) {
            count -= 8;
            out.appendByte(static_cast<char>(bits >> count));
        }
    }
}

/// Reads fields of a payload; behind its end every field is 0, which ends a section.
class PayloadReader {
public:
    explicit PayloadReader(std::string_view bytes) : bytes_(bytes) {}

    std::uint8_t byte() {
        if (position_ >= bytes_.size()) {
            return 0;
        }
        return static_cast<std::uint8_t>(bytes_[position_++]);
    }
    std::uint16_t littleEndian() {
        const std::uint16_t low = byte();
        return static_cast<std::uint16_t>(low | byte() << 8);
    }
    std::uint16_t bigEndian() {
        const auto high = static_cast<std::uint16_t>(byte() << 8);
        return static_cast<std::uint16_t>(high | byte());
    }

private:
    std::string_view bytes_;
    std::size_t position_ = 0;
};

void readPlainTable(PayloadReader& in, TableRows& table) {
    std::uint8_t byte = 0;
    char16_t unit = 0;
    while (const std::uint8_t step = in.byte()) {
        byte = static_cast<std::uint8_t>(byte + step);
        unit = static_cast<char16_t>(unit + in.littleEndian());
        table.rows.push_back({unit, byte});
    }
    std::uint16_t code = 0;
    unit = 0;
    while (const std::uint16_t step = in.littleEndian()) {
        code = static_cast<std::uint16_t>(code + step);
        unit = static_cast<char16_t>(unit + in.littleEndian());
        table.rows.push_back({unit, code});
    }
}

void readPatch(PayloadReader& in, TableRows& table) {
    while (const char16_t unit = in.littleEndian()) {
        table.removed.push_back(unit);
    }
    while (const std::uint8_t byte = in.byte()) {
        table.rows.push_back({in.littleEndian(), byte});
    }
    while (const std::uint16_t code = in.bigEndian()) {
        table.rows.push_back({in.littleEndian(), code});
    }
}

}  // namespace

TableRows readTableRows(std::string_view storedText) {
    TableRows table;
    if (storedText.empty()) {
        return table;
    }
    DataBuffer packed;
    decodeBase64(storedText.substr(1), packed);
    DataBuffer payload;
    if (storedText.front() == kNotPacked) {
        payload.takeFrom(packed);
    } else if (!BorvikBzip2::unpack(packed.view(), payload)) {
        return table;
    }
    if (payload.getSize() < kFlagBytes) {
        return table;
    }
    PayloadReader in(payload.view());
    table.asciiCompatible = in.byte() == kAsciiFlag;
    table.isPatch = in.byte() == kPatchFlag;
    if (table.isPatch) {
        readPatch(in, table);
    } else {
        table.rows.reserve(payload.getSize() > kRowsOfLargeTable ? kRowsOfLargeTable : 256);
        readPlainTable(in, table);
    }
    return table;
}

}  // namespace borvik
