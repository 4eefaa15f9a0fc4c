// What the component layer costs: a property read through the interface and through Invoke, a name
// look-up, and the life of an object. Exits with 1 when a bar is missed.

#include <tessolt/tessolt.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <functional>

#include "peer_timing.h"

namespace {

using tessolt::ComPtr;
using tessolt::IEMailMessage;
using tessolt::Text;

constexpr int kRuns = 5;
constexpr int kCalls = 1'000'000;
constexpr int kObjects = 1'000'000;
constexpr double kInterfaceBar = 20;
constexpr double kInvokeBar = 200;
constexpr long kGrowthBarKib = 1024;
constexpr DISPID kPriority = 59;
constexpr DISPID kSubject = 37;
constexpr DISPID kAddTo = 200;

bool allMet = true;

void report(const char* what, double value, const char* unit, double bar) {
    const bool met = bar == 0 || value < bar;
    std::printf("%-42s %10.1f %s%s\n", what, value, unit, met ? "" : "  MISSED");
    allMet = allMet && met;
}

/// Nanoseconds a call of the best of some runs.
double nanoseconds(int calls, const std::function<void()>& run) {
    double best = 1e9;
    for (int i = 0; i < kRuns; ++i) {
        best = std::min(best, bench::seconds(run));
    }
    return best / calls * 1e9;
}

/// Keeps the compiler from seeing through the pointer, as a caller of the shared library can't.
template <class T>
T* opaque(T* pointer) {
    asm volatile("" : "+r"(pointer));
    return pointer;
}

void readNumbers(IEMailMessage* message) {
    for (int i = 0; i < kCalls; ++i) {
        LONG value = 0;
        opaque(message)->get_Priority(&value);
    }
}

void readTexts(IEMailMessage* message) {
    for (int i = 0; i < kCalls; ++i) {
        BSTR value = nullptr;
        opaque(message)->get_Subject(&value);
        SysFreeString(value);
    }
}

void invokeReads(IDispatch* message, DISPID id) {
    DISPPARAMS none = {};
    for (int i = 0; i < kCalls; ++i) {
        VARIANT value;
        opaque(message)->Invoke(id, IID_NULL, 0, DISPATCH_PROPERTYGET, &none, &value, nullptr,
                                nullptr);
        VariantClear(&value);
    }
}

/// A method that is refused: the arguments are bound, and the default with them.
void invokeMethod(IDispatch* message) {
    VARIANT argument = {};
    argument.vt = VT_BSTR;
    DISPPARAMS one = {&argument, nullptr, 1, 0};
    for (int i = 0; i < kCalls; ++i) {
        opaque(message)->Invoke(kAddTo, IID_NULL, 0, DISPATCH_METHOD, &one, nullptr, nullptr,
                                nullptr);
    }
}

void findNames(IDispatch* message) {
    Text name(u"bodyplaintext");
    LPOLESTR pointer = name.get();
    for (int i = 0; i < kCalls; ++i) {
        DISPID id = 0;
        opaque(message)->GetIDsOfNames(IID_NULL, &pointer, 1, 0, &id);
    }
}

long residentKib() {
    long total = 0;
    long resident = 0;
    std::ifstream("/proc/self/statm") >> total >> resident;
    return resident * 4;
}

void useObjects(int count) {
    const Text subject(u"A subject of usual length");
    const Text address(u"somebody@example.org");
    for (int i = 0; i < count; ++i) {
        auto message = tessolt::CreateObject<IEMailMessage>(u"Tessolt.EMailMessage");
        message->put_Subject(subject);
        message->AddTo(address, nullptr);
    }
}

}  // namespace

int main() {
    auto message = tessolt::CreateObject<IEMailMessage>("Tessolt.EMailMessage");
    message->put_Subject(Text("A subject of usual length"));
    IEMailMessage* m = message.get();
    report("number through the interface", nanoseconds(kCalls, [=] { readNumbers(m); }), "ns",
           kInterfaceBar);
    report("text through the interface", nanoseconds(kCalls, [=] { readTexts(m); }), "ns", 0);
    report("number through Invoke", nanoseconds(kCalls, [=] { invokeReads(m, kPriority); }), "ns",
           kInvokeBar);
    report("text through Invoke", nanoseconds(kCalls, [=] { invokeReads(m, kSubject); }), "ns",
           kInvokeBar);
    report("method with a default through Invoke", nanoseconds(kCalls, [=] { invokeMethod(m); }),
           "ns", 0);
    report("name look-up", nanoseconds(kCalls, [=] { findNames(m); }), "ns", 0);

    useObjects(kObjects / 100);
    const long before = residentKib();
    const double life = bench::seconds([] { useObjects(kObjects); });
    report("life of a message object", life / kObjects * 1e9, "ns", 0);
    report("growth over a million of them", static_cast<double>(residentKib() - before), "KiB",
           kGrowthBarKib);
    return allMet ? 0 : 1;
}
