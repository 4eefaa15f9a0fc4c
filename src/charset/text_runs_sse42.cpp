#include "charset/text_runs_sse42.h"

#if defined(__x86_64__)

#include "charset/sse42.h"

namespace borvik {
namespace sse42 {
namespace {

BORVIK_SSE42 void asciiToUtf16(TextCursor& c) {
    while (c.has(kBlock) && widenPlainBlock(c)) {
    }
}

BORVIK_SSE42 void copyAscii(TextCursor& c) {
    while (c.has(kBlock) && isPlainBlock(c.in)) {
        std::memcpy(c.out, c.in, kBlock);
        c.in += kBlock;
        c.out += kBlock;
    }
}

BORVIK_SSE42 void utf16ToAscii(TextCursor& c) {
    while (c.has(kBlock) && narrowPlainBlock(c)) {
    }
}

constexpr TextRuns kRuns = {
    .asciiToUtf16 = asciiToUtf16,
    .copyAscii = copyAscii,
    .utf16ToAscii = utf16ToAscii,
    .singleByteToUtf16 = singleByteToUtf16,
    .doubleByteToUtf16 = doubleByteToUtf16,
    .utf16ToSingleByte = utf16ToSingleByte,
    .utf16ToDoubleByte = utf16ToDoubleByte,
    .utf8ToUtf16 = utf8ToUtf16,
    .utf16ToUtf8 = utf16ToUtf8,
    .utf7ToUtf16 = utf7ToUtf16,
    .utf16ToUtf7 = utf16ToUtf7,
    .jisToUtf16 = jisToUtf16,
};

}  // namespace
}  // namespace sse42

const TextRuns* sse42Runs() {
    static const bool supported =
        __builtin_cpu_supports("sse4.2") != 0 && __builtin_cpu_supports("popcnt") != 0;
    return supported ? &sse42::kRuns : nullptr;
}

}  // namespace borvik

#else

namespace borvik {

const TextRuns* sse42Runs() {
    return nullptr;
}

}  // namespace borvik

#endif
