#include "mime/field_folder.h"

namespace borvik {

namespace {

constexpr std::size_t kNone = std::string_view::npos;

// Lengths of lines. They don't follow from one another: each was chosen for its own case.
constexpr std::size_t kUnfoldedLength = 78;       // what fits within it isn't folded
constexpr std::size_t kFreeTextFoldColumn = 69;   // plain text folds at a blank from here on
constexpr std::size_t kAnyBlankFoldColumn = 61;   // 7-bit values fold at any blank from here on
constexpr std::size_t kSeparatorFoldColumn = 21;  // values fold at ";" or "," from here on
constexpr std::size_t kListLength = 60;           // a longer value with "@" and "," is a list

// Way of `foldSevenBit`; it is logged as a number.
constexpr int kFoldAtCommas = 1;
constexpr int kFoldAtBlanks = 4;

bool looksLikeList(std::string_view text) {
    return text.size() > kListLength && text.find('@') != kNone && text.find(',') != kNone;
}

}  // namespace

void FieldFolder::foldSegment(std::string_view text, std::string& out) const {
    std::size_t column = out.size();
    if (noFold_ || column + text.size() <= kUnfoldedLength) {
        out += text;
        return;
    }
    const bool list = looksLikeList(text);
    bool inQuotes = false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        const bool atEnd = i + 1 == text.size();
        inQuotes = inQuotes != (c == '"');
        out += c;
        ++column;
        if (inQuotes) {
            continue;
        }
        if (is(kFreeTextField)) {
            if (c == ' ' && column >= kFreeTextFoldColumn && !atEnd) {
                out.back() = '\r';
                out += "\n ";
                column = 0;
            }
        } else if (column >= kSeparatorFoldColumn &&
                   ((c == ';' && !atEnd && text[i + 1] != '>') || (list && c == ','))) {
            out += "\r\n ";
            column = 0;
        }
    }
}

void FieldFolder::foldSevenBit(std::string_view value, LogBase* log, std::string& out) const {
    std::size_t column = out.size();
    if (column + value.size() <= kUnfoldedLength) {
        out += value;
        return;
    }
    const int behaviour = !is(kNoListFold) && looksLikeList(value) ? kFoldAtCommas : kFoldAtBlanks;
    if (log != nullptr) {
        log->logDataInt("foldBehavior", behaviour);
    }
    if (noFold_) {
        out += value;
        return;
    }
    bool inQuotes = false;
    for (std::size_t i = 0; i < value.size(); ++i) {
        const char c = value[i];
        const bool atEnd = i + 1 == value.size();
        inQuotes = inQuotes != (c == '"');
        out += c;
        ++column;
        if (inQuotes || atEnd) {
            continue;
        }
        const bool blank = c == ' ' || c == '\t';
        const bool freeTextFold = is(kFreeTextField) && c == ' ' && column >= kFreeTextFoldColumn;
        const bool separatorFold =
            !is(kFreeTextField) && column >= kSeparatorFoldColumn &&
            ((c == ';' && value[i + 1] != '>') || (c == ',' && behaviour == kFoldAtCommas));
        if (separatorFold) {
            const bool ownBlank = value[i + 1] == ' ' || value[i + 1] == '\t';
            out += "\r\n";
            out += ownBlank ? value[++i] : ' ';
            column = 0;
        } else if (freeTextFold ||
                   (blank && column >= kAnyBlankFoldColumn && behaviour == kFoldAtBlanks)) {
            out.back() = '\r';
            out += '\n';
            out += c;
            column = 0;
        }
    }
}

}  // namespace borvik
