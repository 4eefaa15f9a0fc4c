#include <tessolt/tessolt.h>

#include <deque>
#include <filesystem>
#include <string>
#include <vector>

#include "automation/type_library.h"
#include "charset/ansi_text.h"
#include "harness.h"
#include "platform/variant.h"
#include "scripted_socket.h"

namespace fuzz {
namespace {

using namespace tessolt;

/// Variants made of the input, by one byte for the type and what follows for the value. What they
/// point to lives as long as this does.
class Values {
public:
    Values(Input& input, IDispatch* object) : input_(input), object_(object) {}

    platform::Variant next(int depth = 0) {
        constexpr VARTYPE kTypes[] = {
            VT_EMPTY,        VT_NULL,        VT_I2,      VT_I4,      VT_R4,   VT_R8,       VT_CY,
            VT_DATE,         VT_BSTR,        VT_BSTR,    VT_I4,      VT_BSTR, VT_DISPATCH, VT_ERROR,
            VT_BOOL,         VT_VARIANT,     VT_UNKNOWN, VT_DECIMAL, VT_I1,   VT_UI1,      VT_UI2,
            VT_UI4,          VT_I8,          VT_UI8,     VT_INT,     VT_UINT, 15,          36,
            0x2000 | VT_UI1, 0x1000 | VT_I4, 0x7FFF,     VT_BSTR};
        constexpr std::uint8_t kByReference = 0x80;
        constexpr std::uint8_t kNull = 0x40;
        const std::uint8_t kind = input_.choice();
        const VARTYPE type = kTypes[kind % std::size(kTypes)];
        platform::Variant value;
        if (type == VT_VARIANT && depth < kMostDepth) {
            inner_.push_back(next(depth + 1));
            value.byref = (kind & kNull) != 0 ? nullptr : &inner_.back();
            value.vt = VT_VARIANT | VT_BYREF;
            return value;
        }
        if ((kind & kByReference) != 0 && type != VT_VARIANT) {
            inner_.emplace_back();
            fill(inner_.back(), type, false);
            value.byref = type == VT_DECIMAL ? static_cast<void*>(&inner_.back())
                                             : static_cast<void*>(&inner_.back().llVal);
            value.byref = (kind & kNull) != 0 ? nullptr : value.byref;
            value.vt = type | VT_BYREF;
            return value;
        }
        fill(value, type, (kind & kNull) != 0);
        return value;
    }

private:
    static constexpr int kMostDepth = 8;

    void fill(platform::Variant& value, VARTYPE type, bool isNull) {
        std::uint64_t bits = 0;
        value.llVal = 0;
        switch (type) {
            case VT_BSTR:
                if (!isNull) {
                    value.setText(text());
                    return;
                }
                break;
            case VT_DISPATCH:
            case VT_UNKNOWN:
                value.setDispatch(isNull ? nullptr : object_);
                break;
            case VT_ERROR:
                bits = static_cast<std::uint32_t>(DISP_E_PARAMNOTFOUND);
                value.llVal = static_cast<std::int64_t>(bits);
                break;
            case VT_DECIMAL:
                for (std::size_t i = 0; i < sizeof(DECIMAL); ++i) {
                    reinterpret_cast<std::uint8_t*>(&value)[i] = input_.choice();
                }
                break;
            default:
                for (int i = input_.choice() % 9; i > 0; --i) {
                    bits = bits << 8 | input_.choice();
                }
                value.llVal = static_cast<std::int64_t>(bits);
                break;
        }
        value.vt = type;
    }

    /// A text that, as a path, leads to a file of the folder that is the current one.
    std::u16string text() {
        std::string bytes;
        for (int left = input_.choice() % 64; left > 0 && !input_.isEmpty(); --left) {
            const auto c = static_cast<char>(input_.choice());
            bytes += c == '/' || c == '\\' ? '_' : c;
        }
        return borvik::utf8ToWidePaired(bytes);
    }

