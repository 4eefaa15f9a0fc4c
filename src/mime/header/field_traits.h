#pragma once

#include <cstdint>
#include <string_view>

namespace borvik {

/// What the name of a header field changes about its reading and writing, as a set of bits. A name
/// that isn't known here has none of them.
using FieldTraits = std::uint16_t;

/// To, Cc, Bcc, From: a value is a list of addresses.
inline constexpr FieldTraits kAddressField = 1U << 0;
/// To, Cc, Bcc: ";" separates addresses too.
inline constexpr FieldTraits kSemicolonList = 1U << 1;
/// Plain text without parameters and addresses.
inline constexpr FieldTraits kFreeTextField = 1U << 2;
/// Blanks at the ends of the value count.
inline constexpr FieldTraits kKeepsBlanks = 1U << 3;
/// In stateful charsets the value always takes the way of encoded words.
inline constexpr FieldTraits kEncodedIfStateful = 1U << 4;
/// The value is written as it stands.
inline constexpr FieldTraits kWrittenRaw = 1U << 5;
/// 8-bit text without an address is written as it stands.
inline constexpr FieldTraits kRawWithoutAddress = 1U << 6;
/// Runs of white space become one blank on reading.
inline constexpr FieldTraits kCollapsesBlanks = 1U << 7;
/// Never folded at blanks and separators, when read or when set.
inline constexpr FieldTraits kNeverFoldedWhenRead = 1U << 8;
inline constexpr FieldTraits kNeverFoldedWhenSet = 1U << 9;
/// Not folded at commas, whatever it holds.
inline constexpr FieldTraits kNoListFold = 1U << 10;
/// Split at ";" in every charset.
inline constexpr FieldTraits kAlwaysSplit = 1U << 11;
/// Of several in a header that is read, the last one counts.
inline constexpr FieldTraits kLastOneCounts = 1U << 12;

/// The traits of a name, which is compared ignoring ASCII case.
FieldTraits traitsOfField(std::string_view name);

}  // namespace borvik
