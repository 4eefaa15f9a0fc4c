#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tessolt {

/// A block of text entries, each closed by a zero byte, with one more zero byte at the end.
class CZncMultiString {
public:
    /// Copies a block that ends in two zero bytes; null or an empty block gives an empty one.
    void Assign(const char* block);
    void Assign(const std::vector<std::string>& entries);
    /// Appends one entry; a null or empty one is ignored. It ends at its first zero byte.
    void Add(const char* entry);
    /// Appends the entry of `number` as eight upper-case hexadecimal digits, "|" and `text`.
    void AddNumbered(const char* text, std::uint32_t number);
    /// Drops the oldest entries until `count` are left.
    void KeepLast(std::uint32_t count);

    /// The block; valid until the next change.
    const char* GetBlock() const { return m_strBlock.c_str(); }
    /// Bytes in the block without the last zero byte.
    std::uint32_t GetSize() const { return static_cast<std::uint32_t>(m_strBlock.size()); }
    std::vector<std::string> GetEntries() const;

private:
    std::string m_strBlock;
};

}  // namespace tessolt
