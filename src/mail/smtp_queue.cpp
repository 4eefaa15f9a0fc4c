#include <cerrno>
#include <new>
#include <string>
#include <utility>

#include "charset/ansi_text.h"
#include "foundation/system_files.h"
#include "foundation/system_utilities.h"
#include "mail/scramble.h"
#include "mail/smtp.h"
#include "message/queue_fields.h"
#include "message/znmail.h"
#include "platform/file_system.h"
#include "platform/settings_store.h"
#include "text/outward_strings.h"

namespace tessolt {

namespace {

constexpr const char* kQueueSuffix = ".znq";
constexpr const char* kPartialSuffix = "_";
/// As many names in turn are never taken by others; something else is wrong then.
constexpr int kMaxNames = 1000;
/// Owner and group: the service that sends may run under an account of its own.
constexpr unsigned kQueueMode = 0660;

void AddQueueHeader(CZnMail& mail, std::string_view name, std::string_view value) {
    mail.AddHeader(std::string(kQueueFieldPrefix).append(name), value);
}

/// Writes a file that must not exist yet, all the way to the device. What can't be written whole is
/// removed again. A link of that name is not followed: others may write to the folder too. Returns
/// 0 or an errno number.
int WriteNewFile(const std::string& path, std::string_view bytes) {
    platform::File file;
    int error = file.open(path,
                          platform::kOpenWrite | platform::kOpenCreate | platform::kOpenExclusive |
                              platform::kOpenNoFollow,
                          kQueueMode);
    if (error != 0) {
        return error;
    }
    error = file.write(bytes);
    error = error == 0 ? file.sync() : error;
    const int closed = file.close();
    error = error == 0 ? closed : error;
    if (error != 0) {
        platform::removeFile(path);
    }
    return error;
}

/// A file that is there counts as written, whether or not there is memory to ask for more.
void SyncFolderOf(const std::string& path) try {
    platform::syncFolderOf(path);
} catch (const std::bad_alloc&) {
    return;
}

std::string NewPath(const char* folder) {
    // The folder is mapped by itself: with the name behind it, no path is in the backslash form.
    // Its end is looked at in UTF-8, since a byte of a double-byte page may look like a separator.
    std::string place = NativePath(ViewOf(folder));
    place += place.ends_with('/') ? "" : "/";
    CZncString name;
    MakeUniqueName(borvik::utf8ToAnsi(place).c_str(), nullptr, kQueueSuffix, name);
    return NativePath(name.View());
}

/// Runs `step`, which takes a name, with one name after the other until it finds one that others
/// who share the folder have not taken. Returns 0 or an errno number.
template <typename Step>
int WithFreeName(std::string& path, const char* folder, Step step) {
    int error = step(path);
    for (int names = 1; error == EEXIST && names < kMaxNames; ++names) {
        path = NewPath(folder);
        error = step(path);
    }
    return error;
}

/// Writes the message as a new file of the folder.
std::int32_t WriteToFolder(const CZnMail& mail, const char* folder) {
    borvik::BvByteData bytes;
    const std::string_view text = mail.GetSourceBytes(bytes);
    if (text.empty()) {
        return kSmtpQueueSaveFailed;
    }

    // A reader of the folder sees the file under its name only once it is complete.
    std::string path = NewPath(folder);
    std::string partial;
    if (WithFreeName(path, folder, [&](const std::string& name) {
            partial = name + kPartialSuffix;
            return WriteNewFile(partial, text);
        }) != 0) {
        return kSmtpQueueSaveFailed;
    }
    if (WithFreeName(path, folder, [&](const std::string& name) {
            return platform::renameNoReplace(partial, name);
        }) != 0) {
        return kSmtpQueueRenameFailed;
    }
    SyncFolderOf(path);
    return 0;
}

/// Takes out of a record, however the work ends, what only the file was to show.
class FileOnlyFields {
public:
    explicit FileOnlyFields(CZnMail& mail) : m_mail(mail), m_before(mail.KeepStanding()) {}
    FileOnlyFields(const FileOnlyFields&) = delete;
    FileOnlyFields& operator=(const FileOnlyFields&) = delete;
    ~FileOnlyFields() {
        try {
            if (m_mail.m_rules.bccInEnvelopeOnly) {
                m_mail.RemoveBlindCopies();
            }
            if (m_mail.m_rules.queueHeadersRemoved) {
                m_mail.RemoveHeaders(kQueueFieldPrefix);
            }
        } catch (const std::bad_alloc&) {
            m_mail.FallBack(std::move(m_before), kQueueFieldPrefix);
        }
    }

private:
    CZnMail& m_mail;
    CZnMail::Standing m_before;
};

}  // namespace

std::int32_t CZnSmtp::Queue(CZnMail& mail, const char* folder, const char* host, std::int32_t port,
                            bool secure, const char* account, const char* password) {
    if (!UsableSettings()) {
        return kSmtpQueueSaveFailed;
    }
    CZncString scrambled(password);
    Scramble(scrambled);
    const FileOnlyFields fields(mail);
    AddQueueHeader(mail, "Host", ViewOf(host));
    AddQueueHeader(mail, "Port", std::to_string(port));
    AddQueueHeader(mail, "Secure", secure ? "True" : "False");
    AddQueueHeader(mail, "Account", ViewOf(account));
    AddQueueHeader(mail, "Password", scrambled.View());
    if (mail.Encode() != 0) {
        return kSmtpQueueSaveFailed;
    }
    if (mail.m_rules.bccInEnvelopeOnly) {
        mail.AddBlindCopies();
    }
    return WriteToFolder(mail, folder);
}

}  // namespace tessolt
