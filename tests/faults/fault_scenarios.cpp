// fault_scenarios NAME FOLDER PORT: does one thing that a program does, under the preload of this
// folder. Prints "done" or "told" for how it ended, and "whole" where what it brought was so; then
// does it again without faults on the same objects, which must succeed. Ends with 0 when all of
// that is as it may be.

#include <dlfcn.h>
#include <tessolt/tessolt.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <map>
#include <new>
#include <string>

#include "mail/smtp.h"
#include "message/znmail.h"

namespace tessolt {
namespace {

constexpr LONG kLimitMs = 4000;

/// A thing to do: `prepare` runs unharmed, `act` says whether it succeeded.
struct Scenario {
    std::function<void()> prepare = [] {};
    std::function<bool()> act;
    /// In front of a second time.
    std::function<void()> recover = [] {};
};

/// An object; a lack of memory for it is one like any other.
template <class Interface>
ComPtr<Interface> create(const char* name) {
    auto object = CreateObject<Interface>(name);
    return object ? object : throw std::bad_alloc();
}

class Stage {
public:
    Stage(std::string folder, int port) : folder_(std::move(folder)), port_(port) {}

    Scenario find(const std::string& name) {
        std::map<std::string, Scenario> all;
        all["smtp"] = {[this] { openSmtp(false); }, [this] { return send(); },
                       [this] { smtp_->Disconnect(); }};
        all["smtps"] = {[this] { openSmtp(true); }, [this] { return send(); },
                        [this] { smtp_->Disconnect(); }};
        all["pop3"] = {[this] { openPop3(); }, [this] { return fetch(); },
                       [this] { pop3_->Disconnect(); }};
        all["queue"] = {[this] { compose(); }, [this] { return queue(); }};
        all["save"] = {[this] { compose(); }, [this] { return save("saved"); }};
        all["attachment"] = {[this] { compose(); }, [this] { return saveAttachment(); }};
        all["load"] = {[this] { compose(), save("loaded"); }, [this] { return load(); }};
        all["activity"] = {[] {}, [this] { return logActivity(); }};
        all["register"] = {[] {}, [] { return SUCCEEDED(DllRegisterServer()); }};
        return all.at(name);
    }

private:
    std::string file(const char* name) const { return folder_ + "/" + name; }

    template <class Object>
    static bool succeeds(const Object& object, HRESULT status) {
        LONG number = -1;
        object->get_LastError(&number);
        return status == S_OK && number == 0;
    }

    void compose() {
        message_ = create<IEMailMessage>("Tessolt.EMailMessage");
        message_->put_FromAddress(Text("a@b.test"));
        message_->AddTo(Text("c@d.test"), nullptr);
        message_->put_Subject(Text(std::getenv("FAULT_SUBJECT")));
        message_->put_BodyPlainText(Text(std::string(200'000, 'x') + "\r\nlast"));
        std::ofstream(file("bytes")) << std::string(100'000, 'a');
        message_->AddAttachment(Text(file("bytes")));
        message_->Encode();
    }
    void openSmtp(bool secure) {
        compose();
        smtp_ = create<ISmtp>("Tessolt.Smtp");
        smtp_->put_HostPort(port_);
        smtp_->put_TimeoutCommand(kLimitMs);
        smtp_->put_LogFile(Text(file("log")));
        if (secure) {
            smtp_->SetSecure(0);
            smtp_->put_HostPort(port_);
            // OpenSSL sets itself up once, and never again after it had no memory for that.
            smtp_->Connect(Text("127.0.0.1"), nullptr, nullptr);
            smtp_->Disconnect();
        }
    }
    bool send() {
        // What a failed connection leaves is used on purpose.
        const bool connected =
            succeeds(smtp_, smtp_->Connect(Text("127.0.0.1"), Text("u"), Text("p")));
        VARIANT value = {};
        value.vt = VT_DISPATCH;
        value.pdispVal = message_.get();
        const bool sent = succeeds(smtp_, smtp_->Send(&value));
        smtp_->Disconnect();
        return connected && sent;
    }
    void openPop3() {
        pop3_ = create<IPop3>("Tessolt.Pop3");
        pop3_->put_HostPort(port_);
        pop3_->put_TimeoutCommand(kLimitMs);
        pop3_->put_LogFile(Text(file("log")));
    }
    bool fetch() {
        pop3_->Connect(Text("127.0.0.1"), Text("u"), Text("p"));
        VARIANT value = {};
        const bool fetched = succeeds(pop3_, pop3_->GetEmailMessage(1, &value));
        bool whole = !fetched;
        if (fetched) {
            const auto message = ComPtr<IDispatch>(value.pdispVal).as<IEMailMessage>();
            Text body;
            message->get_BodyPlainText(body.put());
            whole = body.utf8().find("\nlast\r\n") != std::string::npos;
            value.pdispVal->Release();
        }
        pop3_->Disconnect();
        return fetched && expectWhole(whole);
    }
    bool queue() {
        const auto smtp = create<ISmtp>("Tessolt.Smtp");
        VARIANT value = {};
        value.vt = VT_DISPATCH;
        value.pdispVal = message_.get();
        return succeeds(smtp, smtp->Queue(&value, Text("h.test"), 25, 0, nullptr, nullptr));
    }
    bool save(const char* name) { return succeeds(message_, message_->SaveMIME(Text(file(name)))); }
    bool saveAttachment() {
        return succeeds(message_, message_->SaveAttachment(1, Text(file("saved"))));
    }
    bool load() {
        const auto loaded = create<IEMailMessage>("Tessolt.EMailMessage");
        const bool done = succeeds(loaded, loaded->LoadMIME(Text(file("loaded"))));
        LONG ours = 0;
        LONG theirs = 0;
        const bool known = succeeds(message_, message_->GetAttachmentSize(1, &ours)) &&
                           succeeds(loaded, loaded->GetAttachmentSize(1, &theirs));
        return done && known && expectWhole(ours == theirs);
    }
    bool logActivity() {
        CZnSmtp engine;
        engine.SetActivityFile(file("activity").c_str());
        for (int i = 0; i < 5; ++i) {
            engine.Log(kLogProtocol, "entry %d", i);
        }
        return true;
    }

    static bool expectWhole(bool whole) {
        if (!whole) {
            std::puts("half");
            std::exit(1);
        }
        return true;
    }

    std::string folder_;
    int port_;
    ComPtr<IEMailMessage> message_;
    ComPtr<ISmtp> smtp_;
    ComPtr<IPop3> pop3_;
};

}  // namespace
}  // namespace tessolt

int main(int argc, char** argv) {
    if (argc != 4) {
        return 2;
    }
    const auto arm = reinterpret_cast<void (*)(int)>(dlsym(RTLD_DEFAULT, "armFaults"));
    tessolt::Stage stage(argv[2], std::atoi(argv[3]));
    const auto scenario = stage.find(argv[1]);
    scenario.prepare();
    arm ? arm(1) : void();
    bool done = false;
    try {
        done = scenario.act();
    } catch (const std::bad_alloc&) {
        // What the program itself has no memory for is told to it so.
        done = false;
    }
    arm ? arm(0) : void();
    std::puts(done ? "done" : "told");
    std::fflush(stdout);
    if (std::getenv("FAULT_ONCE")) {
        return 0;
    }
    scenario.recover();
    const bool again = scenario.act();
    std::puts(again ? "usable" : "unusable");
    return again ? 0 : 1;
}
