// What servers do, a row of tests/mail/data each, and what a session makes of it.

#include <gtest/gtest.h>

#include <fstream>
#include <functional>
#include <map>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include "foundation/error_catalogue.h"
#include "mail_servers.h"
#include "support/temporary_folder.h"

namespace tessolt {
namespace {

using support::Delivery;
using support::ScriptedServer;

/// A block of a data file: its name in brackets, then lines of a key and what holds for it. The
/// head of the file tells the keys.
struct Row {
    std::string name;
    std::map<std::string, std::string> values = {};

    std::string at(const std::string& key) const {
        const auto found = values.find(key);
        return found == values.end() ? "" : found->second;
    }
};

std::vector<Row> rowsOf(const std::string& file) {
    std::vector<Row> rows;
    std::ifstream in(TESSOLT_MAIL_DATA + file);
    for (std::string line; std::getline(in, line);) {
        const std::size_t blank = line.find(' ');
        if (line.starts_with('[')) {
            rows.push_back({line.substr(1, line.size() - 2)});
        } else if (!rows.empty() && blank != std::string::npos) {
            rows.back().values[line.substr(0, blank)] = line.substr(blank + 1);
        }
    }
    return rows;
}

std::string replaced(std::string text, std::string_view what, std::string_view by) {
    for (std::size_t at = 0; (at = text.find(what, at)) != std::string::npos; at += by.size()) {
        text.replace(at, what.size(), by);
    }
    return text;
}

/// What stands in the data files for bytes that can't.
const std::pair<std::string, std::string> kMarks[] = {{"<LF>", "\n"},
                                                      {"<CR>", "\r"},
                                                      {"<NUL>", std::string(1, '\0')},
                                                      {"<FF>", "\xFF"},
                                                      {"<1000>", std::string(1000, 'x')}};

std::string unmarked(std::string text) {
    for (const auto& [mark, bytes] : kMarks) {
        text = replaced(std::move(text), mark, bytes);
    }
    return text;
}

std::string marked(std::string text) {
    for (const auto& [mark, bytes] : kMarks) {
        text = replaced(std::move(text), bytes, mark);
    }
    return text;
}

/// The last entries of a log in front of the leave.
std::string lastEntries(const std::string& path, std::uint16_t port) {
    constexpr std::size_t kEntries = 3;
    std::string log = entriesOf(support::TemporaryFolder::read(path));
    // Current rules say more here, and only that.
    for (std::size_t at = 0; (at = log.find("Cause: ", at)) != std::string::npos;) {
        log.erase(at, log.find('\n', at) + 1 - at);
    }
    for (const char* leave : {"Disconnected\n", "Response: [221 bye ]\n", "Response: [+OK bye]\n",
                              "Command: [QUIT]\n"}) {
        if (log.ends_with(leave)) {
            log.resize(log.size() - std::string_view(leave).size());
        }
    }
    std::size_t begin = log.size();
    for (std::size_t i = 0; i < kEntries && begin > 0; ++i) {
        begin = begin < 2 ? 0 : log.rfind('\n', begin - 2) + 1;
    }
    log = replaced(log.substr(begin), ":" + std::to_string(port) + "]", ":PORT]");
    for (std::size_t at = 0; (at = log.find("[EHLO ", at)) != std::string::npos; ++at) {
        log.erase(at + 5, log.find(']', at) - at - 5);
    }
    for (std::size_t at = 0; (at = log.find("[HELO ", at)) != std::string::npos; ++at) {
        log.erase(at + 5, log.find(']', at) - at - 5);
    }
    return replaced(std::move(log), "\n", "|");
}

/// One session: what its operations gave, what the server heard, and what the log says.
struct Session {
    CZnSmtp smtp;
    CZnPop3 pop3;
    CZnMail mail;
    std::vector<Pop3Entry> entries;

    Session() {
        mail.m_wstrFromAddress.Assign(u"a@x.test");
        mail.AddTo(u"b@x.test;c@x.test");
        mail.m_wstrBodyPlainText.Assign(u"text");
    }

    std::string command(CZnMailSession& engine, const char* text) {
        const std::int32_t result = engine.SendCommand(text);
        return std::to_string(&engine == &smtp ? MapSmtpError(result) : MapPop3Error(result));
    }

    std::string fetch(bool full) {
        std::string text;
        const std::int32_t result = pop3.RetrieveText(1, full, text);
        return std::to_string(MapPop3Error(result)) +
               (result == 0 ? "'" + replaced(std::move(text), "\r\n", "~") + "'" : "");
    }

    std::string list() {
        std::string told = std::to_string(MapPop3Error(pop3.List(entries)));
        for (const Pop3Entry& entry : entries) {
            told +=
                "," + std::to_string(entry.number) + ":" + std::to_string(entry.size) + entry.uid;
        }
        return told;
    }

