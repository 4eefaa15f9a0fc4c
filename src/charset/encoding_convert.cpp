#include "charset/encoding_convert.h"

#include <algorithm>
#include <span>
#include <string>

#include "base/data_buffer.h"
#include "charset/charset_registry.h"
#include "charset/iso2022_jp_reader.h"
#include "charset/japanese.h"
#include "charset/korean.h"
#include "charset/mac_arabic.h"
#include "charset/output_room.h"
#include "charset/tables/code_pages.h"
#include "charset/tables/conversion_tables.h"
#include "charset/text_kernels.h"
#include "charset/utf32.h"
#include "charset/utf7.h"
#include "platform/code_page.h"

namespace borvik {
namespace {

bool isIso2022Jp(std::uint32_t codePage) {
    return codePage == kIso2022Jp || codePage == kIso2022JpCs || codePage == kIso2022Jp2;
}

/// The loops with the best lanes, ready to be run or piped.
auto decoder(const DecodeTable& table) {
    return [&table](TextCursor& c) {
        return table.isMultiByte() ? kernels::multiByteToUnicode(nativeRuns(), table, c)
                                   : kernels::singleByteToUnicode(nativeRuns(), table, c);
    };
}

auto encoder(const EncodeTable& table) {
    return [&table](TextCursor& c) { return kernels::unicodeToMultiByte(nativeRuns(), table, c); };
}

bool readUtf8(TextCursor& c) {
    return kernels::utf8ToUnicode(nativeRuns(), c);
}

bool writeUtf8(TextCursor& c) {
    return kernels::unicodeToUtf8(nativeRuns(), c);
}

bool utf8ToUnicode(std::string_view input, DataBuffer& out) {
    return appendConverted(input.data(), input.size(), out, 2 * input.size(), readUtf8);
}

/// An odd byte at the end is dropped, which counts as a failure here.
bool unicodeToUtf8(std::string_view input, DataBuffer& out) {
    const std::size_t length = input.size() & ~std::size_t{1};
    return appendConverted(input.data(), length, out, length / 2, writeUtf8) &&
           length == input.size();
}

bool decodeToUnicode(std::uint32_t codePage, std::string_view input, DataBuffer& out) {
    if (input.empty()) {
        return true;
    }
    const DecodeTable* table = decodeTable(codePage);
    return table != nullptr &&
           appendConverted(input.data(), input.size(), out, 2 * input.size(), decoder(*table));
}

/// An odd byte at the end is dropped without a report, unless it is all there is.
bool encodeFromUnicode(std::uint32_t codePage, std::string_view input, DataBuffer& out) {
    if (input.empty()) {
        return true;
    }
    const EncodeTable* table = encodeTable(codePage);
    const std::size_t length = input.size() & ~std::size_t{1};
    return table != nullptr && length != 0 &&
           appendConverted(input.data(), length, out, length / 2, encoder(*table));
}

bool utf8ToPage(std::uint32_t to, std::string_view input, DataBuffer& out) {
    const EncodeTable* table = encodeTable(to);
    if (table == nullptr) {
        DataBuffer units;
        utf8ToUnicode(input, units);
        return units.empty();
    }
    return appendConverted(input.data(), input.size(), out, input.size(), [table](TextCursor& c) {
        return kernels::pipe(c, readUtf8, encoder(*table));
    });
}

bool pageToUtf8(std::uint32_t from, std::string_view input, DataBuffer& out) {
    const DecodeTable* table = decodeTable(from);
    if (table == nullptr) {
        return false;
    }
    const std::size_t expected = input.size() + input.size() / 4;
    return appendConverted(input.data(), input.size(), out, expected, [table](TextCursor& c) {
        return table->isMultiByte() ? kernels::pipe(c, decoder(*table), writeUtf8)
                                    : kernels::singleByteToUtf8(nativeRuns(), *table, c);
    });
}

bool pageToPage(std::uint32_t from, std::uint32_t to, std::string_view input, DataBuffer& out) {
    const DecodeTable* source = decodeTable(from);
    const EncodeTable* target = encodeTable(to);
    if (source == nullptr || target == nullptr) {
        DataBuffer units;
        return decodeToUnicode(from, input, units) && encodeFromUnicode(to, units.view(), out);
    }
    return appendConverted(input.data(), input.size(), out, input.size(), [&](TextCursor& c) {
        return kernels::pipe(c, decoder(*source), encoder(*target));
    });
}

/// Between tables, 1200 and 65001.
bool convertPivoted(std::uint32_t from, std::uint32_t to, std::string_view input, DataBuffer& out) {
    if (from == to) {
        return out.append(input);
    }
    if (from == kUtf16Le) {
        return to == kUtf8 ? unicodeToUtf8(input, out) : encodeFromUnicode(to, input, out);
    }
    if (from == kUtf8) {
        return to == kUtf16Le ? utf8ToUnicode(input, out) : utf8ToPage(to, input, out);
    }
    if (to == kUtf16Le) {
        return decodeToUnicode(from, input, out);
    }
    return to == kUtf8 ? pageToUtf8(from, input, out) : pageToPage(from, to, input, out);
}

/// Swaps the bytes of each unit of `kSize` bytes in place; a rest that is no unit stays.
template <std::size_t kSize>
void swapUnits(char* bytes, std::size_t length) {
    for (std::size_t i = 0; i + kSize <= length; i += kSize) {
        std::reverse(bytes + i, bytes + i + kSize);
    }
}

/// Takes a byte-order mark off the input, which may decide the byte order against the label.
void skipByteOrderMark(std::uint32_t from, std::string_view& input, bool& bigEndian) {
    using namespace std::string_view_literals;
    struct Mark {
        std::string_view bytes;
        bool bigEndian;
    };
    static constexpr Mark kUtf8Marks[] = {{"\xEF\xBB\xBF"sv, false}};
    static constexpr Mark kUtf16Marks[] = {{"\xFE\xFF"sv, true}, {"\xFF\xFE"sv, false}};
    static constexpr Mark kUtf32Marks[] = {{"\0\0\xFE\xFF"sv, true}, {"\xFF\xFE\0\0"sv, false}};
    std::span<const Mark> marks;
    if (from == kUtf8) {
        marks = kUtf8Marks;
    } else if (from == kUtf16Le || from == kUtf16Be) {
        marks = kUtf16Marks;
    } else if (from == kUtf32Le || from == kUtf32Be) {
        marks = kUtf32Marks;
    }
    for (const Mark& mark : marks) {
        if (input.starts_with(mark.bytes)) {
            input.remove_prefix(mark.bytes.size());
            bigEndian = mark.bigEndian;
            return;
        }
    }
}

/// Makes 1200 or 65001 of the sources that have no table, in `storage` where the bytes change.
void normaliseSource(std::uint32_t& from, bool bigEndian, std::string_view& input,
                     DataBuffer& storage) {
    if (from == kUtf16Le || from == kUtf16Be) {
        from = kUtf16Le;
        if (bigEndian) {
            storage.append(input.substr(0, input.size() & ~std::size_t{1}));
            swapUnits<2>(storage.getData(), storage.getSize());
            input = storage.view();
        }
    } else if (from == kUtf32Le || from == kUtf32Be) {
        from = kUtf8;
        DataBuffer swapped;
        if (bigEndian) {
            swapped.append(input);
            swapUnits<4>(swapped.getData(), swapped.getSize());
            input = swapped.view();
        }
        utf32ToUtf8(input, storage);
        input = storage.view();
    } else if (from == kUtf7) {
        from = kUtf16Le;
        utf7ToUtf16(input, storage);
        input = storage.view();
    }
}

/// From any page but the stateful ones to a table page, 1200 or 65001.
bool convertCore(std::uint32_t from, std::uint32_t to, std::string_view input, DataBuffer& out) {
    bool bigEndian = from == kUtf16Be || from == kUtf32Be;
    skipByteOrderMark(from, input, bigEndian);
    if (input.empty()) {
        return true;
    }
    if (from == to) {
        return out.append(input);
    }
    DataBuffer storage;
    normaliseSource(from, bigEndian, input, storage);
    return input.empty() || convertPivoted(from, to, input, out);
}

bool convertToUtf32(std::uint32_t from, std::uint32_t to, std::string_view input, DataBuffer& out) {
    DataBuffer utf8;
    if (!convertCore(from, kUtf8, input, utf8)) {
        return false;
    }
    return to == kUtf32Le ? utf8ToUtf32Le(utf8.view(), out) : utf8ToUtf32Be(utf8.view(), out);
}

bool convertToUtf7(std::uint32_t from, std::string_view input, DataBuffer& out) {
    if (from == kUtf16Le) {
        // The text as it is, whatever its mark says.
        bool bigEndian = false;
        skipByteOrderMark(from, input, bigEndian);
        return utf16ToUtf7(input, out);
    }
    DataBuffer units;
    return convertCore(from, kUtf16Le, input, units) && utf16ToUtf7(units.view(), out);
}

bool convertToUtf16Be(std::uint32_t from, std::string_view input, DataBuffer& out) {
    const std::size_t before = out.getSize();
    const bool complete = convertCore(from, kUtf16Le, input, out);
    if (out.getSize() > before) {
        swapUnits<2>(out.getData() + before, out.getSize() - before);
    }
    return complete;
}

bool convertToIso2022(std::uint32_t from, std::uint32_t to, std::string_view input,
                      DataBuffer& out) {
    DataBuffer bytes;
    const bool japanese = to != kIso2022Kr;
    const bool complete = convertCore(from, japanese ? kShiftJis : kKoreanUhc, input, bytes);
    if (japanese) {
        Japanese().shiftJisToIso2022Jp(bytes.getData(), bytes.getSize(), out);
    } else {
        Korean().kscToIso2022Kr(bytes.getData(), bytes.getSize(), out);
    }
    return complete;
}

/// Without the Shift_JIS as a whole, for targets that can take the text in pieces.
bool iso2022JpToPage(const DecodeTable& shiftJis, std::uint32_t to, const EncodeTable* target,
                     std::string_view input, DataBuffer& out) {
    Iso2022JpReader reader(nativeRuns(), shiftJis);
    const auto read = [&reader](TextCursor& c) { return reader(c); };
    if (to == kUtf16Le) {
        return appendConverted(input.data(), input.size(), out, input.size(), read);
    }
    return appendConverted(input.data(), input.size(), out, input.size(), [&](TextCursor& c) {
        return to == kUtf8 ? kernels::pipe(c, read, writeUtf8)
                           : kernels::pipe(c, read, encoder(*target));
    });
}

bool convertIso2022Jp(std::uint32_t to, std::string_view input, DataBuffer& out) {
    const DecodeTable* shiftJis = decodeTable(kShiftJis);
    const EncodeTable* target = to == kShiftJis ? nullptr : encodeTable(to);
    if (shiftJis != nullptr && (to == kUtf16Le || to == kUtf8 || target != nullptr)) {
        return iso2022JpToPage(*shiftJis, to, target, input, out);
    }
    DataBuffer bytes;
    Japanese().iso2022JpToShiftJis(input.data(), input.size(), bytes);
    return bytes.empty() || EncodingConvert().convert(kShiftJis, to, bytes.view(), out);
}

bool convertIso2022Kr(std::uint32_t to, std::string_view input, DataBuffer& out) {
    DataBuffer bytes;
    Korean().iso2022KrToKsc(input.data(), input.size(), bytes);
    return bytes.empty() || EncodingConvert().convert(kKoreanUhc, to, bytes.view(), out);
}

}  // namespace

bool EncodingConvert::convert(std::uint32_t fromCodePage, std::uint32_t toCodePage,
                              const void* input, std::size_t length, DataBuffer& out) {
    const std::uint32_t to = toCodePage == kNoCodePage ? fromCodePage : toCodePage;
    const std::uint32_t from = fromCodePage == kNoCodePage ? to : fromCodePage;
    std::string_view text(static_cast<const char*>(input), input == nullptr ? 0 : length);
    if (from == to) {
        return out.append(text);
    }
    std::string prepared;
    if (from == kMacArabic) {
        prepared = prepareMacArabic(text);
        text = prepared;
    }
    if (isIso2022Jp(from)) {
        return convertIso2022Jp(to, text, out);
    }
    if (from == kIso2022Kr) {
        return convertIso2022Kr(to, text, out);
    }
    switch (to) {
        case kUtf7:
            return convertToUtf7(from, text, out);
        case kUtf32Le:
        case kUtf32Be:
            return convertToUtf32(from, to, text, out);
        case kUtf16Be:
            return convertToUtf16Be(from, text, out);
        case kIso2022Jp:
        case kIso2022JpCs:
        case kIso2022Jp2:
        case kIso2022Kr:
            return convertToIso2022(from, to, text, out);
        default:
            return convertCore(from, to, text, out);
    }
}

bool EncodingConvert::convertByNames(const char* fromName, const char* toName, const void* input,
                                     std::size_t length, DataBuffer& out) {
    const std::uint32_t to = CharsetNaming().nameToCodePage(toName);
    return to != kNoCodePage && convertFromName(fromName, to, input, length, out);
}

bool EncodingConvert::convertFromName(const char* fromName, std::uint32_t toCodePage,
                                      const void* input, std::size_t length, DataBuffer& out) {
    const std::uint32_t from = CharsetNaming().nameToCodePage(fromName);
    return from != kNoCodePage && convert(from, toCodePage, input, length, out);
}

bool EncodingConvert::convertAnsiTo(std::uint32_t toCodePage, const void* input, std::size_t length,
                                    DataBuffer& out) {
    return convert(platform::GetACP(), toCodePage, input, length, out);
}

bool EncodingConvert::convertToAnsi(std::uint32_t fromCodePage, const void* input,
                                    std::size_t length, DataBuffer& out) {
    return convert(fromCodePage, platform::GetACP(), input, length, out);
}

bool EncodingConvert::keepsAscii(std::uint32_t codePage) {
    if (codePage == kUtf8 || codePage == kIso2022Kr || isIso2022Jp(codePage)) {
        return true;
    }
    const EncodeTable* table = encodeTable(codePage);
    return table != nullptr && table->asciiCompatible;
}

bool EncodingConvert::isSupported(std::uint32_t codePage) {
    switch (codePage) {
        case kUtf16Le:
        case kUtf16Be:
        case kUtf8:
        case kUtf7:
        case kUtf32Le:
        case kUtf32Be:
        case kIso2022Kr:
            return true;
        default:
            return isIso2022Jp(codePage) || hasTable(codePage);
    }
}

}  // namespace borvik
