#include <dlfcn.h>
#include <sys/resource.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <thread>

#include "automation/guid_text.h"
#include "automation/object_calls.h"
#include "automation/quelt_module.h"
#include "automation/registrar.h"
#include "platform/settings_file.h"
#include "platform/settings_store.h"
#include "support/process_memory.h"
#include "support/scoped_env.h"
#include "support/temporary_folder.h"

namespace tessolt {
namespace {

constexpr const CLSID* kClasses[] = {&CLSID_EMailConstants, &CLSID_EMailMessage, &CLSID_Pop3,
                                     &CLSID_Smtp};

/// Keeps one object inside itself and counts its own references.
class Outer : public IUnknown {
public:
    HRESULT QueryInterface(REFIID iid, void** object) override {
        if (iid == IID_IUnknown) {
            *object = this;
            AddRef();
            return S_OK;
        }
        const bool isKnown = !blind || iid == IID_IDispatch || iid == IID_IEMailMessage;
        return isKnown ? inner->QueryInterface(iid, object) : E_NOINTERFACE;
    }
    ULONG AddRef() override { return ++references; }
    ULONG Release() override { return --references; }

    ComPtr<IUnknown> inner;
    bool blind = false;  ///< hands out only the interfaces that it knows
    ULONG references = 1;
};

TEST(Server, FactoriesAreCachedAndCountedWhileHeld) {
    for (const CLSID* classId : kClasses) {
        ComPtr<IClassFactory> factory;
        ComPtr<IUnknown> again;
        ASSERT_EQ(DllGetClassObject(*classId, IID_IClassFactory, factory.putVoid()), S_OK);
        ASSERT_EQ(DllGetClassObject(*classId, IID_IUnknown, again.putVoid()), S_OK);
        EXPECT_EQ(static_cast<IUnknown*>(factory.get()), again.get());
        EXPECT_EQ(DllCanUnloadNow(), S_FALSE);
        ComPtr<IUnknown> object;
        EXPECT_EQ(factory->CreateInstance(nullptr, IID_IUnknown, nullptr), E_POINTER);
        EXPECT_EQ(factory->CreateInstance(nullptr, IID_IClassFactory, object.putVoid()),
                  E_NOINTERFACE);
        EXPECT_FALSE(object);
        ASSERT_EQ(factory->CreateInstance(nullptr, IID_IDispatch, object.putVoid()), S_OK);
        factory->LockServer(1);
        factory.reset();
        again.reset();
        EXPECT_EQ(module().GetLockCount(), 2);
        object.reset();
        EXPECT_EQ(DllCanUnloadNow(), S_FALSE);
        DllGetClassObject(*classId, IID_IClassFactory, factory.putVoid());
        factory->LockServer(0);
        factory.reset();
        EXPECT_EQ(DllCanUnloadNow(), S_OK);
    }
    void* object = this;
    EXPECT_EQ(DllGetClassObject(IID_ISmtp, IID_IClassFactory, &object), CLASS_E_CLASSNOTAVAILABLE);
    EXPECT_EQ(object, nullptr);
    EXPECT_EQ(DllGetClassObject(CLSID_Smtp, IID_ISmtp, &object), E_NOINTERFACE);
    EXPECT_EQ(DllGetClassObject(CLSID_Smtp, IID_IClassFactory, nullptr), E_POINTER);
    EXPECT_EQ(CoCreateInstance(IID_ISmtp, nullptr, 0, IID_IUnknown, &object), REGDB_E_CLASSNOTREG);
}

TEST(Server, EveryClassCanBeAggregated) {
    for (const CLSID* classId : kClasses) {
        Outer outer;
        void* refused = this;
        EXPECT_EQ(CoCreateInstance(*classId, &outer, 0, IID_IDispatch, &refused),
                  CLASS_E_NOAGGREGATION);
        EXPECT_EQ(refused, nullptr);
        ASSERT_EQ(CoCreateInstance(*classId, &outer, 0, IID_IUnknown, outer.inner.putVoid()), S_OK);
        EXPECT_EQ(outer.references, 1u);
        {
            ComPtr<IDispatch> dispatch;
            ASSERT_EQ(outer.QueryInterface(IID_IDispatch, reinterpret_cast<void**>(dispatch.put())),
                      S_OK);
            EXPECT_EQ(outer.references, 2u);
            ComPtr<IUnknown> identity;
            ASSERT_EQ(dispatch->QueryInterface(IID_IUnknown, identity.putVoid()), S_OK);
            EXPECT_EQ(identity.get(), &outer);
            EXPECT_NE(outer.inner.get(), &outer);
        }
        EXPECT_EQ(outer.references, 1u);
        EXPECT_EQ(module().GetLockCount(), 1);
        outer.inner.reset();
        EXPECT_EQ(DllCanUnloadNow(), S_OK);
    }
}

TEST(Server, AggregatedMessagesAreMessages) {
    auto smtp = make<ISmtp>("Smtp");
    Outer outer;
    ASSERT_EQ(CoCreateInstance(CLSID_EMailMessage, &outer, 0, IID_IUnknown, outer.inner.putVoid()),
              S_OK);
    {
        ComPtr<IEMailMessage> message;
        ASSERT_EQ(outer.QueryInterface(IID_IEMailMessage, message.putVoid()), S_OK);
        for (const bool blind : {false, true}) {
            outer.blind = blind;
            smtp->Clear();
            smtp->Send(Value(message));
            EXPECT_EQ(lastError(smtp), 37609);
        }
    }
    EXPECT_EQ(outer.references, 1u);
}

TEST(Server, IdentifiersAsText) {
    const std::string smtp = guidText(CLSID_Smtp);
    OLECHAR units[39];
    EXPECT_EQ(StringFromGUID2(CLSID_Smtp, units, 38), 0);
    EXPECT_EQ(StringFromGUID2(CLSID_Smtp, units, 39), 39);
    EXPECT_EQ(Text(units).utf8(), smtp);
    for (const auto& [text, status] : std::initializer_list<std::pair<std::string, HRESULT>>{
             {smtp, S_OK},
             {"{00020400-0000-0000-c000-000000000046}", S_OK},
             {smtp.substr(1), CO_E_CLASSSTRING},
             {smtp + " ", CO_E_CLASSSTRING},
             {"{00020400-0000-0000-C000-00000000004G}", CO_E_CLASSSTRING},
             {"{-0020400-0000-0000-C000-000000000046}", CO_E_CLASSSTRING},
             {"{00020400 0000-0000-C000-000000000046}", CO_E_CLASSSTRING},
             {"", CO_E_CLASSSTRING}}) {
        CLSID id = CLSID_Pop3;
        EXPECT_EQ(CLSIDFromString(Text(text).get(), &id), status) << text;
        EXPECT_TRUE(id == (text == smtp ? CLSID_Smtp : status == S_OK ? IID_IDispatch : IID_NULL));
    }
}

/// Tests that use a settings file of their own.
class Registration : public ::testing::Test {
protected:
    std::string content() const {
        std::ifstream file(path_, std::ios::binary);
        return file ? std::string(std::istreambuf_iterator<char>(file), {}) : "(no file)";
    }
    void write(const std::string& content) const {
        std::ofstream(path_, std::ios::binary) << content;
    }
    static std::string read(const std::string& key, const char* name = "") {
        return platform::readSetting(key, name).value_or("(none)");
    }

