#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "base/log_base.h"
#include "mime/header/field_traits.h"

namespace borvik {

/// A charset as encoded words are labelled with it.
struct HeaderCharset {
    std::uint32_t codePage;
    std::string_view name;
};

/// Writes one header field: decides when text becomes encoded words, and where lines are folded.
/// Built for one field; the log may be null.
class FieldWriter {
public:
    FieldWriter(FieldTraits traits, bool noFold, const HeaderCharset& charset, LogBase* log)
        : traits_(traits), noFold_(noFold), charset_(charset), log_(log) {}

    /// Appends name, ": " and the value, which is UTF-8; neither holds line breaks.
    void write(std::string_view name, std::string_view value, std::string& out);

private:
    /// The short way for what no rule concerns: 7-bit text within a line. False for other fields.
    bool writePlain(std::string_view name, std::string_view value, std::string& out) const;

    /// Encoded words for one run of text: of which kind, and how they are labelled.
    struct Coding {
        bool useQ;
        HeaderCharset charset;
    };
    struct Address;
    class Remainder;

    bool is(FieldTraits trait) const { return (traits_ & trait) != 0; }
    void logInfo(const char* text) const;

    // `out` holds the field so far, from its name on, in all of these.
    void encodeValue(std::string_view value, std::string& out);
    void encodeMultiByte(std::string_view value, std::string& out);
    void encodeSingleByte(std::string_view value, std::string& out);
    void encodeHeaderValue(const Coding& coding, std::string_view data, std::string& out);
    void encodeParams(const Coding& coding, std::string_view data, std::string& out,
                      std::string& line, std::string& params);
    std::string encodeParamValue(const Coding& coding, std::string_view value);
    void encodeSegment(const Coding& coding, bool isParam, std::string_view data, std::string& out);
    bool encodedThoughAscii(const Coding& coding, bool isParam, const Remainder& data) const;
    void writeAscii(std::string_view data, std::string& out) const;
    void encodeText(const Coding& coding, bool commaSafe, std::string_view text,
                    std::string& out) const;
    void writeDisplayName(const Coding& coding, bool commaSafe, std::string_view name,
                          std::string& out) const;
    static std::size_t findAddressMark(const Coding& coding, std::string_view data);
    Address findAddress(const Coding& coding, std::string_view data) const;

    FieldTraits traits_;
    bool noFold_;
    HeaderCharset charset_;
    LogBase* log_;
};

}  // namespace borvik
