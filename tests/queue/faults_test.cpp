#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <functional>
#include <thread>

#include "queue/queue_commands.h"
#include "queue/runner_bench.h"
#include "support/process_memory.h"

namespace tessolt::queue {
namespace {

using support::ServerStream;
using testing::HasSubstr;
using testing::Not;

/// The commands of a delivery, and what the log calls the step.
constexpr const char* kSteps[][2] = {{"", "welcome"},     {"EHLO", "greeting"},  {"AUTH", "login"},
                                     {"MAIL", "sender"},  {"RCPT", "recipient"}, {"DATA", "data"},
                                     {".", "end of data"}};

/// The reply `reply` in the place of `verb`, and the usual one from the second time on.
ServerPart refusedOnce(const std::string& verb, const std::string& reply) {
    const ServerPart healthy = smtpPart();
    const std::string usual = healthy.replies.at(verb)[0];
    ServerPart part = smtpPart();
    part.replies[verb] = {reply + "\r\n", usual};
    if (verb == "EHLO") {
        part.replies["HELO"] = {reply + "\r\n", "250 ok\r\n"};
    }
    return part;
}

TEST(QueueFaultsTest, RefusedAtEachStep) {
    for (const auto& [verb, step] : kSteps) {
        const std::string later = "later " + std::string(step) + " 1|sent";
        for (const char* reply : {"450 4.2.0 later", "421 closing"}) {
            RunnerBench bench(refusedOnce(verb, reply));
            bench.queue("m");
            EXPECT_EQ(bench.fates("m", 2), later) << verb << reply << bench.log;
            EXPECT_THAT(bench.received(2), HasSubstr(RunnerBench::kWireText));
        }
        RunnerBench bench(refusedOnce(verb, "554 5.7.1 never"));
        bench.queue("m");
        EXPECT_EQ(bench.fates("m", 1), "failed " + std::string(step)) << verb;
        EXPECT_THAT(bench.log, HasSubstr("554 5.7.1 never"));
        EXPECT_THAT(bench.log, Not(HasSubstr("hidden")));
    }
}

TEST(QueueFaultsTest, BrokenAtEachStep) {
    const std::function<void(ServerStream&)> faults[] = {
        [](ServerStream& stream) { stream.stall(); }, [](ServerStream& stream) { stream.reset(); },
        [](ServerStream& stream) { stream.send("25"), stream.drop(); },
        [](ServerStream& stream) { stream.send("250-half\r\n"), stream.stall(); }};
    for (const auto& [verb, step] : kSteps) {
        for (const auto& fault : faults) {
            ServerPart part = smtpPart();
            part.faults[verb] = fault;
            RunnerBench bench(part);
            bench.setLimits(RunnerBench::kShort);
            bench.queue("m");
            EXPECT_THAT(bench.fates("m", 2), testing::MatchesRegex("later .* 1.later .* 5"))
                << verb << bench.log;
        }
    }
}

struct Row {
    const char* name;
    const char* changes;
    const char* to;
    const char* fates;      ///< As `RunnerBench::fates` tells them.
    const char* log;        ///< Stands in the log.
    const char* wire = "";  ///< The server got it.
    const char* from = "a@x";
};

constexpr const char* kOffers = "EHLO:250-x~250-SIZE~250-PIPELINING~250-SMTPUTF8~250 AUTH PLAIN";
constexpr const char* kOffersSenderRefused = "EHLO:250-x~250-PIPELINING~250 AUTH PLAIN|MAIL:550 no";
constexpr const char* kOffersAllRefused =
    "EHLO:250-x~250-PIPELINING~250 AUTH PLAIN|RCPT:450 grey;450 grey;250 ok|.:554 no;250 ok";

TEST(QueueFaultsTest, OutcomesOverTime) {
    constexpr Row kRows[] = {
        {"greylisting", "RCPT:450 grey;450 grey;450 grey;450 grey;250 ok", "b@x",
         "later recipient 1|later recipient 5|sent", "450 grey"},
        {"one of five refused", "RCPT:250 ok;250 ok;550 who?;250 ok", "b@x,c@x,d@x,e@x",
         "failed recipient", "550 who?"},
        {"one of three later", "RCPT:250 ok;450 busy;250 ok", "b@x,c@x", "later recipient 1|sent",
         "450 busy"},
        {"never", "DATA:450 no", "b@x",
         "later data 1|later data 5|later data 15|later data 30|later data 60", "450 no"},
        {"no recipient that can be sent", "", "", "sent", "sent m"},
        {"sender that can't be sent", "", "b@x", "failed sender", "can't be sent", "", "<a b@x>"},
        {"sender that this server doesn't take", "EHLO:250-x~250 AUTH PLAIN", "b@x",
         "failed sender", "553 5.6.7", "", "\xC3\xA9@x"},
        {"longer than the server takes", "EHLO:250-x~250-SIZE 9~250 AUTH PLAIN", "b@x",
         "failed sender", "552 5.3.4"},
        {"all that the server offers", kOffers, "\xC3\xA9@x", "sent", "sent m",
         "MAIL FROM:<a@x> SIZE=66 SMTPUTF8\r\nRCPT TO:<\xC3\xA9@x>\r\nRCPT TO:<hidden@x>\r\n"
         "DATA\r\n"},
        {"sender refused in a flight", kOffersSenderRefused, "b@x", "failed sender", "550 no"},
        {"all refused in a flight", kOffersAllRefused, "b@x", "later recipient 1|sent", "450 grey",
         "DATA\r\n.\r\n"},
    };
    for (const Row& row : kRows) {
        RunnerBench bench(smtpPart(row.changes));
        bench.queue("m", row.to, 0, row.from);
        const auto runs = 1 + std::count(row.fates, row.fates + strlen(row.fates), '|');
        std::string fates = bench.fates("m", static_cast<int>(runs));
        EXPECT_THAT(fates, testing::StartsWith(std::string(row.fates).substr(0, 34)))
            << row.name << bench.log;
        EXPECT_THAT(bench.log, HasSubstr(row.log)) << row.name;
        EXPECT_THAT(bench.received(1), HasSubstr(row.wire)) << row.name;
    }
}

TEST(QueueFaultsTest, RefusedRecipientsAreKeptAndToldOnce) {
    RunnerBench bench(smtpPart("RCPT:250 ok;550 5.1.1 who?;450 busy;250 ok;550 no notices"));
    bench.options.delivery.sendsNotices = true;
    bench.queue("m", "b@x,c@x");
    EXPECT_EQ(bench.fates("m", 2), "later recipient 1|failed recipient");
    const std::string reason = support::TemporaryFolder::read(bench.folder.file("failed/m.reason"));
    EXPECT_THAT(reason, HasSubstr("Refused: c@x 550 5.1.1 who?\nDelivered: b@x\n"));
    EXPECT_THAT(reason, HasSubstr("Delivered: hidden@x\n"));
    const std::string notice = support::TemporaryFolder::read(bench.folder.file("notice-m.znq"));
    for (const char* part :
         {"multipart/report", "To: <a@x>", "Final-Recipient: rfc822; c@x", "Status: 5.1.1",
          "Diagnostic-Code: smtp; 550 5.1.1 who?", "text/rfc822-headers", "Subject: s"}) {
        EXPECT_THAT(notice, HasSubstr(part));
    }
    const std::string sentPart = notice.substr(notice.find("multipart/report"));
    EXPECT_THAT(sentPart, Not(HasSubstr("hidden")));
    EXPECT_THAT(sentPart, Not(HasSubstr("RemoveBeforeSending")));
    // A notice goes out without a sender, and its failure is told to nobody.
    EXPECT_EQ(bench.fates("notice-m", 1), "failed recipient");
    EXPECT_THAT(bench.received(3), HasSubstr("MAIL FROM:<>\r\nRCPT TO:<a@x>"));
    EXPECT_FALSE(std::filesystem::exists(bench.folder.file("notice-notice-m.znq")));
}

TEST(QueueFaultsTest, ServerThatIsDownIsAskedOnceForAll) {
    RunnerBench bench(smtpPart());
    const std::uint16_t dead = support::unusedPort();
    for (const char* name : {"m1", "m2", "m3"}) {
        bench.queue(name, "b@x", dead);
    }
    EXPECT_EQ(bench.drain().waiting, 3U);
    EXPECT_EQ(bench.fate("m1"), "later connect 1");
    EXPECT_FALSE(std::filesystem::exists(bench.folder.file("m2.state")));
    // A new runner knows it too, until the time has come.
    bench.options.delivery.relay = ServerSettings{.host = "localhost", .port = bench.server.port()};
    EXPECT_EQ(bench.drain().sent, 0U);
    bench.date.seconds += 70;
    EXPECT_EQ(bench.drain().sent, 3U);

    // What is given up is given up together, without a question for each.
    bench.options.delivery.relay.reset();
    bench.options.delivery.plan = RetryPlan(100);
    for (const char* name : {"m1", "m2"}) {
        bench.queue(name, "b@x", dead);
    }
    bench.drain();
    bench.date.seconds += 100;
    EXPECT_EQ(bench.drain().failed, 2U);
    EXPECT_THAT(bench.log, HasSubstr("given up after"));
}

TEST(QueueFaultsTest, FullDiskKeepsTheMessageAndItsTry) {
    RunnerBench bench(smtpPart("RCPT:450 later;450 later;250 ok"));
    bench.queue("m");
    ::signal(SIGXFSZ, SIG_IGN);
    rlimit limit{};
    getrlimit(RLIMIT_FSIZE, &limit);
    const rlimit none{.rlim_cur = 0, .rlim_max = limit.rlim_max};
    setrlimit(RLIMIT_FSIZE, &none);
    const Tally tally = bench.drain();
    setrlimit(RLIMIT_FSIZE, &limit);
    EXPECT_EQ(tally.waiting, 1U);
    EXPECT_THAT(bench.log, HasSubstr("can't be written"));
    EXPECT_EQ(bench.fates("m", 1), "sent");
}

TEST(QueueFaultsTest, FilesThatAreNoMessages) {
    RunnerBench bench(smtpPart());
    const std::string junk = std::string("\0\xFF\x80\r\n", 5) + std::string(100000, '\1');
    bench.folder.write("empty.znq", "");
    bench.folder.write("junk.znq", junk);
    bench.folder.write("plain.znq", "From: a@x\r\nTo: b@x\r\n\r\ntext");
    bench.folder.write("nobody.znq", "From: a@x\r\n" + bench.fields(bench.server.port()) + "\r\nt");
    bench.folder.write("half.znq_", "From: a@x\r\n");
    std::filesystem::create_symlink("/etc/passwd", bench.folder.file("link.znq"));
    std::filesystem::create_directory(bench.folder.file("folder.znq"));
    for (const char* state : {"old.state", "old2.state_", "young.state"}) {
        bench.folder.write(state, "Tries: 1\n");
        bench.setAge(state, *state == 'o' ? 3601 : 3599);
    }
    EXPECT_EQ(bench.drain().failed, 5U) << bench.log;
    EXPECT_FALSE(std::filesystem::exists(bench.folder.file("old.state")));
    EXPECT_FALSE(std::filesystem::exists(bench.folder.file("old2.state_")));
    EXPECT_TRUE(std::filesystem::exists(bench.folder.file("young.state")));
    for (const char* name : {"empty", "junk", "plain", "link"}) {
        EXPECT_EQ(bench.fate(name), "failed read");
    }
    EXPECT_EQ(bench.fate("nobody"), "failed recipient");
    EXPECT_TRUE(std::filesystem::exists(bench.folder.file("half.znq_")));
    bench.options.folder += "/none";
    EXPECT_FALSE(bench.drain().isFolderReadable);
    EXPECT_THAT(bench.log, HasSubstr("can't be read"));
}

TEST(QueueFaultsTest, ThreadsOfTwoRunnersShareAFolder) {
    RunnerBench bench(smtpPart());
    constexpr std::size_t kMessages = 40;
    for (std::size_t i = 0; i < kMessages; ++i) {
        bench.queue("m" + std::to_string(i));
    }
    Tally other;
    std::thread second([&] { other = bench.drain(); });
    const Tally own = bench.drain();
    second.join();
    EXPECT_EQ(own.sent + other.sent, kMessages);
    const std::string all = bench.received(2);
    std::size_t ends = 0;
    for (std::size_t at = 0; (at = all.find("\r\n.\r\n", at)) != std::string::npos; ++at) {
        ++ends;
    }
    EXPECT_EQ(ends, kMessages);
}

TEST(QueueFaultsTest, ThreadsOfAServiceSendWhatComesAndEnd) {
    ServerPart part = smtpPart();
    part.pause = std::chrono::milliseconds(1);
    RunnerBench bench(part);
    bench.date.runs = true;
    Runner runner(bench.options, [](EventKind, const std::string&) {});
    std::thread service([&] { runner.serve(); });
    const auto settle = [&](const std::string& name) {
        for (int i = 0; i < 500 && bench.fate(name) != "sent"; ++i) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        return bench.fate(name);
    };
    bench.queue("m");
    EXPECT_EQ(settle("m"), "sent");
    const QueueFolder folder(bench.folder.path());
    const QueueCommands commands(folder);
    bench.folder.write("held.state", "Held: yes\n");
    bench.queue("held");
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    EXPECT_NE(bench.fate("held"), "sent");
    EXPECT_EQ(commands.release("held"), "");
    EXPECT_EQ(settle("held"), "sent");
    runner.stop();
    service.join();
}

TEST(QueueFaultsTest, CommandsOfTheAdministrator) {
    RunnerBench bench(smtpPart("RCPT:550 no;550 no;450 later;450 later;250 ok"));
    bench.queue("m");
    const QueueFolder folder(bench.folder.path());
    const QueueCommands commands(folder);
    EXPECT_EQ(commands.hold("m.znq"), "");
    EXPECT_EQ(bench.drain().waiting, 1U);
    EXPECT_THAT(commands.hold("none"), HasSubstr("There is no message none"));
    EXPECT_THAT(commands.retry("../m"), HasSubstr("There is no message"));
    EXPECT_EQ(commands.release("m"), "");
    EXPECT_EQ(bench.fates("m", 1), "failed recipient");
    EXPECT_THAT(commands.hold("m"), HasSubstr("has failed"));
    EXPECT_EQ(commands.retry("m"), "");
    EXPECT_EQ(bench.fates("m", 1), "later recipient 1");
    std::vector<ListedMessage> messages;
    EXPECT_EQ(commands.list(messages), "");
    EXPECT_THAT(listAsText(messages, bench.date.seconds),
                HasSubstr("NEXT TRY  LAST REPLY\nm     1m   localhost:"));
    EXPECT_THAT(listAsJson(messages, bench.date.seconds),
                testing::AllOf(HasSubstr("\"tries\": 1"), HasSubstr("\"reply\": \"450 later\"")));
    Claim claim(folder, "m");
    ASSERT_EQ(claim.take(), Claim::Outcome::kTaken);
    EXPECT_THAT(commands.remove("m"), HasSubstr("is being sent"));
    claim.giveBack();
    EXPECT_EQ(commands.retry("m"), "");
    EXPECT_EQ(bench.fates("m", 1), "sent");
    bench.queue("m");
    EXPECT_EQ(commands.remove("m"), "");
    EXPECT_EQ(bench.fate("m"), "sent");
}

}  // namespace
}  // namespace tessolt::queue
