/// Builds the rows of the type library from pointers to the interfaces' operations: types, counts
/// and the calls themselves follow from their signatures at compile time.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <tuple>
#include <type_traits>
#include <utility>

#include "automation/name_order.h"
#include "automation/type_library.h"

namespace tessolt {

/// How a parameter of the C++ operation comes out of a variant.
template <class T>
struct ArgumentType;
template <>
struct ArgumentType<LONG> {
    static constexpr VARTYPE kType = VT_I4;
    static LONG get(const VARIANT& value) { return value.lVal; }
};
template <>
struct ArgumentType<VARIANT_BOOL> {
    static constexpr VARTYPE kType = VT_BOOL;
    static VARIANT_BOOL get(const VARIANT& value) { return value.boolVal; }
};
template <>
struct ArgumentType<TextArgument> {
    static constexpr VARTYPE kType = VT_BSTR;
    static TextArgument get(const VARIANT& value) { return value.bstrVal; }
};
template <>
struct ArgumentType<VARIANT*> {
    static constexpr VARTYPE kType = VT_VARIANT | VT_BYREF;
    static VARIANT* get(const VARIANT& value) { return value.pvarVal; }
};

/// Where the result of the C++ operation goes in a variant.
template <class T>
struct ResultType;
template <>
struct ResultType<LONG*> {
    static constexpr VARTYPE kType = VT_I4;
    static LONG* place(VARIANT& value) { return &value.lVal; }
};
template <>
struct ResultType<VARIANT_BOOL*> {
    static constexpr VARTYPE kType = VT_BOOL;
    static VARIANT_BOOL* place(VARIANT& value) { return &value.boolVal; }
};
template <>
struct ResultType<BSTR*> {
    static constexpr VARTYPE kType = VT_BSTR;
    static BSTR* place(VARIANT& value) { return &value.bstrVal; }
};
template <>
struct ResultType<VARIANT*> {
    static constexpr VARTYPE kType = VT_VARIANT;
    static VARIANT* place(VARIANT& value) { return &value; }
};

template <class Operation>
struct Signature;
template <class Interface, class... Parameters>
struct Signature<HRESULT (Interface::*)(Parameters...)> {
    using Self = Interface;
    using Types = std::tuple<Parameters...>;
    static constexpr std::size_t kCount = sizeof...(Parameters);
    template <std::size_t I>
    using Type = std::tuple_element_t<I, Types>;
};

/// A call without a result: each argument from its variant.
template <auto kOperation>
HRESULT callPlain(void* object, const VARIANT* const* arguments, VARIANT*) {
    using S = Signature<decltype(kOperation)>;
    return [&]<std::size_t... I>(std::index_sequence<I...>) {
        return (static_cast<typename S::Self*>(object)->*kOperation)(
            ArgumentType<typename S::template Type<I>>::get(*arguments[I])...);
    }
    (std::make_index_sequence<S::kCount>());
}

/// A call whose last parameter is the place of the result.
template <auto kOperation>
HRESULT callWithResult(void* object, const VARIANT* const* arguments, VARIANT* result) {
    using S = Signature<decltype(kOperation)>;
    using Result = ResultType<typename S::template Type<S::kCount - 1>>;
    const HRESULT status = [&]<std::size_t... I>(std::index_sequence<I...>) {
        return (static_cast<typename S::Self*>(object)->*kOperation)(
            ArgumentType<typename S::template Type<I>>::get(*arguments[I])...,
            Result::place(*result));
    }
    (std::make_index_sequence<S::kCount - 1>());
    if constexpr (Result::kType != VT_VARIANT) {
        if (SUCCEEDED(status)) {
            result->vt = Result::kType;
        }
    }
    return status;
}

constexpr TypeParameter required(const OLECHAR* name) {
    TypeParameter parameter = {};
    parameter.name = name;
    return parameter;
}
/// A parameter that may be left out and is then empty text.
constexpr TypeParameter optionalText(const OLECHAR* name) {
    TypeParameter parameter = required(name);
    parameter.optional = 1;
    parameter.defaultValue.vt = VT_BSTR;
    parameter.defaultValue.bstrVal = nullptr;
    return parameter;
}
constexpr TypeParameter optionalNumber(const OLECHAR* name, LONG value) {
    TypeParameter parameter = required(name);
    parameter.optional = 1;
    parameter.defaultValue.vt = VT_I4;
    parameter.defaultValue.lVal = value;
    return parameter;
}

template <auto kGet>
constexpr Member readOnly(const OLECHAR* name, DISPID id) {
    Member member;
    member.info.name = name;
    member.info.id = id;
    member.info.kind = DISPATCH_PROPERTYGET;
    member.info.type = ResultType<typename Signature<decltype(kGet)>::template Type<0>>::kType;
    member.call = &callWithResult<kGet>;
    return member;
}

template <auto kGet, auto kPut>
constexpr Member readWrite(const OLECHAR* name, DISPID id) {
    using Put = ArgumentType<typename Signature<decltype(kPut)>::template Type<0>>;
    Member member = readOnly<kGet>(name, id);
    static_assert(Put::kType ==
                  ResultType<typename Signature<decltype(kGet)>::template Type<0>>::kType);
    member.info.kind |= DISPATCH_PROPERTYPUT;
    member.put = &callPlain<kPut>;
    return member;
}

template <auto kOperation, class... Parameters>
constexpr Member methodRow(const OLECHAR* name, DISPID id, Parameters... parameters) {
    using S = Signature<decltype(kOperation)>;
    static_assert(sizeof...(Parameters) <= TESSOLT_MAX_PARAMETERS);
    Member member;
    member.info.name = name;
    member.info.id = id;
    member.info.kind = DISPATCH_METHOD;
    member.info.parameterCount = sizeof...(Parameters);
    [&]<std::size_t... I>(std::index_sequence<I...>) {
        ((member.info.parameters[I] = parameters,
          member.info.parameters[I].type = ArgumentType<typename S::template Type<I>>::kType),
         ...);
    }
    (std::index_sequence_for<Parameters...>());
    return member;
}

/// A method without a result; a name for each parameter of the operation.
template <auto kOperation, class... Parameters>
constexpr Member method(const OLECHAR* name, DISPID id, Parameters... parameters) {
    static_assert(sizeof...(Parameters) == Signature<decltype(kOperation)>::kCount);
    Member member = methodRow<kOperation>(name, id, parameters...);
    member.call = &callPlain<kOperation>;
    return member;
}

/// A method whose last parameter is its result, which isn't named.
template <auto kOperation, class... Parameters>
constexpr Member function(const OLECHAR* name, DISPID id, Parameters... parameters) {
    using S = Signature<decltype(kOperation)>;
    static_assert(sizeof...(Parameters) + 1 == S::kCount);
    Member member = methodRow<kOperation>(name, id, parameters...);
    member.info.type = ResultType<typename S::template Type<S::kCount - 1>>::kType;
    member.call = &callWithResult<kOperation>;
    return member;
}

template <std::size_t kCount>
constexpr std::array<uint8_t, kCount> indexByName(const std::array<Member, kCount>& members) {
    static_assert(kCount < InterfaceTable::kNoRow);
    std::array<uint8_t, kCount> rows = {};
    for (std::size_t i = 0; i < kCount; ++i) {
        rows[i] = static_cast<uint8_t>(i);
    }
    std::sort(rows.begin(), rows.end(), [&](uint8_t a, uint8_t b) {
        return compareNames(members[a].info.name, members[b].info.name) < 0;
    });
    return rows;
}

/// The dispids lie below this.
inline constexpr std::size_t kDispidEnd = 332;

template <std::size_t kCount>
constexpr std::array<uint8_t, kDispidEnd> indexByDispid(const std::array<Member, kCount>& members) {
    std::array<uint8_t, kDispidEnd> rows = {};
    rows.fill(InterfaceTable::kNoRow);
    for (std::size_t i = 0; i < kCount; ++i) {
        rows.at(static_cast<std::size_t>(members[i].info.id)) = static_cast<uint8_t>(i);
    }
    return rows;
}

}  // namespace tessolt
