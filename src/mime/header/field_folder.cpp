#include "mime/header/field_folder.h"

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

bool isBlank(char c) {
    return c == ' ' || c == '\t';
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
    if (out.size() + value.size() <= kUnfoldedLength) {
        out += value;
        return;
    }
    const int behaviour = !is(kNoListFold) && looksLikeList(value) ? kFoldAtCommas : kFoldAtBlanks;
    if (log != nullptr) {
        log->logDataInt("foldBehavior", behaviour);
    }
    if (noFold_) {
        out += value;
    } else {
        foldLong(value, behaviour, out);
    }
}

void FieldFolder::foldLong(std::string_view value, int behaviour, std::string& out) const {
    std::size_t column = out.size();
    bool inQuotes = false;
    for (std::size_t i = 0; i < value.size(); ++i) {
        const char c = value[i];
        inQuotes = inQuotes != (c == '"');
        out += c;
        ++column;
        if (inQuotes || i + 1 == value.size()) {
            continue;
        }
        if (foldsBehind(c, value[i + 1], column, behaviour)) {
            out += "\r\n";
            out += isBlank(value[i + 1]) ? value[++i] : ' ';
            column = 0;
        } else if (foldsAt(c, column, behaviour)) {
            out.back() = '\r';
            out += '\n';
            out += c;
            column = 0;
        }
    }
}

/// Whether a fold comes behind a separator.
bool FieldFolder::foldsBehind(char c, char next, std::size_t column, int behaviour) const {
    const bool separates = (c == ';' && next != '>') || (c == ',' && behaviour == kFoldAtCommas);
    return separates && !is(kFreeTextField) && column >= kSeparatorFoldColumn;
}

/// Whether a blank becomes a fold.
bool FieldFolder::foldsAt(char c, std::size_t column, int behaviour) const {
    if (is(kFreeTextField) && c == ' ' && column >= kFreeTextFoldColumn) {
        return true;
    }
    return isBlank(c) && behaviour == kFoldAtBlanks && column >= kAnyBlankFoldColumn;
}

}  // namespace borvik
