/// Owners of what crosses the interfaces: references to objects, texts and variants.
#pragma once

#include <tessolt/automation_types.h>
#include <tessolt/guids.h>
#include <tessolt/text_argument.h>
#include <tessolt/text_conversion.h>

#include <cstddef>
#include <new>
#include <ostream>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

namespace tessolt {

/// The identifier of an interface: what it names `kIid`, and those of the general ones.
template <class Interface>
inline constexpr const IID& kInterfaceId = Interface::kIid;
/// That of IUnknown.
template <>
inline constexpr const IID& kInterfaceId<IUnknown> = IID_IUnknown;
/// That of IDispatch.
template <>
inline constexpr const IID& kInterfaceId<IDispatch> = IID_IDispatch;
/// That of IClassFactory.
template <>
inline constexpr const IID& kInterfaceId<IClassFactory> = IID_IClassFactory;
/// That of ITypeInfo.
template <>
inline constexpr const IID& kInterfaceId<ITypeInfo> = IID_ITypeInfo;

/// A counted reference to an object, released when this goes.
template <class Interface>
class ComPtr {
public:
    ComPtr() = default;
    /// A null one.
    ComPtr(std::nullptr_t) {}
    /// Adds a reference of its own.
    explicit ComPtr(Interface* object) : object_(object) { add(); }
    ComPtr(const ComPtr& other) : object_(other.object_) { add(); }
    ComPtr(ComPtr&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
    ~ComPtr() { reset(); }
    /// Takes over the reference of the other.
    ComPtr& operator=(ComPtr other) noexcept {
        std::swap(object_, other.object_);
        return *this;
    }

    /// The object itself, still owned by this; null for none.
    Interface* get() const { return object_; }
    /// The object itself.
    Interface* operator->() const { return object_; }
    /// The object itself.
    Interface& operator*() const { return *object_; }
    /// Whether there is an object.
    explicit operator bool() const { return object_ != nullptr; }

    /// Releases the object.
    void reset() {
        if (object_) {
            std::exchange(object_, nullptr)->Release();
        }
    }
    /// Where a call may put a reference, which this then owns.
    Interface** put() {
        reset();
        return &object_;
    }
    /// The same, as QueryInterface and its like want it.
    void** putVoid() { return reinterpret_cast<void**>(put()); }
    /// Gives the reference away.
    Interface* detach() { return std::exchange(object_, nullptr); }
    /// The same object by another of its interfaces, null when it has none such.
    template <class Other>
    ComPtr<Other> as() const {
        ComPtr<Other> other;
        if (object_) {
            object_->QueryInterface(kInterfaceId<Other>, other.putVoid());
        }
        return other;
    }

private:
    void add() {
        if (object_) {
            object_->AddRef();
        }
    }

    Interface* object_ = nullptr;
};

/// An owned automation string. Made from UTF-8 or UTF-16; throws std::bad_alloc when memory ends,
/// or for more than the 2^31 - 1 units that such a string can hold. Compares by content, unit by
/// unit.
class Text {
    template <class Units>
    using IfUnits = std::enable_if_t<std::is_convertible_v<Units, const char16_t*>>;

public:
    Text() = default;
    /// A copy of UTF-16 or UTF-8.
    Text(std::u16string_view units)
        : text_(units.size() > kMostUnits
                    ? nullptr
                    : SysAllocStringLen(units.data(), static_cast<UINT>(units.size()))) {
        requireText();
    }
    Text(const char16_t* units) : Text(std::u16string_view(units)) {}
    Text(const std::u16string& units) : Text(std::u16string_view(units)) {}
    Text(std::string_view utf8) : text_(TessoltAllocUtf8(utf8.data(), utf8.size())) {
        requireText();
    }
    Text(const char* utf8) : Text(std::string_view(utf8)) {}
    Text(const std::string& utf8) : Text(std::string_view(utf8)) {}
    /// A copy.
    Text(const Text& other) : Text(other.view()) {}
    Text(Text&& other) noexcept : text_(std::exchange(other.text_, nullptr)) {}
    ~Text() { SysFreeString(text_); }
    /// Takes over the string of the other.
    Text& operator=(Text other) noexcept {
        std::swap(text_, other.text_);
        return *this;
    }