    std::string perform(const std::string& operation) {
        const std::map<std::string, std::function<std::string()>> operations = {
            {"send", [&] { return std::to_string(MapSmtpError(smtp.Send(mail))); }},
            {"noop",
             [&] {
                 const std::string result = command(smtp, "NOOP");
                 return result + "/" + std::to_string(smtp.m_lLastCode);
             }},
            {"fetch", [&] { return fetch(true); }},
            {"head", [&] { return fetch(false); }},
            {"delete", [&] { return std::to_string(MapPop3Error(pop3.DeleteMessage(1))); }},
            {"list", [&] { return list(); }},
            {"count", [&] { return std::to_string(pop3.m_lMessageCount); }},
            {"pnoop", [&] { return command(pop3, "NOOP"); }}};
        return operations.at(operation)();
    }
};

template <typename Engine>
void prepare(Engine& engine, const Row& row, const MailRules& rules, const ScriptedServer& server,
             Tls tls) {
    constexpr std::uint32_t kLimit = 20000;
    std::istringstream login(row.at("login"));
    std::string account, password;
    std::int32_t chosen = 0;
    login >> account >> password >> chosen;
    engine.m_rules = rules;
    // The certificates have tests of their own.
    engine.m_rules.verifyServer = false;
    engine.m_strAccount = account.c_str();
    engine.m_strPassword = password.c_str();
    engine.m_lAuthentication = chosen;
    engine.m_lTimeoutConnect = engine.m_lTimeoutCommand = engine.m_lTimeoutData = kLimit;
    engine.m_lTimeoutAuthentication = kLimit;
    hostOf(engine) = "localhost";
    engine.m_lHostPort = server.port();
    engine.m_bSecure = tls == Tls::kFromStart;
}

/// Plays a row; the lines of its block for these rules.
std::string played(const Row& row, bool isPop3, const MailRules& rules, Tls tls,
                   Delivery delivery) {
    const support::TemporaryFolder folder;
    std::string heard;
    std::string gave;
    std::string log;
    {
        const std::string changes = unmarked(row.at("server"));
        ServerPart part = isPop3 ? pop3Part(changes) : smtpPart(changes);
        part.heard = &heard;
        // Over TLS a byte comes in a record of its own.
        support::TlsServerSetup setup(mailIdentity());
        const bool byRecords = tls != Tls::kNone && delivery == Delivery::kBytes;
        setup.recordBytes = byRecords ? 1 : setup.recordBytes;
        const ScriptedServer server(served(part, tls, setup),
                                    byRecords ? Delivery::kWhole : delivery);
        Session session;
        session.mail.m_rules = rules;
        CZnMailSession& engine = isPop3 ? static_cast<CZnMailSession&>(session.pop3) : session.smtp;
        isPop3 ? prepare(session.pop3, row, rules, server, tls)
               : prepare(session.smtp, row, rules, server, tls);
        engine.SetLogFile(folder.file("log").c_str());
        gave = std::to_string(isPop3 ? MapPop3Error(session.pop3.Connect())
                                     : MapSmtpError(session.smtp.Connect()));
        std::istringstream operations(row.at("do"));
        for (std::string operation; operations >> operation;) {
            gave += " " + session.perform(operation);
        }
        engine.Disconnect();
        log = lastEntries(folder.file("log"), server.port());
        if (delivery == Delivery::kWhole) {
            engine.m_lAuthentication = 0;
            isPop3 ? expectUsable(session.pop3) : expectUsable(session.smtp);
        }
    }
    return marked(gave) + "\n" + marked(heard) + "\n" + marked(log);
}

using Parameters = std::tuple<const char*, bool, Tls>;

class WireTable : public testing::TestWithParam<Parameters> {};

TEST_P(WireTable, HoldsRowByRow) {
    const char* const file = std::get<0>(GetParam());
    const bool isCurrent = std::get<1>(GetParam());
    const Tls tls = std::get<2>(GetParam());
    const bool isPop3 = std::string(file).starts_with("pop3");
    const MailRules rules = isCurrent ? MailRules::current() : MailRules::classic();
    const std::vector<Row> rows = rowsOf(file);
    EXPECT_GT(rows.size(), 200U);
    for (const Row& row : rows) {
        // Named anew: clang before 16 lets no lambda use what a binding names.
        const auto expected = [&row, isCurrent = isCurrent,
                               isSecure = tls != Tls::kNone](const std::string& what) {
            for (const auto& [holds, prefix] : {std::pair(isCurrent && isSecure, "current-tls-"),
                                                {isCurrent, "current-"},
                                                {isSecure, "tls-"}}) {
                if (holds && row.values.contains(prefix + what)) {
                    return row.at(prefix + what);
                }
            }
            return row.at(what);
        };
        for (const Delivery delivery : {Delivery::kWhole, Delivery::kLines, Delivery::kBytes}) {
            EXPECT_EQ(played(row, isPop3, rules, tls, delivery),
                      expected("gives") + "\n" + expected("sends") + "\n" + expected("logs"))
                << "[" << row.name << "] by delivery " << static_cast<int>(delivery);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(, WireTable,
                         testing::Combine(testing::Values("smtp.txt", "pop3.txt"), testing::Bool(),
                                          testing::Values(Tls::kNone, Tls::kFromStart)));

}  // namespace
}  // namespace tessolt
