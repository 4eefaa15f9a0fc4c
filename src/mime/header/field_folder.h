#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "base/log_base.h"
#include "mime/header/field_traits.h"

namespace borvik {

/// Folds values that need no encoded words (RFC 5322, section 2.2.3), outside double quotes. The
/// output holds the field so far, from its name on, and the column is taken from its length.
class FieldFolder {
public:
    /// With `noFold` nothing is folded.
    FieldFolder(FieldTraits traits, bool noFold) : traits_(traits), noFold_(noFold) {}

    /// Appends a part of a value: folded behind ";", of a list of addresses behind ",", of free
    /// text at blanks.
    void foldSegment(std::string_view text, std::string& out) const;

    /// Appends a whole value of a us-ascii message; other values than lists of addresses fold at
    /// blanks too. `log`, which may be null, gets the way that was chosen.
    void foldSevenBit(std::string_view value, LogBase* log, std::string& out) const;

private:
    bool is(FieldTraits trait) const { return (traits_ & trait) != 0; }
    void foldLong(std::string_view value, int behaviour, std::string& out) const;
    bool foldsBehind(char c, char next, std::size_t column, int behaviour) const;
    bool foldsAt(char c, std::size_t column, int behaviour) const;

    FieldTraits traits_;
    bool noFold_;
};

}  // namespace borvik
