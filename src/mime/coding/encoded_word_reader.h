#pragma once

#include <cstddef>
#include <string_view>

namespace borvik {

/// Position of "?", one of the letters in either case, "?": the middle of an encoded word.
std::size_t findWordMark(std::string_view text, std::string_view lowerLetters);

/// An encoded word (RFC 2047, section 2) as it stands in a text. The views point into that text.
struct EncodedWord {
    std::string_view before;  // what stands between the last word and this one
    std::string_view charset;
    bool isBase64;
    std::string_view coded;
};

/// Cuts a text into its encoded words, from left to right, in one pass.
class EncodedWordReader {
public:
    enum class Step {
        kWord,    // `word` is filled
        kRest,    // no further word; `word.before` is the rest of the text
        kBroken,  // a word began but isn't whole; `word.before` is what stands in front of it
    };

    explicit EncodedWordReader(std::string_view text) : rest_(text) {}

    /// Steps to the next word. Not to be called again after `kRest` and `kBroken`.
    Step next(EncodedWord& word);

private:
    std::string_view rest_;
};

}  // namespace borvik
