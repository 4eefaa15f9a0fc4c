#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace borvik {

class DataBuffer;

/// Converts text from one code page to another with the system's own tables, so that the result is
/// the same on every machine. Costs nothing to create; an object belongs to one thread, while any
/// number of objects may work at the same time.
///
/// All operations append to `out` and never clear it. The input must not lie in `out`. True means
/// that every character had a mapping. False means that characters were dropped (nothing is ever
/// written in their place) or that a page has no conversion; what could be converted stands in
/// `out`.
///
/// UTF-16 is handled one unit at a time: characters outside the Basic Multilingual Plane become two
/// 3-byte sequences towards UTF-8 (65001), and are dropped from 4-byte UTF-8 on any way through
/// UTF-16.
class EncodingConvert {
public:
    EncodingConvert() = default;
    virtual ~EncodingConvert() = default;
    EncodingConvert(const EncodingConvert&) = default;
    EncodingConvert& operator=(const EncodingConvert&) = default;

    /// Converts `length` bytes at `input`. A page of 0 stands for the other page; equal pages copy
    /// the bytes as they are. A byte-order mark of a Unicode source is consumed and overrides the
    /// label.
    bool convert(std::uint32_t fromCodePage, std::uint32_t toCodePage, const void* input,
                 std::size_t length, DataBuffer& out);

    /// The same for a text with its length.
    bool convert(std::uint32_t fromCodePage, std::uint32_t toCodePage, std::string_view input,
                 DataBuffer& out) {
        return convert(fromCodePage, toCodePage, input.data(), input.size(), out);
    }

    /// Both pages by charset name. False, with nothing appended, when a name is not known.
    bool convertByNames(const char* fromName, const char* toName, const void* input,
                        std::size_t length, DataBuffer& out);

    /// The source page by charset name. False, with nothing appended, when it is not known.
    bool convertFromName(const char* fromName, std::uint32_t toCodePage, const void* input,
                         std::size_t length, DataBuffer& out);

    /// From the ANSI code page of the process.
    bool convertAnsiTo(std::uint32_t toCodePage, const void* input, std::size_t length,
                       DataBuffer& out);

    /// To the ANSI code page of the process.
    bool convertToAnsi(std::uint32_t fromCodePage, const void* input, std::size_t length,
                       DataBuffer& out);

    /// True when ASCII text is the same bytes in the page, and those bytes mean nothing else in the
    /// state in which a text begins.
    static bool keepsAscii(std::uint32_t codePage);

    /// True when text can be converted from and to the page.
    static bool isSupported(std::uint32_t codePage);
};

}  // namespace borvik
