/// Short forms of what the tests of the objects do again and again.
#pragma once

#include <gtest/gtest.h>
#include <tessolt/tessolt.h>

#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

#include "support/variants.h"

namespace tessolt {

/// An object of a class; the test fails where there is none.
template <class Interface>
ComPtr<Interface> make(const char* name) {
    auto object = CreateObject<Interface>(std::string("Tessolt.") + name);
    EXPECT_TRUE(object) << name;
    return object;
}

/// The number or text that a property read gives.
template <class Interface>
LONG number(Interface& object, HRESULT (Interface::*read)(LONG*)) {
    LONG value = 0;
    EXPECT_EQ((object.*read)(&value), S_OK);
    return value;
}
template <class Interface>
std::string text(Interface& object, HRESULT (Interface::*read)(BSTR*)) {
    Text value;
    EXPECT_EQ((object.*read)(value.put()), S_OK);
    return value.utf8();
}
template <class Interface>
LONG lastError(const ComPtr<Interface>& object) {
    return number(*object, &Interface::get_LastError);
}

/// Arguments for Invoke, written first to last: positional ones, then named ones by number.
class Arguments {
public:
    Arguments(std::initializer_list<platform::Variant> positional,
              std::initializer_list<std::pair<DISPID, platform::Variant>> named = {}) {
        for (const auto& [id, value] : named) {
            ids_.push_back(id);
            values_.push_back(value);
        }
        values_.insert(values_.end(), std::rbegin(positional), std::rend(positional));
    }
    DISPPARAMS* get() {
        parameters_ = {values_.data(), ids_.data(), static_cast<UINT>(values_.size()),
                       static_cast<UINT>(ids_.size())};
        return &parameters_;
    }

private:
    std::vector<platform::Variant> values_;
    std::vector<DISPID> ids_;
    DISPPARAMS parameters_ = {};
};

using support::boolean;
using support::integer;
using support::missing;
using support::object;
using support::ofType;
using support::real;
using support::string;

/// IDispatch::Invoke with what nobody looks at left out.
inline HRESULT invoke(IDispatch* target, DISPID id, WORD kind, Arguments arguments,
                      VARIANT* result = nullptr, UINT* offender = nullptr) {
    return target->Invoke(id, IID_NULL, 0, kind, arguments.get(), result, nullptr, offender);
}

}  // namespace tessolt
