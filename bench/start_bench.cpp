// The first message after a program's start, by the charset of its text: a process of its own for
// each reads it through the shared library. Processor time, medians.

#include <sys/wait.h>
#include <tessolt/tessolt.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "peer_timing.h"

namespace {

using tessolt::IEMailMessage;
using tessolt::Text;

constexpr int kRuns = 15;

struct Sample {
    const char* charset;
    const char* word;
};

/// A few characters in each.
constexpr Sample kSamples[] = {
    {"us-ascii", "hello"},
    {"utf-8", "\xC3\xA9t\xC3\xA9"},
    {"windows-1251", "\xEF\xF0\xE8\xE2\xE5\xF2"},
    {"gb2312", "\xC4\xE3\xBA\xC3"},
    {"big5", "\xA7\x41\xA6\x6E"},
    {"euc-kr", "\xBE\xC8\xB3\xE7"},
    {"shift_jis", "\x93\xFA\x96\x7B"},
    {"iso-2022-jp", "\x1B$BF|K\\\x1B(B"},
};

/// Reads a message as a program does that has just started, and prints the milliseconds it took.
int readOne(const char* path) {
    bool complete = false;
    const double taken = bench::seconds([&] {
        auto message = tessolt::CreateObject<IEMailMessage>(u"Tessolt.EMailMessage");
        message->LoadMIME(Text(path));
        Text subject;
        Text plain;
        message->get_Subject(subject.put());
        message->get_BodyPlainText(plain.put());
        complete = !subject.utf8().empty() && !plain.utf8().empty();
    });
    std::printf("%.4f\n", taken * 1e3);
    return complete ? 0 : 1;
}

/// What `readOne` prints in a new process.
double runOne(const std::string& program, const std::string& path) {
    FILE* const out = ::popen(("'" + program + "' '" + path + "'").c_str(), "r");
    double taken = 0;
    const bool read = out != nullptr && std::fscanf(out, "%lf", &taken) == 1;
    if (out == nullptr || ::pclose(out) != 0 || !read) {
        std::fputs("a first message failed\n", stderr);
        std::exit(2);
    }
    return taken;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc > 1) {
        return readOne(argv[1]);
    }
    const std::string program = std::filesystem::read_symlink("/proc/self/exe");
    const std::string path =
        std::filesystem::temp_directory_path() / ("start-" + std::to_string(::getpid()) + ".eml");
    for (const Sample& sample : kSamples) {
        std::ofstream(path, std::ios::binary)
            << "From: a@example.org\r\nSubject: " << sample.word
            << "\r\nMIME-Version: 1.0\r\nContent-Type: text/plain; charset=" << sample.charset
            << "\r\nContent-Transfer-Encoding: 8bit\r\n\r\n"
            << sample.word << "\r\n";
        std::vector<double> taken;
        for (int run = 0; run < kRuns; ++run) {
            taken.push_back(runOne(program, path));
        }
        std::printf("first message in %-12s %6.3f ms\n", sample.charset, bench::median(taken));
    }
    std::filesystem::remove(path);
}
