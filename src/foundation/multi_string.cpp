#include "foundation/multi_string.h"

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <cstring>

namespace tessolt {

void CZncMultiString::Assign(const char* block) {
    m_strBlock.clear();
    while (block && *block) {
        const std::size_t length = std::strlen(block) + 1;
        m_strBlock.append(block, length);
        block += length;
    }
}

void CZncMultiString::Assign(const std::vector<std::string>& entries) {
    m_strBlock.clear();
    for (const std::string& entry : entries) {
        Add(entry.c_str());
    }
}

void CZncMultiString::Add(const char* entry) {
    if (entry && *entry) {
        m_strBlock.append(entry, std::strlen(entry) + 1);
    }
}

void CZncMultiString::AddNumbered(const char* text, std::uint32_t number) {
    char digits[16];
    std::snprintf(digits, sizeof digits, "%08X|", number);
    Add((digits + std::string(text ? text : "")).c_str());
}

void CZncMultiString::KeepLast(std::uint32_t count) {
    const auto held = std::count(m_strBlock.begin(), m_strBlock.end(), '\0');
    std::size_t start = 0;
    for (auto surplus = held - static_cast<std::ptrdiff_t>(count); surplus > 0; --surplus) {
        start = m_strBlock.find('\0', start) + 1;
    }
    m_strBlock.erase(0, start);
}

std::vector<std::string> CZncMultiString::GetEntries() const {
    std::vector<std::string> entries;
    for (std::size_t at = 0; at < m_strBlock.size(); at += entries.back().size() + 1) {
        entries.emplace_back(m_strBlock.c_str() + at);
    }
    return entries;
}

}  // namespace tessolt
