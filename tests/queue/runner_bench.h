#pragma once

#include <sys/resource.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "mail/mail_servers.h"
#include "queue/message_state.h"
#include "queue/queue_folder.h"
#include "queue/runner.h"
#include "support/fake_clock.h"
#include "support/scripted_server.h"
#include "support/temporary_folder.h"

namespace tessolt::queue {

/// A clock whose dates stand still until a test moves them, or run if it says so, and whose ticks
/// run.
class ScriptedDate : public support::FakeClock {
public:
    std::int64_t unixTime() override { return runs ? ::time(nullptr) : seconds; }
    bool runs = false;

    std::uint32_t tickCount() override {
        using namespace std::chrono;
        return static_cast<std::uint32_t>(
            duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count());
    }
    void sleep(std::uint32_t milliseconds) override {
        std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
    }
};

/// A queue folder, a scripted server, and the means to see what becomes of a message.
struct RunnerBench {
    explicit RunnerBench(ServerPart part) : server(served(std::move(part))) {
        options.folder = folder.path();
        setLimits(kAmple);
        options.delivery.sendsNotices = false;
    }

    static constexpr std::uint32_t kAmple = 20'000;  ///< No server here needs as long.
    static constexpr std::uint32_t kShort = 300;
    void setLimits(std::uint32_t limit) {
        options.session = {.connectMs = limit, .commandMs = limit, .dataMs = limit};
    }
    static constexpr const char* kText = "Subject: s\r\nMessage-ID: <m@x>\r\n\r\n.a\r\n..\r\nlast";
    static constexpr const char* kWireText =
        "Subject: s\r\nMessage-ID: <m@x>\r\n\r\n..a\r\n...\r\nlast\r\n.\r\n";

    std::string fields(std::uint16_t port) const {
        const std::string front = "X-ZnQueueService-RemoveBeforeSending-";
        return front + "Host: localhost\r\n" + front + "Port: " + std::to_string(port) + "\r\n" +
               front + "Secure: False\r\n" + front + "Account: u\r\n" + front +
               "Password: 00000070000000000000000000\r\n";
    }
    void queue(const std::string& name, const std::string& to = "b@x", std::uint16_t port = 0,
               const std::string& from = "a@x") {
        folder.write(name + ".znq_", "From: " + from + "\r\nTo: " + to + "\r\nBcc: hidden@x\r\n" +
                                         fields(port != 0 ? port : server.port()) + kText);
        setAge(name + ".znq_", 0);
        std::filesystem::rename(folder.file(name + ".znq_"), folder.file(name + ".znq"));
    }
    void setAge(const std::string& file, std::int64_t seconds) {
        std::filesystem::last_write_time(
            folder.file(file),
            std::filesystem::file_time_type(std::chrono::file_clock::from_sys(
                std::chrono::sys_seconds(std::chrono::seconds(date.seconds - seconds)))));
    }
    Tally drain() {
        Runner runner(options, [this](EventKind, const std::string& line) {
            const std::lock_guard guard(mutex);
            log += line + "\n";
        });
        return runner.drain();
    }
    /// "sent", "later STEP MINUTES" or "failed STEP".
    std::string fate(const std::string& name) const {
        const QueueFolder queue(folder.path());
        if (std::filesystem::exists(queue.failedPath(name))) {
            return "failed " + readState(queue.reasonPath(name)).step;
        }
        QueueEntry entry;
        if (!queue.find(name, entry)) {
            return "sent";
        }
        const MessageState state = readState(queue.statePath(name));
        return "later " + state.step + " " + std::to_string((state.nextTry - date.seconds) / 60);
    }
    /// What becomes of the message in `times` runs, each as late as the one before says.
    std::string fates(const std::string& name, int times) {
        std::string all;
        for (int i = 0; i < times; ++i) {
            drain();
            all += (all.empty() ? "" : "|") + fate(name);
            const MessageState state = readState(QueueFolder(folder.path()).statePath(name));
            date.seconds = std::max(date.seconds, state.nextTry);
        }
        return all;
    }
    std::string received(std::size_t connections) const {
        std::string all;
        for (const std::string& one : server.receivedBy(connections)) {
            all += one;
        }
        return all;
    }

    ScriptedDate date;
    support::TemporaryFolder folder;
    support::ScriptedServer server;
    RunnerOptions options;
    std::mutex mutex;
    std::string log;
};

}  // namespace tessolt::queue