    Input& input_;
    IDispatch* object_;
    std::deque<platform::Variant> inner_;
};

/// What waits or leaves the process is left out.
bool isCalled(const InterfaceTable& table, DISPID id) {
    const Member* sleep = table.find(std::u16string_view(u"Sleep"));
    return sleep == nullptr || sleep->info.id != id;
}

void call(IDispatch& object, const InterfaceTable& table, Input& input, IDispatch* message) {
    constexpr int kMostArguments = 8;
    Values values(input, message);
    const std::uint8_t where = input.choice();
    const auto rows = table.members.size();
    const DISPID id = where < 0xF0 ? table.members[where % rows].info.id
                                   : static_cast<DISPID>(static_cast<std::int8_t>(input.choice()));
    const WORD kind = input.choice();
    const int count = input.choice() % kMostArguments;
    const int named = input.choice() % 4;
    std::vector<platform::Variant> arguments;
    std::vector<DISPID> names;
    arguments.reserve(kMostArguments);
    names.reserve(kMostArguments);
    for (int i = 0; i < count; ++i) {
        arguments.push_back(values.next());
    }
    for (int i = 0; i < std::min(named, count); ++i) {
        names.push_back(i == 0 && (kind & DISPATCH_PROPERTYPUT) != 0
                            ? DISPID_PROPERTYPUT
                            : static_cast<DISPID>(static_cast<std::int8_t>(input.choice())));
    }
    DISPPARAMS parameters{arguments.data(), names.data(), static_cast<UINT>(arguments.size()),
                          static_cast<UINT>(names.size())};
    platform::Variant result;
    UINT offender = 0;
    if (isCalled(table, id)) {
        const HRESULT status =
            object.Invoke(id, IID_NULL, 0, kind, &parameters, &result, nullptr, &offender);
        require(status != E_UNEXPECTED);
        require(offender == 0 || offender < arguments.size());
    }
}

/// The folder in which the files end that the calls make: it is emptied now and then.
void enterFolder() {
    constexpr int kRunsBetween = 500;
    static int runs = 0;
    if (runs++ % kRunsBetween == 0) {
        const std::filesystem::path folder = scratchFolder() + "/calls";
        std::filesystem::remove_all(folder);
        std::filesystem::create_directory(folder);
        std::filesystem::current_path(folder);
        const std::string settings =
            scratchFile("settings", "[HKLM\\Software\\Merivane\\Tessolt]\n\"Queue\"=\"" +
                                        folder.string() + "\"\n");
        setenv("TESSOLT_SETTINGS", settings.c_str(), 1);
    }
}

}  // namespace

/// Calls on the four objects, as the bytes say, with values of any type.
void fuzzInvoke(Input input) {
    constexpr int kMostCalls = 12;
    enterFolder();
    const auto message = CreateObject<IEMailMessage>("Tessolt.EMailMessage");
    const auto smtp = CreateObject<ISmtp>("Tessolt.Smtp");
    const auto pop3 = CreateObject<IPop3>("Tessolt.Pop3");
    const auto constants = CreateObject<IEMailConstants>("Tessolt.EMailConstants");
    require(message && smtp && pop3 && constants);
    ScriptedPeer peer(
        "220 a\r\n\x1D"
        "250 b\r\n\x1D"
        "250 c\r\n",
        false);
    connectTo(&peer);
    for (int calls = 0; calls < kMostCalls && !input.isEmpty(); ++calls) {
        switch (input.choice() % 5) {
            case 0:
            case 1:
                call(*message, interfaceTable<IEMailMessage>(), input, message.get());
                break;
            case 2:
                call(*smtp, interfaceTable<ISmtp>(), input, message.get());
                break;
            case 3:
                call(*pop3, interfaceTable<IPop3>(), input, message.get());
                break;
            default:
                call(*constants, interfaceTable<IEMailConstants>(), input, smtp.get());
                break;
        }
    }
    connectTo(nullptr);
}

}  // namespace fuzz
