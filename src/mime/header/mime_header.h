#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/log_base.h"
#include "charset/charset_registry.h"
#include "mime/header/mime_field.h"

namespace borvik {

class TextIndex;

/// The header fields of one MIME node, in message order, which is also the order of output: nothing
/// sorts the list, and names may repeat. Field text is UTF-8. Names compare ignoring ASCII case and
/// keep their spelling. A log may be null.
class MimeHeader {
public:
    /// Most lines that are taken of one header block.
    static constexpr std::size_t kMaxLines = 100'000;

    MimeHeader() = default;
    virtual ~MimeHeader() = default;
    MimeHeader(const MimeHeader&) = default;
    MimeHeader(MimeHeader&&) = default;
    MimeHeader& operator=(const MimeHeader&) = default;
    MimeHeader& operator=(MimeHeader&&) = default;

    /// Destroys all fields, and forgets the code page.
    void clear();

    /// Replaces the list by the header at the front of `text`, up to the first blank line or zero
    /// byte. `text` may run on past it: names of charsets in the body count as hints at the code
    /// page of 8-bit bytes in the header. Lines without a colon are dropped.
    void ParseMimeHeader(std::string_view text, LogBase* log = nullptr);

    /// The same for the header that begins at `begin` of an indexed text, not read beyond `end`.
    /// For the many parts of one message, which then search it once together.
    void ParseMimeHeader(TextIndex& index, std::size_t begin, LogBase* log = nullptr,
                         std::size_t end = std::string_view::npos);

    /// Where `ParseMimeHeader` takes the header that begins at `begin` to end, the end of the text
    /// when nothing ends it.
    static std::size_t findEnd(TextIndex& index, std::size_t begin);

    /// Appends the whole block, without a line end behind its last field. A charset without a code
    /// page gives way to the one that was detected when the header was read, and UTF-7 to UTF-8.
    void AssembleMimeHeader(std::string& out, const _bvCharset& charset,
                            LogBase* log = nullptr) const;

    /// The code page that the 8-bit bytes of the parsed block were read in, 0 for none.
    std::uint32_t detectedCodePage() const { return detectedCodePage_; }

    /// The fields in order; good until the next change.
    const std::vector<MimeField>& fields() const { return fields_; }

    /// The value of the first field of that name; good until the next change.
    std::optional<std::string_view> fieldValue(std::string_view name) const;

    /// Appends that value to `out`; false when there is no such field or the name is empty.
    bool getFieldValue(std::string_view name, std::string& out) const;

    /// Replaces `out` by a parameter of that value, without its double quotes and the blanks inside
    /// and outside of them; false when there is none.
    bool getParamValue(std::string_view fieldName, std::string_view paramName,
                       std::string& out) const;

    /// Adds a field at the end, unless the value is blank.
    void addField(std::string_view name, std::string_view value);

    /// Removes every field of that name, then as `addField`.
    void replaceField(std::string_view name, std::string_view value);

    /// Removes every field of that name.
    void removeField(std::string_view name);

private:
    void readBlock(std::string_view block, TextIndex& index, std::size_t textBegin, LogBase* log);

    std::uint32_t detectedCodePage_ = kNoCodePage;
    std::vector<MimeField> fields_;
};

}  // namespace borvik
