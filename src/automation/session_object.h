#pragma once

#include <cstdint>
#include <memory>
#include <new>
#include <string>

#include "automation/build_texts.h"
#include "automation/com_object.h"
#include "automation/dispatch_impl.h"
#include "automation/email_base.h"
#include "automation/last_error.h"
#include "automation/results.h"
#include "automation/transfer_object.h"
#include "charset/ansi_text.h"
#include "foundation/error_catalogue.h"
#include "foundation/narrow_string.h"
#include "foundation/rules_from_settings.h"
#include "platform/clock.h"

namespace tessolt {

/// What `Smtp` and `Pop3` have in common: the settings of one protocol engine as properties, and
/// the result of the last operation. `kSecureTooLate` is what `SetSecure` says on a connected
/// object.
template <class Interface, class Engine, std::int32_t kSecureTooLate>
class SessionObject : public IDispatchImpl<Interface>,
                      public TransferObject,
                      public CZnEmailBase,
                      protected LastErrorHolder,
                      public CComObjectRootEx<CComSingleThreadModel> {
public:
    // One of each for both of the interfaces.
    HRESULT QueryInterface(REFIID iid, void** object) override = 0;
    ULONG AddRef() override = 0;
    ULONG Release() override = 0;

    HRESULT InternalQueryInterface(REFIID iid, void** object) {
        if (iid != IID_ITransfer) {
            return IDispatchImpl<Interface>::InternalQueryInterface(iid, object);
        }
        *object = static_cast<ITransfer*>(this);
        AddRef();
        return S_OK;
    }

    HRESULT get_LastError(LONG* pVal) override { return giveNumber(m_nLastError, pVal); }

    HRESULT get_Version(BSTR* pVal) override { return giveConstant(kVersionText, pVal); }
    HRESULT get_Build(BSTR* pVal) override { return giveConstant(kBuildText, pVal); }
    HRESULT get_Module(BSTR* pVal) override { return giveConstant(kModuleText, pVal); }

    HRESULT get_LogFile(BSTR* pVal) override {
        return giveString([this](CZncString& path) { GetLogFile(path); }, pVal);
    }
    HRESULT put_LogFile(TextArgument newVal) override {
        return guarded([&] {
            const std::string path = logPath(newVal);
            SetLogFile(path.c_str());
            m_pEngine->SetLogFile(path.c_str());
            return S_OK;
        });
    }

    HRESULT get_ActivityFile(BSTR* pVal) override {
        return giveString([this](CZncString& path) { GetActivityFile(path); }, pVal);
    }
    /// Starts the file anew twice, once for each of the two that write to it.
    HRESULT put_ActivityFile(TextArgument newVal) override {
        return guarded([&] {
            const std::string path = logPath(newVal);
            SetActivityFile(path.c_str());
            m_pEngine->SetActivityFile(path.c_str());
            return S_OK;
        });
    }

    HRESULT get_TimeoutConnect(LONG* pVal) override {
        return giveTime(m_pEngine->m_lTimeoutConnect, pVal);
    }
    HRESULT put_TimeoutConnect(LONG newVal) override {
        return storeTime(newVal, m_pEngine->m_lTimeoutConnect);
    }
    HRESULT get_TimeoutAuthentication(LONG* pVal) override {
        return giveTime(m_pEngine->m_lTimeoutAuthentication, pVal);
    }
    HRESULT put_TimeoutAuthentication(LONG newVal) override {
        return storeTime(newVal, m_pEngine->m_lTimeoutAuthentication);
    }
    HRESULT get_TimeoutCommand(LONG* pVal) override {
        return giveTime(m_pEngine->m_lTimeoutCommand, pVal);
    }
    HRESULT put_TimeoutCommand(LONG newVal) override {
        return storeTime(newVal, m_pEngine->m_lTimeoutCommand);
    }
    HRESULT get_TimeoutData(LONG* pVal) override {
        return giveTime(m_pEngine->m_lTimeoutData, pVal);
    }
    HRESULT put_TimeoutData(LONG newVal) override {
        return storeTime(newVal, m_pEngine->m_lTimeoutData);
    }

    HRESULT get_HostPort(LONG* pVal) override { return giveNumber(m_pEngine->m_lHostPort, pVal); }
    HRESULT put_HostPort(LONG newVal) override {
        m_pEngine->m_lHostPort = newVal;
        return S_OK;
    }
    HRESULT get_Authentication(LONG* pVal) override {
        return giveNumber(m_pEngine->m_lAuthentication, pVal);
    }
    HRESULT put_Authentication(LONG newVal) override {
        m_pEngine->m_lAuthentication = newVal;
        return S_OK;
    }

    /// A connection that is open is dropped. The engine's log files are forgotten; only the lines
    /// of this object are logged from then on.
    HRESULT Clear() override {
        return guarded([&] {
            m_nLastError = 0;
            m_pEngine = MakeEngine();
            forgetTransfers();
            return S_OK;
        });
    }

    HRESULT GetErrorDescription(LONG lErrorCode, BSTR* strDescription) override {
        return giving(strDescription,
                      [&] { return giveAnsi(ErrorText(lErrorCode), strDescription); });
    }

    HRESULT Sleep(LONG lMilliseconds) override {
        return guarded([&] {
            platform::sleepFor(static_cast<std::uint32_t>(lMilliseconds));
            return S_OK;
        });
    }

    HRESULT SetSecure(LONG lPort) override {
        return guarded([&] {
            const bool connected = m_pEngine->IsConnected() > 0;
            m_nLastError = connected ? kSecureTooLate : 0;
            if (!connected) {
                m_pEngine->m_bSecure = true;
                m_pEngine->m_lHostPort = lPort;
            }
            return S_OK;
        });
    }

    HRESULT Disconnect() override {
        return guarded([&] {
            m_nLastError = 0;
            m_pEngine->Disconnect();
            return S_OK;
        });
    }

protected:
    explicit SessionObject(const char* className)
        : CZnEmailBase(className), m_pEngine(MakeEngine()) {}

    /// Logs the text of the last result. Without memory for it the entry is lost: what was done is
    /// done.
    void LogResultText(const char* operation) try {
        CZncString text;
        Log(kLogFile, "%s result=[%s]", operation, GetDescription(m_nLastError, text).GetBuffer());
    } catch (const std::bad_alloc&) {
        return;
    }

    /// Gives the server's last reply.
    HRESULT giveLastResponse(BSTR* pVal) {
        return guarded([&] { return giveAnsi(m_pEngine->m_strLastResponse.View(), pVal); });
    }

    CZnMailSession& session() override { return *m_pEngine; }

    std::unique_ptr<Engine> m_pEngine;

private:
    static std::unique_ptr<Engine> MakeEngine() {
        auto engine = std::make_unique<Engine>();
        engine->m_rules = rulesFromSettings();
        return engine;
    }

    /// The path of a log in the ANSI code page. One that it can't express is no file: its entries
    /// are lost, as those of any other that can't be written.
    static std::string logPath(const OLECHAR* path) {
        return borvik::wideToAnsiExactly(argumentText(path)).value_or("");
    }

    HRESULT giveConstant(const char* text, BSTR* pVal) {
        return guarded([&] { return giveAnsi(text, pVal); });
    }

    template <class Read>
    HRESULT giveString(Read&& read, BSTR* pVal) {
        return giving(pVal, [&] {
            CZncString text;
            read(text);
            return giveAnsi(text.View(), pVal);
        });
    }

    static HRESULT giveTime(std::uint32_t time, LONG* pVal) {
        return giveNumber(static_cast<LONG>(time), pVal);
    }

    /// -1 becomes no limit, and any other negative its unsigned value.
    static HRESULT storeTime(LONG newVal, std::uint32_t& time) {
        time = static_cast<std::uint32_t>(newVal);
        return S_OK;
    }
};

}  // namespace tessolt
