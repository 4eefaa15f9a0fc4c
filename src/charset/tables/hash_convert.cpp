#include "charset/tables/hash_convert.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <utility>

#include "charset/tables/code_pages.h"
#include "charset/tables/table_rows.h"

namespace borvik {
namespace {

constexpr std::size_t kLongestField = 255;

struct Record {
    std::string_view key;
    std::string_view value;
    std::string_view whole;
};

/// Takes the first record off a bucket. False at the closing 0 and for an empty slot.
bool nextRecord(std::string_view& bucket, Record& record) {
    if (bucket.empty() || bucket.front() == '\0') {
        return false;
    }
    const auto keyLength = static_cast<unsigned char>(bucket[0]);
    const auto valueLength = static_cast<unsigned char>(bucket[1U + keyLength]);
    record.key = bucket.substr(1, keyLength);
    record.value = bucket.substr(2U + keyLength, valueLength);
    record.whole = bucket.substr(0, std::size_t{2} + keyLength + valueLength);
    bucket.remove_prefix(record.whole.size());
    return true;
}

std::string_view asView(const void* bytes, std::size_t count) {
    return {static_cast<const char*>(bytes), count};
}

/// A byte code as it stands in the text.
struct CodeBytes {
    explicit CodeBytes(std::uint16_t code) : length(code > 0xFF ? 2 : 1) {
        bytes[0] = static_cast<char>(code > 0xFF ? code >> 8 : code);
        bytes[1] = static_cast<char>(code & 0xFF);
    }
    std::array<char, 2> bytes{};
    std::size_t length;
};

}  // namespace

void HashConvert::init(std::uint32_t slotCount) {
    slots_.assign(slotCount, {});
}

std::uint32_t HashConvert::hash(const void* key, std::size_t keyLength) {
    const auto* bytes = static_cast<const unsigned char*>(key);
    std::uint32_t value = 0;
    for (std::size_t i = std::min<std::size_t>(keyLength, 4); i > 0; --i) {
        value = value << 8 | bytes[i - 1];
    }
    return value;
}

std::string* HashConvert::bucketOf(const void* key, std::size_t keyLength) {
    return slots_.empty() ? nullptr : &slots_[hash(key, keyLength) % slots_.size()];
}

void HashConvert::insert(const void* key, std::size_t keyLength, const void* value,
                         std::size_t valueLength) {
    std::string* bucket = bucketOf(key, keyLength);
    if (bucket == nullptr || keyLength == 0 || keyLength > kLongestField ||
        valueLength > kLongestField) {
        return;
    }
    if (!bucket->empty()) {
        bucket->pop_back();
    }
    bucket->push_back(static_cast<char>(keyLength));
    bucket->append(asView(key, keyLength));
    bucket->push_back(static_cast<char>(valueLength));
    bucket->append(asView(value, valueLength));
    bucket->push_back('\0');
}

void HashConvert::remove(const void* key, std::size_t keyLength) {
    std::string* bucket = bucketOf(key, keyLength);
    if (bucket == nullptr) {
        return;
    }
    std::string kept;
    std::string_view rest = *bucket;
    for (Record record; nextRecord(rest, record);) {
        if (record.key != asView(key, keyLength)) {
            kept.append(record.whole);
        }
    }
    if (!kept.empty()) {
        kept.push_back('\0');
    }
    *bucket = std::move(kept);
}

void HashConvert::lookup(const void* key, std::size_t keyLength, void* value,
                         std::size_t& valueLength) const {
    valueLength = 0;
    if (slots_.empty()) {
        return;
    }
    std::string_view rest = slots_[hash(key, keyLength) % slots_.size()];
    for (Record record; nextRecord(rest, record);) {
        if (record.key == asView(key, keyLength)) {
            valueLength = record.value.size();
            std::memcpy(value, record.value.data(), valueLength);
            return;
        }
    }
}

void HashConvert::copyInverted(HashConvert& target) const {
    for (const std::string& bucket : slots_) {
        std::string_view rest = bucket;
        for (Record record; nextRecord(rest, record);) {
            target.insert(record.value.data(), record.value.size(), record.key.data(),
                          record.key.size());
        }
    }
}

std::uint32_t hashSlotCount(std::uint32_t codePage, bool forEncoding) {
    constexpr std::uint32_t kSingleByteEncode = 269;
    constexpr std::uint32_t kSingleByteDecode = 283;
    switch (codePage) {
        case kShiftJis:
            return forEncoding ? 7669 : 4919;
        case kEucJp:
        case kMacJapanese:
            return 4919;
        case kKoreanUhc:
        case kJohab:
        case kEucKr:
            return 7669;
        case kGbk:
        case kBig5:
        case kEucCn:
            return 7649;
        default:
            return forEncoding ? kSingleByteEncode : kSingleByteDecode;
    }
}

void unpackTable(std::string_view packed, HashConvert& table, bool forEncoding) {
    const TableRows stored = readTableRows(packed);
    if (stored.rows.empty() && stored.removed.empty()) {
        return;
    }
    table.setAsciiCompatible(stored.asciiCompatible);
    if (stored.isPatch && !forEncoding) {
        return;
    }
    for (const char16_t unit : stored.removed) {
        table.remove(&unit, sizeof unit);
    }
    for (const TableRow& row : stored.rows) {
        const CodeBytes code(row.code);
        if (!forEncoding) {
            table.insert(code.bytes.data(), code.length, &row.unit, sizeof row.unit);
            continue;
        }
        if (stored.isPatch) {
            table.remove(&row.unit, sizeof row.unit);
        }
        table.insert(&row.unit, sizeof row.unit, code.bytes.data(), code.length);
    }
}

}  // namespace borvik
