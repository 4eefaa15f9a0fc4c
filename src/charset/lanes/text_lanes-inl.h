// Read once for each kind of processor, by the sources that Highway's foreach_target.h includes
// again.
#if defined(BORVIK_TEXT_LANES_INL) == defined(HWY_TARGET_TOGGLE)
#ifdef BORVIK_TEXT_LANES_INL
#undef BORVIK_TEXT_LANES_INL
#else
#define BORVIK_TEXT_LANES_INL
#endif

#include <hwy/highway.h>

#include "charset/lanes/text_runs.h"

/// The lanes of each kind of processor, by the names they have in `TextRuns`.
namespace borvik::HWY_NAMESPACE {

void singleByteToUtf16(const DecodeTable& table, TextCursor& c);
void singleByteToUtf8(const DecodeTable& table, TextCursor& c);
void doubleByteToUtf16(const DecodeTable& table, TextCursor& c);
void utf16ToSingleByte(const EncodeTable& table, TextCursor& c);
void utf16ToDoubleByte(const EncodeTable& table, TextCursor& c);
void utf8ToUtf16(TextCursor& c);
void utf16ToUtf8(TextCursor& c);
void utf8ToPairs(TextCursor& c);
void pairsToUtf8(TextCursor& c);
std::size_t unitsOfUtf8(const std::uint8_t* in, std::size_t length);
std::size_t utf8BytesOfPairs(const std::uint8_t* in, std::size_t units);
void utf7ToUtf16(TextCursor& c, Utf7Run& run);
void utf16ToUtf7(TextCursor& c, Utf7Run& run);
void jisToUtf16(const DecodeTable& shiftJis, TextCursor& c, JisSet& set);

}  // namespace borvik::HWY_NAMESPACE

#endif
