#pragma once

#include "charset/text_runs.h"

/// The lanes for SSE 4.2, by the names they have in `TextRuns`. For x86-64 alone.
namespace borvik::sse42 {

void singleByteToUtf16(const DecodeTable& table, TextCursor& c);
void doubleByteToUtf16(const DecodeTable& table, TextCursor& c);
void utf16ToSingleByte(const EncodeTable& table, TextCursor& c);
void utf16ToDoubleByte(const EncodeTable& table, TextCursor& c);
void utf8ToUtf16(TextCursor& c);
void utf16ToUtf8(TextCursor& c);
void utf7ToUtf16(TextCursor& c, Utf7Run& run);
void utf16ToUtf7(TextCursor& c, Utf7Run& run);
void jisToUtf16(const DecodeTable& shiftJis, TextCursor& c, JisSet& set);

}  // namespace borvik::sse42
