#include <string>

#include "charset/charset_registry.h"
#include "harness.h"
#include "mime/coding/content_coding.h"
#include "mime/coding/encoded_word_reader.h"
#include "reading/field_text.h"

namespace fuzz {
namespace {

using borvik::ContentCoding;

std::string rawText(const std::string& words) {
    std::string bytes;
    ContentCoding::decodeEncodedWordsRaw(words, bytes);
    return bytes;
}

/// What the words of a text are cut into lies in the text, in order.
void checkReader(std::string_view text) {
    borvik::EncodedWordReader reader(text);
    borvik::EncodedWord word{};
    const char* place = text.data();
    auto step = borvik::EncodedWordReader::Step::kWord;
    while (step == borvik::EncodedWordReader::Step::kWord) {
        step = reader.next(word);
        require(word.before.data() >= place);
        place = word.before.data() + word.before.size();
        require(place <= text.data() + text.size());
    }
}

/// The words made of bytes mean these bytes, and hold nothing that could end a line or a field.
void checkMaking(std::string_view bytes, std::uint32_t codePage) {
    const std::string charset(borvik::CharsetNaming::preferredName(codePage));
    for (const bool commaSafe : {false, true}) {
        const ContentCoding coding(commaSafe);
        std::string words[2];
        ContentCoding::bEncodeWord(bytes, charset, words[0]);
        coding.qEncodeWord(bytes, charset, words[1]);
        for (const std::string& word : words) {
            require(rawText(word) == bytes);
            require(word.find_first_of(std::string_view("\r\n\0 ", 4)) == word.npos);
        }
        for (std::string& text : words) {
            text.clear();
        }
        ContentCoding::encodeBValue(bytes, codePage, charset, words[0]);
        coding.encodeQValue(bytes, codePage, charset, words[1]);
        std::string automatic;
        coding.encodeWordAuto(bytes, charset, automatic);
    }
}

}  // namespace

/// Reads the text as words by both sets of rules, and makes words of it in a code page.
void fuzzEncodedWords(Input input) {
    const auto pages = codePages();
    const std::uint32_t codePage = pages[input.choice() % pages.size()];
    const std::string_view text = input.rest();
    const bool hasMark = borvik::hasWordMark(text);
    require(hasMark == (borvik::hasQWordMark(text) || borvik::hasBWordMark(text)));
    checkReader(text);
    std::string value(text);
    ContentCoding::decodeEncodedWords(value);
    require(text.find("=?") != text.npos || value == text);
    std::string list(text);
    const bool marked = ContentCoding::decodeEncodedWordsForAddress(list);
    require(!marked || list.find(ContentCoding::kCommaMark) != list.npos);
    std::string bytes;
    ContentCoding::qDecode(text, bytes);
    require(bytes.size() <= text.size() && rawText(std::string(text)).size() <= text.size());
    tessolt::reading::headerText(text, borvik::CharsetNaming::preferredName(codePage));
    for (const bool blanks : {false, true}) {
        require(tessolt::reading::encodedWordLength(text, blanks) <= text.size());
    }
    checkMaking(text, codePage);
}

}  // namespace fuzz
