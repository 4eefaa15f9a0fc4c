#include <gtest/gtest.h>

#include <string>

#include "mail/pop3.h"
#include "mail/smtp.h"
#include "mail_servers.h"
#include "support/scoped_env.h"
#include "support/temporary_folder.h"

namespace tessolt {
namespace {

using support::ScriptedServer;

TEST(ServerCheck, BothEnginesCheckTheNameThatTheyConnectTo) {
    const support::TemporaryFolder folder;
    folder.write("settings",
                 "[HKEY_LOCAL_MACHINE\\Software\\Merivane\\Tessolt]\n\"VerifyServer\"=\"1\"\n"
                 "\"TrustFile\"=\"" +
                     folder.write("trust", mailIdentity().certificatePem()) + "\"\n");
    const support::ScopedEnv settings("TESSOLT_SETTINGS", folder.file("settings").c_str());
    const std::string offer = "EHLO:250-x~250-STARTTLS~250 ok|STAR:220 go";
    for (const bool right : {true, false}) {
        const char* const host = right ? "localhost" : "127.0.0.1";
        const ScriptedServer smtps(served(smtpPart(), Tls::kFromStart));
        const ScriptedServer startTls(served(smtpPart(offer), Tls::kOnCommand));
        const ScriptedServer pop3s(served(pop3Part(), Tls::kFromStart));
        CZnSmtp implicit;
        implicit.m_strHost = host;
        implicit.m_lHostPort = smtps.port();
        implicit.m_bSecure = true;
        implicit.SetLogFile(folder.file(host).c_str());
        EXPECT_EQ(implicit.Connect(), right ? 0 : -2015);
        const std::string log = support::TemporaryFolder::read(folder.file(host));
        EXPECT_EQ(log.find("Server certificate refused: name differs, wanted [127.0.0.1], "
                           "certificate is for [localhost]") != std::string::npos,
                  !right);
        CZnSmtp explicitly;
        explicitly.m_strHost = host;
        explicitly.m_lHostPort = startTls.port();
        EXPECT_EQ(explicitly.Connect(), right ? 0 : -1007);
        CZnPop3 pop3;
        pop3.m_strServer = host;
        pop3.m_lHostPort = pop3s.port();
        pop3.m_bSecure = true;
        EXPECT_EQ(pop3.Connect(), right ? 0 : -2105);
    }
}

}  // namespace
}  // namespace tessolt
