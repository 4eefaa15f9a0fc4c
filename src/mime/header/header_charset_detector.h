#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "base/log_base.h"

namespace borvik {

class TextIndex;

/// Finds out which code page the bytes of a raw header block are meant in. The log may be null.
class HeaderCharsetDetector {
public:
    /// `header` is the block; hints are also searched from `textBegin` of the indexed text on,
    /// which holds the body too.
    HeaderCharsetDetector(std::string_view header, TextIndex& index, std::size_t textBegin,
                          LogBase* log)
        : header_(header), index_(index), textBegin_(textBegin), log_(log) {}

    struct Result {
        std::uint32_t codePage;  // 0 when nothing tells
        bool isIso2022Jp;        // the block is to be converted from that first
    };
    Result detect();

private:
    bool holds(std::string_view name) const;
    std::uint32_t pageOfEncodedWord(std::string_view lowerLetter, const char* logTag) const;
    std::uint32_t detect8BitCodePage();
    std::uint32_t hintInHeader() const;
    std::uint32_t hintInText();
    std::uint32_t guessFromBytes() const;
    bool looksLikeUtf8() const;
    std::uint32_t probe(std::uint32_t codePage) const;
    void logInfo(const char* text) const;
    void logPage(const char* tag, std::uint32_t codePage) const;

    std::string_view header_;
    TextIndex& index_;
    std::size_t textBegin_;
    LogBase* log_;
};

}  // namespace borvik
