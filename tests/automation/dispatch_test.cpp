#include "automation/object_calls.h"
#include "automation/type_library.h"

namespace tessolt {
namespace {

using platform::Variant;

constexpr DISPID kHostPort = 30;
constexpr DISPID kUseStartTls = 32;
constexpr DISPID kSetSecure = 110;
constexpr DISPID kSend = 113;
constexpr DISPID kQueue = 114;

/// Each property's read and write stand where the table says, in the order of its rows.
template <class Interface>
void expectSlotsInTableOrder(const char* name) {
    auto object = make<Interface>(name);
    constexpr std::size_t kDispatchSlots = 7;
    std::size_t slot = kDispatchSlots;
    void* const* slots = *reinterpret_cast<void* const* const*>(object.get());
    for (const Member& member : interfaceTable<Interface>().members) {
        SCOPED_TRACE(Text(member.info.name).utf8());
        if (member.info.kind & DISPATCH_PROPERTYGET) {
            Variant direct;
            Variant invoked;
            const auto read = reinterpret_cast<HRESULT (*)(Interface*, void*)>(slots[slot]);
            ASSERT_EQ(read(object.get(), &direct.lVal), S_OK);
            direct.vt = member.info.type;
            ASSERT_EQ(invoke(object.get(), member.info.id, DISPATCH_PROPERTYGET, {}, &invoked),
                      S_OK);
            ASSERT_EQ(invoked.vt, member.info.type);
            ASSERT_EQ(VariantChangeType(&direct, &direct, 0, VT_BSTR), S_OK);
            ASSERT_EQ(VariantChangeType(&invoked, &invoked, 0, VT_BSTR), S_OK);
            EXPECT_EQ(std::u16string_view(direct.bstrVal), invoked.bstrVal);
        }
        if ((member.info.kind & DISPATCH_PROPERTYPUT) != 0 && member.info.type == VT_I4) {
            const auto write = reinterpret_cast<HRESULT (*)(Interface*, LONG)>(slots[slot + 1]);
            ASSERT_EQ(write(object.get(), member.info.id), S_OK);
            Variant written;
            ASSERT_EQ(invoke(object.get(), member.info.id, DISPATCH_PROPERTYGET, {}, &written),
                      S_OK);
            EXPECT_EQ(written.lVal, member.info.id);
        }
        slot += member.info.kind & DISPATCH_PROPERTYPUT ? 2 : 1;
    }
}

TEST(Dispatch, VirtualTablesAreInInterfaceOrder) {
    expectSlotsInTableOrder<IEMailMessage>("EMailMessage");
    expectSlotsInTableOrder<ISmtp>("Smtp");
    expectSlotsInTableOrder<IPop3>("Pop3");
    expectSlotsInTableOrder<IEMailConstants>("EMailConstants");
}

TEST(Dispatch, ValuesBecomeTheTypeOfTheProperty) {
    auto smtp = make<ISmtp>("Smtp");
    LONG long77 = 77;
    int16_t small = -5;
    Text digits("88");
    BSTR units = digits.get();
    Variant inner = integer(99);
    Variant outer = ofType(VT_VARIANT | VT_BYREF, &inner);
    Variant circle = ofType(VT_VARIANT | VT_BYREF, &circle);
    const struct {
        Variant given;
        HRESULT status;
        LONG port;
    } cases[] = {
        {integer(1), S_OK, 1},
        {real(2.5), S_OK, 2},
        {real(-3.7), S_OK, -4},
        {string(u" 12 "), S_OK, 12},
        {boolean(true), S_OK, -1},
        {ofType(VT_EMPTY), S_OK, 0},
        {ofType(VT_I4 | VT_BYREF, &long77), S_OK, 77},
        {ofType(VT_I2 | VT_BYREF, &small), S_OK, -5},
        {ofType(VT_BSTR | VT_BYREF, &units), S_OK, 88},
        {outer, S_OK, 99},
        {ofType(VT_VARIANT | VT_BYREF, &outer), S_OK, 99},
        {ofType(VT_NULL), DISP_E_TYPEMISMATCH, 0},
        {circle, DISP_E_TYPEMISMATCH, 0},
        {string(u"twelve"), DISP_E_TYPEMISMATCH, 0},
        {ofType(VT_DISPATCH), DISP_E_TYPEMISMATCH, 0},
        {ofType(VT_VARIANT | VT_BYREF), DISP_E_TYPEMISMATCH, 0},
        {real(1e10), DISP_E_OVERFLOW, 0},
        {string(u"2147483648"), DISP_E_OVERFLOW, 0},
        {missing(), DISP_E_PARAMNOTOPTIONAL, 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(&c - cases);
        smtp->put_HostPort(25);
        // Scripts name the value, simple callers don't.
        for (const Arguments& arguments :
             {Arguments({c.given}), Arguments({}, {{DISPID_PROPERTYPUT, c.given}})}) {
            EXPECT_EQ(invoke(smtp.get(), kHostPort, DISPATCH_PROPERTYPUT, arguments), c.status);
            EXPECT_EQ(number(*smtp, &ISmtp::get_HostPort), c.status == S_OK ? c.port : 25);
        }
    }
    for (const bool truth : {false, true}) {
        Variant result;
        ASSERT_EQ(invoke(smtp.get(), kUseStartTls, DISPATCH_PROPERTYPUT | DISPATCH_PROPERTYPUTREF,
                         {integer(truth ? 7 : 0)}),
                  S_OK);
        ASSERT_EQ(
            invoke(smtp.get(), kUseStartTls, DISPATCH_METHOD | DISPATCH_PROPERTYGET, {}, &result),
            S_OK);
        EXPECT_EQ(result.vt, VT_BOOL);
        EXPECT_EQ(result.boolVal, truth ? VARIANT_TRUE : VARIANT_FALSE);
    }
}

TEST(Dispatch, ArgumentsAreBoundByPlaceNameAndDefault) {
    auto smtp = make<ISmtp>("Smtp");
    constexpr UINT kNone = 0xFFFF;
    const Variant m = object(smtp.get());  // no message, which the call finds out last
    const Variant h = string(u"host");
    const struct {
        DISPID id;
        WORD kind;
        Arguments arguments;
        HRESULT status;
        UINT offender;
    } cases[] = {
        {kSetSecure, DISPATCH_METHOD, {}, S_OK, kNone},
        {kSetSecure, DISPATCH_METHOD, {missing()}, S_OK, kNone},
        {kSetSecure, DISPATCH_METHOD, {integer(1), integer(2)}, DISP_E_BADPARAMCOUNT, 0},
        {kSetSecure, DISPATCH_METHOD, {string(u"x")}, DISP_E_TYPEMISMATCH, 0},
        {kSetSecure, DISPATCH_PROPERTYGET, {}, DISP_E_MEMBERNOTFOUND, 0},
        {kSetSecure, DISPATCH_PROPERTYPUT, {integer(1)}, DISP_E_MEMBERNOTFOUND, 0},
        {kHostPort, DISPATCH_METHOD, {}, DISP_E_MEMBERNOTFOUND, 0},
        {kHostPort, DISPATCH_PROPERTYGET, {integer(1)}, DISP_E_BADPARAMCOUNT, 0},
        {kHostPort, DISPATCH_PROPERTYPUT, {}, DISP_E_BADPARAMCOUNT, 0},
        {kHostPort, DISPATCH_PROPERTYPUT, {{}, {{0, integer(1)}}}, DISP_E_PARAMNOTFOUND, 0},
        {1, DISPATCH_PROPERTYPUT, {integer(1)}, DISP_E_MEMBERNOTFOUND, 0},
        {0, DISPATCH_METHOD, {}, DISP_E_MEMBERNOTFOUND, kNone},
        {-1, DISPATCH_METHOD, {}, DISP_E_MEMBERNOTFOUND, kNone},
        {332, DISPATCH_METHOD, {}, DISP_E_MEMBERNOTFOUND, kNone},
        {kQueue, DISPATCH_METHOD, {m}, DISP_E_BADPARAMCOUNT, 0},
        {kQueue, DISPATCH_METHOD, {m, h}, S_OK, kNone},
        {kQueue, DISPATCH_METHOD, {m, missing()}, DISP_E_PARAMNOTOPTIONAL, 0},
        {kQueue, DISPATCH_METHOD, {{m, h}, {{5, h}, {3, integer(1)}}}, S_OK, kNone},
        {kQueue, DISPATCH_METHOD, {{}, {{1, h}, {0, m}}}, S_OK, kNone},
        {kQueue, DISPATCH_METHOD, {{m, h}, {{2, string(u"x")}}}, DISP_E_TYPEMISMATCH, 0},
        {kQueue, DISPATCH_METHOD, {m, h, string(u"x"), missing()}, DISP_E_TYPEMISMATCH, 1},
        {kQueue, DISPATCH_METHOD, {{m, h}, {{3, h}, {1, h}}}, DISP_E_PARAMNOTFOUND, 1},
        {kQueue, DISPATCH_METHOD, {{m, h}, {{6, h}}}, DISP_E_PARAMNOTFOUND, 0},
        {kQueue, DISPATCH_METHOD, {{m, h}, {{-1, h}}}, DISP_E_PARAMNOTFOUND, 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(&c - cases);
        UINT offender = kNone;
        EXPECT_EQ(invoke(smtp.get(), c.id, c.kind, c.arguments, nullptr, &offender), c.status);
        EXPECT_EQ(offender, c.offender);
        EXPECT_EQ(lastError(smtp), c.status == S_OK && c.id == kQueue ? 15010 : 0);
        smtp->Clear();
    }
}

TEST(Dispatch, MessagesArePassedInEveryForm) {
    auto smtp = make<ISmtp>("Smtp");
    auto message = make<IEMailMessage>("EMailMessage");
    message->AddTo(Text("a@b"), nullptr);
    IDispatch* pointer = message.get();
    Variant held = object(pointer);
    Variant reference = ofType(VT_DISPATCH | VT_BYREF, &pointer);
    const struct {
        Variant given;
        LONG error;
    } cases[] = {
        {held, 441},
        {reference, 441},
        {ofType(VT_VARIANT | VT_BYREF, &held), 441},
        {ofType(VT_VARIANT | VT_BYREF, &reference), 441},
        {object(smtp.get()), 15010},
        {ofType(VT_DISPATCH), 15010},
        {integer(1), 15010},
        {string(u"text"), 15010},
        {ofType(VT_VARIANT | VT_BYREF), 36002},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(&c - cases);
        EXPECT_EQ(invoke(smtp.get(), kSend, DISPATCH_METHOD, {c.given}), S_OK);
        EXPECT_EQ(lastError(smtp), c.error);
    }
    const ULONG references = message->AddRef();
    EXPECT_EQ(references, 4u) << "this one, the test's, that of `held` and of its copy";
    message->Release();
}

TEST(Dispatch, MalformedCallsAreRefused) {
    auto smtp = make<ISmtp>("Smtp");
    DISPPARAMS noArguments = {nullptr, nullptr, 1, 0};
    DISPPARAMS noIds = {nullptr, nullptr, 0, 1};
    for (DISPPARAMS* parameters : {&noArguments, &noIds}) {
        EXPECT_EQ(smtp->Invoke(kSetSecure, IID_NULL, 0, DISPATCH_METHOD, parameters, nullptr,
                               nullptr, nullptr),
                  E_INVALIDARG);
    }
    EXPECT_EQ(
        smtp->Invoke(kSetSecure, IID_NULL, 0, DISPATCH_METHOD, nullptr, nullptr, nullptr, nullptr),
        S_OK);
    EXPECT_EQ(smtp->Invoke(kSetSecure, IID_IUnknown, 0, DISPATCH_METHOD, nullptr, nullptr, nullptr,
                           nullptr),
              DISP_E_UNKNOWNINTERFACE);
    // As a caller in C may pass nothing for the identifier.
    constexpr int kInvokeSlot = 6;
    const auto invokeInC =
        (*reinterpret_cast<HRESULT (***)(ISmtp*, DISPID, const IID*, LCID, WORD, DISPPARAMS*,
                                         VARIANT*, EXCEPINFO*, UINT*)>(smtp.get()))[kInvokeSlot];
    EXPECT_EQ(invokeInC(smtp.get(), kSetSecure, nullptr, 0, DISPATCH_METHOD, nullptr, nullptr,
                        nullptr, nullptr),
              S_OK);
    LPOLESTR none = nullptr;
    DISPID id = 0;
    EXPECT_EQ(smtp->GetIDsOfNames(IID_NULL, &none, 1, 0, &id), DISP_E_UNKNOWNNAME);
    EXPECT_EQ(smtp->GetIDsOfNames(IID_IUnknown, &none, 1, 0, &id), DISP_E_UNKNOWNINTERFACE);
    EXPECT_EQ(smtp->GetIDsOfNames(IID_NULL, &none, 0, 0, &id), E_INVALIDARG);
    EXPECT_EQ(smtp->GetIDsOfNames(IID_NULL, nullptr, 1, 0, &id), E_POINTER);
    Variant port;
    EXPECT_EQ(DispGetProperty(smtp.get(), kHostPort, &port), S_OK);
    EXPECT_EQ(port.lVal, 465);
    EXPECT_EQ(DispGetProperty(smtp.get(), kSetSecure, &port), DISP_E_MEMBERNOTFOUND);
    EXPECT_EQ(DispGetProperty(nullptr, kHostPort, &port), E_POINTER);
    EXPECT_EQ(smtp->get_HostPort(nullptr), E_POINTER);
    EXPECT_EQ(smtp->get_LogFile(nullptr), E_POINTER);
    auto pop3 = make<IPop3>("Pop3");
    pop3->DeleteMessage(1);
    EXPECT_EQ(pop3->IsConnected(nullptr), E_POINTER);
    EXPECT_EQ(pop3->CountMessages(nullptr), E_POINTER);
    EXPECT_EQ(lastError(pop3), 707) << "that of DeleteMessage";
    auto message = make<IEMailMessage>("EMailMessage");
    message->AddTo(Text("nobody"));
    EXPECT_EQ(message->GetHeaderValue(Text("To"), nullptr), E_POINTER);
    EXPECT_EQ(message->GetAttachmentName(1, nullptr), E_POINTER);
    EXPECT_EQ(message->GetAttachmentSize(1, nullptr), E_POINTER);
    EXPECT_EQ(lastError(message), 37610) << "that of AddTo";
}

TEST(Dispatch, NamesOfMembersAndParametersAreFound) {
    auto smtp = make<ISmtp>("Smtp");
    Text names[] = {u"qUEUE", u"STRHOST", u"nothing", u"newval"};
    LPOLESTR pointers[] = {names[0], names[1], names[2], names[3]};
    DISPID ids[4] = {};
    EXPECT_EQ(smtp->GetIDsOfNames(IID_NULL, pointers, 4, 0, ids), DISP_E_UNKNOWNNAME);
    EXPECT_EQ((std::vector<DISPID>(ids, ids + 4)),
              (std::vector<DISPID>{kQueue, 1, DISPID_UNKNOWN, 0}));
    // Only ASCII letters have case here.
    for (const char16_t* name : {u"Queu", u"Queuee", u"", u"S\u0131ze", u"\u017Fend"}) {
        Text wanted(name);
        LPOLESTR pointer = wanted.get();
        EXPECT_EQ(smtp->GetIDsOfNames(IID_NULL, &pointer, 1, 0, ids), DISP_E_UNKNOWNNAME);
        EXPECT_EQ(ids[0], DISPID_UNKNOWN);
    }
}

TEST(Dispatch, TypeInformationIsOneForAllObjectsOfAClass) {
    auto smtp = make<ISmtp>("Smtp");
    UINT count = 0;
    EXPECT_EQ(smtp->GetTypeInfoCount(&count), S_OK);
    EXPECT_EQ(count, 1u);
    EXPECT_EQ(smtp->GetTypeInfo(0, 0, nullptr), E_POINTER);
    ComPtr<ITypeInfo> info;
    EXPECT_EQ(smtp->GetTypeInfo(1, 0, info.put()), DISP_E_BADINDEX);
    EXPECT_FALSE(info);
    ASSERT_EQ(smtp->GetTypeInfo(0, 2048, info.put()), S_OK);
    ComPtr<ITypeInfo> again;
    ASSERT_EQ(make<ISmtp>("Smtp")->GetTypeInfo(0, 0, again.put()), S_OK);
    EXPECT_EQ(info.get(), again.get());
    const TypeDescription* description = nullptr;
    ASSERT_EQ(info->GetDescription(&description), S_OK);
    EXPECT_EQ(std::u16string_view(description->libraryName), u"QueltLib");
    EXPECT_EQ(std::u16string_view(description->libraryHelp), u"Quelt 1.0 Type Library");
    EXPECT_TRUE(description->interfaceId == IID_ISmtp && description->classId == CLSID_Smtp);
    const TypeMember* member = nullptr;
    EXPECT_EQ(info->GetMember(description->memberCount, &member), DISP_E_BADINDEX);
    ASSERT_EQ(info->GetMember(10, &member), S_OK);
    EXPECT_EQ(member->id, kHostPort);
    Variant result;
    EXPECT_EQ(info->Invoke(smtp.get(), kHostPort, DISPATCH_PROPERTYGET, nullptr, &result, nullptr,
                           nullptr),
              S_OK);
    EXPECT_EQ(result.lVal, 25);
    EXPECT_EQ(
        info->Invoke(nullptr, kHostPort, DISPATCH_PROPERTYGET, nullptr, &result, nullptr, nullptr),
        E_INVALIDARG);
    smtp.reset();
    EXPECT_EQ(DllCanUnloadNow(), S_FALSE);
    info.reset();
    again.reset();
    EXPECT_EQ(DllCanUnloadNow(), S_OK);
}

}  // namespace
}  // namespace tessolt
