#include "charset/charset_registry.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>

#include "charset/charset_names.h"
#include "platform/code_page.h"

namespace borvik {
namespace {

constexpr std::size_t kShortestName = 3;

constexpr char lowerAscii(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool equalsIgnoringCase(std::string_view text, std::string_view lowerCaseWord) {
    return std::ranges::equal(text, lowerCaseWord, {}, lowerAscii);
}

std::string_view trimmed(std::string_view name) {
    constexpr std::string_view kBlanks = " \t\r\n";
    const std::size_t first = name.find_first_not_of(kBlanks);
    if (first == std::string_view::npos) {
        return {};
    }
    return name.substr(first, name.find_last_not_of(kBlanks) - first + 1);
}

}  // namespace

std::string_view CharsetNaming::preferredName(std::uint32_t codePage) {
    const auto rows = preferredCharsetNames();
    const auto row = std::ranges::lower_bound(rows, codePage, {}, &PreferredCharsetName::codePage);
    return row != rows.end() && row->codePage == codePage ? row->name : std::string_view("");
}

std::uint32_t CharsetNaming::lookUp(std::string_view name) {
    name = trimmed(name);
    if (name.size() < kShortestName || name.size() > kLongestCharsetName) {
        return kNoCodePage;
    }
    std::array<char, kLongestCharsetName> buffer;
    std::ranges::transform(name, buffer.begin(),
                           [](char c) { return c == '_' ? '-' : lowerAscii(c); });
    const std::string_view spelling(buffer.data(), name.size());
    if (spelling == "ansi") {
        return platform::GetACP();
    }
    const auto rows = acceptedCharsetNames();
    const auto row = std::ranges::lower_bound(rows, spelling, {}, &AcceptedCharsetName::name);
    return row != rows.end() && row->name == spelling ? row->codePage : kNoCodePage;
}

bool CharsetNaming::codePageToName(std::uint32_t codePage, StringBuffer& out) const {
    out.clear();
    const std::string_view name = preferredName(codePage);
    out.append(name.data());
    return !name.empty();
}

std::uint32_t CharsetNaming::nameToCodePage(const char* name) const {
    return name == nullptr ? kNoCodePage : lookUp(name);
}

bool CharsetNaming::isKnownName(const char* name) const {
    return nameToCodePage(name) != kNoCodePage;
}

bool CharsetNaming::ansiCharsetName(StringBuffer& out) const {
    return codePageToName(platform::GetACP(), out);
}

void _bvCharset::copyFrom(const _bvCharset& other) {
    *this = other;
}

const char* _bvCharset::getName() const {
    return name_;
}

std::uint32_t _bvCharset::getCodePage() const {
    return codePage_;
}

void _bvCharset::clear() {
    assign(kNoCodePage, "");
}

bool _bvCharset::hasName(const char* name) const {
    return name != nullptr && std::strcmp(name, getName()) == 0;
}

void _bvCharset::setByCodePage(std::uint32_t codePage) {
    const std::string_view name = CharsetNaming::preferredName(codePage);
    assign(name.empty() ? kNoCodePage : codePage, name.data());
}

void _bvCharset::setByName(const char* name) {
    if (name == nullptr) {
        return;
    }
    const std::string_view label(name);
    if (label == "default" || label == "x-user-defined") {
        clear();
    } else if (equalsIgnoringCase(label, "ansi")) {
        setByCodePage(platform::GetACP());
    } else if (equalsIgnoringCase(label, "oem")) {
        setByCodePage(platform::GetOEMCP());
    } else {
        const std::uint32_t codePage = CharsetNaming::lookUp(label);
        assign(codePage, CharsetNaming::preferredName(codePage).data());
    }
}

void _bvCharset::assign(std::uint32_t codePage, const char* name) {
    codePage_ = codePage;
    name_ = name;
}

}  // namespace borvik
