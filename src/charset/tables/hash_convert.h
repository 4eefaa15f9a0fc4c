#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace borvik {

/// A table from short byte keys to short byte values, hashed by the first 4 bytes of the key.
///
/// This is the reference form of a conversion table: it shows what a stored table means, and the
/// compiled forms of `conversion_tables.h`, which the conversions read, are held against it. A
/// UTF-16 unit stands in host order, a byte code in the order of the text.
///
/// A bucket is one packed string of records (key length, key, value length, value) and a closing 0.
class HashConvert {
public:
    HashConvert() = default;
    virtual ~HashConvert() = default;
    HashConvert(const HashConvert&) = default;
    HashConvert& operator=(const HashConvert&) = default;

    /// Empties the table and gives it its slots. A table of 0 slots takes and finds nothing.
    void init(std::uint32_t slotCount);

    /// Adds a record behind those of its bucket. An equal key is not detected; the first one
    /// counts. Keys and values hold 1 to 255 bytes; others are not taken.
    void insert(const void* key, std::size_t keyLength, const void* value, std::size_t valueLength);

    /// Removes all records of the key.
    void remove(const void* key, std::size_t keyLength);

    /// Copies the first value of the key to `value`, which has room for it, and sets `valueLength`;
    /// 0 when there is none.
    void lookup(const void* key, std::size_t keyLength, void* value,
                std::size_t& valueLength) const;

    /// Inserts every record into `target` with key and value exchanged, in the order of the slots.
    void copyInverted(HashConvert& target) const;

    /// Whether the bytes under 0x80 of the page are ASCII and need no record.
    void setAsciiCompatible(bool compatible) { asciiCompatible_ = compatible; }
    bool isAsciiCompatible() const { return asciiCompatible_; }

    std::uint32_t slotCount() const { return static_cast<std::uint32_t>(slots_.size()); }

    /// The first 4 bytes of the key as a little-endian number, missing bytes as 0.
    static std::uint32_t hash(const void* key, std::size_t keyLength);

private:
    std::string* bucketOf(const void* key, std::size_t keyLength);

    bool asciiCompatible_ = false;
    std::vector<std::string> slots_;
};

/// Slots of the table of a code page in one direction; that of a single-byte decode is temporary.
std::uint32_t hashSlotCount(std::uint32_t codePage, bool forEncoding);

/// Adds a stored table to `table`: unit to bytes for encoding, bytes to unit for decoding. A patch
/// changes a table for encoding that is there already, and does nothing for decoding.
void unpackTable(std::string_view packed, HashConvert& table, bool forEncoding);

}  // namespace borvik
