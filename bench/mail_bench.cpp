// Mail sessions over loopback: the public objects by both sets of rules, the classes behind them
// and libcurl in turn in one run. Servers are processes of their own. Messages are composed before
// the clock runs, but for the row that says otherwise; what is fetched is read whole.
//
// mail_bench [ROW [COLUMN [RUNS]]] runs only rows whose names begin so, and one column of them.

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <vector>

#include "mail_clients.h"
#include "mail_server.h"
#include "peak_memory.h"
#include "peer_timing.h"

namespace {

using bench::Body;
using bench::fail;
using bench::Place;
using bench::Server;

constexpr std::size_t kLarge = 25'000'000;
constexpr std::size_t kSmallBody = 1'600;  // with the header some 2 KB
constexpr int kSmallCount = 1000;
constexpr int kDelayedCount = 10;
constexpr std::chrono::milliseconds kDelay{20};
constexpr int kRuns = 15;
constexpr int kFewRuns = 3;
constexpr LONG kClassic = tessolt::TESSOLT_RULES_CLASSIC;
constexpr LONG kCurrent = tessolt::TESSOLT_RULES_CURRENT;

struct Choice {
    std::string row;
    std::string column;
    int runs = 0;  // 0 for the usual number
} choice;

bool isChosen(const std::string& row) {
    return row.starts_with(choice.row);
}

struct Column {
    std::string name;
    std::function<void()> work;
};

/// All columns in turn: a session of each by its own work and by the wall clock, and how many times
/// as long the last column, the peer, takes.
void compareSessions(const std::string& label, std::vector<Column> columns, int runs = kRuns) {
    if (!choice.column.empty()) {
        std::erase_if(columns, [](const Column& each) { return each.name != choice.column; });
    }
    runs = choice.runs > 0 ? choice.runs : runs;
    std::vector<std::vector<double>> wall(columns.size());
    std::vector<std::vector<double>> own(columns.size());
    for (int run = 0; run < runs; ++run) {
        for (std::size_t i = 0; i < columns.size(); ++i) {
            const auto start = std::chrono::steady_clock::now();
            own[i].push_back(bench::seconds(columns[i].work));
            wall[i].push_back(
                std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
        }
    }
    const auto ratio = [runs](const std::vector<double>& peer, const std::vector<double>& ours) {
        std::vector<double> ratios;
        for (int run = 0; run < runs; ++run) {
            ratios.push_back(peer[static_cast<std::size_t>(run)] /
                             ours[static_cast<std::size_t>(run)]);
        }
        return bench::median(ratios);
    };
    std::printf("%s\n", label.c_str());
    for (std::size_t i = 0; i < columns.size(); ++i) {
        std::printf("    %-10s processor %8.2f ms, ratio %5.2f   wall %8.2f ms, ratio %5.2f\n",
                    columns[i].name.c_str(), bench::median(own[i]) * 1e3, ratio(own.back(), own[i]),
                    bench::median(wall[i]) * 1e3, ratio(wall.back(), wall[i]));
    }
    std::fflush(stdout);
}

std::string lines(std::size_t size) {
    std::string text;
    unsigned state = 1;
    while (text.size() < size) {
        for (int i = 0; i < 76; ++i) {
            state = state * 1664525 + 1013904223;
            text += "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789 ,"[state >> 26];
        }
        text += "\r\n";
    }
    return text;
}

/// A file of random bytes that is as long as given in base64 lines.
std::string writeFile(const std::string& path, std::size_t size) {
    std::string bytes(size / 78 * 57, '\0');
    unsigned state = 1;
    for (char& byte : bytes) {
        state = state * 1664525 + 1013904223;
        byte = static_cast<char>(state >> 24);
    }
    std::ofstream(path, std::ios::binary) << bytes;
    return path;
}

std::string textOf(const bench::ComPtr<bench::IEMailMessage>& message) {
    tessolt::ByteView bytes{};
    message->Encode();
    message.as<bench::IMessageData>()->GetMimeBytes(&bytes);
    return {bytes.data, bytes.size};
}

std::string replyFor(const std::string& text) {
    return "+OK " + std::to_string(text.size()) + " octets\r\n" + text +
           (text.ends_with("\r\n") ? ".\r\n" : "\r\n.\r\n");
}

void compareSending(const std::string& name, const Body& body, int count, bool secure) {
    const std::string label = "SMTP " + name + (secure ? ", TLS" : ", plain");
    if (!isChosen(label)) {
        return;
    }
    const auto classic = bench::makeMessage(body, kClassic);
    const auto current = bench::makeMessage(body, kCurrent);
    const std::string text = textOf(classic);
    const Server sink(secure, bench::serveSmtp);
    const Place place{sink.port(), secure, kClassic, count};
    std::vector<Column> columns = {
        {"public", [&] { bench::sendPublic(place, [&] { return classic; }); }}};
    if (!secure) {  // current rules would ask for a certificate that can be checked
        columns.push_back(
            {"current", [&] {
                 bench::sendPublic({sink.port(), false, kCurrent, count}, [&] { return current; });
             }});
        columns.push_back({"composed", [&] {
                               bench::sendPublic(
                                   place, [&] { return bench::makeMessage(body, kClassic); });
                           }});
    }
    columns.push_back({"core", [&] { bench::sendCore(place, text); }});
    columns.push_back({"libcurl", [&] { bench::sendCurl(place, text); }});
    compareSessions(label, columns);
}

void compareFetching(const std::string& name, const Body& body, int count, bool secure) {
    const std::string label = "POP3 " + name + (secure ? ", TLS" : ", plain");
    if (!isChosen(label)) {
        return;
    }
    const std::string reply = replyFor(textOf(bench::makeMessage(body, kClassic)));
    const Server source(secure, [&](bench::Stream& stream) { bench::servePop3(stream, reply); });
    const Place place{source.port(), secure, kClassic, count};
    std::vector<Column> columns = {{"public", [&] { bench::fetchPublic(place); }}};
    if (!secure) {
        columns.push_back({"current", [&] {
                               bench::fetchPublic({source.port(), false, kCurrent, count});
                           }});
    }
    columns.push_back({"core", [&] { bench::fetchCore(place); }});
    columns.push_back({"libcurl", [&] { bench::fetchCurl(place); }});
    compareSessions(label, columns);
}

/// Where every round trip takes its time, what counts is how many there are.
void compareDelayed() {
    const std::string label = "SMTP 10 x 2 KB, 20 ms round trips";
    if (!isChosen(label)) {
        return;
    }
    const Body body{lines(kSmallBody)};
    const auto classic = bench::makeMessage(body, kClassic);
    const auto current = bench::makeMessage(body, kCurrent);
    const std::string text = textOf(classic);
    const Server sink(false, bench::serveSmtp, kDelay);
    const Place place{sink.port(), false, kClassic, kDelayedCount};
    const Place currentPlace{sink.port(), false, kCurrent, kDelayedCount};
    compareSessions("SMTP 10 x 2 KB, 20 ms round trips",
                    {{"public", [&] { bench::sendPublic(place, [&] { return classic; }); }},
                     {"current", [&] { bench::sendPublic(currentPlace, [&] { return current; }); }},
                     {"libcurl", [&] { bench::sendCurl(place, text); }}},
                    kFewRuns);
}

void printPeaks(const std::string& folder) {
    if (!isChosen("memory")) {
        return;
    }
    for (const std::size_t megabytes : {25, 50}) {
        const Body body{"Some words.\r\n",
                        writeFile(folder + "/peak.bin", megabytes * std::size_t{1'000'000})};
        const std::string reply = replyFor(textOf(bench::makeMessage(body, kClassic)));
        const double size = static_cast<double>(reply.size());
        const Server sink(false, bench::serveSmtp);
        const Server source(false, [&](bench::Stream& stream) { bench::servePop3(stream, reply); });
        const std::string label = std::to_string(megabytes) + " MB attachment";
        for (const LONG rules : {kClassic, kCurrent}) {
            const std::string with = label + (rules == kClassic ? ", classic" : ", current");
            const Place to{sink.port(), false, rules};
            const Place from{source.port(), false, rules};
            bench::printPeak("send " + with, size, [&] {
                bench::sendPublic(to, [&] { return bench::makeMessage(body, rules); });
            });
            bench::printPeak("fetch " + with, size, [&] { bench::fetchPublic(from); });
        }
    }
}

}  // namespace

int main(int argc, char** argv) {
    choice.row = argc > 1 ? argv[1] : "";
    choice.column = argc > 2 ? argv[2] : "";
    choice.runs = argc > 3 ? std::atoi(argv[3]) : 0;
    curl_global_init(CURL_GLOBAL_DEFAULT);
    std::string folder = (std::filesystem::temp_directory_path() / "mail-XXXXXX").string();
    if (::mkdtemp(folder.data()) == nullptr) {
        fail("no folder");
    }
    const Body small{lines(kSmallBody)};
    for (const bool secure : {false, true}) {
        compareSending("1,000 x 2 KB", small, kSmallCount, secure);
        compareFetching("1,000 x 2 KB", small, kSmallCount, secure);
    }
    const Body text{lines(kLarge)};
    const Body file{"Some words.\r\n", writeFile(folder + "/large.bin", kLarge)};
    for (const bool secure : {false, true}) {
        compareSending("25 MB as text", text, 1, secure);
        compareSending("25 MB as attachment", file, 1, secure);
        compareFetching("25 MB as text", text, 1, secure);
        compareFetching("25 MB as attachment", file, 1, secure);
    }
    compareDelayed();
    printPeaks(folder);
    curl_global_cleanup();
    std::filesystem::remove_all(folder);
    return 0;
}
