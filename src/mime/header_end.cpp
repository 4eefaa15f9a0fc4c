#include "mime/header_end.h"

#include <algorithm>
#include <utility>

#include "base/ascii_text.h"
#include "mime/line_repair.h"

namespace borvik {

namespace {

constexpr std::size_t npos = TextIndex::kNone;
constexpr std::string_view kCrlf = "\r\n";

void logInfo(LogBase* log, const char* text) {
    if (log != nullptr) {
        log->logInfo(text);
    }
}

/// Mends a string whose line ends are bare LFs, alone or mixed with CRLFs.
std::size_t mendBareLineFeeds(NodeText& node, std::size_t headerEnd, LogBase* log) {
    const std::size_t doubleLf = node.find(TextMark::kLfLf);
    if (doubleLf == npos) {
        return headerEnd;
    }
    if (headerEnd == npos) {
        logInfo(log, "Double CRLF not found, but found double-LF");
        const std::size_t end = std::min(doubleLf, node.end());
        const std::string_view before = node.text().text().substr(0, end);
        if (find(before, kCrlf, node.begin()) == npos) {
            return npos;
        }
        logInfo(log, "Also found CRLF.  The MIME contains a mixture of bare-LF's and CRLF's");
    }
    logInfo(log, "Converting all line endings to CRLF.");
    node.replaceBy(withCrlfLineEnds(node.upToZero()));
    return node.find(TextMark::kCrLfCrLf);
}

/// Looks for a blank line written in some other way; the last resorts mend the text.
std::size_t findOddBlankLine(NodeText& node, LogBase* log) {
    struct OddForm {
        TextMark pattern;
        const char* note;
    };
    constexpr OddForm kOddForms[] = {{TextMark::kCrLfCrCrLf, "Found CRLFCRCRLF."},
                                     {TextMark::kCrLfCr, "Found CRLFCR."},
                                     {TextMark::kLfCrLf, "Found LFCRLF."}};
    for (const OddForm& form : kOddForms) {
        const std::size_t hit = node.find(form.pattern);
        if (hit != npos) {
            logInfo(log, form.note);
            return hit;
        }
    }
    if (node.find(TextMark::kLfLf) != npos) {
        logInfo(log, "Found LFLF, converting to CRLF");
        node.replaceBy(withCrlfLineEnds(node.upToZero()));
        return node.find(TextMark::kCrLfCrLf);
    }
    return npos;
}

std::size_t mendCarriageReturns(NodeText& node, LogBase* log) {
    logInfo(log, "Found CRCRLF. Fixing..");
    node.replaceBy(withoutDoubledCrs(node.upToZero()));
    const std::size_t headerEnd = node.find(TextMark::kCrLfCrLf);
    if (headerEnd != npos || find(node.asItCameIn(), "\r\r") == npos) {
        return headerEnd;
    }
    logInfo(log, "Found CRCR.");
    node.replaceBy(withCrsAsLineEnds(node.asItCameIn()));
    return node.find(TextMark::kCrLfCrLf);
}

}  // namespace

std::string_view NodeText::Range::upToZero() const {
    return text->text().substr(begin, std::min(text->textEnd(begin), end) - begin);
}

void NodeText::replaceBy(std::string mended) {
    mended_ = std::move(mended);
    current_ = {&mendedText_.emplace(mended_), 0, mended_.size()};
}

std::size_t locateHeaderEnd(NodeText& node, bool fromText, LogBase* log) {
    std::size_t headerEnd = npos;
    if (node.openEnded().starts_with(kCrlf)) {
        logInfo(log, "MIME is missing initial header because it begins with CRLF");
        headerEnd = node.begin();
    } else {
        headerEnd = node.find(TextMark::kCrLfCrLf);
    }
    if (fromText) {
        headerEnd = mendBareLineFeeds(node, headerEnd, log);
    }
    if (headerEnd == npos) {
        headerEnd = findOddBlankLine(node, log);
    }
    if (headerEnd == npos) {
        headerEnd = mendCarriageReturns(node, log);
    }
    return headerEnd;
}

}  // namespace borvik
