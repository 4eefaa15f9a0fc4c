#include "mime/header/param_string.h"

#include <charconv>

namespace borvik {

namespace {
constexpr std::string_view kMarkBegin = "<[[";
constexpr std::string_view kMarkEnd = "]]>";
}  // namespace

void ParamString::setParamString(std::string_view value, bool allowEscapes) {
    masked_.clear();
    strings_.clear();
    ends_.clear();
    if (value.size() > kMaxLength) {
        return;
    }
    for (std::size_t at = 0; at < value.size();) {
        const std::size_t quote = value.find('"', at);
        masked_ += value.substr(at, quote - at);
        if (quote == std::string_view::npos) {
            return;
        }
        masked_ += kMarkBegin;
        at = takeString(value, quote + 1, allowEscapes);
    }
}

/// Files the string that begins at `at` and returns the position behind it; at the end of the value
/// nothing is filed.
std::size_t ParamString::takeString(std::string_view value, std::size_t at, bool allowEscapes) {
    const std::size_t begin = strings_.size();
    for (; at < value.size(); ++at) {
        const char c = value[at];
        if (c == '"' || c == '\r' || c == '\n') {
            masked_ += std::to_string(ends_.size());
            masked_ += kMarkEnd;
            ends_.push_back(strings_.size());
            return at + 1;
        }
        if (c == '\\' && allowEscapes) {
            if (++at == value.size()) {
                break;
            }
            if (value[at] != '"') {
                strings_ += c;
            }
        }
        strings_ += value[at];
    }
    strings_.resize(begin);
    return value.size();
}

std::optional<std::string_view> ParamString::getSubstring(std::size_t index) const {
    if (index >= ends_.size()) {
        return std::nullopt;
    }
    const std::size_t begin = index == 0 ? 0 : ends_[index - 1];
    return std::string_view(strings_).substr(begin, ends_[index] - begin);
}

std::string_view ParamString::resolve(std::string_view part) const {
    if (part.substr(0, kMarkBegin.size()) != kMarkBegin) {
        return part;
    }
    part.remove_prefix(kMarkBegin.size());
    std::size_t number = 0;
    const std::from_chars_result parsed =
        std::from_chars(part.data(), part.data() + part.size(), number);
    if (parsed.ec == std::errc::result_out_of_range) {
        return {};
    }
    return getSubstring(number).value_or(std::string_view());
}

}  // namespace borvik
