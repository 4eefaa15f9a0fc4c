#include "terminal.h"

#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>

#include "exit_codes.h"

namespace tessolt::shell {
namespace {

using namespace std::chrono_literals;

constexpr char16_t kFirstPrintable = 0x20;
constexpr char16_t kDelete = 0x7F;
constexpr char16_t kFirstC1 = 0x80;
constexpr char16_t kLastC1 = 0x9F;
constexpr char16_t kReplacement = 0xFFFD;
/// Unicode has a picture for each control character of ASCII.
constexpr char16_t kPictures = 0x2400;
constexpr char16_t kDeletePicture = 0x2421;
constexpr std::size_t kBarWidth = 30;

/// First and last of the characters that change what stands around them.
constexpr std::pair<char16_t, char16_t> kTurning[] = {{0x061C, 0x061C}, {0x200E, 0x200F},
                                                      {0x2028, 0x202E}, {0x2066, 0x2069},
                                                      {0xFEFF, 0xFEFF}, {0xFFF9, 0xFFFB}};

char16_t visible(char16_t unit) {
    if (unit < kFirstPrintable) {
        return kPictures + unit;
    }
    if (unit == kDelete) {
        return kDeletePicture;
    }
    bool isUnfit = unit >= kFirstC1 && unit <= kLastC1;
    for (const auto& [first, last] : kTurning) {
        isUnfit = isUnfit || (unit >= first && unit <= last);
    }
    return isUnfit ? kReplacement : unit;
}

// What a signal puts back before it ends the program.
int silencedTerminal = -1;
termios terminalBefore = {};

void speakAndEnd(int signal) {
    tcsetattr(silencedTerminal, TCSAFLUSH, &terminalBefore);
    std::signal(signal, SIG_DFL);
    std::raise(signal);
}

/// Turns the echo of a terminal off for as long as it lives. One at a time.
class Silence {
public:
    explicit Silence(int terminal) {
        if (tcgetattr(terminal, &terminalBefore) != 0) {
            return;
        }
        silencedTerminal = terminal;
        for (const int signal : kEndingSignals) {
            std::signal(signal, speakAndEnd);
        }
        termios quiet = terminalBefore;
        quiet.c_lflag &= ~static_cast<tcflag_t>(ECHO);
        isSet_ = tcsetattr(terminal, TCSAFLUSH, &quiet) == 0;
    }
    ~Silence() {
        if (isSet_) {
            tcsetattr(silencedTerminal, TCSAFLUSH, &terminalBefore);
        }
        for (const int signal : kEndingSignals) {
            std::signal(signal, SIG_DFL);
        }
    }
    Silence(const Silence&) = delete;
    Silence& operator=(const Silence&) = delete;
    bool isSet() const { return isSet_; }

private:
    static constexpr int kEndingSignals[] = {SIGINT, SIGTERM, SIGHUP, SIGQUIT};

    bool isSet_ = false;
};

[[noreturn]] void failOutput(int error) {
    throw Problem{kFile, "standard output can't be written: " + std::string(std::strerror(error)) +
                             ". What was asked for isn't all there."};
}

}  // namespace

std::string printable(std::string_view text, bool keepsLines) {
    const Text whole(text);
    std::u16string units;
    const std::u16string_view view = whole.view();
    for (std::size_t i = 0; i < view.size(); ++i) {
        const char16_t unit = view[i];
        const bool isLine = unit == u'\n' || unit == u'\t';
        if (keepsLines && unit == u'\r' && i + 1 < view.size() && view[i + 1] == u'\n') {
            continue;
        }
        units += keepsLines && isLine ? unit : visible(unit);
    }
    return Text(units).utf8();
}

std::string taken(BSTR text) {
    Text owner;
    *owner.put() = text;
    return owner.utf8();
}

void print(std::string_view text) {
    if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size()) {
        failOutput(errno);
    }
}

void finishOutput() {
    if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) {
        failOutput(errno);
    }
}

void complain(std::string_view text) {
    std::fputs(("tessolt: " + printable(text) + "\n").c_str(), stderr);
}

std::string sizeText(std::uint64_t bytes) {
    constexpr double kStep = 1000;
    constexpr std::array kUnits = {"kB", "MB", "GB", "TB"};
    if (static_cast<double>(bytes) < kStep) {
        return std::to_string(bytes) + " bytes";
    }
    double size = static_cast<double>(bytes) / kStep;
    std::size_t unit = 0;
    while (size >= kStep && unit + 1 < kUnits.size()) {
        size /= kStep;
        ++unit;
    }
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "%.1f %s", size, kUnits.at(unit));
    return text.data();
}

bool askSecret(const std::string& question, std::string& answer) {
    const detail::Descriptor terminal(::open("/dev/tty", O_RDWR | O_CLOEXEC | O_NOCTTY));
    if (terminal.get() < 0) {
        return false;
    }
    detail::Descriptor screen(::dup(terminal.get()));
    screen.write(printable(question));
    const Silence silence(terminal.get());
    if (!silence.isSet()) {
        return false;
    }
    answer.clear();
    char c = 0;
    while (::read(terminal.get(), &c, 1) == 1 && c != '\n') {
        answer += c;
    }
    screen.write("\n");
    return true;
}

ProgressBar::ProgressBar(std::string_view what)
    : what_(printable(what)), isWanted_(::isatty(STDERR_FILENO) == 1) {}

ProgressBar::~ProgressBar() {
    if (isShown_) {
        std::fputs("\r\033[K", stderr);
    }
}

void ProgressBar::show(const Progress& progress) {
    constexpr auto kPatience = 500ms;
    if (!isWanted_ || std::chrono::steady_clock::now() - start_ < kPatience) {
        return;
    }
    isShown_ = true;
    std::string line = "\r" + what_ + " ";
    if (progress.all > 0) {
        const std::uint64_t done = std::min(progress.done, progress.all);
        const auto filled = static_cast<std::size_t>(static_cast<double>(done) /
                                                     static_cast<double>(progress.all) * kBarWidth);
        line += "[" + std::string(filled, '#') + std::string(kBarWidth - filled, '.') + "] ";
    }
    line += sizeText(progress.done);
    line += progress.all > 0 ? " of " + sizeText(progress.all) : "";
    std::fputs((line + "\033[K").c_str(), stderr);
}

}  // namespace tessolt::shell
