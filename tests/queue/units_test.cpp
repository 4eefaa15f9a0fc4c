#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "mail/scramble.h"
#include "mail/smtp.h"
#include "message/znmail.h"
#include "platform/code_page.h"
#include "platform/file_system.h"
#include "queue/backlog.h"
#include "queue/envelope.h"
#include "queue/message_state.h"
#include "queue/queue_folder.h"
#include "queue/queued_message.h"
#include "queue/retry_plan.h"
#include "support/temporary_folder.h"

namespace tessolt::queue {
namespace {

std::string joined(const std::vector<std::string>& texts) {
    std::string all;
    for (const std::string& text : texts) {
        all += (all.empty() ? "" : "|") + text;
    }
    return all;
}

TEST(QueueUnitsTest, AddressesOfAField) {
    constexpr const char* kCases[][2] = {
        {"a@b.c", "a@b.c"},
        {"A B <a@b.c>, c@d.e (C D)", "a@b.c|c@d.e"},
        {"\"B, A @ home\" <a@b.c>,\"x\\\"<y\" <c@d.e>", "a@b.c|c@d.e"},
        {"Team: a@b.c, D <c@d.e>;, e@f.g", "a@b.c|c@d.e|e@f.g"},
        {"Team:a@b.c;", "a@b.c"},
        {"undisclosed-recipients:;", ""},
        {"a@b.c, <a@b.c>,, ", "a@b.c"},
        {"a@[IPv6:::1]", "a@[IPv6:::1]"},
        {"<a b@c.d>, <>", "a b@c.d"},
    };
    for (const auto& [field, addresses] : kCases) {
        EXPECT_EQ(joined(addressesOf(field)), addresses) << field;
    }
    // The longest that can be sent are known again from the file.
    const std::string done = std::string(998, 'd') + "@y";
    const std::string refused = std::string(998, 'r') + "@y";
    QueuedMessage message{.from = "<s>", .to = "<a b@c.d>, x@y, z@y", .cc = "x@y", .bcc = "q@y"};
    message.cc += "," + done + "," + refused;
    MessageState state{.delivered = {"z@y", done},
                       .refused = {{.address = refused, .reply = "550 no"}}};
    state = parseState(formatState(state));
    const SmtpEnvelope envelope = envelopeOf(message, state);
    EXPECT_EQ(envelope.sender, "s");
    ASSERT_EQ(envelope.recipients.size(), 2U);
    EXPECT_EQ(envelope.recipients[1].address, "q@y");
    EXPECT_EQ(state.refused.at(1).address, "a_b@c.d");
}

TEST(QueueUnitsTest, HeaderIsTakenApartAndNothingElse) {
    constexpr const char* kSettings =
        "X-ZnQueueService-RemoveBeforeSending-Host: h.test\r\n"
        "x-znqueueservice-removebeforesending-port:\r\n\t2525\r\n"
        "X-ZnQueueService-RemoveBeforeSending-Secure: True\r\n";
    const std::string kept = "From: a@b\r\nTo: c@d,\r\n e@f\nSubject: x\r\n";
    const std::string head = kept + kSettings + "Bcc: g@h,\r\n\ti@j\r\nX: y\r\n\r\n";
    const QueuedMessage message = parseQueuedMessage(head, head.size() + 1000, "n");
    ASSERT_TRUE(message.server) << message.problem;
    EXPECT_EQ(message.server->label(), "h.test:2525");
    EXPECT_TRUE(message.server->isSecure);
    EXPECT_EQ(message.header, kept + "X: y\r\n\r\n");
    EXPECT_EQ(message.size, kept.size() + 8 + 1000);
    EXPECT_EQ(message.ranges.size(), 2U);
    EXPECT_EQ(joined(addressesOf(message.bcc)), "g@h|i@j");
    EXPECT_EQ(message.messageId, parseQueuedMessage(head, 5, "n").messageId);
    EXPECT_NE(message.messageId, parseQueuedMessage(head, 5, "m").messageId);
    for (const char* broken : {"Host: \r\n", "Port: 0\r\n", "Port: x\r\n", "Port: 65536\r\n",
                               "Password: 12\r\n", "Password: xyz\r\n"}) {
        std::string text =
            "X-ZnQueueService-RemoveBeforeSending-" + std::string(broken) + kSettings;
        EXPECT_FALSE(parseQueuedMessage(text, text.size(), "n").server) << broken;
    }
    for (const char* missing : {"", "\r\n", "binary\x01\xFF", ":\r\n :"}) {
        EXPECT_NE(parseQueuedMessage(missing, 9, "n").problem, "") << missing;
    }
}

TEST(QueueUnitsTest, ReadsWhatQueueWrites) {
    const platform::ScopedAnsiCodePage page(1252);
    const support::TemporaryFolder folder;
    const std::string longText(200, 'x');
    const char* kAccounts[][2] = {{"", ""},
                                  {"user", "secret"},
                                  {"user name@h.test", "p w\"\\:=?"},
                                  {"j\xFCrgen", "\xFC\x01\xFF"},
                                  {longText.c_str(), longText.c_str()}};
    for (const auto& [account, password] : kAccounts) {
        CZnMail mail;
        mail.AddTo(u"c@d.test");
        mail.m_wstrFromAddress = u"a@b.test";
        ASSERT_EQ(
            CZnSmtp().Queue(mail, folder.path().c_str(), "h.test", 465, true, account, password),
            0);
        std::vector<QueueEntry> entries;
        const QueueFolder queue(folder.path());
        ASSERT_EQ(queue.scan(entries), 0);
        ASSERT_EQ(entries.size(), 1U);
        platform::File file;
        QueuedMessage message;
        ASSERT_EQ(file.open(queue.messagePath(entries[0].name), platform::kOpenRead), 0);
        ASSERT_EQ(readQueuedMessage(file, entries[0].name, message), 0);
        ASSERT_TRUE(message.server) << message.problem;
        EXPECT_EQ(message.server->account, account);
        EXPECT_EQ(message.server->password, password);
        EXPECT_EQ(platform::removeFile(queue.messagePath(entries[0].name)), 0);
    }
}

TEST(QueueUnitsTest, QueueLeavesNothingOfItselfOnALoadedMessage) {
    const std::string head = "From: a@b.test\r\nX-Own:  1\r\nTo: c@d.test\r\n";
    const std::string body = "\r\nl\xE9tter\n";
    const support::TemporaryFolder folder;
    CZnMail mail;
    mail.m_rules = MailRules::current();
    ASSERT_EQ(mail.LoadFromBytes(head + "Bcc: <e@f.test>\r\n" + body), 0);
    ASSERT_EQ(CZnSmtp().Queue(mail, folder.path().c_str(), "h.test", 25, false, "u", "p"), 0);
    CZncString source;
    EXPECT_EQ(mail.GetSource(source).GetString(), head + body);
    EXPECT_TRUE(mail.m_mapHeaders.empty());
    std::vector<QueueEntry> entries;
    const QueueFolder queue(folder.path());
    ASSERT_EQ(queue.scan(entries), 0);
    const std::string path = queue.messagePath(entries.at(0).name);
    const std::string text = support::TemporaryFolder::read(path);
    EXPECT_TRUE(text.starts_with(head) && text.ends_with("Bcc: <e@f.test>\r\n" + body)) << text;
    EXPECT_EQ(parseQueuedMessage(text, text.size(), "n").server->label(), "h.test:25");
    // What comes back from such a file keeps the password to itself.
    ASSERT_EQ(mail.LoadFromFile(std::u16string(path.begin(), path.end())), 0);
    const std::string saved = folder.file("saved");
    EXPECT_EQ(mail.SaveToFile(std::u16string(saved.begin(), saved.end())), 0);
    EXPECT_EQ(support::TemporaryFolder::read(saved), head + "Bcc: <e@f.test>\r\n" + body);
}

TEST(QueueUnitsTest, RetryPlan) {
    constexpr std::int64_t kMinutes[] = {1, 5, 15, 30, 60, 60, 60};
    for (std::int32_t tries = 1; tries <= 7; ++tries) {
        const std::int64_t delay = kMinutes[tries - 1] * 60;
        EXPECT_EQ(RetryPlan::delayAfter(tries, 0), delay);
        EXPECT_EQ(RetryPlan::delayAfter(tries, 0xFFFF), delay + delay / 10);
    }
    EXPECT_FALSE(RetryPlan().isOver(1000, 1000 + 4 * 86400 - 1));
    EXPECT_TRUE(RetryPlan().isOver(1000, 1000 + 4 * 86400));
}

TEST(QueueUnitsTest, StateSurvivesItsFile) {
    const support::TemporaryFolder folder;
    MessageState state{
        .tries = 3, .firstTry = 5, .nextTry = 7, .server = "h:25", .step = "end of data"};
    state.reply = "450 a\r\nNotice: yes\x01";
    state.isHeld = state.isAsked = true;
    state.serverTries = 2;
    state.serverNext = state.serverSince = 9;
    state.delivered = {"a@b", "c@d"};
    state.refused = {{.address = "e@f", .reply = "550 no such user"}};
    ASSERT_EQ(writeState(folder.file("s"), state), 0);
    const MessageState read = readState(folder.file("s"));
    EXPECT_EQ(formatState(read), formatState(state));
    EXPECT_FALSE(read.isNotice);
    EXPECT_EQ(read.refused.at(0).reply, "550 no such user");
    ASSERT_EQ(writeState(folder.file("s"), {}), 0);
    EXPECT_TRUE(readState(folder.file("s")).isEmpty());
    EXPECT_EQ(parseState("x\nTries: 99999999999\nTries:\n:\nRefused: \n: x").tries, 0);
}

/// One letter a message; the digit in front of a name is its server.
std::string order(Backlog& backlog, std::int64_t now) {
    std::string names;
    while (const auto lane = backlog.openLane(now)) {
        while (const auto name = backlog.next(*lane, now)) {
            names += *name + " ";
            backlog.forget(*name);
        }
        backlog.closeLane(*lane);
    }
    return names;
}

TEST(QueueUnitsTest, BacklogChoosesTheOldestOfAnOpenServer) {
    const ServerSettings one{.host = "one"};
    const ServerSettings two{.host = "two"};
    Backlog backlog(1);
    const auto fill = [&] {
        backlog.add("1c", 30, 0, one);
        backlog.add("2a", 10, 0, two);
        backlog.add("1b", 20, 0, one);
        backlog.add("2d", 1, 100, two);
    };
    fill();
    EXPECT_EQ(order(backlog, 50), "2a 1b 1c ");
    EXPECT_EQ(backlog.nextChange(50), 100);
    EXPECT_EQ(order(backlog, 100), "2d ");
    EXPECT_EQ(backlog.nextChange(100), Backlog::kNever);

    // Behind its one conversation a server isn't offered; the other one is.
    fill();
    const auto lane = backlog.openLane(100);
    EXPECT_EQ(backlog.next(*lane, 100), "2d");
    EXPECT_EQ(order(backlog, 100), "1b 1c ");
    backlog.postpone("2d", 200);
    backlog.setHistory(*lane, {.tries = 1, .since = 100, .next = 150});
    backlog.closeLane(*lane);
    EXPECT_EQ(order(backlog, 149), "");
    EXPECT_EQ(backlog.nextChange(149), 150);
    EXPECT_EQ(order(backlog, 150), "2a ");
    backlog.add("2d", 1, 0, two);
    EXPECT_EQ(order(backlog, 151), "2d ");
    EXPECT_EQ(backlog.size() + backlog.activeCount() + backlog.sessionCount(), 0U);
}

}  // namespace
}  // namespace tessolt::queue