    support::TemporaryFolder folder_;
    std::string path_ = folder_.path() + "/settings";
    support::ScopedEnv env_{"TESSOLT_SETTINGS", path_.c_str()};
};

TEST_F(Registration, LeavesNothingBehind) {
    for (const std::string before :
         {"(no file)", "# mine\r\n[HKLM\\Software]\r\n \"A\" = b\r\n\r\n",
          "[HKEY_CLASSES_ROOT\\AppID\\{1}]\n\"x\"=\"y\"\n[HKCR\\CLSID]\n@=all"}) {
        SCOPED_TRACE(before);
        std::remove(path_.c_str());
        if (before != "(no file)") {
            write(before);
        }
        ASSERT_EQ(DllRegisterServer(), S_OK);
        const std::string registered = content();
        EXPECT_NE(registered, before);
        EXPECT_EQ(DllRegisterServer(), S_OK);
        EXPECT_EQ(content().size(), registered.size()) << "a second time enters nothing more";
        EXPECT_EQ(DllUnregisterServer(), S_OK);
        EXPECT_EQ(content(), before);
        EXPECT_EQ(DllInstall(1, Text("user").get()), S_OK);
        EXPECT_EQ(content(), registered);
        EXPECT_EQ(DllInstall(0, nullptr), S_OK);
        EXPECT_EQ(content(), before);
    }
}

TEST_F(Registration, EntersWhatAClientLooksFor) {
    ASSERT_EQ(DllRegisterServer(), S_OK);
    const std::string root = "HKEY_CLASSES_ROOT\\";
    for (const auto& [name, id] : std::initializer_list<std::pair<std::string, CLSID>>{
             {"EMailMessage", CLSID_EMailMessage},
             {"Smtp", CLSID_Smtp},
             {"Pop3", CLSID_Pop3},
             {"EMailConstants", CLSID_EMailConstants}}) {
        const std::string progId = "Tessolt." + name;
        const std::string key = root + "CLSID\\" + guidText(id);
        for (const std::string& described : {root + progId, root + progId + ".1", key}) {
            EXPECT_EQ(read(described), name + " Class");
        }
        EXPECT_EQ(read(root + progId + "\\CurVer"), progId + ".1");
        EXPECT_EQ(read(root + progId + ".1\\CLSID"), guidText(id));
        EXPECT_EQ(read(key + "\\ProgID"), progId + ".1");
        EXPECT_EQ(read(key + "\\VersionIndependentProgID"), progId);
        EXPECT_NE(content().find("[" + key + "\\Programmable]"), std::string::npos);
        EXPECT_EQ(read(key + "\\InprocServer32").front(), '/');
        EXPECT_EQ(read(key + "\\InprocServer32", "ThreadingModel"), "Apartment");
        EXPECT_EQ(read(key + "\\TypeLib"), guidText(LIBID_Quelt));
    }
    EXPECT_EQ(read(root + "AppID\\" + guidText(APPID_Quelt)), "Quelt");
    EXPECT_EQ(read(root + "AppID\\Quelt.DLL", "AppID"), guidText(APPID_Quelt));
    EXPECT_EQ(read(root + "TypeLib\\" + guidText(LIBID_Quelt) + "\\1.0"), "Quelt 1.0 Type Library");
    EXPECT_EQ(read(root + "Interface\\" + guidText(IID_IPop3)), "IPop3");
}

TEST_F(Registration, OtherNamesAreInTheSettings) {
    write("[HKCR\\My.Mail]\n[HKCR\\My.Mail\\CurVer]\n@=My.Mail.2\n[HKCR\\My.Mail.2\\CLSID]\n@=" +
          guidText(CLSID_EMailMessage) +
          "\n[HKCR\\Tessolt.Smtp\\CLSID]\n@=" + guidText(CLSID_Pop3) +
          "\n[HKCR\\Other\\CLSID]\n@=" + guidText(IID_ISmtp) + "\n[HKCR\\Broken\\CLSID]\n@=x\n");
    EXPECT_TRUE(CreateObject<IEMailMessage>("my.mail"));
    EXPECT_TRUE(CreateObject<ISmtp>("Tessolt.Smtp"));
    EXPECT_TRUE(CreateObject<ISmtp>("Tessolt.Smtp.1"));
    for (const auto& [name, expected] :
         std::initializer_list<std::pair<const char*, HRESULT>>{{"Tessolt.Pop3", E_NOINTERFACE},
                                                                {"Other", REGDB_E_CLASSNOTREG},
                                                                {"Broken", CO_E_CLASSSTRING},
                                                                {"Missing", CO_E_CLASSSTRING}}) {
        HRESULT status = S_OK;
        EXPECT_FALSE(CreateObject<ISmtp>(name, &status));
        EXPECT_EQ(status, expected) << name;
    }
}

TEST_F(Registration, AFailureLeavesAnEarlierOneAlone) {
    ASSERT_EQ(DllRegisterServer(), S_OK);
    const std::string registered = content();
    std::signal(SIGXFSZ, SIG_IGN);
    rlimit before = {};
    getrlimit(RLIMIT_FSIZE, &before);
    const rlimit little = {registered.size() / 2, before.rlim_max};
    setrlimit(RLIMIT_FSIZE, &little);
    const HRESULT status = DllInstall(1, nullptr);
    setrlimit(RLIMIT_FSIZE, &before);
    EXPECT_EQ(status, SELFREG_E_CLASS);
    EXPECT_EQ(content(), registered);
}

TEST_F(Registration, FailsWhereSettingsCanNotBeWritten) {
    support::ScopedEnv env("TESSOLT_SETTINGS", (folder_.path() + "/settings/below").c_str());
    write("a file where a folder should be");
    EXPECT_EQ(DllRegisterServer(), SELFREG_E_CLASS);
    EXPECT_EQ(DllInstall(1, nullptr), SELFREG_E_CLASS);
    EXPECT_EQ(content(), "a file where a folder should be");
}

TEST(Registrar, SetsAndRemoves) {
    Registrar registrar;
    registrar.addReplacement("NAME", "it's {here}");
    const char* script =
        "HKCR { NoRemove Kept = s'kept' { val V = s '%NAME%' 'Quo''ted' = s '100%NAME%%X%' }\n"
        "  Plain { val V = s x } ForceRemove Forced { Below = s b } Empty }";
    platform::SettingsEditor settings("[HKCR\\Forced\\Old]\n@=o\n[HKCR\\Plain\\Other]\n@=o\n");
    const auto read = [&](const char* key, const char* name = "") -> std::string {
        const platform::SettingsIndex index(*settings.result());
        const std::string* text = index.find(key, name);
        const bool isKey =
            settings.result()->find(platform::normalisedKey(key, true)) != std::string::npos;
        return text ? *text : isKey ? "(empty)" : "(none)";
    };
    ASSERT_EQ(registrar.registerScript(settings, script), S_OK);
    EXPECT_EQ(read("HKCR\\Kept"), "kept");
    EXPECT_EQ(read("HKCR\\Kept", "V"), "it's {here}");
    EXPECT_EQ(read("HKCR\\Kept\\Quo'ted"), "100it's {here}%X%");
    EXPECT_EQ(read("HKCR\\Forced\\Old"), "(none)");
    EXPECT_EQ(read("HKCR\\Empty"), "(empty)");
    ASSERT_EQ(registrar.unregisterScript(settings, script), S_OK);
    EXPECT_EQ(read("HKCR\\Kept"), "kept");
    EXPECT_EQ(read("HKCR\\Kept", "V"), "(empty)");
    EXPECT_EQ(read("HKCR\\Plain", "V"), "(empty)");
    EXPECT_EQ(read("HKCR\\Plain\\Other"), "o");
    EXPECT_EQ(read("HKCR\\Forced") + read("HKCR\\Empty"), "(none)(none)");
}

TEST(Registrar, RefusesBrokenScripts) {
    std::string deep = "HKCR ";
    for (int i = 0; i < 100000; ++i) {
        deep += "{ a ";
    }
    for (const std::string broken :
         {"HKCR", "HKCR {", "HKCR { a = }", "HKCR { a = d 1 }", "HKCR { a = s }", "HKCR { val a }",
          "HKCR { 'a }", "HKCR { } }", "HKCR { NoRemove }", deep.c_str()}) {
        platform::SettingsEditor settings(std::nullopt);
        EXPECT_EQ(Registrar().registerScript(settings, broken), E_FAIL) << broken.substr(0, 50);
        EXPECT_EQ(Registrar().unregisterScript(settings, broken), E_FAIL);
        EXPECT_EQ(settings.result(), std::nullopt);
    }
}

constexpr int kThreads = 200;
constexpr int kUsualMessages = 3;

/// How many messages each thread works on; the environment asks for a long run.
int messagesPerThread() {
    const char* asked = std::getenv("TESSOLT_SOAK_MESSAGES");
    return asked ? std::atoi(asked) : kUsualMessages;
}

/// Composes, encodes, saves and loads; returns what went wrong.
std::string workOn(const std::string& path, int thread, int count) {
    auto message = CreateObject<IEMailMessage>("Tessolt.EMailMessage");
    auto loaded = CreateObject<IEMailMessage>("Tessolt.EMailMessage.1");
    for (int i = 0; i < count; ++i) {
        const std::string subject =
            "\xD0\x9F\xD0\xB8" + std::to_string(thread) + "/" + std::to_string(i);
        message->Clear();
        message->put_Subject(Text(subject));
        message->put_Encoding(i % 2 ? EMAIL_MESSAGE_ENCODING_JAPANESE
                                    : EMAIL_MESSAGE_ENCODING_RUSSIAN);
        message->put_BodyPlainText(Text("\xD0\x9F\xD1\x80\xD0\xB8 \xE6\x97\xA5\xE6\x9C\xAC"));
        message->put_BodyHtml(Text("<b>x</b>"));
        message->AddTo(Text("a@b"), Text("Name"));
        message->Encode();
        message->SaveMIME(Text(path));
        loaded->LoadMIME(Text(path));
        LONG error = 0;
        Text found;
        loaded->get_LastError(&error);
        loaded->get_Subject(found.put());
        if (error != 0 || found.utf8() != subject) {
            return found.utf8() + " instead of " + subject;
        }
    }
    return {};
}

TEST(Threads, WorkSideBySideWithObjectsOfTheirOwn) {
    support::TemporaryFolder folder;
    const int count = messagesPerThread();
    std::vector<std::string> failures(kThreads);
    std::vector<std::thread> threads;
    threads.reserve(kThreads);
    for (int i = 0; i < kThreads; ++i) {
        threads.emplace_back([&, i] {
            auto smtp = make<ISmtp>("Smtp");
            auto pop3 = make<IPop3>("Pop3");
            ComPtr<ITypeInfo> info;
            smtp->GetTypeInfo(0, 0, info.put());
            failures[i] = workOn(folder.file(std::to_string(i)), i, count);
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    std::erase(failures, "");
    EXPECT_EQ(failures.size(), 0u) << failures.front();
    EXPECT_EQ(DllCanUnloadNow(), S_OK);
}

/// A message in charsets whose tables take the most memory.
std::string manyCharsets() {
    std::string text = "Content-Type: multipart/mixed; boundary=b\r\n\r\n";
    for (const char* charset : {"shift_jis", "gb2312", "big5", "euc-kr", "euc-jp", "koi8-r"}) {
        text += std::string("--b\r\nContent-Type: text/plain; charset=") + charset +
                "\r\n\r\n\xC1\xC1 \xC1\xC1\r\n";
    }
    return text + "--b--\r\n";
}

TEST(Unload, GivesAllMemoryBack) {
    constexpr int kCycles = 60;
    constexpr int kUsual = 10;
    constexpr long kMostKib = 2 << 10;
    const support::TemporaryFolder folder;
    folder.write("message", manyCharsets());
    long before = 0;
    for (int cycle = 0; cycle < kCycles; ++cycle) {
        if (cycle == kUsual) {
            before = support::memoryKib("VmRSS");
        }
        void* const library = dlopen(TESSOLT_LIBRARY, RTLD_NOW | RTLD_LOCAL);
        ASSERT_NE(library, nullptr) << dlerror();
        const auto create =
            reinterpret_cast<decltype(&CoCreateInstance)>(dlsym(library, "CoCreateInstance"));
        ComPtr<IEMailMessage> message;
        ASSERT_EQ(create(CLSID_EMailMessage, nullptr, 1, IID_IEMailMessage, message.putVoid()),
                  S_OK);
        ASSERT_EQ(message->LoadMIME(Text(folder.file("message"))), S_OK);
        message = nullptr;
        ASSERT_EQ(dlclose(library), 0);
        ASSERT_EQ(dlopen(TESSOLT_LIBRARY, RTLD_NOW | RTLD_NOLOAD), nullptr);
    }
    if (!support::kKeepsFreedMemory) {
        EXPECT_LE(support::memoryKib("VmRSS") - before, kMostKib);
    }
}

}  // namespace
}  // namespace tessolt
