/// Owners of what crosses the interfaces: references to objects, texts and variants.
#pragma once

#include <tessolt/automation_types.h>

#include <cstddef>
#include <new>
#include <string>
#include <string_view>
#include <utility>

namespace tessolt {

/// A counted reference to an object, released when this goes.
template <class Interface>
class ComPtr {
public:
    ComPtr() = default;
    ComPtr(std::nullptr_t) {}
    /// Adds a reference of its own.
    explicit ComPtr(Interface* object) : object_(object) { add(); }
    ComPtr(const ComPtr& other) : object_(other.object_) { add(); }
    ComPtr(ComPtr&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
    ~ComPtr() { reset(); }
    ComPtr& operator=(ComPtr other) noexcept {
        std::swap(object_, other.object_);
        return *this;
    }

    Interface* get() const { return object_; }
    Interface* operator->() const { return object_; }
    Interface& operator*() const { return *object_; }
    explicit operator bool() const { return object_ != nullptr; }

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
            object_->QueryInterface(Other::kIid, other.putVoid());
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

/// An owned automation string. Made from UTF-8 or UTF-16; throws std::bad_alloc when memory ends.
class Text {
public:
    Text() = default;
    Text(std::u16string_view units)
        : text_(SysAllocStringLen(units.data(), static_cast<UINT>(units.size()))) {
        if (!text_) {
            throw std::bad_alloc();
        }
    }
    Text(const char16_t* units) : Text(std::u16string_view(units)) {}
    Text(std::string_view utf8) : Text(std::u16string_view(decode(utf8))) {}
    Text(const char* utf8) : Text(std::string_view(utf8)) {}
    Text(const std::string& utf8) : Text(std::string_view(utf8)) {}
    Text(const Text& other) : Text(other.view()) {}
    Text(Text&& other) noexcept : text_(std::exchange(other.text_, nullptr)) {}
    ~Text() { SysFreeString(text_); }
    Text& operator=(Text other) noexcept {
        std::swap(text_, other.text_);
        return *this;
    }

    /// The string itself, still owned by this.
    BSTR get() const { return text_; }
    operator BSTR() const { return text_; }
    /// Where a call may put a string, which this then owns.
    BSTR* put() {
        SysFreeString(std::exchange(text_, nullptr));
        return &text_;
    }
    /// The UTF-16 units, good while this is unchanged.
    std::u16string_view view() const {
        return text_ ? std::u16string_view(text_, SysStringLen(text_)) : std::u16string_view();
    }
    /// The text in UTF-8; a lone surrogate becomes U+FFFD.
    std::string utf8() const { return encode(view()); }

private:
    static constexpr char32_t kReplacement = 0xFFFD;

    static bool isHigh(char32_t unit) { return unit >= 0xD800 && unit < 0xDC00; }
    static bool isLow(char32_t unit) { return unit >= 0xDC00 && unit < 0xE000; }

    /// Reads one character of UTF-8 (RFC 3629) at `at` and moves it on, over one byte where there
    /// is none.
    static char32_t readCharacter(std::string_view utf8, std::size_t& at) {
        const auto lead = static_cast<unsigned char>(utf8[at++]);
        if (lead < 0x80) {
            return lead;
        }
        const int more = lead >= 0xF0 ? 3 : lead >= 0xE0 ? 2 : 1;
        if (lead < 0xC2 || lead > 0xF4 || utf8.size() - at < static_cast<std::size_t>(more)) {
            return kReplacement;
        }
        constexpr char32_t kLeast[] = {0, 0x80, 0x800, 0x10000};
        char32_t character = lead & (0x3F >> more);
        for (int i = 0; i < more; ++i) {
            const auto byte = static_cast<unsigned char>(utf8[at + i]);
            if ((byte & 0xC0) != 0x80) {
                return kReplacement;
            }
            character = (character << 6) | (byte & 0x3F);
        }
        if (character < kLeast[more] || character > 0x10FFFF ||
            (character >= 0xD800 && character < 0xE000)) {
            return kReplacement;
        }
        at += more;
        return character;
    }

    static std::u16string decode(std::string_view utf8) {
        std::u16string units;
        units.reserve(utf8.size());
        for (std::size_t at = 0; at < utf8.size();) {
            const char32_t character = readCharacter(utf8, at);
            if (character > 0xFFFF) {
                units += static_cast<char16_t>(0xD7C0 + (character >> 10));
                units += static_cast<char16_t>(0xDC00 + (character & 0x3FF));
            } else {
                units += static_cast<char16_t>(character);
            }
        }
        return units;
    }

    static std::string encode(std::u16string_view units) {
        std::string utf8;
        utf8.reserve(units.size());
        for (std::size_t i = 0; i < units.size(); ++i) {
            char32_t character = units[i];
            if (isHigh(character) && i + 1 < units.size() && isLow(units[i + 1])) {
                character = 0x10000 + ((character - 0xD800) << 10) + (units[++i] - 0xDC00);
            } else if (isHigh(character) || isLow(character)) {
                character = kReplacement;
            }
            appendCharacter(utf8, character);
        }
        return utf8;
    }

    static void appendCharacter(std::string& utf8, char32_t character) {
        if (character < 0x80) {
            utf8 += static_cast<char>(character);
            return;
        }
        const int more = character > 0xFFFF ? 3 : character > 0x7FF ? 2 : 1;
        constexpr unsigned char kLead[] = {0, 0xC0, 0xE0, 0xF0};
        utf8 += static_cast<char>(kLead[more] | (character >> (6 * more)));
        for (int i = more - 1; i >= 0; --i) {
            utf8 += static_cast<char>(0x80 | ((character >> (6 * i)) & 0x3F));
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
    Value& operator=(Value&& other) noexcept {
        std::swap(value_, other.value_);
        return *this;
    }
    ~Value() { VariantClear(&value_); }

    /// The variant itself, still owned by this.
    VARIANT* get() { return &value_; }
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
