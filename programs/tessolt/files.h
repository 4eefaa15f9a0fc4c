/// Files that are read whole, and written so that they stay.
#pragma once

#include <sys/types.h>

#include <filesystem>
#include <string>
#include <string_view>

namespace tessolt::shell {

/// Who may do what with a new file, but for what the user's mask takes away.
constexpr mode_t kNewFileMode = 0666;

/// What a file holds; "-" is standard input. Throws a Problem when it can't be read.
std::string readWhole(const std::string& path);

/// Writes a new file into a folder and has the disk keep it; the path says which. The file is there
/// whole or not at all, and takes no other's name: "a.eml" becomes "a (2).eml". Throws a Problem.
std::filesystem::path writeDurably(const std::filesystem::path& folder, const std::string& name,
                                   std::string_view bytes);
/// The same for a Maildir, whose folders are made where they are missing.
std::filesystem::path deliverToMaildir(const std::filesystem::path& maildir,
                                       std::string_view bytes);

/// Makes a folder, and those that it lies in, unless it is there. Throws a Problem.
void makeFolder(const std::filesystem::path& folder);

/// Throws a Problem that says what an error of the system means for a file.
[[noreturn]] void failFile(const std::string& path, int error);

}  // namespace tessolt::shell
