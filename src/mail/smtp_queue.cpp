#include <string>

#include "charset/outward_strings.h"
#include "foundation/system_files.h"
#include "foundation/system_utilities.h"
#include "mail/scramble.h"
#include "mail/smtp.h"
#include "message/znmail.h"
#include "platform/file_system.h"

namespace tessolt {

namespace {

constexpr std::string_view kHeaderPrefix = "X-ZnQueueService-RemoveBeforeSending-";
constexpr const char* kQueueSuffix = ".znq";
/// Owner and group: the service that sends may run under an account of its own.
constexpr unsigned kQueueMode = 0660;

void AddQueueHeader(CZnMail& mail, std::string_view name, std::string_view value) {
    mail.AddHeader(std::string(kHeaderPrefix).append(name), value);
}

/// Writes a file that must not exist yet, all the way to the device. What can't be written whole is
/// removed again. A link of that name is not followed: others may write to the folder too.
bool WriteNewFile(const std::string& path, std::string_view bytes) {
    platform::File file;
    if (file.open(path,
                  platform::kOpenWrite | platform::kOpenCreate | platform::kOpenExclusive |
                      platform::kOpenNoFollow,
                  kQueueMode) != 0) {
        return false;
    }
    const bool written = file.write(bytes) == 0 && file.sync() == 0;
    if (file.close() == 0 && written) {
        return true;
    }
    platform::removeFile(path);
    return false;
}

}  // namespace

std::int32_t CZnSmtp::Queue(CZnMail& mail, const char* folder, const char* host, std::int32_t port,
                            bool secure, const char* account, const char* password) {
    CZncString scrambled(password);
    Scramble(scrambled);
    AddQueueHeader(mail, "Host", ViewOf(host));
    AddQueueHeader(mail, "Port", std::to_string(port));
    AddQueueHeader(mail, "Secure", secure ? "True" : "False");
    AddQueueHeader(mail, "Account", ViewOf(account));
    AddQueueHeader(mail, "Password", scrambled.View());
    mail.Encode();

    CZncString name;
    MakeUniqueName(folder, nullptr, kQueueSuffix, name);
    // A reader of the folder sees the file under its name only once it is complete.
    const std::string path = NativePath(name.View());
    const std::string partial = path + "_";
    borvik::BvByteData bytes;
    mail.m_pMime->GetMimeBytes(bytes);
    if (!WriteNewFile(partial, bytes.view())) {
        return kSmtpQueueSaveFailed;
    }
    if (platform::renameNoReplace(partial, path) != 0) {
        return kSmtpQueueRenameFailed;
    }
    platform::syncFolderOf(path);
    return 0;
}

}  // namespace tessolt
