/// Memory that a program is done with before it gives it back.
#pragma once

namespace platform {

/// Tells the system that what lies from `begin` up to `end`, in storage of the caller's own that
/// is no file's, is never read again: whole pages of it are free from now on.
void releasePages(const void* begin, const void* end);

}  // namespace platform
