#include "mime/header/text_index.h"

#include "base/ascii_text.h"

namespace borvik {

namespace {

using namespace std::string_view_literals;

struct MarkText {
    std::string_view text;
    bool ignoreCase;
};

/// In the order of `TextMark`.
constexpr std::array<MarkText, static_cast<std::size_t>(TextMark::kCount)> kMarks = {{
    {"\0"sv, false},          {"\r\n\r\n", false},    {"\r\n\r\r\n", false},
    {"\r\n\r", false},        {"\n\r\n", false},      {"\n\n", false},
    {"GB2312", true},         {"shift_jis", true},    {"Windows-31J", true},
    {"ks_c_5601-1987", true}, {"windows-874", true},  {"big5", true},
    {"euc-kr", true},         {"iso-8859-", true},    {"iso-8859-2", true},
    {"iso-8859-3", true},     {"iso-8859-4", true},   {"iso-8859-5", true},
    {"iso-8859-6", true},     {"iso-8859-7", true},   {"iso-8859-8", true},
    {"iso-8859-9", true},     {"windows-125", true},  {"windows-1250", true},
    {"windows-1251", true},   {"windows-1252", true}, {"windows-1253", true},
    {"windows-1254", true},   {"windows-1255", true}, {"windows-1256", true},
    {"windows-1257", true},   {"koi8-", true},        {"koi8-r", true},
    {"koi8-u", true},
}};

}  // namespace

std::size_t TextIndex::lookUp(TextMark mark, std::size_t from) {
    Answer& answer = answers_[static_cast<std::size_t>(mark)];
    // `kNone` is the highest number, so "none from here on" answers every later question as well.
    if (answer.askedFrom <= from && from <= answer.hit) {
        return answer.hit;
    }
    const MarkText& wanted = kMarks[static_cast<std::size_t>(mark)];
    const std::size_t hit = wanted.ignoreCase ? findNoCase(text_, wanted.text, from)
                                              : borvik::find(text_, wanted.text, from);
    answer = {from, hit};
    return hit;
}

std::size_t TextIndex::find(TextMark mark, std::size_t from) {
    const std::size_t hit = lookUp(mark, from);
    if (hit == kNone || mark == TextMark::kZero) {
        return hit;
    }
    return hit < lookUp(TextMark::kZero, from) ? hit : kNone;
}

std::size_t TextIndex::textEnd(std::size_t from) {
    const std::size_t zero = lookUp(TextMark::kZero, from);
    return zero == kNone ? text_.size() : zero;
}

}  // namespace borvik
