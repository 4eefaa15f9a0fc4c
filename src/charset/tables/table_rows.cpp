#include "charset/tables/table_rows.h"

#include "base/data_buffer.h"
#include "charset/tables/borvik_bzip2.h"

namespace borvik {
namespace {

constexpr char kNotPacked = 'x';
constexpr char kAsciiFlag = 'a';
constexpr char kPatchFlag = 'd';
constexpr std::size_t kFlagBytes = 2;
constexpr std::size_t kRowsOfLargeTable = 24000;

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

TableRows readTableRows(std::string_view stored) {
    TableRows table;
    if (stored.empty()) {
        return table;
    }
    DataBuffer unpacked;
    std::string_view payload = stored.substr(1);
    if (stored.front() != kNotPacked) {
        if (!BorvikBzip2::unpack(payload, unpacked)) {
            return table;
        }
        payload = unpacked.view();
    }
    if (payload.size() < kFlagBytes) {
        return table;
    }
    PayloadReader in(payload);
    table.asciiCompatible = in.byte() == kAsciiFlag;
    table.isPatch = in.byte() == kPatchFlag;
    if (table.isPatch) {
        readPatch(in, table);
    } else {
        table.rows.reserve(payload.size() > kRowsOfLargeTable ? kRowsOfLargeTable : 256);
        readPlainTable(in, table);
    }
    return table;
}

}  // namespace borvik
