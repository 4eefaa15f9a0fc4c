#pragma once

#include <memory>

#include "base/data_buffer.h"
#include "base/log_base.h"
#include "base/string_buffer.h"
#include "text/xstring.h"

namespace borvik {

/// Whole files into buffers and back. The reasons of a failure go to `log`, which may be null.
/// Names are UTF-8 where they are plain strings.

/// Appends the file to the text. A byte-order mark at the start of the buffer is honoured: UTF-16
/// becomes UTF-8, that of UTF-8 is removed.
bool loadFile(StringBuffer& text, const char* path, LogBase* log);

/// A new buffer that holds the file, by the same rules; null on failure.
std::unique_ptr<StringBuffer> createFromFile(const char* path, LogBase* log);

/// Replaces the content by the file, with 4 zero bytes behind it that don't count. An empty file
/// leaves no storage.
bool loadFile(DataBuffer& bytes, const char* path, LogBase* log);
bool loadFile(DataBuffer& bytes, XString& path, LogBase* log);

/// Writes the content to the file, creating or replacing it.
bool saveFile(const DataBuffer& bytes, const char* path, LogBase* log);

}  // namespace borvik
