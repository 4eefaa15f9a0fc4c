#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "base/log_base.h"
#include "charset/charset_registry.h"
#include "mime/header/field_traits.h"

namespace borvik {

/// One header field (RFC 5322, section 2.2). Its value is held unfolded, with its encoded words
/// decoded, in UTF-8. It is built once by `loadFromUnfolded` or `setNameValue` and replaced rather
/// than changed.
class MimeField {
public:
    MimeField() = default;
    MimeField(std::string_view name, std::string_view value) { setNameValue(name, value); }

    /// Reads "name: value", without folds, in UTF-8. False when there is no colon; the field is
    /// empty then.
    bool loadFromUnfolded(std::string_view line);

    /// Sets the field from program text; folds are removed and encoded words decoded.
    void setNameValue(std::string_view name, std::string_view value);

    /// As given or read; good until the next change.
    std::string_view name() const { return std::string_view(text_).substr(0, nameLength_); }
    std::string_view value() const { return std::string_view(text_).substr(nameLength_); }

    /// Bytes of both together.
    std::size_t size() const { return text_.size(); }

    /// Whether the name is this one, ignoring ASCII case.
    bool hasName(std::string_view name) const;

    /// What the name changes about reading and writing.
    FieldTraits traits() const { return traits_; }

    /// Appends the field as it goes over the wire, folded, with encoded words where they are
    /// needed, without the final line end. Text goes into `charset` as far as that can hold it;
    /// without a code page UTF-8 is taken. Line breaks and zero bytes of name and value count as
    /// blanks, so that no value can begin a field of its own. `log` may be null.
    void emitField(std::string& out, const _bvCharset& charset, LogBase* log = nullptr) const;

private:
    void store(std::string_view name, std::string_view value);

    /// Name and value behind each other: one allocation a field.
    std::string text_;
    std::size_t nameLength_ = 0;
    FieldTraits traits_ = 0;
    bool noFold_ = false;
};

}  // namespace borvik
