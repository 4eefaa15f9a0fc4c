#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "charset/lanes/ascii_lanes.cpp"
#include <hwy/foreach_target.h>

#include "charset/lanes/text_lanes-inl.h"
#include "charset/lanes/vectors-inl.h"

HWY_BEFORE_NAMESPACE();
namespace borvik::HWY_NAMESPACE {

#if BORVIK_HAS_VECTORS

namespace {

void copyAscii(TextCursor& c) {
    while (c.has(kBlock) && copyPlainBlock(c)) {
    }
}

void utf16ToAscii(TextCursor& c) {
    while (c.has(kBlock) && narrowPlainBlock(c)) {
    }
}

constexpr TextRuns kRuns = {
    .copyAscii = copyAscii,
    .utf16ToAscii = utf16ToAscii,
    .singleByteToUtf16 = singleByteToUtf16,
    .singleByteToUtf8 = singleByteToUtf8,
    .doubleByteToUtf16 = doubleByteToUtf16,
    .utf16ToSingleByte = utf16ToSingleByte,
    .utf16ToDoubleByte = utf16ToDoubleByte,
    .utf8ToUtf16 = utf8ToUtf16,
    .utf16ToUtf8 = utf16ToUtf8,
    .utf8ToPairs = utf8ToPairs,
    .pairsToUtf8 = pairsToUtf8,
    .unitsOfUtf8 = unitsOfUtf8,
    .utf8BytesOfPairs = utf8BytesOfPairs,
    .utf7ToUtf16 = utf7ToUtf16,
    .utf16ToUtf7 = utf16ToUtf7,
    .jisToUtf16 = jisToUtf16,
};

}  // namespace

const TextRuns& textRuns() {
    return kRuns;
}

#else

const TextRuns& textRuns() {
    return portableRuns();
}

#endif

}  // namespace borvik::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace borvik {

HWY_EXPORT(textRuns);

const TextRuns& nativeRuns() {
    return HWY_DYNAMIC_DISPATCH(textRuns)();
}

}  // namespace borvik

#endif
