#include "automation/transfer_object.h"

#include "automation/chosen_rules.h"
#include "automation/guarded.h"
#include "automation/results.h"
#include "foundation/advice.h"

namespace tessolt {
namespace {

/// Entry `number` of a list, counted from 1; null beyond it.
template <class Entry>
const Entry* entryOf(const std::vector<Entry>& list, LONG number) {
    const bool isThere = number >= 1 && static_cast<std::size_t>(number) <= list.size();
    return isThere ? &list[static_cast<std::size_t>(number) - 1] : nullptr;
}

HRESULT firstFailure(std::initializer_list<HRESULT> results) {
    for (const HRESULT result : results) {
        if (FAILED(result)) {
            return result;
        }
    }
    return S_OK;
}

}  // namespace

HRESULT TransferObject::UseRules(LONG rules) {
    return guarded([&] {
        const auto chosen = chosenRules(rules);
        if (chosen) {
            m_chosenRules = chosen;
            session().m_rules = *chosen;
        }
        return chosen ? S_OK : E_INVALIDARG;
    });
}

HRESULT TransferObject::RequireTls(VARIANT_BOOL required) {
    session().m_bTlsRequired = required != VARIANT_FALSE;
    return S_OK;
}

HRESULT TransferObject::SetObserver(TransferObserver observer, void* context) {
    session().SetObserver(observer, context);
    return S_OK;
}

HRESULT TransferObject::WasCancelled(VARIANT_BOOL* cancelled) {
    return giveBool(session().WasCancelled(), cancelled);
}

HRESULT TransferObject::IsOpen(VARIANT_BOOL* open) {
    return giveBool(session().IsConnected(), open);
}

HRESULT TransferObject::GetLastReply(LONG* code, BSTR* enhancedCode, BSTR* text) {
    if (!code || !enhancedCode || !text) {
        return E_POINTER;
    }
    *code = m_reply.code;
    return firstFailure({giveUtf8(m_reply.enhanced, enhancedCode), giveUtf8(m_reply.text, text)});
}

HRESULT TransferObject::GetTls(BSTR* version, BSTR* cipher, BSTR* peerNames) {
    if (!version || !cipher || !peerNames) {
        return E_POINTER;
    }
    const platform::TlsConnectionNames& names = session().ChannelNames();
    return firstFailure({giveUtf8(names.version, version), giveUtf8(names.cipher, cipher),
                         giveUtf8(names.peer, peerNames)});
}

HRESULT TransferObject::GetCapabilities(BSTR* lines) {
    return lines ? giveUtf8(session().Offers(), lines) : E_POINTER;
}

HRESULT TransferObject::GetMechanism(BSTR* name) {
    return name ? giveUtf8(session().Mechanism(), name) : E_POINTER;
}

HRESULT TransferObject::CountRecipients(LONG* count) {
    return giveNumber(static_cast<LONG>(m_recipients.size()), count);
}

HRESULT TransferObject::GetRecipient(LONG number, BSTR* address, LONG* code, BSTR* enhancedCode,
                                     BSTR* text) {
    if (!address || !code || !enhancedCode || !text) {
        return E_POINTER;
    }
    const SmtpRecipientReply* found = entryOf(m_recipients, number);
    if (!found) {
        return E_INVALIDARG;
    }
    *code = found->reply.code;
    return firstFailure({giveUtf8(found->address, address),
                         giveUtf8(found->reply.enhanced, enhancedCode),
                         giveUtf8(found->reply.text, text)});
}

HRESULT TransferObject::GetListed(LONG index, LONG* number, uint64_t* size, BSTR* uniqueId) {
    if (!number || !size || !uniqueId) {
        return E_POINTER;
    }
    const Pop3Entry* found = entryOf(m_listed, index);
    if (!found) {
        return E_INVALIDARG;
    }
    *number = found->number;
    *size = found->size;
    return giveUtf8(found->uid, uniqueId);
}

HRESULT TransferObject::GetFailure(LONG* cause, BSTR* text, BSTR* advice) {
    if (!cause || !text || !advice) {
        return E_POINTER;
    }
    const Trouble& trouble = session().LastTrouble();
    *cause = trouble.cause;
    return firstFailure({giveUtf8(trouble.text, text), giveUtf8(AdviceFor(trouble.cause), advice)});
}

HRESULT TransferObject::GetCertificate(BSTR* issuer, BSTR* lastDay) {
    if (!issuer || !lastDay) {
        return E_POINTER;
    }
    const platform::TlsConnectionNames& names = session().ChannelNames();
    return firstFailure({giveUtf8(names.issuer, issuer), giveUtf8(names.lastDay, lastDay)});
}

HRESULT TransferObject::GetWelcome(BSTR* text) {
    return text ? giveUtf8(session().Welcome(), text) : E_POINTER;
}

void TransferObject::dropForeignReply() {
    const Trouble& trouble = session().LastTrouble();
    if (trouble.cause != TESSOLT_CAUSE_NONE && !trouble.isTheReplys) {
        m_reply = {};
    }
}

void TransferObject::forgetTransfers() {
    m_chosenRules.reset();
    m_reply = {};
    m_recipients.clear();
    m_listed.clear();
}

}  // namespace tessolt
