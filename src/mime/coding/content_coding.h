#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace borvik {

class DataBuffer;

/// The byte-level codings of MIME: base64 and quoted-printable of bodies (RFC 2045), and the making
/// and reading of the "B" and "Q" encoded words of header text (RFC 2047). Knows nothing of
/// messages and fields. Built where it is needed, it holds no other state than the switch for the
/// comma.
///
/// Everything is appended. The decoders don't report bad input: they skip, copy or stop.
class ContentCoding {
public:
    /// With `commaSafe`, Q words code the comma too, so that none can split an address list.
    explicit ContentCoding(bool commaSafe = false) : commaSafe_(commaSafe) {}
    virtual ~ContentCoding() = default;
    ContentCoding(const ContentCoding&) = default;
    ContentCoding& operator=(const ContentCoding&) = default;

    // Bodies. False when memory ran out; then nothing or a beginning was appended.

    /// Lines of 76 characters with CRLF behind each, and CRLF at the end in any case.
    static bool encodeBase64Mime(std::string_view bytes, DataBuffer& out);
    /// See `decodeBase64Run` for what is skipped and what ends the text.
    static bool decodeBase64(std::string_view text, DataBuffer& out);
    static bool encodeQuotedPrintable(std::string_view bytes, DataBuffer& out);
    static bool decodeQuotedPrintable(std::string_view text, DataBuffer& out);

    // Making encoded words. An empty charset name counts as "utf-8".

    /// One B word, without line breaks.
    static void bEncodeWord(std::string_view bytes, std::string_view charset, std::string& out);
    /// One Q word.
    void qEncodeWord(std::string_view bytes, std::string_view charset, std::string& out) const;

    /// B words of text in `codePage` (0 counts as UTF-8), labelled `charset`. A text of more than
    /// 60 bytes is split at blanks into several words with CRLF and a tab between them, each word
    /// carrying the blank in front of it. Blank text is appended as it is, and so is 7-bit text; in
    /// an ISO-2022 charset only when it holds no ESC, "[" and "$".
    static void encodeBValue(std::string_view bytes, std::uint32_t codePage,
                             std::string_view charset, std::string& out);
    /// The same with Q words, also for 7-bit text.
    void encodeQValue(std::string_view bytes, std::uint32_t codePage, std::string_view charset,
                      std::string& out) const;
    /// One word, B for the charsets that usually take it and Q for all others. Text that holds a
    /// word in its first 100 bytes is appended as it is.
    void encodeWordAuto(std::string_view bytes, std::string_view charset, std::string& out) const;

    // Reading encoded words. A broken word ends the text: it and everything behind it are dropped.

    /// Turns the words of `value` into UTF-8; text between words stays, also blanks. A word in an
    /// unknown charset keeps its bytes.
    static void decodeEncodedWords(std::string& value);
    /// The same for a list of addresses: a comma that comes out of a word becomes `kCommaMark`.
    /// Returns whether that happened.
    static bool decodeEncodedWordsForAddress(std::string& value);
    /// Appends the text with the bytes of its words, whatever their charset.
    static void decodeEncodedWordsRaw(std::string_view value, std::string& out);
    /// Appends the bytes of the coded text of a Q word.
    static void qDecode(std::string_view text, std::string& out);

    /// Stands for a comma that doesn't separate addresses.
    static constexpr std::string_view kCommaMark = "_COMMA_";

private:
    bool commaSafe_;
};

/// Whether the text holds "?Q?" or "?B?", the middle of an encoded word, in either case.
bool hasQWordMark(std::string_view text);
bool hasBWordMark(std::string_view text);
/// Either of them, in one pass.
bool hasWordMark(std::string_view text);

}  // namespace borvik
