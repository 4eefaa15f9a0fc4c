/// The usual jobs of the tutorial, in C++ and in Python, against Postfix and Dovecot over TLS.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <iterator>
#include <map>
#include <string>

#include "integration/mail_servers.h"
#include "support/scoped_env.h"
#include "support/scoped_settings.h"
#include "support/temporary_folder.h"

namespace tessolt::test {
namespace {

constexpr int kMany = 1000;
constexpr int kManyLimitMs = 200'000;

void runJobs(const std::string& jobs, const std::string& ending) {
    const MailServers& servers = MailServers::shared();
    if (!servers.problem().empty()) {
        std::cout << "SKIPPED: real mail servers: " << servers.problem() << '\n';
        GTEST_SKIP() << servers.problem();
    }
    servers.emptyMailbox();
    const support::TemporaryFolder folder;
    const support::ScopedSettings settings("\"Queue\"=\"" + folder.path() + "\"\n\"TrustFile\"=\"" +
                                           servers.certificate() + "\"\n");
    const auto port = [](std::uint16_t number) { return std::to_string(number); };
    const support::ScopedEnv environment[] = {
        {"MAIL_HOST", "127.0.0.1"},
        {"MAIL_USER", MailServers::kUser},
        {"MAIL_PASSWORD", MailServers::kPassword},
        {"SMTP_PORT", port(servers.smtpsPort).c_str()},
        {"POP3_PORT", port(servers.pop3sPort).c_str()},
        {"SMTP_CLEAR_PORT", port(servers.startTlsPort).c_str()}};
    const auto run = [&](const std::string& job) {
        const std::size_t end = std::min(job.find(' '), job.size());
        const std::string command =
            jobs + job.substr(0, end) + ending + job.substr(end) + " >" + folder.file("told");
        return std::system(command.c_str()) == 0 ? folder.read(folder.file("told")) : "failed";
    };
    EXPECT_EQ(run("send_text"), "sent\n");
    EXPECT_EQ(run("html_inline"), "sent\n");
    EXPECT_EQ(run("threads"), "sent\nsent\nsent\nsent\n");
    EXPECT_NE(run("wrong_password").find("refused with 535"), std::string::npos);
    EXPECT_EQ(run("tls_required").substr(0, 4), "TLSv");
    EXPECT_EQ(run("queue_message"), "queued\n");
    ASSERT_TRUE(servers.waitForMessages(6));
    const std::string saved = folder.file("saved");
    std::filesystem::create_directory(saved);
    run("fetch_and_delete " + saved);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(saved), {}), 6);
    EXPECT_EQ(run("fetch_and_delete " + saved), "") << "what was saved is gone";

    const std::string letter = "$(grep -l 'A picture' " + saved + "/*)";
    const std::string read = run("read_bytes <" + letter);
    EXPECT_NE(read.find("<ann@example.org>: A picture\n"), std::string::npos) << read;
    EXPECT_NE(read.find("table.csv, application/octet-stream, 10 bytes\n"), std::string::npos)
        << read;
    const std::string files = folder.file("files");
    std::filesystem::create_directory(files);
    EXPECT_NE(run("save_attachments " + letter + " " + files).find(files + "/table.csv\n"),
              std::string::npos);
    EXPECT_EQ(folder.read(files + "/table.csv"), "a;b\r\n1;2\r\n");

    EXPECT_NE(run("many_messages").find("\nsent 1000\n"), std::string::npos);
    ASSERT_TRUE(servers.waitForMessages(kMany, kManyLimitMs));
    const std::string all = run("fetch_and_delete " + saved);
    EXPECT_EQ(std::ranges::count(all, '\n'), kMany);
}

TEST(Jobs, RunAgainstRealServers) {
    runJobs(TESSOLT_JOBS, "");
}

#ifdef TESSOLT_PYTHON_JOBS
TEST(Jobs, RunAgainstRealServersInPython) {
    runJobs(TESSOLT_PYTHON_JOBS, ".py");
}
#endif

}  // namespace
}  // namespace tessolt::test
