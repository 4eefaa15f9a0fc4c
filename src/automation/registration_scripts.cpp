#include "automation/registration_scripts.h"

namespace tessolt {
namespace {

constexpr std::string_view kApplication = R"(
HKCR
{
    NoRemove AppID
    {
        '%APPID%' = s 'Quelt'
        'Quelt.DLL'
        {
            val AppID = s '%APPID%'
        }
    }
}
)";

constexpr std::string_view kClass = R"(
HKCR
{
    'Tessolt.%CLASS%.1' = s '%CLASS% Class'
    {
        CLSID = s '%CLSID%'
    }
    'Tessolt.%CLASS%' = s '%CLASS% Class'
    {
        CLSID = s '%CLSID%'
        CurVer = s 'Tessolt.%CLASS%.1'
    }
    NoRemove CLSID
    {
        ForceRemove '%CLSID%' = s '%CLASS% Class'
        {
            ProgID = s 'Tessolt.%CLASS%.1'
            VersionIndependentProgID = s 'Tessolt.%CLASS%'
            ForceRemove Programmable
            InprocServer32 = s '%MODULE%'
            {
                val ThreadingModel = s 'Apartment'
            }
            TypeLib = s '%LIBID%'
        }
    }
}
)";

}  // namespace

const std::string_view kTypeLibraryScript = R"(
HKCR
{
    NoRemove TypeLib
    {
        ForceRemove '%LIBID%'
        {
            '%VERSION%' = s '%LIBRARY%'
            {
                '0'
                {
                    linux64 = s '%MODULE%'
                }
                FLAGS = s '0'
            }
        }
    }
}
)";

const std::string_view kInterfaceScript = R"(
HKCR
{
    NoRemove Interface
    {
        ForceRemove '%IID%' = s '%INTERFACE%'
        {
            TypeLib = s '%LIBID%'
            {
                val Version = s '%VERSION%'
            }
        }
    }
}
)";

std::string_view registrationScript(int resource) {
    switch (resource) {
        case kApplicationScript:
            return kApplication;
        case kEMailMessageScript:
        case kSmtpScript:
        case kPop3Script:
        case kEMailConstantsScript:
            return kClass;
        default:
            return {};
    }
}

}  // namespace tessolt