    /// The string itself, still owned by this.
    BSTR get() const { return text_; }
    /// The string itself, still owned by this.
    operator BSTR() const& { return text_; }
    /// The string of a text that goes at once would dangle. Calls take it as a `TextArgument`.
    operator BSTR() const&& = delete;
    /// The same for the length of a call.
    operator TextArgument() const noexcept { return text_; }
    /// Where a call may put a string, which this then owns.
    BSTR* put() {
        SysFreeString(std::exchange(text_, nullptr));
        return &text_;
    }
    /// Whether it has no units.
    bool empty() const { return SysStringLen(text_) == 0; }
    /// The UTF-16 units, good while this is unchanged.
    std::u16string_view view() const {
        return text_ ? std::u16string_view(text_, SysStringLen(text_)) : std::u16string_view();
    }
    /// The text in UTF-8; a lone surrogate becomes U+FFFD.
    std::string utf8() const {
        const std::u16string_view units = view();
        std::string bytes(TessoltUtf8Length(units.data(), units.size()), '\0');
        TessoltUtf16ToUtf8(units.data(), units.size(), bytes.data(), bytes.size());
        return bytes;
    }

    /// Compare by content, unit by unit.
    friend bool operator==(const Text& a, const Text& b) { return a.view() == b.view(); }
    /// Compares by content.
    friend bool operator!=(const Text& a, const Text& b) { return a.view() != b.view(); }
    /// With plain UTF-16, where null is empty.
    template <class Units, class = IfUnits<Units>>
    friend bool operator==(const Text& a, const Units& b) {
        return a.view() == viewOf(b);
    }
    template <class Units, class = IfUnits<Units>>
    /// The opposite.
    friend bool operator!=(const Text& a, const Units& b) {
        return a.view() != viewOf(b);
    }
    /// Compares unit by unit.
    friend bool operator<(const Text& a, const Text& b) { return a.view() < b.view(); }
    /// Compares unit by unit.
    friend bool operator>(const Text& a, const Text& b) { return a.view() > b.view(); }
    /// Compares unit by unit.
    friend bool operator<=(const Text& a, const Text& b) { return a.view() <= b.view(); }
    /// Compares unit by unit.
    friend bool operator>=(const Text& a, const Text& b) { return a.view() >= b.view(); }
    /// Writes the text in UTF-8.
    friend std::ostream& operator<<(std::ostream& stream, const Text& text) {
        return stream << text.utf8();
    }

private:
    static constexpr std::size_t kMostUnits = 0x7FFFFFFF;

    static std::u16string_view viewOf(const char16_t* units) {
        return units ? std::u16string_view(units) : std::u16string_view();
    }

    void requireText() const {
        if (!text_) {
            throw std::bad_alloc();
        }
    }

    BSTR text_ = nullptr;
};

/// An owned variant: what `Send` takes and `GetEmailMessage` gives.
class Value {
public:
    Value() { VariantInit(&value_); }
    /// Holds the object with a reference of its own.
    explicit Value(IDispatch* object) : Value() {
        value_.vt = VT_DISPATCH;
        value_.pdispVal = object;
        if (object) {
            object->AddRef();
        }
    }
    template <class Interface>
    explicit Value(const ComPtr<Interface>& object) : Value(object.get()) {}
    Value(Value&& other) noexcept : value_(other.value_) { VariantInit(&other.value_); }
    /// Takes over the value of the other.
    Value& operator=(Value&& other) noexcept {
        std::swap(value_, other.value_);
        return *this;
    }
    ~Value() { VariantClear(&value_); }

    /// The variant itself, still owned by this.
    VARIANT* get() { return &value_; }
    /// The variant itself, still owned by this.
    operator VARIANT*() { return &value_; }
    /// Where a call may put a value, which this then owns.
    VARIANT* put() {
        VariantClear(&value_);
        return &value_;
    }
    /// The object that it holds, by its interface `Interface`; null when it holds none such.
    template <class Interface>
    ComPtr<Interface> object() const {
        const bool held = value_.vt == VT_DISPATCH && value_.pdispVal != nullptr;
        return held ? ComPtr<IDispatch>(value_.pdispVal).as<Interface>() : nullptr;
    }

private:
    VARIANT value_;
};

}  // namespace tessolt
