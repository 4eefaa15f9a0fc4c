// How the cost of a message grows: time at n and at 2n for inputs made to be slow. Exits with 1
// when twice the input takes more than 2.5 times as long.

#include <malloc.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "message/znmail.h"
#include "peer_timing.h"
#include "text/outward_strings.h"

namespace {

constexpr double kMostGrowth = 2.5;
constexpr int kRuns = 9;
constexpr int kLargeBuffer = 1 << 20;
/// Below this many seconds the clock and the machine say more than the code.
constexpr double kLeastTime = 0.002;

std::string repeated(std::string_view unit, std::size_t count) {
    std::string text;
    text.reserve(unit.size() * count);
    for (std::size_t i = 0; i < count; ++i) {
        text += unit;
    }
    return text;
}

std::string multipart(const std::string& parts) {
    return "MIME-Version: 1.0\r\nContent-Type: multipart/mixed; boundary=\"b\"\r\n\r\n" + parts +
           "--b--\r\n";
}

/// Loads the message, reads every field that shows the tree, and encodes it anew.
void loadAndEncode(const std::string& text) {
    tessolt::CZnMail mail;
    mail.LoadFromText(text.c_str());
    borvik::BvString source;
    mail.GetSource(source);
    std::uint32_t size = 0;
    for (std::int32_t number = 1; number <= mail.GetAttachmentCount(); ++number) {
        mail.GetAttachmentSize(number, size);
    }
    mail.Encode();
    mail.GetSource(source);
}

struct Case {
    const char* label;
    std::size_t n;
    std::function<std::string(std::size_t)> make;
};

const Case kCases[] = {
    {"one base64 part", 25'000'000,
     [](std::size_t n) {
         return "Content-Type: application/x; name=\"a\"\r\nContent-Transfer-Encoding: "
                "base64\r\n\r\n" +
                repeated(std::string(76, 'A') + "\r\n", n / 78);
     }},
    {"parts", 5'000,
     [](std::size_t n) {
         return multipart(
             repeated("--b\r\nContent-Type: application/x; name=\"a\"\r\n\r\nbody\r\n", n));
     }},
    {"parts without a blank line", 100'000,
     [](std::size_t n) { return multipart(repeated("--b\r\nx:y\r\n", n)); }},
    {"parts that end in CRLFCR", 20'000,
     [](std::size_t n) { return multipart(repeated("--b\r\nx:y\r\n\rz\r\n", n)) + "\n\r\n"; }},
    {"parts with 8-bit headers", 5'000,
     [](std::size_t n) {
         return multipart(repeated("--b\r\nX-A: \xE9\r\nContent-Type: a/b\r\n\r\nbody\r\n", n));
     }},
    {"header lines", 50'000,
     [](std::size_t n) { return repeated("X-Field: value\r\n", n) + "\r\nbody\r\n"; }},
    {"Content-Type lines", 25'000,
     [](std::size_t n) {
         return repeated("X:\r\n", n) + repeated("Content-Type: text/plain\r\n", n) +
                "\r\nbody\r\n";
     }},
    {"folded header lines", 500'000,
     [](std::size_t n) { return "X-Field: a\r\n" + repeated("\tmore\r\n", n) + "\r\nbody\r\n"; }},
    {"tiny attachments", 25'000,
     [](std::size_t n) { return multipart(repeated("--b\r\n\r\nx\r\n", n)); }},
    {"sizes of 8-bit parts", 10'000,
     [](std::size_t n) {
         return multipart(
             repeated("--b\r\nContent-Type: a/b\r\nContent-Transfer-Encoding: 8bit"
                      "\r\n\r\n\xE9\r\n",
                      n));
     }},
    {"tiny recipients", 200'000,
     [](std::size_t n) { return "To: " + repeated("a,", n) + "\r\n\r\nbody\r\n"; }},
    {"recipients", 50'000,
     [](std::size_t n) {
         return "To: " + repeated("\"A B\" <a@b.example>, ", n) + "c@d\r\n\r\nbody\r\n";
     }},
    {"recipients, 8-bit at the end", 50'000,
     [](std::size_t n) {
         return "To: " + repeated("A <a@b.example>, ", n) + "\xC3\xA9 <c@d>\r\n\r\nbody\r\n";
     }},
    {"nesting", 20'000,
     [](std::size_t n) {
         std::string text = "MIME-Version: 1.0\r\n";
         for (std::size_t i = 0; i < n; ++i) {
             const std::string boundary = "b" + std::to_string(i);
             text += "Content-Type: multipart/mixed; boundary=\"" + boundary + "\"\r\n\r\n--" +
                     boundary + "\r\n";
         }
         return text + "\r\nbody\r\n";
     }},
    {"a long header line", 5'000'000,
     [](std::size_t n) { return "Subject: " + repeated("word ", n / 5) + "\r\n\r\nbody\r\n"; }},
    {"semicolons", 2'000'000,
     [](std::size_t n) { return "X: " + repeated(";", n) + "\r\n\r\nbody\r\n"; }},
    {"unterminated encoded words", 1'000'000,
     [](std::size_t n) { return "Subject: " + repeated("=?utf-8?Q?a", n) + "\r\n\r\nbody\r\n"; }},
    {"encoded words", 50'000,
     [](std::size_t n) {
         return "Subject: " + repeated("=?utf-8?Q?a?= ", n) + "\r\n\r\nbody\r\n";
     }},
    {"encoded commas", 50'000,
     [](std::size_t n) {
         return "To: " + repeated("=?utf-8?Q?a,?= <a@b>, ", n) + "\r\n\r\nbody\r\n";
     }},
    {"unterminated quotes", 500'000,
     [](std::size_t n) {
         return "Content-Type: text/plain; name=" + repeated("\"\"a", n) +
                "\"\r\nTo: " + repeated("\"a,", n) + "\r\n\r\nbody\r\n";
     }},
    {"unterminated meta tags", 2'000'000,
     [](std::size_t n) {
         return "Content-Type: text/html\r\n\r\n" + repeated("<meta", n) + "\r\n";
     }},
    {"lone dots", 2'000'000, [](std::size_t n) { return "\r\n" + repeated(".\r\n", n); }},
    {"quoted-printable line feeds", 4'000'000,
     [](std::size_t n) {
         return "Content-Transfer-Encoding: quoted-printable\r\n\r\n" + repeated("\n", n);
     }},
    {"bare line feeds", 2'000'000, [](std::size_t n) { return "A: b\n\n" + repeated("\n", n); }},
};

struct Growth {
    std::vector<double> once;
    std::vector<double> twice;
    std::vector<double> ratios;
};

/// Times the two texts in turn. Each ratio is of two times that stand next to each other, since the
/// speed of a machine that does other things too changes from one moment to the next.
Growth measure(const std::string& small, const std::string& large) {
    Growth growth;
    const auto timeOf = [](const std::string& text) {
        malloc_trim(0);
        return bench::seconds([&] { loadAndEncode(text); });
    };
    for (int run = 0; run < kRuns; ++run) {
        growth.once.push_back(timeOf(small));
        growth.twice.push_back(timeOf(large));
        growth.ratios.push_back(growth.twice.back() / std::max(growth.once.back(), 1e-9));
    }
    return growth;
}

/// False when the case takes too long.
bool show(const Case& one) {
    const Growth measured = measure(one.make(one.n), one.make(2 * one.n));
    const double once = bench::median(measured.once);
    const double twice = bench::median(measured.twice);
    const double growth = bench::median(measured.ratios);
    const bool fine = growth <= kMostGrowth || twice < kLeastTime;
    std::printf("%-30s n = %9zu: %9.2f ms, 2n: %9.2f ms, growth %.2f%s\n", one.label, one.n,
                once * 1e3, twice * 1e3, growth, fine ? "" : "  TOO MUCH");
    return fine;
}

/// In a process of its own: others would leave holes in memory that fit n and not 2n, so that only
/// the latter asks the system for pages.
bool showAlone(const Case& one) {
    std::fflush(stdout);
    const pid_t child = fork();
    if (child == 0) {
        const bool fine = show(one);
        std::fflush(stdout);
        _exit(fine ? 0 : 1);
    }
    int status = 0;
    return child > 0 && waitpid(child, &status, 0) == child && status == 0;
}

}  // namespace

/// With a row and a size, loads and encodes that once: for valgrind, whose instructions at n, 2n
/// and 4n tell more than time does.
int main(int argc, char** argv) {
    // Large buffers come from the system anew each time: the allocator would keep those up to a
    // size of its own choice, and n could fall below it and 2n above.
    mallopt(M_MMAP_THRESHOLD, kLargeBuffer);
    bool good = true;
    for (const Case& one : kCases) {
        if (argc < 3) {
            good = showAlone(one) && good;
        } else if (std::string_view(argv[1]) == one.label) {
            loadAndEncode(one.make(std::strtoul(argv[2], nullptr, 10)));
        }
    }
    return good ? 0 : 1;
}
