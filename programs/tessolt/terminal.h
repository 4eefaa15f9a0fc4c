/// What goes to the screen, and what is asked for there.
#pragma once

#include <tessolt/mail.h>

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>

namespace tessolt::shell {

/// Text of a stranger for a terminal, in UTF-8: control characters, and those that turn the
/// direction of what follows, become visible. Line ends and tabs stay where `keepsLines` is true.
std::string printable(std::string_view text, bool keepsLines = false);

/// A text that a function of the library made for its caller, which is freed.
std::string taken(BSTR text);

/// Writes to standard output. Throws a Problem when that can't be written.
void print(std::string_view text);
/// The same for bytes that are no business of a terminal's, and for the end of all output.
void finishOutput();
/// A line on standard error, made printable.
void complain(std::string_view text);

/// A size as people read it: "1.2 MB".
std::string sizeText(std::uint64_t bytes);

/// Asks for a secret on the terminal, without showing it. False where there is none.
bool askSecret(const std::string& question, std::string& answer);

/// Shows how far a transfer has come, on a terminal, once it takes longer than half a second. The
/// line is gone when this goes.
class ProgressBar {
public:
    explicit ProgressBar(std::string_view what);
    ~ProgressBar();
    ProgressBar(const ProgressBar&) = delete;
    ProgressBar& operator=(const ProgressBar&) = delete;

    void show(const Progress& progress);
    /// For an operation of a session. Good while this is.
    ProgressCallback callback() {
        return [this](Progress progress) {
            show(progress);
            return true;
        };
    }

private:
    std::string what_;
    std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
    bool isWanted_;
    bool isShown_ = false;
};

}  // namespace tessolt::shell
